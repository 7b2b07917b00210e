#include "sim/base/Trace.h"
#include "sim/usb/RequestText.h"

#include <gtest/gtest.h>

#include <array>
#include <numeric>

namespace {

using sim::Trace;
using sim::usb::requestText;
using Lines = std::vector<std::string>;

std::vector<std::uint8_t> counting(std::size_t count) {
  std::vector<std::uint8_t> bytes(count);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
  return bytes;
}

TEST(Trace, TakesLinesOnce) {
  Trace trace;
  trace.add("usb0 open");
  trace.add("usb0 close");
  EXPECT_EQ(trace.take(), (Lines{"usb0 open", "usb0 close"}));
  EXPECT_TRUE(trace.take().empty());
}

TEST(Trace, KeepsOneLineOfAThreadThatOnlyYields) {
  Trace trace;
  for (int i = 0; i < 100; ++i) trace.add("sleep 0");
  trace.add("sleep 10");
  trace.add("sleep 10");
  trace.add("sleep 0");
  EXPECT_EQ(trace.take(), (Lines{"sleep 0", "sleep 10", "sleep 10", "sleep 0"}));
}

TEST(Trace, ForgetsTheOldestLinesBeyondItsLimit) {
  Trace trace;
  for (std::size_t i = 0; i < Trace::mostLines + 3; ++i) trace.add(std::to_string(i));
  const Lines lines = trace.take();
  ASSERT_EQ(lines.size(), Trace::mostLines);
  EXPECT_EQ(lines.front(), "3");
}

TEST(Trace, WritesToAFileInsteadOfMemory) {
  std::FILE* file = std::tmpfile();
  ASSERT_NE(file, nullptr);
  Trace trace;
  trace.writeTo(file);
  trace.add("usb0 open");
  trace.add("sleep 10");
  trace.writeTo(nullptr);
  trace.add("usb0 close");
  std::rewind(file);
  std::array<char, 100> text{};
  const std::size_t length = std::fread(text.data(), 1, text.size(), file);
  std::fclose(file);
  EXPECT_EQ(std::string(text.data(), length), "usb0 open\nsleep 10\n");
  EXPECT_EQ(trace.take(), Lines{"usb0 close"});
}

TEST(Trace, IsWatchedWhateverBecomesOfItsLines) {
  Trace trace;
  std::vector<std::string> seen;
  std::vector<std::string> sent;
  trace.watch([&](const std::string& line) { seen.push_back(line); });
  trace.add("kept");
  trace.sendTo([&](const std::string& line) { sent.push_back(line); });
  trace.add("sent");
  trace.watch({});
  trace.add("unseen");
  EXPECT_EQ(seen, (std::vector<std::string>{"kept", "sent"}));
  EXPECT_EQ(sent, (std::vector<std::string>{"sent", "unseen"}));
  EXPECT_EQ(trace.take(), (std::vector<std::string>{"kept"}));
}

TEST(Trace, ShowsWhatGoesOut) {
  const std::vector<std::uint8_t> packet = {0x01, 0x36, 0x12, 0x01, 0x00, 0x34};
  EXPECT_EQ(requestText("usb0", {3, 1000, packet, 6}), "usb0 pipe3 out 1000ms [01 36 12 01 00 34]");
  EXPECT_EQ(requestText("usb1", {3, 1000, {}, 0}), "usb1 pipe3 out 1000ms []");
  EXPECT_EQ(requestText("usb0", {3, 1000, packet, 0, 31, false}),
            "usb0 pipe3 out 1000ms [01 36 12 01 00 34] -> error 31");
  EXPECT_EQ(requestText("usb0", {3, 1000, packet, 6, 0, false}),
            "usb0 pipe3 out 1000ms [01 36 12 01 00 34] -> status kept");
}

TEST(Trace, CutsLongPackets) {
  const std::vector<std::uint8_t> exact = counting(256);
  const std::vector<std::uint8_t> longer = counting(257);
  EXPECT_TRUE(requestText("usb0", {3, 1, exact, 256}).ends_with(" fd fe ff]"));
  EXPECT_TRUE(requestText("usb0", {3, 1, longer, 257}).ends_with(" fd fe ff ..]"));
}

TEST(Trace, ShowsSixteenOfTheBytesThatCameIn) {
  const std::vector<std::uint8_t> bytes = counting(64);
  EXPECT_EQ(requestText("usb0", {1, 1000, bytes, 64}),
            "usb0 pipe1 in 1000ms 64/64 [00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f ..]");
  EXPECT_EQ(requestText("usb0", {4, 1000, bytes, 3}), "usb0 pipe4 in 1000ms 3/64 [00 01 02]");
  EXPECT_EQ(requestText("usb0", {1, 1000, bytes, 0, 121, false}),
            "usb0 pipe1 in 1000ms 0/64 [] -> error 121");
}

TEST(Trace, HidesImageData) {
  const std::vector<std::uint8_t> bytes = counting(64);
  EXPECT_EQ(requestText("usb0", {2, 200, bytes, 60}), "usb0 pipe2 in 200ms 60/64");
}

}  // namespace
