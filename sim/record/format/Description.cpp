#include "sim/record/format/Description.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "sim/base/Trace.h"
#include "sim/pcie/RequestText.h"
#include "sim/record/format/LineFields.h"
#include "sim/usb/Protocol.h"
#include "sim/usb/RequestText.h"

namespace sim::record {

namespace {

std::string nameOf(const BoardName& board) {
  return (board.type == 0 ? "usb" : "pcie") + std::to_string(board.index);
}

std::string textOf(const Bytes& bytes) { return {reinterpret_cast<const char*>(bytes.data), bytes.size}; }

// As traces show what came in.
std::string bytesText(const Bytes& bytes) {
  constexpr std::uint32_t most = 16;
  constexpr char digits[] = "0123456789abcdef";
  std::string text = "[";
  for (std::uint32_t i = 0; i < std::min(bytes.size, most); ++i) {
    if (i != 0) text += ' ';
    text += digits[bytes.data[i] >> 4];
    text += digits[bytes.data[i] & 15];
  }
  return text + (bytes.size > most ? " ..]" : "]");
}

std::string pipeText(const Line& line) {
  if (usb::Pipe::isOutbound(line.a)) {
    return usb::requestText(
        nameOf(line.board),
        {line.a, line.b, {line.in.data, line.in.size}, line.moved, line.error, !line.statusKept});
  }
  std::string text = nameOf(line.board) + " pipe" + std::to_string(line.a) + " in " + std::to_string(line.b) +
                     "ms " + std::to_string(line.moved) + "/" + std::to_string(line.size);
  if (line.out.size != 0) text += " " + bytesText(line.out);
  return text + outcome(line.error, !line.statusKept);
}

// Words that the line does not have are those that went in, or 0.
std::vector<std::uint32_t> words(const pcie::Shape& shape, const Bytes& bytes) {
  std::vector<std::uint32_t> all(shape.words);
  if (bytes.size != 0) std::memcpy(all.data(), bytes.data, std::min<std::size_t>(bytes.size, all.size() * 4));
  return all;
}

std::string pcieText(const Line& line, const pcie::Shape& shape) {
  std::vector<std::uint32_t> record = words(shape, line.in);
  const std::string text = pcie::requestText(nameOf(line.board), shape, record);
  if (line.pending) return text + " pending";
  if (line.error != 0) return text + outcome(line.error, true);
  if (line.out.size != 0) {
    std::memcpy(record.data(), line.out.data, std::min<std::size_t>(line.out.size, record.size() * 4));
  }
  return text + " -> " + pcie::answerText(shape, record);
}

std::string otherText(const Line& line) {
  std::array<char, 16> name{};
  requestName(line.code, name);
  return nameOf(line.board) + " " + name.data() + " " + std::to_string(line.moved) + "/" +
         std::to_string(line.size) + outcome(line.error, true);
}

std::string requestLine(const Line& line) {
  if (line.code == usb::Control::pipeTransfer) return pipeText(line);
  const pcie::Shape* const shape = pcie::findShape(line.code);
  return shape != nullptr && line.in.size >= shape->headerWords * 4 ? pcieText(line, *shape)
                                                                    : otherText(line);
}

std::string completionText(const Line& line) {
  std::array<char, 16> name{};
  requestName(line.code, name);
  std::uint32_t status = 0;
  if (line.out.size != 0)
    std::memcpy(&status, line.out.data, std::min<std::size_t>(sizeof status, line.out.size));
  constexpr char digits[] = "0123456789abcdef";
  std::string text = nameOf(line.board) + " " + name.data() + " complete ";
  for (int shift = 28; shift >= 0; shift -= 4) text += digits[status >> shift & 15];
  return text + (line.result != 0 ? outcome(line.result, true) : "");
}

// Calls whose first number matters to people.
bool hasNumber(Call call) {
  return call == Call::sleep || call == Call::interface || call == Call::path || call == Call::deviceInfo ||
         call == Call::property || call == Call::install || call == Call::lost || call == Call::end;
}

}  // namespace

std::string described(const Line& line) {
  if (line.call == Call::request) return requestLine(line);
  if (line.call == Call::complete) return completionText(line);
  if (line.call == Call::open || line.call == Call::close) {
    return nameOf(line.board) + " " + callName(line.call) + outcome(line.error, true);
  }
  std::string text = callName(line.call);
  if (hasNumber(line.call)) text += " " + std::to_string(line.a);
  if (line.text.size != 0) text += " " + textOf(line.text);
  return text + outcome(line.error, true);
}

}  // namespace sim::record
