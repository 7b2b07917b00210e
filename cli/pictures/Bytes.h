// Bytes of a file in memory, with numbers in either order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace pictures {

using Bytes = std::vector<std::uint8_t>;

inline void append(Bytes& bytes, std::string_view text) {
  bytes.insert(bytes.end(), text.begin(), text.end());
}

template <unsigned Size>
void appendLittle(Bytes& bytes, std::uint32_t value) {
  for (unsigned i = 0; i < Size; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

template <unsigned Size>
void appendBig(Bytes& bytes, std::uint32_t value) {
  for (unsigned i = Size; i-- > 0;) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

}  // namespace pictures
