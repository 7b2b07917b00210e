#include "sim/record/replay/Replay.h"

#include <thread>

#include "tests/sim/record/RecordFixture.h"

namespace {

using Data = std::vector<std::uint8_t>;

constexpr DWORD readRegister = 0x80002008;
constexpr DWORD writeRegister = 0x8000200C;
constexpr DWORD captureRequest = 0x80002018;
constexpr DWORD stopRequest = 0x80002020;

class ReplayTest : public RecordTest {
 protected:
  // Writes a register of the USB board and reads it back: what the program has seen, as text.
  std::string talkToUsb(std::uint8_t value) {
    std::string seen;
    const HANDLE file = host.open(host.path(usbClass, 0));
    Data address{0x01, 0x80, 0x00, 0x02, 0x00, 0x06, 0x01};
    Data write{0x01, 0x80, 0x01, 0x02, 0x00, value, 0x00};
    Data read{0x00, 0x80, 0x01, 0x02, 0x00};
    for (Data* packet : {&address, &write, &address, &read})
      note(seen, host.transfer(file, 3, 1000, *packet));
    Data answer(7);
    note(seen, host.transfer(file, 4, 1000, answer));
    for (const std::uint8_t byte : answer) seen += " " + std::to_string(byte);
    client.calls().sleep(20);
    note(seen, host.close(file));
    return seen;
  }

  void note(std::string& seen, bool accepted) {
    seen += (accepted ? " ok " : " failed ") + std::to_string(host.moved) + "/" +
            std::to_string(host.lastError) + "/" + std::to_string(host.word);
  }

  std::vector<std::uint32_t> sendPcie(HANDLE file, DWORD code, std::vector<std::uint32_t> words) {
    DWORD returned = 0;
    const auto bytes = static_cast<DWORD>(words.size() * 4);
    client.calls().deviceIoControl(file, code, words.data(), bytes, words.data(), bytes, &returned, nullptr);
    return words;
  }

  void recordUsb(std::uint8_t value) {
    machine.addUsbBoard();
    startRecording();
    recorded = talkToUsb(value);
    endRecording();
  }

