// Delta debugging: the smallest part of a list that still does what the whole does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace sim::record {

enum class Verdict : std::uint8_t {
  same,       // what is left does it too
  different,  // it does not, or nobody knows
  stop        // no more trials
};

// Judges a part of the list, given by ascending indices.
using Trial = std::function<Verdict(const std::vector<std::uint32_t>& kept)>;

// Leaves out ever smaller pieces. When no verdict was stop, none of what is left can be left out by itself.
std::vector<std::uint32_t> minimise(std::size_t count, const Trial& trial);

}  // namespace sim::record
