// What each defect makes of a board: beside a good one, with the library's own way left out.
#include "sim/base/Defects.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "sim/base/Faults.h"
#include "sim/sensor/Sensor.h"

namespace {

using sim::Defect;
using sim::Defects;

TEST(Defects, HaveNamesOfTheirOwn) {
  std::set<std::string_view> names;
  std::set<Defect> defects;
  for (const sim::DefectName& each : sim::defectNames()) {
    EXPECT_TRUE(names.insert(each.name).second) << each.name;
    EXPECT_TRUE(defects.insert(each.defect).second) << each.name;
    EXPECT_TRUE(each.onUsb || each.onPcie) << each.name;
  }
  EXPECT_EQ(static_cast<std::size_t>(Defect::count), defects.size());
}

TEST(Defects, BoardHasThoseThatItWasGivenAndNoOthers) {
  Defects defects;
  for (const sim::DefectName& each : sim::defectNames()) EXPECT_FALSE(defects.has(each.defect)) << each.name;
  defects.add(Defect::brokenLut);
  for (const sim::DefectName& each : sim::defectNames()) {
    EXPECT_EQ(each.defect == Defect::brokenLut, defects.has(each.defect)) << each.name;
  }
}

TEST(Defects, GoodBoardIsLeftAsItIs) {
  Defects good;
  std::vector<std::uint8_t> bytes{1, 2, 3, 4};
  for (std::uint64_t frame = 0; frame < 60; ++frame) {
    EXPECT_EQ(0U, good.lateness(frame, 33300));
    EXPECT_FALSE(good.loses(frame));
    EXPECT_EQ(frame, good.shown(frame));
    EXPECT_EQ(frame, good.shownInStream(frame));
    EXPECT_FALSE(good.losesWrite());
    good.spoil(frame, bytes);
  }
  EXPECT_EQ((std::vector<std::uint8_t>{1, 2, 3, 4}), bytes);
  EXPECT_EQ(76800U, good.bytes(76800));
  EXPECT_EQ(0x814DU, good.period(0x814D));
  EXPECT_EQ(0x1234U, good.areaWord(0x1234));
  EXPECT_EQ(0x12345678U, good.word(0x12345678));
  EXPECT_EQ(0x1DU, good.switches(0x1D));
}

TEST(Defects, FramesAreLateLostAndRepeated) {
  Defects bad;
  bad.add(Defect::lateFrame);
  bad.add(Defect::lostFrame);
  bad.add(Defect::repeatedFrame);
  EXPECT_EQ(0U, bad.lateness(3, 33300));
  EXPECT_EQ(16650U, bad.lateness(4, 33300));
  EXPECT_EQ(16650U, bad.lateness(9, 33300));
  EXPECT_FALSE(bad.loses(4));
  EXPECT_TRUE(bad.loses(5));
  EXPECT_EQ(2U, bad.shown(3));
  EXPECT_EQ(4U, bad.shown(4));
  EXPECT_EQ(5U, bad.shownInStream(5));
  EXPECT_EQ(7U, bad.shownInStream(6));
}

TEST(Defects, FramesAreTooShortOrTooLong) {
  Defects brief;
  brief.add(Defect::shortFrame);
  EXPECT_EQ(75776U, brief.bytes(76800));
  EXPECT_EQ(0U, brief.bytes(100));
  Defects lengthy;
  lengthy.add(Defect::longFrame);
  EXPECT_EQ(77824U, lengthy.bytes(76800));
  EXPECT_EQ(0U, lengthy.bytes(0));  // no frame stays none
}

TEST(Defects, BytesOfAFrameAreSwappedAndFlipped) {
  Defects swapped;
  swapped.add(Defect::swappedSamples);
  std::vector<std::uint8_t> odd{1, 2, 3, 4, 5};
  swapped.spoil(0, odd);
  EXPECT_EQ((std::vector<std::uint8_t>{2, 1, 4, 3, 5}), odd);
  Defects flipped;
  flipped.add(Defect::flippedPixel);
  std::vector<std::uint8_t> bytes{1, 2, 3, 4};
  std::vector<std::uint8_t> none;
  flipped.spoil(1, bytes);
  EXPECT_EQ((std::vector<std::uint8_t>{1, 2, 3, 4}), bytes);
  flipped.spoil(2, bytes);
  flipped.spoil(2, none);
  EXPECT_EQ((std::vector<std::uint8_t>{1, 2, 0x23, 4}), bytes);
}

TEST(Defects, PeriodIsTwoPercentTooLongAndKeepsItsToggle) {
  Defects bad;
  bad.add(Defect::rateOff);
  EXPECT_EQ(340U, bad.period(333));
  EXPECT_EQ(0x8000U + 340U, bad.period(0x8000 + 333));
  EXPECT_EQ(0x7FFFU, bad.period(0x7FFF));
}

TEST(Defects, WordsOfRegisters) {
  Defects bad;
  bad.add(Defect::stuckBit);
  bad.add(Defect::swappedBytes);
  bad.add(Defect::crossedSupplies);
  EXPECT_EQ(0x10U, bad.areaWord(0));
  EXPECT_EQ(0x12347856U, bad.word(0x12345678));
  EXPECT_EQ(0x1AU, bad.switches(0x19));
  EXPECT_EQ(0x19U, bad.switches(0x1A));
}

TEST(Defects, EverySeventhWriteIsLost) {
  Defects bad;
  bad.add(Defect::lostWrite);
  for (unsigned write = 1; write <= 70; ++write) EXPECT_EQ(write % 7 == 0, bad.losesWrite()) << write;
}

TEST(Defects, StayWhenFaultsAreCleared) {
  sim::Clock clock(sim::Pace::simulated);
  sim::Timeline timeline(clock);
  sim::Faults faults(timeline);
  faults.defects().add(Defect::stuckBit);
  faults.clear();
  EXPECT_TRUE(faults.defects().has(Defect::stuckBit));
}

// ---- the sensor

class DefectiveSensor : public ::testing::Test {
 protected:
  static constexpr std::uint16_t slave = 0x36;
  static constexpr std::uint16_t place = 0x3000;

