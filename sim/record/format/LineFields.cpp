#include "sim/record/format/LineFields.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include "sim/pcie/Protocol.h"
#include "sim/usb/Protocol.h"

namespace sim::record {

namespace {

using Kind = Field::Kind;

constexpr Field lineTable[] = {
    {"call", Kind::call, offsetof(Line, call)},
    {"thread", Kind::number32, offsetof(Line, thread)},
    {"n", Kind::number64, offsetof(Line, n)},
    {"e", Kind::number64, offsetof(Line, e)},
    {"t", Kind::number64, offsetof(Line, t)},
    {"d", Kind::number64, offsetof(Line, d)},
    {"board", Kind::board, offsetof(Line, board)},
    {"handle", Kind::number32, offsetof(Line, handle)},
    {"request", Kind::request, offsetof(Line, code)},
    {"of", Kind::number64, offsetof(Line, of)},
    {"a", Kind::number32, offsetof(Line, a)},
    {"b", Kind::number32, offsetof(Line, b)},
    {"text", Kind::text, offsetof(Line, text)},
    {"in", Kind::hex, offsetof(Line, in)},
    {"size", Kind::number32, offsetof(Line, size)},
    {"moved", Kind::number32, offsetof(Line, moved)},
    {"result", Kind::number32, offsetof(Line, result)},
    {"error", Kind::number32, offsetof(Line, error)},
    {"pending", Kind::flag, offsetof(Line, pending)},
    {"statusKept", Kind::flag, offsetof(Line, statusKept)},
    {"out", Kind::hex, offsetof(Line, out)},
    {"imageBytes", Kind::number32, offsetof(Line, image) + offsetof(Image, bytes)},
    {"imageOffset", Kind::number32, offsetof(Line, image) + offsetof(Image, offset)},
    {"imageHash", Kind::hash, offsetof(Line, image) + offsetof(Image, hash)},
    {"imageKept", Kind::flag, offsetof(Line, image) + offsetof(Image, isKept)},
    {"imageAt", Kind::number64, offsetof(Line, image) + offsetof(Image, at)},
};

constexpr Field headerTable[] = {
    {"recording", Kind::number32, offsetof(Header, format)},
    {"library", Kind::text, offsetof(Header, library)},
    {"program", Kind::text, offsetof(Header, program)},
    {"started", Kind::text, offsetof(Header, started)},
    {"simulated", Kind::flag, offsetof(Header, isSimulated)},
    {"simulatedTime", Kind::flag, offsetof(Header, isSimulatedTime)},
    {"frames", Kind::flag, offsetof(Header, hasFrames)},
};

constexpr std::array<const char*, callCount> callNames = {
    "list",       "interface",   "path",         "endList",      "open",   "close",      "request",
    "complete",   "sleep",       "signal",       "thread",       "wait",   "deviceInfo", "property",
    "parameters", "install",     "installState", "connect",      "locate", "rescan",     "disconnect",
    "folder",     "versionSize", "version",      "versionValue", "lost",   "end"};

constexpr std::uint32_t pcieCodes[] = {0x80002008, 0x8000200C, 0x80002010, 0x80002014, 0x80002018,
                                       0x80002020, 0x80002024, 0x80002028, 0x800020C8, 0x800020CC,
                                       0x800020D0, 0x800020D4, 0x800020D8, 0x80002190, 0x80002194};

}  // namespace

std::span<const Field> lineFields() { return lineTable; }
std::span<const Field> headerFields() { return headerTable; }

const char* callName(Call call) { return callNames[static_cast<std::size_t>(call)]; }

bool findCall(std::string_view name, Call& call) {
  const auto* const found =
      std::ranges::find(callNames, name, [](const char* each) { return std::string_view(each); });
  if (found == callNames.end()) return false;
  call = static_cast<Call>(found - callNames.begin());
  return true;
}

std::size_t requestName(std::uint32_t code, std::span<char, 16> name) {
  const pcie::Shape* const shape = pcie::findShape(code);
  const char* known = shape != nullptr ? shape->name : nullptr;
  if (code == usb::Control::pipeTransfer) known = "pipe";
  if (code == usb::Control::deviceDescriptor) known = "descriptor";
  if (known != nullptr) {
    const std::size_t length = std::strlen(known);
    std::memcpy(name.data(), known, length);
    return length;
  }
  std::memcpy(name.data(), "0x", 2);
  return static_cast<std::size_t>(std::to_chars(name.data() + 2, name.data() + name.size(), code, 16).ptr -
                                  name.data());
}

bool findRequest(std::string_view name, std::uint32_t& code) {
  if (name.starts_with("0x")) {
    const auto read = std::from_chars(name.data() + 2, name.data() + name.size(), code, 16);
    return read.ec == std::errc() && read.ptr == name.data() + name.size();
  }
  std::array<char, 16> known;
  const auto isIt = [&](std::uint32_t each) {
    return std::string_view(known.data(), requestName(each, known)) == name;
  };
  for (const std::uint32_t each : {usb::Control::pipeTransfer, usb::Control::deviceDescriptor}) {
    if (isIt(each)) return code = each, true;
  }
  const auto* const found = std::ranges::find_if(pcieCodes, isIt);
  if (found == std::end(pcieCodes)) return false;
  code = *found;
  return true;
}

}  // namespace sim::record
