// Observes the library while it writes files: a test sees every write before it is done, and
// lets all of it, a part or nothing go to the file.
#pragma once

#include <windows.h>

#include <cstddef>
#include <functional>
#include <vector>

#include "sim/attach/ImportTable.h"

namespace kvexa::test {

// One at a time, and in front of the simulated machine, so made after it.
class LibraryWrites {
 public:
  LibraryWrites();
  ~LibraryWrites();
  LibraryWrites(const LibraryWrites&) = delete;
  LibraryWrites& operator=(const LibraryWrites&) = delete;

  // The k-th write, from 1, of so many bytes; returns how many of them the volume takes. Nothing of a write
  // of the system is a refusal of it, a part is none: that is how a volume gets full.
  std::function<std::size_t(unsigned k, std::size_t bytes)> onWrite;

  unsigned count() const { return count_; }
  void restart() { count_ = 0; }

 private:
  struct Functions;
  friend struct Functions;

  void patch(const char* name, void* replacement, void** original);
  std::size_t allowed(std::size_t bytes);

  std::vector<sim::ImportPatch> patches_;
  unsigned count_ = 0;
};

}  // namespace kvexa::test
