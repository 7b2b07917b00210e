#include "sim/attach/Attachment.h"

#include <cstring>
#include <vector>

#include "sim/attach/ImportTable.h"
#include "sim/attach/Platforms.h"

namespace sim {

struct Attachment::Inside {
  Inside(HMODULE module, std::shared_ptr<Platform> answers)
      : platform(std::move(answers)), replacements(*platform) {
    replacements.use(platform);
    for (const Redirected& each : replacements.functions()) redirect(module, each);
  }

  void redirect(HMODULE module, const Redirected& function) {
    for (void** entry : findImports(module, function.name)) {
      void* const original = *entry;
      std::memcpy(reinterpret_cast<char*>(&platform->originals()) + function.original, &original,
                  sizeof original);
      patches.emplace_back(entry, function.replacement);
    }
  }

  std::shared_ptr<Platform> platform;
  ReplacementSet replacements;
  std::vector<ImportPatch> patches;  // last, so that the imports are restored first
};

Attachment::Attachment(HMODULE module, Machine& machine)
    : inside_(std::make_unique<Inside>(module, makeSimulatedPlatform(machine))) {}

Attachment::Attachment(HMODULE module, Trace& trace)
    : inside_(std::make_unique<Inside>(module, makeTracedPlatform(trace))) {}

Attachment::Attachment(HMODULE module, std::shared_ptr<Platform> platform)
    : inside_(std::make_unique<Inside>(module, std::move(platform))) {}

Attachment::~Attachment() = default;

}  // namespace sim
