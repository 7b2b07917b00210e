#include "tests/support/ExpectedTrace.h"

#include <cstdio>

namespace kvexa::test {

namespace {

std::string withoutAnswer(std::string line) {
  if (line.find(" in ") == std::string::npos) return line;
  const auto start = line.find(" [");
  const auto end = line.rfind(']');
  if (start != std::string::npos && end != std::string::npos) line.erase(start, end + 1 - start);
  return line;
}

std::string hexadecimal(unsigned byte) {
  char digits[4];
  std::snprintf(digits, sizeof digits, "%02x", byte & 0xFFU);
  return digits;
}

std::string pipeName(unsigned pipe) { return "usb0 pipe" + std::to_string(pipe); }

unsigned low(unsigned value) { return value & 0xFFU; }
unsigned high(unsigned value) { return (value >> 8) & 0xFFU; }

// Two data bytes to target 0x80.
std::string writePacket(unsigned subAddress, unsigned value) {
  return out(3, {0x01, 0x80, subAddress, 0x02, 0x00, low(value), high(value)});
}

std::string readHeader(unsigned subAddress) { return out(3, {0x00, 0x80, subAddress, 0x02, 0x00}); }

}  // namespace

std::string traceText(const std::vector<std::string>& lines) {
  std::string text;
  for (const auto& line : lines) text += withoutAnswer(line) + "\n";
  return text;
}

std::string out(unsigned pipe, const std::vector<unsigned>& bytes) {
  std::string list;
  for (const unsigned byte : bytes) {
    if (!list.empty()) list += ' ';
    list += hexadecimal(byte);
  }
  return pipeName(pipe) + " out 1000ms [" + list + "]\n";
}

std::string in(unsigned pipe, unsigned byteCount) {
  const auto count = std::to_string(byteCount);
  return pipeName(pipe) + " in 1000ms " + count + "/" + count + "\n";
}

std::string sleep(unsigned milliseconds) { return "sleep " + std::to_string(milliseconds) + "\n"; }

std::string repeat(unsigned times, const std::string& lines) {
  std::string text;
  for (unsigned i = 0; i < times; ++i) text += lines;
  return text;
}

std::string refused(std::string line) {
  line.pop_back();
  return line + " -> error 31\n";
}

std::string imageRead(unsigned byteCount, unsigned timeout) {
  const auto count = std::to_string(byteCount);
  return "usb0 pipe2 in " + std::to_string(timeout) + "ms " + count + "/" + count + "\n";
}

std::string statusReading() { return out(0, {0x00, 0x00}) + in(1, 64); }

std::string pipeReset() { return out(0, {0x01}) + in(1, 1); }

std::string command(unsigned number) { return out(3, {0x01, 0x81, number}); }

std::string polledWrite(unsigned subAddress, unsigned value) {
  return writePacket(subAddress, value) + statusReading();
}

std::string polledRead(unsigned subAddress) { return readHeader(subAddress) + statusReading() + in(4, 7); }

std::string simpleWrite(unsigned subAddress, unsigned value) {
  return writePacket(subAddress, value) + statusReading();
}

std::string simpleRead(unsigned subAddress) { return readHeader(subAddress) + in(4, 7) + statusReading(); }

std::string boardRead(unsigned address) { return polledWrite(0, address) + polledRead(1); }

std::string boardWrite(unsigned address, unsigned value) {
  return polledWrite(0, address) + polledWrite(1, value);
}

}  // namespace kvexa::test
