#include "sim/record/shorten/RecordingParts.h"

#include "tests/sim/record/replay/ScriptFixture.h"

namespace {

using namespace sim::record;
using Steps = std::vector<std::uint32_t>;

class RecordingPartsTest : public ScriptTest {};

TEST_F(RecordingPartsTest, WhatIsAskedInOneGoStaysTogether) {
  const auto script = scriptOf({
      R"("call":"list","thread":1,"text":"usb","result":1,"handle":1)",                                  // 0
      R"("call":"interface","thread":1,"handle":1,"result":1)",                                          // 1
      R"("call":"open","thread":1,"board":"usb0","text":"x","handle":1,"result":1)",                     // 2
      R"("call":"endList","thread":1,"handle":1,"result":1)",                                            // 3
      R"("call":"request","thread":1,"board":"usb0","handle":1,"request":"pipe","a":3,"in":"01")",       // 4
      R"("call":"request","thread":1,"board":"usb0","handle":1,"request":"pipe","a":4,"size":7)",        // 5
      R"("call":"sleep","thread":1,"a":10)",                                                             // 6
      R"("call":"thread","thread":1)",                                                                   // 7
      R"("call":"request","thread":2,"board":"usb0","handle":1,"request":"pipe","a":2,"size":1048576)",  // 8
      R"("call":"request","thread":1,"board":"usb0","handle":1,"request":"pipe","a":3,"in":"02")",       // 9
      R"("call":"request","thread":2,"board":"usb0","handle":1,"request":"pipe","a":2,"size":100)",      // 10
      R"("call":"request","thread":2,"board":"usb0","handle":1,"request":"pipe","a":2,"size":100)",      // 11
      R"("call":"close","thread":1,"board":"usb0","handle":1,"result":1)",                               // 12
  });
  EXPECT_EQ((std::vector<Part>{{0, 1, 3}, {2, 12}, {4, 5, 6}, {8, 10}, {9}, {11}}), dialogues(*script));
}

TEST_F(RecordingPartsTest, CompletionsStayWithTheirRequests) {
  const auto script = scriptOf({
      R"("call":"request","thread":1,"board":"pcie0","handle":1,"request":"interval","pending":true)",
      R"("call":"request","thread":1,"board":"pcie0","handle":1,"request":"capture","pending":true)",
      R"("call":"complete","thread":1,"board":"pcie0","handle":1,"request":"capture","of":3)",
      R"("call":"complete","thread":1,"board":"pcie0","handle":1,"request":"interval","of":1)",
  });
  const std::vector<Part> pairs{{0, 3}, {1, 2}};
  EXPECT_EQ(pairs, dialogues(*script));
  EXPECT_EQ(pairs, singleCalls(*script, {0, 1, 2, 3}));
  EXPECT_EQ((Steps{1, 2}), stepsOf(pairs, {1}));
  EXPECT_EQ((Steps{0, 1, 2, 3}), stepsOf(pairs, {0, 1}));
}

TEST_F(RecordingPartsTest, PartIsACompleteRecording) {
  const auto script = scriptOf({
      R"("call":"sleep","thread":1,"a":1)",
      R"("call":"sleep","thread":1,"a":2)",
      R"("call":"sleep","thread":1,"a":3)",
  });
  writePart(*script, {0, 2}, KeptFrames::inPlace, other);
  EXPECT_EQ(R"({"recording":1,"program":"p.exe","frames":true}
{"call":"sleep","thread":1,"a":1,"n":1,"e":2}
{"call":"sleep","thread":1,"a":3,"n":5,"e":6}
{"call":"end","a":2}
)",
            contentOf(other));
  const Script part(other);
  EXPECT_TRUE(part.hasEnd());
  EXPECT_EQ(2U, part.steps().size());
}

TEST_F(RecordingPartsTest, FramesOfThePartAreCopiedOnce) {
  write(path + ".frames", "aaaabbbbcccc");
  const auto script = scriptOf({
      R"("call":"request","thread":1,"board":"usb0","request":"pipe","a":2,"imageBytes":4,"imageKept":true)",
      R"("call":"request","thread":1,"board":"usb0","request":"pipe","a":2,"imageBytes":4,"imageKept":true,"imageAt":8)",
      R"("call":"request","thread":1,"board":"usb0","request":"pipe","a":2,"imageBytes":4,"imageKept":true,"imageAt":8)",
  });
  writePart(*script, {1, 2}, KeptFrames::copied, other);
  EXPECT_EQ("cccc", contentOf(other + ".frames"));
  const Script part(other);
  LineMemory memory;
  for (const std::uint32_t step : {0U, 1U}) {
    EXPECT_TRUE(part.line(step, memory).image.isKept);
    EXPECT_EQ(0U, part.line(step, memory).image.at);
  }
}

TEST_F(RecordingPartsTest, FramesCanBeLeftOut) {
  write(path + ".frames", "aaaa");
  const auto script = scriptOf({
      R"("call":"request","thread":1,"board":"usb0","request":"pipe","a":2,"imageBytes":4,"imageKept":true)",
  });
  writePart(*script, {0}, KeptFrames::none, other);
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA((other + ".frames").c_str()));
  const Script part(other);
  LineMemory memory;
  EXPECT_FALSE(part.hasFrames());
  EXPECT_EQ(4U, part.line(0, memory).image.bytes);
  EXPECT_FALSE(part.line(0, memory).image.isKept);
}

TEST_F(RecordingPartsTest, MissingFramesAreTold) {
  write(path + ".frames", "aa");
  const auto script = scriptOf({
      R"("call":"request","thread":1,"board":"usb0","request":"pipe","a":2,"imageBytes":4,"imageKept":true)",
  });
  EXPECT_THROW(writePart(*script, {0}, KeptFrames::copied, other), RecordingError);
  EXPECT_THROW(writePart(*script, {0}, KeptFrames::none, testing::TempDir() + "nowhere\\x.jsonl"),
               RecordingError);
}

}  // namespace
