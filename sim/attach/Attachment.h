// Puts a machine of simulated boards under a loaded module, by redirecting the entries of its import
// table. The module itself is the one that ships, unchanged.
#pragma once

#include <windows.h>

#include <memory>

namespace sim {

class Machine;
class Platform;
class Trace;

// Redirects `module`'s calls for device I/O, device enumeration and Sleep until it is destroyed. Destroy
// it before the module is unloaded, and when no thread of the module is running. Several modules may be
// attached at a time, each to a machine of its own. Attachments of one module nest: the newest answers,
// and goes first. Calls that have nothing to do with boards pass on to Windows.
class Attachment {
 public:
  // Simulated boards.
  Attachment(HMODULE module, Machine& machine);

  // Real boards: every call passes on to Windows, and the requests are written to the trace.
  Attachment(HMODULE module, Trace& trace);

  // Whoever answers.
  Attachment(HMODULE module, std::shared_ptr<Platform> platform);

  ~Attachment();
  Attachment(const Attachment&) = delete;
  Attachment& operator=(const Attachment&) = delete;

 private:
  struct Inside;
  std::unique_ptr<Inside> inside_;
};

}  // namespace sim
