// Changes of a loaded module's import table.
#pragma once

#include <windows.h>

#include <vector>

namespace sim {

// One entry of an import table that points elsewhere for as long as this lives.
class ImportPatch {
 public:
  ImportPatch(void** entry, void* replacement);
  ~ImportPatch();
  ImportPatch(ImportPatch&& other) noexcept;
  ImportPatch& operator=(ImportPatch&&) = delete;
  ImportPatch(const ImportPatch&) = delete;
  ImportPatch& operator=(const ImportPatch&) = delete;

  void* original() const { return original_; }

 private:
  void** entry_;
  void* original_;
};

// Writes an entry of an import table, which is read-only memory.
void storeImport(void** entry, void* value);

// The entries of the module's import table for a function, over all the libraries that it is imported
// from by name.
std::vector<void**> findImports(HMODULE module, const char* name);

}  // namespace sim
