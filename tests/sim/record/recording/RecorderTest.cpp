#include "sim/record/recording/Recorder.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "sim/record/format/ImageHash.h"
#include "tests/sim/record/RecordFixture.h"

namespace {

using namespace sim::record;

class RecorderTest : public RecordTest {
 protected:
  std::unique_ptr<Recorder> makeRecorder(std::size_t memory, bool frames = false) const {
    Recorder::Options options;
    options.path = path;
    options.memory = memory;
    options.frames = frames;
    options.writing = Recorder::Writing::onDemand;
    return std::make_unique<Recorder>(options);
  }

  static void addSleep(Recorder& to, std::uint32_t milliseconds) {
    Line line;
    line.call = Call::sleep;
    line.thread = 1;
    line.n = to.begin();
    line.a = milliseconds;
    to.add(line);
  }

  static void addImage(Recorder& to, const std::vector<std::uint8_t>& image) {
    Line line;
    line.call = Call::sleep;
    line.thread = 1;
    line.n = to.begin();
    line.image.bytes = static_cast<std::uint32_t>(image.size());
    line.image.hash = imageHash(image.data(), image.size());
    to.add(line, image);
  }

  // Without the header.
  std::vector<std::string> lines() const {
    std::istringstream text(contentOf(path));
    std::vector<std::string> found;
    for (std::string line; std::getline(text, line);) found.push_back(line);
    if (!found.empty()) found.erase(found.begin());
    return found;
  }
};

TEST_F(RecorderTest, LinesStandInTheFileWhenTheyAreFlushed) {
  const auto made = makeRecorder(4096);
  addSleep(*made, 5);
  EXPECT_TRUE(lines().empty());
  made->flush();
  EXPECT_EQ((std::vector<std::string>{R"({"call":"sleep","thread":1,"n":1,"e":2,"a":5})"}), lines());
}

TEST_F(RecorderTest, EndTellsOfTheLinesBefore) {
  auto made = makeRecorder(4096);
  addSleep(*made, 5);
  made.reset();
  EXPECT_EQ(R"({"call":"end","a":1})", lines().back());
}

TEST_F(RecorderTest, ProcessThatEndsLosesNothing) {
  auto made = makeRecorder(4096);
  addSleep(*made, 5);
  made->flush();
  addSleep(*made, 6);
  made->finishAtExit();
  addSleep(*made, 7);
  made.reset();
  EXPECT_EQ(3U, lines().size());
  EXPECT_EQ(R"({"call":"end","a":2})", lines().back());
}

TEST_F(RecorderTest, LinesWithoutMemoryAreCounted) {
  auto made = makeRecorder(2048);
  for (std::uint32_t i = 0; i < 100; ++i) addSleep(*made, i);
  made->flush();
  const std::size_t written = lines().size();
  ASSERT_LT(written, 100U);
  addSleep(*made, 1000);
  made.reset();
  const std::vector<std::string> all = lines();
  const std::string lost = std::to_string(100 - written);
  EXPECT_EQ(R"({"call":"lost","a":)" + lost + "}", all[written]);
  EXPECT_NE(std::string::npos, all[written + 1].find("\"a\":1000"));
  EXPECT_EQ(R"({"call":"end","a":)" + std::to_string(written + 1) + R"(,"b":)" + lost + "}", all.back());
}

TEST_F(RecorderTest, MemoryIsUsedAgainAndAgain) {
  auto made = makeRecorder(2000);
  for (std::uint32_t i = 0; i < 1000; ++i) {
    addSleep(*made, i);
    if (i % 3 == 0) made->flush();
  }
  made.reset();
  const std::vector<std::string> all = lines();
  ASSERT_EQ(1001U, all.size());
  for (std::uint32_t i = 1; i < 1000; ++i) {
    EXPECT_NE(std::string::npos, all[i].find("\"a\":" + std::to_string(i) + "}")) << all[i];
  }
}

TEST_F(RecorderTest, FramesStandBesideTheLinesOnceEach) {
  auto made = makeRecorder(1 << 16, true);
  const std::vector<std::uint8_t> one(100, 1);
  const std::vector<std::uint8_t> other(50, 2);
  addImage(*made, one);
  addImage(*made, other);
  addImage(*made, one);
  made.reset();
  EXPECT_EQ(std::string(100, '\1') + std::string(50, '\2'), contentOf(path + ".frames"));
  EXPECT_NE(std::string::npos, lines()[1].find("\"imageKept\":true,\"imageAt\":100"));
  EXPECT_EQ(std::string::npos, lines()[2].find("imageAt"));
}

TEST_F(RecorderTest, FrameThatDoesNotFitIsKnownByItsHash) {
  auto made = makeRecorder(4096, true);
  addImage(*made, std::vector<std::uint8_t>(4096, 1));
  made.reset();
  EXPECT_EQ(2U, lines().size());
  EXPECT_NE(std::string::npos, lines()[0].find("\"imageBytes\":4096"));
  EXPECT_EQ(std::string::npos, lines()[0].find("imageKept"));
}

TEST_F(RecorderTest, FileThatCannotBeMadeIsNamed) {
  Recorder::Options options;
  options.path = testing::TempDir() + "no such folder/recording.jsonl";
  try {
    const Recorder made(options);
    FAIL() << "the file was made";
  } catch (const RecorderError& error) {
    EXPECT_NE(std::string::npos, std::string(error.what()).find("recording.jsonl: cannot be written"));
  }
}

TEST_F(RecorderTest, ThreadsAddAtATime) {
  Recorder::Options options;
  options.path = path;
  auto made = std::make_unique<Recorder>(options);
  constexpr std::uint32_t each = 2000;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (std::uint32_t k = 0; k < each; ++k) addSleep(*made, k);
    });
  }
  for (std::thread& thread : threads) thread.join();
  made.reset();
  const std::vector<std::string> all = lines();
  EXPECT_EQ(4 * each + 1, all.size());
  EXPECT_EQ(R"({"call":"end","a":8000})", all.back());
}

}  // namespace