  std::string recorded;
};

TEST_F(ReplayTest, SameQuestionsGetTheSameAnswers) {
  recordUsb(5);
  startReplay();
  EXPECT_EQ(recorded, talkToUsb(5));
  EXPECT_EQ("", departures);
  EXPECT_EQ("", replay->leftOver());
}

TEST_F(ReplayTest, TimePassesAsItDid) {
  recordUsb(5);
  startReplay();
  talkToUsb(5);
  EXPECT_EQ(machine.clock().now(), clock->now());
  EXPECT_LE(20000U, clock->now());
}

TEST_F(ReplayTest, FirstDepartureIsToldWithItsPlace) {
  recordUsb(5);
  startReplay();
  talkToUsb(6);
  EXPECT_NE(std::string::npos, departures.find("expected:  usb0 pipe3 out 1000ms [01 80 01 02 00 05 00]"))
      << departures;
  EXPECT_NE(std::string::npos, departures.find("came:      usb0 pipe3 out 1000ms [01 80 01 02 00 06 00]"));
  EXPECT_NE(std::string::npos, departures.find("where:     thread 1, line 9\n"));
  EXPECT_NE(std::string::npos, departures.find("byte 5 of what goes in: 05 expected, 06 came"));
  EXPECT_NE(std::string::npos, departures.find("the recording does not have it anywhere"));
}

TEST_F(ReplayTest, CallThatComesTooEarlyIsFoundLater) {
  recordUsb(5);
  startReplay();
  client.calls().sleep(20);
  EXPECT_NE(std::string::npos, departures.find("the same comes later, in line 13")) << departures;
}

TEST_F(ReplayTest, CallsBehindTheLastOneDepart) {
  recordUsb(5);
  startReplay();
  talkToUsb(5);
  client.calls().sleep(20);
  EXPECT_NE(std::string::npos, departures.find("expected:  nothing more of thread 1")) << departures;
  EXPECT_NE(std::string::npos, departures.find("the same came before, in line 13"));
}

TEST_F(ReplayTest, ProgramThatEndsEarlyIsTold) {
  recordUsb(5);
  startReplay();
  host.path(usbClass, 0);
  EXPECT_NE(std::string::npos, replay->leftOver().find("8 calls did not come, first line 7"))
      << replay->leftOver();
}

TEST_F(ReplayTest, FailuresAreReplayed) {
  machine.addUsbBoard().faults().at(2, {sim::Fault::Kind::refuse, 31});
  machine.usbBoard(0).faults().at(3, {sim::Fault::Kind::keepStatus, 0});
  startRecording();
  recorded = talkToUsb(5);
  endRecording();
  EXPECT_NE(std::string::npos, recorded.find("failed 0/31"));
  startReplay();
  EXPECT_EQ(recorded, talkToUsb(5));
  EXPECT_EQ("", departures);
}

TEST_F(ReplayTest, BoardsThatAreNotThereAreReplayed) {
  startRecording();
  EXPECT_EQ(0U, host.count(pcieClass));
  endRecording();
  startReplay();
  EXPECT_EQ(0U, host.count(pcieClass));
  EXPECT_EQ(static_cast<DWORD>(ERROR_NO_MORE_ITEMS), host.lastError);
  EXPECT_EQ("", departures);
}

TEST_F(ReplayTest, LenientReplayAnswersAChangedValueAsTheRecordedOne) {
  recordUsb(5);
  startReplay(true);
  EXPECT_EQ(recorded, talkToUsb(6));
  EXPECT_NE(std::string::npos, replay->remarks().find("1 calls are not in it, first usb0 pipe3 out"))
      << replay->remarks();
}

TEST_F(ReplayTest, LenientReplayPassesOverWhatDoesNotCome) {
  recordUsb(5);
  startReplay(true);
  const HANDLE file = host.open(host.path(usbClass, 0));
  Data answer(7);
  EXPECT_TRUE(host.transfer(file, 4, 1000, answer));
  EXPECT_EQ(5, answer[5]);
  // Looking again is answered again.
  Data again(7);
  EXPECT_TRUE(host.transfer(file, 4, 1000, again));
  EXPECT_EQ(answer, again);
  EXPECT_NE(std::string::npos,
            replay->remarks().find("4 recorded calls were passed over, 0 calls are not in it"))
      << replay->remarks();
}

TEST_F(ReplayTest, LenientReplayRefusesWhatNothingIsLike) {
  recordUsb(5);
  startReplay(true);
  const HANDLE file = host.open(host.path(usbClass, 0));
  Data image(100);
  EXPECT_FALSE(host.transfer(file, 2, 1000, image));
  EXPECT_EQ(static_cast<DWORD>(ERROR_GEN_FAILURE), host.lastError);
}

TEST_F(ReplayTest, PcieRegistersComeBack) {
  machine.addPcieBoard();
  const auto talk = [&] {
    const HANDLE file = host.open(host.path(pcieClass, 0));
    sendPcie(file, writeRegister, {0, 0x214, 3});
    const auto words = sendPcie(file, readRegister, {0, 0x214, 99});
    host.close(file);
    return words;
  };
  startRecording();
  const auto first = talk();
  endRecording();
  EXPECT_EQ(3U, first[2]);
  startReplay();
  EXPECT_EQ(first, talk());
  EXPECT_EQ("", departures);
  EXPECT_EQ("", replay->leftOver());
}

// A capture that a stop ends: its record and its event come with the completion.
TEST_F(ReplayTest, PendedRequestsAreCompletedWhereTheyWere) {
  machine.addPcieBoard();
  std::vector<std::uint8_t> frame(64);
  const auto talk = [&] {
    const HANDLE file = host.open(host.path(pcieClass, 0));
    const HANDLE event = client.calls().createEvent(nullptr, TRUE, FALSE, nullptr);
    OVERLAPPED overlapped{};
    overlapped.hEvent = event;
    DWORD record[7] = {0, static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(frame.data())), 64, 1, 0, 5000,
                       1};
    DWORD returned = 0;
    std::string seen;
    EXPECT_FALSE(client.calls().deviceIoControl(file, captureRequest, record, sizeof record, record,
                                                sizeof record, &returned, &overlapped));
    seen += std::to_string(GetLastError());
    sendPcie(file, stopRequest, {0});
    seen += " " + std::to_string(client.calls().waitForSingleObject(event, INFINITE));
    seen += " " + std::to_string(record[0]) + " " + std::to_string(overlapped.Internal) + " " +
            std::to_string(overlapped.InternalHigh);
    client.calls().closeHandle(event);
    host.close(file);
    return seen;
  };
  startRecording();
  const std::string first = talk();
  endRecording();
  EXPECT_EQ("997 0 4096 0 28", first);
  startReplay();
  EXPECT_EQ(first, talk());
  EXPECT_EQ("", departures);
  EXPECT_EQ("", replay->leftOver());
}

TEST_F(ReplayTest, OtherFilesAndDevicesPassOnToWindows) {
  recordUsb(5);
  startReplay();
  const std::string other = testing::TempDir() + "other.txt";
  const HANDLE file = client.calls().createFile(other.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                                FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_TRUE(client.calls().closeHandle(file));
  DeleteFileA(other.c_str());
  EXPECT_EQ("", departures);
}

TEST_F(ReplayTest, ThreadsComeInAnyOrder) {
  machine.addUsbBoard();
  machine.addPcieBoard();
  startRecording();
  std::thread([&] { host.count(usbClass); }).join();
  std::thread([&] { host.count(pcieClass); }).join();
  endRecording();
  startReplay();
  Host second(client.calls());
  std::thread later([&] { EXPECT_EQ(1U, second.count(pcieClass)); });
  std::thread earlier([&] { EXPECT_EQ(1U, host.count(usbClass)); });
  later.join();
  earlier.join();
  EXPECT_EQ("", departures);
  EXPECT_EQ("", replay->leftOver());
}

TEST_F(ReplayTest, RecordingThatCannotBeReadIsNamed) {
  try {
    const sim::record::Script script(testing::TempDir() + "nowhere.jsonl");
    FAIL() << "it was read";
  } catch (const sim::record::RecordingError& error) {
    EXPECT_NE(std::string::npos, std::string(error.what()).find("nowhere.jsonl: cannot be read"));
  }
}

}  // namespace
