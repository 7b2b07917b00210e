// Every request that reaches a simulated board, as one readable line each.
#pragma once

#include <cstdint>
#include <cstdio>
#include <deque>
#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <vector>

namespace sim {

// Lines look like this (bytes in two hexadecimal digits; ms is the request's time-out):
//   usb0 open
//   usb0 pipe3 out 1000ms [01 36 12 01 00 34]
//   usb0 pipe1 in 1000ms 64/64 [00 00 00 00 60 00 33 00 00 00 00 00 00 00 00 00 ..]
//   usb0 pipe4 in 1000ms 7/7 [00 80 01 02 00 ff 00]
//   usb0 pipe2 in 200ms 1048576/1048576
//   usb0 descriptor 18/18
//   usb0 close
//   sleep 10
// Inbound lines give the bytes moved, then the bytes asked for, then at most 16 of the bytes moved
// (" .." after them when there are more); image data (pipe 2) are not shown. Outbound lines show at
// most 256 bytes. A request that the driver refuses ends with " -> error 31" (the Windows error); one
// that it accepts without clearing its status word ends with " -> status kept".
//
// Requests to PCIe boards name the request and the 32-bit words of the record that goes in:
//   pcie0 writeRegister [00000000 00000214 00000008] -> 00000000
//   pcie0 readRegister [00000000 00000214 00000000] -> 00000000 00000008
//   pcie0 stop [00000000] -> error 31
//   pcie0 capture [00000000 0063fd20 00001000 00000001 00000000 000002bc 00000001] pending
//   pcie0 capture complete 00000000
//   pcie0 writeBlock [00000000 00000001 00000001 00000002 00000000 00000104 00000036 00000000 00000002
//     00000002 00000080] pending                                                  (in one line)
// After the arrow comes the driver's status word, then what the driver filled in: a register's value
// always, a measurement's three words and the data of a block only when the status is 0. Of data at most 16
// words are shown (" .." after them when there are more); data that go the other way are not part of the
// record. A request that stays pending has a second line, when the driver completes it. The other requests
// are called lockMemory, unlockMemory, writeSensor, readSensor, autoActual, interval, cancelInterval,
// readBlock, readLut and writeLut. The restart of PCI functions is described in PciBus.h.
class Trace {
 public:
  // Lines kept in memory; when nobody takes them the oldest are forgotten. A thread that only yields
  // ("sleep 0" again and again) fills one line.
  static constexpr std::size_t mostLines = std::size_t{1} << 18;

  void add(std::string line);

  // The lines since the last call, which are then forgotten.
  std::vector<std::string> take();

  // Hands every line to the function from now on, and keeps no lines in memory; an empty one stops that. It
  // is called by one thread at a time, on whatever thread the line comes from.
  using Sink = std::function<void(const std::string& line)>;
  void sendTo(Sink sink);

  // Hands every line to the function as well, whatever else becomes of it; an empty one stops that.
  void watch(Sink watcher);

  // The same as sendTo for a file, which the caller owns; null stops it.
  void writeTo(std::FILE* file);

 private:
  std::mutex mutex_;
  std::deque<std::string> lines_;
  Sink sink_;
  Sink watcher_;
  bool yielding_ = false;
};

// " -> error 31", " -> status kept", or nothing.
std::string outcome(std::uint32_t error, bool statusReported);

}  // namespace sim
