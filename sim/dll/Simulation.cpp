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
#include "sim/record/recording/RecordingPlatform.h"
#include "sim/record/replay/ReplayPlatform.h"

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

// Processes of one run write recordings of their own: beside a file that has something in it already.
std::string freeName(const std::string& path) {
  for (unsigned number = 1;; ++number) {
    std::string name = number == 1 ? path : path + "-" + std::to_string(number);
    const HANDLE file = CreateFileW(wideText(name).c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    LARGE_INTEGER size{};
    const bool isFree =
        file != INVALID_HANDLE_VALUE && GetFileSizeEx(file, &size) != FALSE && size.QuadPart == 0;
    const bool isHeld = file == INVALID_HANDLE_VALUE && GetLastError() == ERROR_SHARING_VIOLATION;
    if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
    if (isFree || (file == INVALID_HANDLE_VALUE && !isHeld)) return name;
  }
}

// The memory of that name, which another program has made; null without one. Stays for ever.
std::shared_ptr<record::Outcome> outcomeMemory(const std::wstring& name) {
  if (name.empty()) return nullptr;
  const HANDLE memory = OpenFileMappingW(FILE_MAP_WRITE, FALSE, name.c_str());
  if (memory == nullptr) return nullptr;
  void* const view = MapViewOfFile(memory, FILE_MAP_WRITE, 0, 0, sizeof(record::Outcome));
  CloseHandle(memory);
  return {static_cast<record::Outcome*>(view), [](record::Outcome*) {}};
}

void tell(const std::string& text) { std::fprintf(stderr, "kvexa_sim: %s", text.c_str()); }

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
  if (isRunning()) throw SimulationRuns("a simulation runs already");
  begin(description);
}

void Simulation::begin(const Description& description) {
  removeRetired();
  auto bench = std::make_shared<DescribedBench>(description);
  watchLoads();
  const std::shared_ptr<Machine> machine(bench, &bench->machine());
  bench_ = std::move(bench);
  answer(makeSimulatedPlatform(machine));
}

void Simulation::startReplay(const std::string& path, bool isLenient, bool isFast) {
  const std::lock_guard lock(mutex_);
  if (isRunning()) throw SimulationRuns("a simulation runs already");
  beginReplay(path, isLenient, isFast);
}

void Simulation::beginReplay(const std::string& path, bool isLenient, bool isFast) {
  record::Replay::Options options;
  options.isLenient = isLenient;
  if (isLenient) options.outcome = outcomeMemory(variable(variables::outcome));
  if (!isFast) options.clock = std::make_shared<Clock>(Pace::real);
  options.depart = [](const std::string& report) {
    tell(report);
    TerminateProcess(GetCurrentProcess(), variables::departed);
  };
  auto script = std::make_shared<const record::Script>(path);
  if (!script->hasFrames()) tell(path + ": holds no frames, so image data are zeros\n");
  auto replay = std::make_shared<record::Replay>(std::move(script), std::move(options));
  watchLoads();
  answer(record::makeReplayPlatform(replay));
  replaying_ = replay.get();
  replay_ = std::move(replay);
}

// What the environment names begins.
void Simulation::beginDue() {
  if (!isDue_) return;
  const std::string replay = utf8Text(variable(variables::replay));
  if (!replay.empty()) {
    beginReplay(replay, !variable(variables::lenient).empty(), !variable(variables::fast).empty());
  } else if (variable(variables::real).empty()) {
    begin(describedByEnvironment());
  } else {
    answer(nullptr);
  }
  isDue_ = false;
  const std::string recording = utf8Text(variable(variables::record));
  if (!recording.empty()) beginRecording(freeName(recording), !variable(variables::frames).empty());
}

void Simulation::answer(std::shared_ptr<Platform> boards) {
  boards_ = std::move(boards);
  answer();
}

void Simulation::answer() {
  if (!recorder_) return ProgramAttachment::instance().use(boards_);
  std::shared_ptr<const Clock> clock;
  if (bench_) clock = std::shared_ptr<const Clock>(bench_, &bench_->machine().clock());
  if (!clock) clock = std::make_shared<Clock>(Pace::real);
  auto boards = boards_ ? boards_ : std::make_shared<Platform>();
  ProgramAttachment::instance().use(
      record::makeRecordingPlatform(std::move(boards), recorder_, std::move(clock)));
}

bool Simulation::record(const std::string& path, bool frames) {
  const std::lock_guard lock(mutex_);
  if (path.empty()) {
    if (!recorder_) return false;
    const std::shared_ptr<record::Recorder> ended = std::move(recorder_);
    recorder_.reset();
    answer();
    ended->close();
    return true;
  }
  beginDue();
  if (recorder_) throw SimulationRuns("a recording is written already");
  beginRecording(path, frames);
  return true;
}

void Simulation::beginRecording(const std::string& path, bool frames) {
  record::Recorder::Options options;
  options.path = path;
  options.frames = frames;
  options.isSimulated = bench_ != nullptr;
  options.isSimulatedTime = bench_ && !bench_->machine().clock().isReal();
  recorder_ = std::make_shared<record::Recorder>(options);
  watchLoads();
  answer();
}

void Simulation::threadEnds() noexcept {
  if (record::Replay* const replay = replaying_.load()) replay->endThread();
}

// Locks are not taken: threads were stopped with them in their hands.
void Simulation::atExit() noexcept {
  if (recorder_) recorder_->finishAtExit();
  if (!replay_) return;
  try {
    const std::string remarks = replay_->remarks();
    if (!remarks.empty()) tell(remarks + "\n");
    const std::string left = replay_->leftOver();
    if (left.empty()) return;
    tell(left);
    TerminateProcess(GetCurrentProcess(), variables::departed);
  } catch (...) {  // no memory
  }
}

bool Simulation::stop() {
  const std::lock_guard lock(mutex_);
  if (std::exchange(isDue_, false)) {
    answer(nullptr);
    return true;
  }
  if (!bench_) return false;
  for (const std::uint32_t type : {KVEXA_BOARD_USB, KVEXA_BOARD_PCIE}) {
    for (unsigned index = 0; bench_->plug(type, index, false); ++index) continue;
  }
  retired_.push_back(std::move(bench_));
  bench_.reset();
  answer(nullptr);
  removeRetired();
  return true;
}

std::shared_ptr<DescribedBench> Simulation::bench() {
  const std::lock_guard lock(mutex_);
  beginDue();
  return bench_;
}

void Simulation::removeRetired() {
  std::erase_if(retired_, [](const std::shared_ptr<DescribedBench>& each) { return each.use_count() == 1; });
}

bool Simulation::isDescribed() {
  for (const wchar_t* name : {variables::description, variables::file, variables::real, variables::replay}) {
    if (!variable(name).empty()) return true;
  }
  return false;
}

void Simulation::startWhenNeeded() {
  const std::lock_guard lock(mutex_);
  watchLoads();
  isDue_ = true;
  ProgramAttachment::instance().use(std::make_shared<StartingPlatform>());
}

}  // namespace sim
