#include "sim/attach/ProgramAttachment.h"

#include "sim/attach/ImportTable.h"

namespace sim {

ProgramAttachment& ProgramAttachment::instance() {
  static auto* const made = new ProgramAttachment;
  return *made;
}

ProgramAttachment::ProgramAttachment() : windows_(std::make_shared<Platform>()), replacements_(*windows_) {
  replacements_.use(windows_);
}

void ProgramAttachment::attach(HMODULE module) {
  for (const Redirected& each : replacements_.functions()) {
    for (void** entry : findImports(module, each.name)) {
      if (*entry != each.replacement) storeImport(entry, each.replacement);
    }
  }
}

void ProgramAttachment::use(const std::shared_ptr<Platform>& platform) {
  replacements_.use(platform != nullptr ? platform : windows_);
}

}  // namespace sim
