#include "cli/trace/ReplayTrial.h"

#include <new>
#include <string_view>
#include <utility>

#include "cli/run/RunCommand.h"
#include "sim/bench/Files.h"
#include "sim/program/Variables.h"

namespace cli::trace {

namespace {

constexpr std::uint64_t mostOutput = std::uint64_t{64} << 20;

void setVariables(const std::string& recording, const std::wstring& memory) {
  namespace variables = sim::variables;
  for (const wchar_t* name : variables::all) SetEnvironmentVariableW(name, nullptr);
  SetEnvironmentVariableW(variables::replay, sim::wideText(recording).c_str());
  SetEnvironmentVariableW(variables::outcome, memory.c_str());
  SetEnvironmentVariableW(variables::lenient, L"1");
  SetEnvironmentVariableW(variables::fast, L"1");
}

// For a program that inherits it.
UniqueHandle open(const std::wstring& path, DWORD access, DWORD disposition) {
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  const HANDLE file = CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                                  disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  return UniqueHandle(file == INVALID_HANDLE_VALUE ? nullptr : file);
}

void remove(const std::string& path) { DeleteFileW(sim::wideText(path).c_str()); }

}  // namespace

bool failsAlike(const Ending& first, const Ending& other) {
  return other.code && first.code == other.code && first.says == other.says &&
         first.outcome.failure == other.outcome.failure &&
         other.outcome.unanswered <= first.outcome.unanswered;
}

void ReplayTrial::Unmapper::operator()(sim::record::Outcome* outcome) const { UnmapViewOfFile(outcome); }

ReplayTrial::ReplayTrial(std::wstring commandLine, const std::string& path, std::string text)
    : commandLine_(std::move(commandLine)),
      path_(path + ".trial"),
      outputPath_(path_ + ".output"),
      text_(std::move(text)),
      memoryName_(L"Local\\kvexa_sim_outcome_" + std::to_wstring(GetCurrentProcessId())),
      memory_(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                 sizeof(sim::record::Outcome), memoryName_.c_str())),
      outcome_(memory_ == nullptr ? nullptr
                                  : static_cast<sim::record::Outcome*>(MapViewOfFile(
                                        memory_.get(), FILE_MAP_WRITE, 0, 0, sizeof(sim::record::Outcome)))) {
  if (!outcome_) throw std::bad_alloc();
}

ReplayTrial::~ReplayTrial() {
  for (const char* ending : {"", ".frames", ".output"}) remove(path_ + ending);
}

std::optional<Ending> ReplayTrial::run(const std::string& recording, DWORD milliseconds,
                                       const Interrupt& interrupt) {
  *outcome_ = {};
  setVariables(recording, memoryName_);
  Ending ending;
  {
    const UniqueHandle input = open(L"NUL", GENERIC_READ, OPEN_EXISTING);
    const UniqueHandle output = open(sim::wideText(outputPath_), GENERIC_WRITE, CREATE_ALWAYS);
    if (!output) throw RunFailure(runFailed, outputPath_ + ": cannot be written");
    const Program program(commandLine_, {input.get(), output.get(), output.get()}, Children::endToo);
    constexpr DWORD lookEvery = 50;
    const ULONGLONG begin = GetTickCount64();
    while (!(ending.code = program.awaitEnd(lookEvery)) && GetTickCount64() - begin < milliseconds) {
      if (interrupt.isSet()) break;
    }
    program.end();
  }
  if (interrupt.isSet()) return std::nullopt;
  ending.outcome = *outcome_;
  if (!text_.empty()) {
    const auto output = sim::readWholeFile(outputPath_, mostOutput);
    ending.says = output && output->find(text_) != std::string::npos;
  }
  return ending;
}

}  // namespace cli::trace
