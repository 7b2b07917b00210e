// The PCIe board's debug look-up table.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace sim::pcie {

// Blocks carry no address: each continues the one before. A block of less than the most words, or one in
// the other direction, ends the transfer; the next one begins at the table's start. Behind the table's end it
// goes on at its start.
class Lut {
 public:
  static constexpr std::size_t words = 65536;

  // The request's record. False when its count is 0 or too large.
  // A broken one loses a bit of all words behind the first block.
  bool transfer(bool isWrite, std::span<std::uint32_t> record, bool isBroken = false);

  std::uint32_t word(std::size_t index) const { return table_.empty() ? 0 : table_.at(index); }

 private:
  std::vector<std::uint32_t> table_;  // empty until it is used
  std::size_t position_ = 0;
  bool wasWrite_ = false;
};

}  // namespace sim::pcie
