#include "sim/pcie/Lut.h"

#include "sim/pcie/Protocol.h"

namespace sim::pcie {

namespace {

constexpr std::uint32_t lostBit = 1U << 9;

}  // namespace

bool Lut::transfer(bool isWrite, std::span<std::uint32_t> record, bool isBroken) {
  const std::uint32_t count = record[Word::lutCount];
  if (count == 0 || count > blockWords) return false;
  if (table_.empty()) table_.resize(words);
  if (isWrite != wasWrite_) position_ = 0;
  wasWrite_ = isWrite;
  for (std::uint32_t& word : record.subspan(Word::lutData, count)) {
    std::uint32_t& place = table_[position_];
    isWrite ? void(place = word) : void(word = place);
    if (isWrite && isBroken && position_ >= blockWords) place &= ~lostBit;
    position_ = (position_ + 1) % words;
  }
  if (count < blockWords) position_ = 0;
  return true;
}

}  // namespace sim::pcie
