#include "sim/record/format/RequestBytes.h"

#include <algorithm>
#include <cstring>

#include "sim/pcie/Protocol.h"

namespace sim::record {

namespace {

constexpr std::uint32_t wordBytes = sizeof(std::uint32_t);

std::uint32_t wordAt(std::span<const std::uint8_t> record, std::size_t word) {
  std::uint32_t value = 0;
  std::memcpy(&value, record.data() + word * wordBytes, sizeof value);
  return value;
}

// The words that hold addresses, or the driver's handle.
struct AddressWord {
  pcie::Request request;
  std::uint32_t word;
};
constexpr AddressWord addressWords[] = {{pcie::Request::capture, pcie::Word::captureBuffer},
                                        {pcie::Request::lockMemory, pcie::Word::regionStart},
                                        {pcie::Request::unlockMemory, pcie::Word::regionStart},
                                        {pcie::Request::cancelInterval, pcie::Word::status}};

}  // namespace

std::uint32_t bytesThatGoIn(std::uint32_t code, std::span<const std::uint8_t> record) {
  const auto whole = static_cast<std::uint32_t>(record.size());
  const pcie::Shape* const shape = pcie::findShape(code);
  if (shape == nullptr || whole != shape->words * wordBytes) return whole;
  std::size_t words = shape->headerWords;
  if (shape->data.countAt != 0 && shape->data.goesIn) {
    // The count may be any word of the program's.
    words += std::min<std::size_t>(wordAt(record, shape->data.countAt), shape->words - words);
  }
  return static_cast<std::uint32_t>(words) * wordBytes;
}

std::uint32_t changedBytes(std::span<const std::uint8_t> before, std::span<const std::uint8_t> after) {
  std::size_t count = std::min(before.size(), after.size());
  while (count != 0 && before[count - 1] == after[count - 1]) --count;
  return static_cast<std::uint32_t>(count);
}

bool isAddress(std::uint32_t code, std::uint32_t at) {
  return std::ranges::any_of(addressWords, [&](const AddressWord& each) {
    return static_cast<std::uint32_t>(each.request) == code && each.word == at / wordBytes;
  });
}

// Of a PCIe board the record's first word tells what became of a request, and the program's own zero stays
// there when all went well. The cancelling of an interval sends something else in it.
bool isFailure(const Line& line) {
  if (line.error != 0 || line.statusKept) return true;
  const bool isAnswer = line.call == Call::complete || (line.call == Call::request && !line.pending);
  if (!isAnswer || line.board.type != 1 ||
      line.code == static_cast<std::uint32_t>(pcie::Request::cancelInterval)) {
    return false;
  }
  return statusWord(line) != 0 || (line.call == Call::complete && line.result != 0);
}

std::uint32_t statusWord(const Line& line) {
  std::uint32_t status = 0;
  if (line.out.size != 0) {
    std::memcpy(&status, line.out.data, std::min<std::size_t>(sizeof status, line.out.size));
  }
  return status;
}

std::uint32_t firstDifference(std::uint32_t code, const Bytes& a, const Bytes& b) {
  const std::uint32_t count = std::min(a.size, b.size);
  if (count == 0) return 0;
  if (std::memcmp(a.data, b.data, count) == 0) return count;
  std::uint32_t at = 0;
  while (at < count && (a.data[at] == b.data[at] || isAddress(code, at))) ++at;
  return at;
}

}  // namespace sim::record
