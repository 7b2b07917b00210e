// Words in byte buffers. Callers may pass buffers at any address, so words are copied in and out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kvexa::convert {

template <typename Word>
Word loadWord(const std::uint8_t* bytes) {
  Word word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

template <typename Word>
void storeWord(std::uint8_t* bytes, Word word) {
  std::memcpy(bytes, &word, sizeof word);
}

inline const std::uint8_t* bytesOf(const void* memory) { return static_cast<const std::uint8_t*>(memory); }
inline std::uint8_t* bytesOf(void* memory) { return static_cast<std::uint8_t*>(memory); }

// A row of samples that starts at any address.
template <typename Sample>
class SampleRow {
 public:
  explicit SampleRow(const std::uint8_t* start) : start_(start) {}

  Sample operator[](std::size_t column) const { return loadWord<Sample>(start_ + column * sizeof(Sample)); }
  const std::uint8_t* bytes() const { return start_; }

 private:
  const std::uint8_t* start_;
};

}  // namespace kvexa::convert
