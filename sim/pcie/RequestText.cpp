#include "sim/pcie/RequestText.h"

#include <algorithm>
#include <cstdio>

namespace sim::pcie {

namespace {

constexpr std::size_t mostDataWords = 16;

std::string hexadecimal(std::uint32_t word) {
  char digits[9];
  std::snprintf(digits, sizeof digits, "%08x", static_cast<unsigned>(word));
  return digits;
}

void append(std::string& text, std::span<const std::uint32_t> words) {
  for (const std::uint32_t word : words)
    text.append(text.ends_with('[') ? "" : " ").append(hexadecimal(word));
}

// The count may be any word of the host's.
void appendData(std::string& text, const Shape& shape, std::span<const std::uint32_t> words) {
  const auto data = words.subspan(shape.headerWords);
  const std::size_t count = std::min<std::size_t>(words[shape.data.countAt], data.size());
  append(text, data.first(std::min(count, mostDataWords)));
  if (count > mostDataWords) text += " ..";
}

// A word that the driver fills whatever becomes of the request.
bool isAlwaysShown(const Shape& shape) { return shape.answerWords == 1; }

}  // namespace

std::string requestText(const std::string& board, const Shape& shape, std::span<const std::uint32_t> words) {
  std::string text = board + " " + shape.name + " [";
  append(text, words.first(shape.headerWords));
  if (shape.data.countAt != 0 && shape.data.goesIn) appendData(text, shape, words);
  return text + "]";
}

std::string answerText(const Shape& shape, std::span<const std::uint32_t> words) {
  const std::uint32_t status = words[Word::status];
  std::string text = hexadecimal(status);
  if (status == 0 || isAlwaysShown(shape)) append(text, words.subspan(shape.answerAt, shape.answerWords));
  if (status == 0 && shape.data.countAt != 0 && !shape.data.goesIn) appendData(text, shape, words);
  return text;
}

}  // namespace sim::pcie
