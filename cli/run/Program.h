// A program that is started with kvexa_sim.dll in it.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace cli {

struct HandleCloser {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const;
};
using UniqueHandle = std::unique_ptr<void, HandleCloser>;

// What a program reads and writes; it inherits them.
struct Streams {
  HANDLE input = nullptr;
  HANDLE output = nullptr;
  HANDLE error = nullptr;
};
Streams ownStreams();

// What the program starts when it ends early: stays, as its own affair, or ends with it.
enum class Children : std::uint8_t { stay, endToo };

// Ends with this process at the latest.
class Program {
 public:
  // The environment says what its boards are. Throws RunFailure.
  Program(const std::wstring& commandLine, const Streams& streams, Children children);

  // Its exit code; nothing when the time has passed first.
  std::optional<std::uint32_t> awaitEnd(DWORD milliseconds) const;

  void end() const;

 private:
  UniqueHandle process_;
  UniqueHandle job_;
};

}  // namespace cli
