#include "cli/selftest/Check.h"

#include <kvexa.hpp>

#include <cstdio>

namespace cli::selftest {

std::string hex(std::uint32_t value, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%0*X", digits, static_cast<unsigned>(value));
  return text;
}

std::string resultText(std::int32_t result) {
  const kvexa::ResultText* const known = kvexa::findResult(result);
  return std::to_string(result) + (known == nullptr ? "" : " (" + std::string(known->name) + ")");
}

void expect(bool condition, const std::string& expected, const std::string& found) {
  if (!condition) throw Departure(expected, found);
}

void expectEqual(const std::string& what, std::uint64_t expected, std::uint64_t found) {
  expect(expected == found, what + " " + std::to_string(expected), std::to_string(found));
}

void expectHex(const std::string& where, std::uint32_t expected, std::uint32_t found) {
  expect(expected == found, hex(expected) + " " + where, hex(found));
}

void expectResult(const std::string& call, std::int32_t expected, std::int32_t found) {
  expect(expected == found, call + " to return " + resultText(expected), resultText(found));
}

}  // namespace cli::selftest
