#include "sim/record/format/RecordingReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace {

using namespace sim::record;

const std::string header = "{\"recording\":1,\"program\":\"p.exe\"}\n";
const std::string sleep = R"({"call":"sleep","thread":1,"n":1,"e":2,"a":5})";
const std::string later = R"({"call":"sleep","thread":1,"n":3,"e":4,"a":6})";

// Hands out a few bytes at a time.
RecordingReader::Source pieces(const std::string& text, std::size_t bytes) {
  return [text, bytes, at = std::size_t{0}](std::span<char> buffer) mutable {
    const std::size_t count = std::min({bytes, buffer.size(), text.size() - at});
    std::memcpy(buffer.data(), text.data() + at, count);
    at += count;
    return count;
  };
}

std::string reasonFor(const std::string& text) {
  try {
    RecordingReader reader(pieces(text, 1000), "file");
    for (Line line; reader.next(line);) continue;
  } catch (const RecordingError& error) {
    return error.what();
  }
  return "";
}

TEST(RecordingReaderTest, LinesComeWithTheirPlaces) {
  const std::string text = header + sleep + "\n" + later + "\n{\"call\":\"end\",\"a\":2}\n";
  for (const std::size_t bytes : {1U, 7U, 100000U}) {
    RecordingReader reader(pieces(text, bytes), "file");
    Line line;
    ASSERT_TRUE(reader.next(line));
    EXPECT_EQ(5U, line.a);
    EXPECT_EQ(2U, reader.lineNumber());
    EXPECT_EQ(header.size(), reader.lineStart());
    ASSERT_TRUE(reader.next(line));
    EXPECT_EQ(6U, line.a);
    EXPECT_EQ(header.size() + sleep.size() + 1, reader.lineStart());
    EXPECT_FALSE(reader.hasEnd());
    ASSERT_TRUE(reader.next(line));
    EXPECT_TRUE(reader.hasEnd());
    EXPECT_FALSE(reader.next(line));
    EXPECT_EQ("p.exe", std::string(reinterpret_cast<const char*>(reader.header().program.data),
                                   reader.header().program.size));
  }
}

TEST(RecordingReaderTest, WhatIsNoRecordingIsRefused) {
  EXPECT_EQ("file:1: is empty, so no recording", reasonFor(""));
  EXPECT_EQ("file:1: is no recording: is no object of JSON", reasonFor("usb0 open\n"));
  EXPECT_EQ("file:1: is no recording: is no recording", reasonFor("{}\n"));
  EXPECT_EQ("file:1: is cut off: the line does not end", reasonFor("{\"recording\":1}"));
}

TEST(RecordingReaderTest, NewerFormatsAreRefusedWithTheirNumber) {
  EXPECT_EQ("file:1: is a recording of format 2; this program reads formats up to 1",
            reasonFor("{\"recording\":2}\n"));
}

TEST(RecordingReaderTest, CutAndEditedLinesAreNamed) {
  EXPECT_EQ("file:3: is cut off: the line does not end", reasonFor(header + sleep + "\n" + later));
  EXPECT_EQ("file:3: comes out of order: e is 2 after 2", reasonFor(header + sleep + "\n" + sleep + "\n"));
  EXPECT_EQ("file:3: is no object of JSON", reasonFor(header + sleep + "\nx\n" + later + "\n"));
  EXPECT_EQ("file:3: follows the last line", reasonFor(header + "{\"call\":\"end\"}\n" + sleep + "\n"));
}

TEST(RecordingReaderTest, EndlessLinesAreNotReadIntoMemory) {
  EXPECT_EQ("file:2: is longer than a line of a recording",
            reasonFor(header + std::string(longestLine * 4, ' ')));
}

}  // namespace
