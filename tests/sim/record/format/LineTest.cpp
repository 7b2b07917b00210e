#include <gtest/gtest.h>

#include <string>

#include "sim/record/format/LineReader.h"
#include "sim/record/format/LineText.h"
#include "sim/record/format/RequestBytes.h"

namespace {

using namespace sim::record;

Bytes bytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), static_cast<std::uint32_t>(text.size())};
}

std::string written(const Line& line) {
  std::vector<char> buffer(longestLine);
  return {buffer.data(), writeLine(line, buffer)};
}

std::string reasonFor(const std::string& text) {
  LineMemory memory;
  try {
    readLine(text, memory);
  } catch (const LineError& error) {
    return error.what();
  }
  return "";
}

Line wholeLine(const std::string& text, const std::string& in, const std::string& out) {
  Line line;
  line.call = Call::request;
  line.pending = true;
  line.statusKept = true;
  line.board = {1, 12};
  line.thread = 3;
  line.n = 5000000000;
  line.e = 5000000001;
  line.t = 7;
  line.d = 8;
  line.of = 9;
  line.handle = 10;
  line.code = 0x80002018;
  line.a = 11;
  line.b = 12;
  line.size = 13;
  line.moved = 14;
  line.result = 15;
  line.error = 16;
  line.text = bytesOf(text);
  line.in = bytesOf(in);
  line.out = bytesOf(out);
  line.image = {100, 200, {1, 2, 3, 0xFFFFFFFF}, true, 6000000000};
  return line;
}

TEST(LineTest, EveryMemberComesBack) {
  const std::string text = std::string("a\"\\\x01\xFF\x00z", 7);
  const std::string in = std::string("\x00\xFF\x10", 3);
  const Line line = wholeLine(text, in, "out");
  const std::string first = written(line);
  LineMemory memory;
  const Line read = readLine(std::string_view(first).substr(0, first.size() - 1), memory);
  EXPECT_EQ(first, written(read));
  EXPECT_EQ(text, std::string(reinterpret_cast<const char*>(read.text.data), read.text.size));
  EXPECT_TRUE(sameBytes(line.in, read.in));
  EXPECT_EQ(line.n, read.n);
  EXPECT_EQ(line.image.hash, read.image.hash);
  EXPECT_EQ(line.image.at, read.image.at);
  EXPECT_EQ(line.board, read.board);
}

TEST(LineTest, MembersWithTheirFirstValueAreLeftOut) {
  Line line;
  line.call = Call::signal;
  line.thread = 1;
  line.n = 1;
  line.e = 2;
  EXPECT_EQ("{\"call\":\"signal\",\"thread\":1,\"n\":1,\"e\":2}\n", written(line));
}

TEST(LineTest, UnknownRequestsAreWrittenByTheirCode) {
  Line line;
  line.call = Call::request;
  line.board = {0, 0};
  line.thread = 1;
  line.n = 1;
  line.e = 2;
  line.code = 0x123ABC;
  const std::string text = written(line);
  EXPECT_NE(std::string::npos, text.find("\"request\":\"0x123abc\""));
  LineMemory memory;
  EXPECT_EQ(0x123ABCU, readLine(text.substr(0, text.size() - 1), memory).code);
}

TEST(LineTest, LongestTextsAndBytesFitIntoALine) {
  const std::string many(mostPayload + 5, '\xFF');
  const std::string text = written(wholeLine(many, many, many));
  EXPECT_LE(text.size(), longestLine);
  LineMemory memory;
  const Line read = readLine(text.substr(0, text.size() - 1), memory);
  EXPECT_EQ(mostPayload, read.in.size);
  EXPECT_EQ(mostPayload, read.out.size);
  EXPECT_EQ(mostText, read.text.size);
}

TEST(LineTest, WhatIsNoLineIsRefusedWithTheReason) {
  const std::string begin = R"({"call":"open","board":"usb0","thread":1,"n":1,"e":2)";
  EXPECT_EQ("", reasonFor(begin + "}"));
  EXPECT_EQ("", reasonFor("  " + begin + " , \"d\" : 3 } \r"));
  EXPECT_EQ("the line ends early", reasonFor(""));
  EXPECT_EQ("is no object of JSON", reasonFor("usb0 open"));
  EXPECT_EQ("the line ends early", reasonFor(begin));
  EXPECT_EQ("the line ends in a text", reasonFor(R"({"call":"op)"));
  EXPECT_EQ("something follows the object", reasonFor(begin + "} x"));
  EXPECT_EQ("a comma is missing", reasonFor(begin + " \"d\":3}"));
  EXPECT_EQ("a colon is missing", reasonFor(R"({"call" "open"})"));
  EXPECT_EQ("the key \"speed\" is unknown", reasonFor(begin + ",\"speed\":3}"));
  EXPECT_EQ("thread is there twice", reasonFor(begin + ",\"thread\":3}"));
  EXPECT_EQ("call is of an unknown kind", reasonFor(R"({"call":"jump"})"));
  EXPECT_EQ("call is missing", reasonFor("{}"));
  EXPECT_EQ("a number is missing or too large", reasonFor(begin + ",\"d\":99999999999999999999}"));
  EXPECT_EQ("a number is missing or too large", reasonFor(begin + ",\"d\":-1}"));
  EXPECT_EQ("error is too large", reasonFor(begin + ",\"error\":4294967296}"));
  EXPECT_EQ("true or false is missing", reasonFor(begin + ",\"pending\":1}"));
  EXPECT_EQ("in is not so many bytes in hexadecimal", reasonFor(begin + ",\"in\":\"123\"}"));
  EXPECT_EQ("in is not in hexadecimal", reasonFor(begin + ",\"in\":\"1g\"}"));
  EXPECT_EQ("imageHash is not 16 bytes in hexadecimal", reasonFor(begin + ",\"imageHash\":\"12\"}"));
  EXPECT_EQ("a text has an escape that means no byte", reasonFor(begin + R"(,"text":"\u0100"})"));
  EXPECT_EQ("a text has an escape that means no byte", reasonFor(begin + R"(,"text":"\x"})"));
  EXPECT_EQ("request has an unknown name", reasonFor(begin + R"(,"request":"fly"})"));
}

TEST(LineTest, LinesThatMakeNoSenseAreRefused) {
  EXPECT_EQ("thread is missing", reasonFor(R"({"call":"sleep","n":1,"e":2})"));
  EXPECT_EQ("n and e are no begin and end", reasonFor(R"({"call":"sleep","thread":1,"n":2,"e":2})"));
  EXPECT_EQ("board is missing", reasonFor(R"({"call":"close","thread":1,"n":1,"e":2})"));
  EXPECT_EQ("board is neither usb nor pcie",
            reasonFor(R"({"call":"close","thread":1,"n":1,"e":2,"board":"isa0"})"));
  EXPECT_EQ("board has no number", reasonFor(R"({"call":"close","thread":1,"n":1,"e":2,"board":"usb"})"));
  EXPECT_EQ("request is missing", reasonFor(R"({"call":"request","thread":1,"n":1,"e":2,"board":"usb0"})"));
  EXPECT_EQ("of names no earlier request",
            reasonFor(R"({"call":"complete","thread":1,"n":1,"e":2,"board":"pcie0","of":1})"));
}

}  // namespace
