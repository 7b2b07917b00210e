#include "sim/record/shorten/Minimising.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

using sim::record::minimise;
using sim::record::Verdict;
using Kept = std::vector<std::uint32_t>;

bool holds(const Kept& kept, const Kept& needed) { return std::ranges::includes(kept, needed); }

// A failure that needs certain ones.
sim::record::Trial needing(const Kept& needed, unsigned& trials) {
  return [needed, &trials](const Kept& kept) {
    ++trials;
    return holds(kept, needed) ? Verdict::same : Verdict::different;
  };
}

TEST(MinimisingTest, WhatIsNeededStays) {
  for (const Kept& needed : {Kept{}, Kept{0}, Kept{99}, Kept{3, 4, 50}, Kept{0, 17, 18, 19, 64, 98}}) {
    unsigned trials = 0;
    EXPECT_EQ(needed, minimise(100, needing(needed, trials)));
    EXPECT_LT(trials, 200U);
  }
}

TEST(MinimisingTest, OneOrNoneIsTriedToo) {
  unsigned trials = 0;
  EXPECT_EQ(Kept{}, minimise(0, needing({}, trials)));
  EXPECT_EQ(0U, trials);
  EXPECT_EQ(Kept{}, minimise(1, needing({}, trials)));
  EXPECT_EQ(Kept{0}, minimise(1, needing({0}, trials)));
}

// Of pairs both go or none does, in an order in which the first sweep misses some.
TEST(MinimisingTest, NoneOfTheRestCanBeLeftOutByItself) {
  std::mt19937 random(7);
  for (unsigned round = 0; round < 50; ++round) {
    constexpr std::uint32_t count = 40;
    std::vector<std::uint32_t> needs(count);  // each needs another one
    for (auto& each : needs) each = random() % count;
    const std::uint32_t wanted = random() % count;
    const auto fails = [&](const Kept& kept) {
      const auto has = [&](std::uint32_t each) { return std::ranges::binary_search(kept, each); };
      return has(wanted) && std::ranges::all_of(kept, [&](std::uint32_t each) { return has(needs[each]); });
    };
    const Kept kept =
        minimise(count, [&](const Kept& part) { return fails(part) ? Verdict::same : Verdict::different; });
    for (const std::uint32_t left : kept) {
      Kept rest = kept;
      std::erase(rest, left);
      EXPECT_FALSE(fails(rest));
    }
  }
}

TEST(MinimisingTest, StopEndsItWithTheBestSoFar) {
  unsigned trials = 0;
  const auto some = needing({5}, trials);
  const Kept kept = minimise(64, [&](const Kept& part) { return trials == 3 ? Verdict::stop : some(part); });
  EXPECT_EQ(3U, trials);
  EXPECT_LT(kept.size(), 64U);
  EXPECT_TRUE(holds(kept, {5}));
}

}  // namespace
