// Attaches every copy of the library that a program loads, and never lets go of one.
#pragma once

#include <windows.h>

#include <memory>

#include "sim/attach/Redirection.h"

namespace sim {

// One for the whole process, which lives until the process ends: a thread may be inside a redirected call at
// any moment, so the entries of an import table are never set back. Without a platform every call passes on
// to Windows.
class ProgramAttachment {
 public:
  static ProgramAttachment& instance();

  // Redirects the module's imports. A second call for the same module changes nothing.
  void attach(HMODULE module);

  // Who answers from now on; null passes every call on to Windows.
  void use(const std::shared_ptr<Platform>& platform);
  std::shared_ptr<Platform> platform() const { return replacements_.platform(); }

 private:
  ProgramAttachment();

  std::shared_ptr<Platform> windows_;
  ReplacementSet replacements_;
};

}  // namespace sim