  DefectiveSensor() {
    sensor_.setDefects(defects_);
    sensor_.setLines({true, true, false, true});
  }

  sim::Clock clock_{sim::Pace::simulated};
  Defects defects_;
  sim::Sensor sensor_{clock_};
};

TEST_F(DefectiveSensor, AcknowledgesAtEveryAddress) {
  const std::vector<std::uint8_t> data{1};
  EXPECT_FALSE(sensor_.write(0x5A, place, data));
  EXPECT_FALSE(sensor_.read(0x5A, place, 1));
  defects_.add(Defect::wrongAcknowledge);
  EXPECT_TRUE(sensor_.write(0x5A, place, data));
  EXPECT_TRUE(sensor_.read(0x5A, place, 1));
  EXPECT_EQ(0, sensor_.peek(place));  // nobody was there
}

TEST_F(DefectiveSensor, AnswersWithoutSupply) {
  sensor_.setLines({false, false, true, true});
  EXPECT_FALSE(sensor_.read(slave, 0, 1));
  defects_.add(Defect::unpoweredSensor);
  EXPECT_TRUE(sensor_.read(slave, 0, 1));
  EXPECT_FALSE(sensor_.read(0x5A, 0, 1));
}

TEST_F(DefectiveSensor, LosesABit) {
  sensor_.poke(place, 0xFF);
  defects_.add(Defect::lostSensorBit);
  EXPECT_EQ(0xFE, sensor_.read(slave, place, 1)->at(0));
}

TEST_F(DefectiveSensor, RepeatsTheAddressOfABlock) {
  defects_.add(Defect::repeatedAddress);
  EXPECT_TRUE(sensor_.write(slave, place, std::vector<std::uint8_t>{1, 2, 3}));
  EXPECT_EQ(3, sensor_.peek(place));
  EXPECT_EQ(0, sensor_.peek(place + 1));
  sensor_.poke(place + 1, 9);
  EXPECT_EQ((std::vector<std::uint8_t>{3, 9}), *sensor_.read(slave, place, 2));
  defects_.add(Defect::repeatedRead);
  EXPECT_EQ((std::vector<std::uint8_t>{3, 3}), *sensor_.read(slave, place, 2));
}

TEST_F(DefectiveSensor, KeepsItsRegistersOverAReset) {
  defects_.add(Defect::keptRegisters);
  sensor_.poke(place, 7);
  sensor_.setLines({true, true, true, true});
  sensor_.setLines({true, true, false, true});
  EXPECT_EQ(7, sensor_.peek(place));
}

}  // namespace
