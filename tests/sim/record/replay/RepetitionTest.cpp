#include "sim/record/replay/Repetition.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using sim::record::AskedCall;
using Calls = std::vector<AskedCall>;

// Each letter is a question; capital ones fetch frames.
Calls callsOf(const std::string& letters) {
  Calls calls;
  for (const char letter : letters) {
    calls.push_back({static_cast<std::uint32_t>(calls.size()), static_cast<std::uint32_t>(letter),
                     letter >= 'A' && letter <= 'Z'});
  }
  return calls;
}

std::optional<std::size_t> behind(const std::string& letters, std::size_t next, char key) {
  return sim::record::findBehindLoop(callsOf(letters), next, static_cast<std::uint32_t>(key));
}

std::optional<std::size_t> inside(const std::string& letters, std::size_t next, char key) {
  return sim::record::findInLoop(callsOf(letters), next, static_cast<std::uint32_t>(key));
}

TEST(RepetitionTest, FramesAreALoopByThemselves) {
  EXPECT_EQ(2U, behind("FGx", 0, 'x'));
  EXPECT_EQ(4U, behind("FGFGx", 2, 'x'));
  EXPECT_EQ(4U, behind("FGFGx", 1, 'x'));
  EXPECT_EQ(0U, inside("FGx", 2, 'F'));
  EXPECT_EQ(1U, inside("FGx", 2, 'G'));
}

TEST(RepetitionTest, TheNearestOneIsFound) {
  EXPECT_EQ(2U, behind("FGxFGx", 0, 'x'));
  EXPECT_EQ(4U, inside("FGFGFGx", 6, 'F'));
}

TEST(RepetitionTest, OtherCallsAreALoopWhenTheyStandThereTwice) {
  EXPECT_EQ(6U, behind("abcabcx", 3, 'x'));
  EXPECT_EQ(9U, behind("abcabcabcx", 6, 'x'));
  EXPECT_EQ(3U, inside("abcabcx", 6, 'a'));
  EXPECT_FALSE(behind("abcx", 0, 'x'));
  EXPECT_FALSE(inside("abcx", 3, 'a'));
}

TEST(RepetitionTest, WhatIsNoRepetitionIsNotPassedOver) {
  EXPECT_FALSE(behind("FGyFGx", 0, 'x'));
  EXPECT_FALSE(behind("abcabdx", 3, 'x'));
  EXPECT_FALSE(inside("FGyx", 3, 'F'));
  EXPECT_FALSE(behind("FG", 0, 'x'));
}

TEST(RepetitionTest, LongSeriesAreNoLoop) {
  const std::string series = "abcdefghijklmnopq";
  EXPECT_FALSE(behind(series + series + "x", series.size(), 'x'));
}

TEST(RepetitionTest, EndOfAThreadMayBeARepetition) {
  EXPECT_TRUE(sim::record::onlyRepeats(callsOf("FGFG"), 2));
  EXPECT_TRUE(sim::record::onlyRepeats(callsOf("FGF"), 2));
  EXPECT_TRUE(sim::record::onlyRepeats(callsOf("FG"), 2));
  EXPECT_FALSE(sim::record::onlyRepeats(callsOf("FGx"), 0));
}

}  // namespace
