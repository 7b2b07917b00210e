// One line of a recording, in the form in which the recorder, the reader and the replay hold it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace sim::record {

// What a line is about. The names of the file's lines are in LineFields.cpp.
enum class Call : std::uint8_t {
  list,       // a list of devices is made: text = whose, result = 1 when it was
  interface,  // entry of a list: a = index
  path,       // path of an entry: a = index, size = bytes of the caller's record, result, text
  endList,
  open,  // text = path, a = access, b = flags
  close,
  request,       // DeviceIoControl
  complete,      // of a pended request: of = its order
  sleep,         // a = milliseconds
  signal,        // SetEvent; an order mark
  thread,        // a thread begins; an order mark
  wait,          // a wait for events or threads begins; an order mark
  deviceInfo,    // PCI functions from here: a = index
  property,      // a = property, size, out
  parameters,    // in = class install parameters
  install,       // a = function
  installState,  // out
  connect,
  locate,
  rescan,
  disconnect,
  folder,        // the Windows directory: text
  versionSize,   // text = path, result = bytes
  version,       // text = path, size, out
  versionValue,  // text = name, out
  lost,          // a = lines that were lost before this one
  end            // a = lines, b = lost ones
};
constexpr std::size_t callCount = static_cast<std::size_t>(Call::end) + 1;

// Bytes of somebody else.
struct Bytes {
  const std::uint8_t* data = nullptr;
  std::uint32_t size = 0;
};

// A board by type (BoardType of kvexa.h) and number; `none` beside boards.
struct BoardName {
  static constexpr std::uint32_t none = 0xFF;
  std::uint32_t type = none;
  std::uint32_t index = 0;
  bool operator==(const BoardName&) const = default;
};

// Image data: known by their hash, and kept whole in the side file when the recording has one.
struct Image {
  std::uint32_t bytes = 0;
  std::uint32_t offset = 0;  // in the program's buffer
  std::array<std::uint32_t, 4> hash{};
  bool isKept = false;
  std::uint64_t at = 0;  // in the side file
};

// Plain data, so that the recorder can copy it. A member that has its first value is not written.
struct Line {
  Call call = Call::end;
  bool pending = false;     // completed by a later line
  bool statusKept = false;  // USB: the driver did not clear the status word
  BoardName board;
  std::uint32_t thread = 0;  // from 1, in the order of first calls
  std::uint64_t n = 0;       // order of the begin; ends and completions count too
  std::uint64_t e = 0;       // order of the end
  std::uint64_t t = 0;       // microseconds since the start
  std::uint64_t d = 0;       // microseconds that it took
  std::uint64_t of = 0;
  std::uint32_t handle = 0;  // a file or a list, from 1
  std::uint32_t code = 0;    // of a request
  std::uint32_t a = 0;
  std::uint32_t b = 0;
  std::uint32_t size = 0;   // bytes that could come out
  std::uint32_t moved = 0;  // bytes that Windows tells of
  std::uint32_t result = 0;
  std::uint32_t error = 0;  // Windows error of a call that failed
  Bytes text;
  Bytes in;
  Bytes out;
  Image image;
};

// Lines that only say in which order threads went on.
constexpr bool isMark(Call call) {
  return call == Call::signal || call == Call::thread || call == Call::wait;
}

// What a file begins with.
struct Header {
  static constexpr std::uint32_t version = 1;
  std::uint32_t format = 0;
  bool isSimulated = false;
  bool isSimulatedTime = false;
  bool hasFrames = false;
  Bytes library;
  Bytes program;
  Bytes started;
};

// The longest line of a file, with everything in it.
constexpr std::size_t longestLine = std::size_t{1} << 19;
// More bytes of a call are kept by hash, like images.
constexpr std::uint32_t mostPayload = 0x10000;

}  // namespace sim::record
