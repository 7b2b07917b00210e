#include "sim/dll/Simulation.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "kvexa.h"
#include "sim/attach/Platforms.h"
#include "sim/attach/ProgramAttachment.h"
#include "sim/bench/Files.h"
#include "sim/dll/LoadWatch.h"
#include "sim/program/Variables.h"

namespace sim {

namespace {

constexpr UINT cannotRun = 126;  // as shells say that a program cannot be run

std::wstring variable(const wchar_t* name) {
  std::wstring value(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
  if (value.empty()) return value;
  value.resize(GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
  return value;
}

Description describedByEnvironment() {
  const std::string file = utf8Text(variable(variables::file));
  Description description = file.empty()
                                ? parseDescription(utf8Text(variable(variables::description)), "boards", ".")
                                : readDescription(file);
  const std::string trace = utf8Text(variable(variables::trace));
  if (!trace.empty()) description.trace = trace;
  if (variable(variables::time) == L"simulated") description.pace = Pace::simulated;
  return description;
}

// Starts the simulation at the first call that looks for boards, and hands that call on.
class StartingPlatform : public Platform {
 public:
  HDEVINFO getClassDevs(const GUID* interfaceClass, const char* enumerator, HWND owner,
                        DWORD flags) override {
    return started()->getClassDevs(interfaceClass, enumerator, owner, flags);
  }

  DWORD getFileVersionInfoSize(const char* path, DWORD* unused) override {
    return started()->getFileVersionInfoSize(path, unused);
  }

  CONFIGRET connectMachine(const char* name, HMACHINE* machine) override {
    return started()->connectMachine(name, machine);
  }

 private:
  // A program must not go on without its boards and not know it.
  static std::shared_ptr<Platform> started() noexcept {
    try {
      Simulation::instance().bench();
    } catch (const std::exception& error) {
      std::fprintf(stderr, "kvexa_sim: %s\n", error.what());
      TerminateProcess(GetCurrentProcess(), cannotRun);
    }
    return ProgramAttachment::instance().platform();
  }
};

}  // namespace

Simulation& Simulation::instance() {
  static auto* const made = new Simulation;
  return *made;
}

void Simulation::start(const Description& description) {
  const std::lock_guard lock(mutex_);
  if (bench_ || isDue_) throw SimulationRuns("a simulation runs already");
  begin(description);
}

void Simulation::begin(const Description& description) {
  removeRetired();
  auto bench = std::make_shared<DescribedBench>(description);
  watchLoads();
  const std::shared_ptr<Machine> machine(bench, &bench->machine());
  ProgramAttachment::instance().use(makeSimulatedPlatform(machine));
  bench_ = std::move(bench);
}

bool Simulation::stop() {
  const std::lock_guard lock(mutex_);
  if (std::exchange(isDue_, false)) {
    ProgramAttachment::instance().use(nullptr);
    return true;
  }
  if (!bench_) return false;
  for (const std::uint32_t type : {KVEXA_BOARD_USB, KVEXA_BOARD_PCIE}) {
    for (unsigned index = 0; bench_->plug(type, index, false); ++index) continue;
  }
  ProgramAttachment::instance().use(nullptr);
  retired_.push_back(std::move(bench_));
  removeRetired();
  return true;
}

std::shared_ptr<DescribedBench> Simulation::bench() {
  const std::lock_guard lock(mutex_);
  if (isDue_) {
    begin(describedByEnvironment());
    isDue_ = false;
  }
  return bench_;
}

void Simulation::removeRetired() {
  std::erase_if(retired_, [](const std::shared_ptr<DescribedBench>& each) { return each.use_count() == 1; });
}

bool Simulation::isDescribed() {
  return !variable(variables::description).empty() || !variable(variables::file).empty();
}

void Simulation::startWhenNeeded() {
  const std::lock_guard lock(mutex_);
  watchLoads();
  isDue_ = true;
  ProgramAttachment::instance().use(std::make_shared<StartingPlatform>());
}

}  // namespace sim
