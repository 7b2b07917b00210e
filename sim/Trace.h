// Every request that reaches a simulated board, as one readable line each.
#pragma once

#include <cstdio>
#include <mutex>
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
// (" .." behind them when there are more); image data (pipe 2) are not shown. Outbound lines show at
// most 256 bytes. A request that the driver refuses ends with " -> error 31" (the Windows error); one
// that it accepts without clearing its status word ends with " -> status kept".
class Trace {
 public:
  void add(std::string line);

  // The lines since the last call, which are then forgotten.
  std::vector<std::string> take();

  // Also writes every line to the file from now on, and keeps no lines in memory; null stops that. The
  // caller owns the file.
  void writeTo(std::FILE* file);

 private:
  std::mutex mutex_;
  std::vector<std::string> lines_;
  std::FILE* file_ = nullptr;
};

}  // namespace sim
