#include "PcieLut.h"

#include "PcieProtocol.h"

namespace sim {

bool PcieLut::transfer(bool isWrite, std::span<std::uint32_t> record) {
  const std::uint32_t count = record[PcieWord::lutCount];
  if (count == 0 || count > pcieBlockWords) return false;
  if (table_.empty()) table_.resize(words);
  if (isWrite != wasWrite_) position_ = 0;
  wasWrite_ = isWrite;
  for (std::uint32_t& word : record.subspan(PcieWord::lutData, count)) {
    std::uint32_t& place = table_[position_];
    isWrite ? void(place = word) : void(word = place);
    position_ = (position_ + 1) % words;
  }
  if (count < pcieBlockWords) position_ = 0;
  return true;
}

}  // namespace sim
