#include "cli/run/Program.h"

#include <string>

#include "cli/run/CommandTail.h"
#include "cli/run/RunCommand.h"
#include "sim/bench/Files.h"
#include "sim/program/Injection.h"
#include "sim/program/Variables.h"

namespace cli {

namespace {

// Windows' numbers for what this compiler's headers have no names for.
constexpr DWORD errorVirusInfected = 225;
constexpr DWORD errorElevationRequired = 740;

// The loader brings the boards in before the program's own code runs, so this is reached only when it cannot.
constexpr DWORD longestBringIn = 60000;  // milliseconds

// kvexa_sim.dll lies beside this program.
std::wstring libraryPath() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) {
      path.resize(length);
      break;
    }
    path.resize(path.size() * 2);
  }
  path.replace(path.find_last_of(L'\\') + 1, std::wstring::npos, L"kvexa_sim.dll");
  if (GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) {
    throw RunFailure(runCannotStart, sim::utf8Text(path) + ": is not there, and the boards are in it");
  }
  return path;
}

std::string reasonOf(DWORD error) {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_DIRECTORY:
    case ERROR_INVALID_NAME: return "is not found";
    case ERROR_ACCESS_DENIED: return "may not be started (access denied; virus scanners also do this)";
    case errorVirusInfected: return "is held back by a virus scanner";
    case ERROR_BAD_EXE_FORMAT:
    case ERROR_EXE_MACHINE_TYPE_MISMATCH: return "is not a 32-bit program, and the library has 32 bits";
    case errorElevationRequired: return "wants an administrator; start kvexa as one";
    default: return "cannot be started (Windows error " + std::to_string(error) + ")";
  }
}

int codeOf(DWORD error) {
  const bool isMissing =
      error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME;
  return isMissing ? runProgramMissing : runCannotStart;
}

struct Process {
  UniqueHandle process;
  UniqueHandle thread;
  DWORD identifier = 0;
};

// With this process' own window and descriptors.
Process create(std::wstring commandLine, const Streams& streams) {
  STARTUPINFOW startup;
  GetStartupInfoW(&startup);
  startup.dwFlags |= STARTF_USESTDHANDLES;
  startup.hStdInput = streams.input;
  startup.hStdOutput = streams.output;
  startup.hStdError = streams.error;
  startup.lpReserved = nullptr;
  PROCESS_INFORMATION made;
  if (CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr, nullptr,
                     &startup, &made) == FALSE) {
    const DWORD error = GetLastError();
    throw RunFailure(codeOf(error), sim::utf8Text(firstArgument(commandLine)) + ": " + reasonOf(error));
  }
  return {UniqueHandle(made.hProcess), UniqueHandle(made.hThread), made.dwProcessId};
}

// When this process is ended from outside the program ends as well.
UniqueHandle tieToThis(HANDLE process, Children children) {
  UniqueHandle job(CreateJobObjectW(nullptr, nullptr));
  if (!job) return job;
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  if (children == Children::stay) {
    limits.BasicLimitInformation.LimitFlags |= JOB_OBJECT_LIMIT_SILENT_BREAKAWAY_OK;
  }
  SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
  AssignProcessToJobObject(job.get(), process);
  return job;
}

void bringBoards(const Process& process, const std::wstring& library, const std::string& program) {
  const auto injected = sim::inject(process.process.get(), library);
  if (injected == sim::Injected::done) return;
  const DWORD error = GetLastError();
  TerminateProcess(process.process.get(), runCannotStart);
  if (injected == sim::Injected::notThirtyTwoBits) {
    throw RunFailure(runCannotStart, program + ": " + reasonOf(ERROR_BAD_EXE_FORMAT));
  }
  throw RunFailure(runCannotStart, program +
                                       ": the simulated boards could not be brought in (Windows error " +
                                       std::to_string(error) + ")");
}

// Never lets the program run on without its boards: the loader may have been kept from bringing them in.
void awaitBoards(const Process& process, HANDLE ready, const std::string& program) {
  const HANDLE either[] = {ready, process.process.get()};
  if (WaitForMultipleObjects(2, either, FALSE, longestBringIn) == WAIT_OBJECT_0) return;
  TerminateProcess(process.process.get(), runCannotStart);
  throw RunFailure(runCannotStart, program + ": the simulated boards did not come up in it, so it was ended");
}

}  // namespace

void HandleCloser::operator()(HANDLE handle) const { CloseHandle(handle); }

Streams ownStreams() {
  return {GetStdHandle(STD_INPUT_HANDLE), GetStdHandle(STD_OUTPUT_HANDLE), GetStdHandle(STD_ERROR_HANDLE)};
}

Program::Program(const std::wstring& commandLine, const Streams& streams, Children children) {
  const std::wstring library = libraryPath();
  const std::string name = sim::utf8Text(firstArgument(commandLine));
  Process made = create(commandLine, streams);
  job_ = tieToThis(made.process.get(), children);
  const std::wstring event = sim::variables::readyEvent + std::to_wstring(made.identifier);
  const UniqueHandle ready(CreateEventW(nullptr, TRUE, FALSE, event.c_str()));
  bringBoards(made, library, name);
  ResumeThread(made.thread.get());
  awaitBoards(made, ready.get(), name);
  process_ = std::move(made.process);
}

std::optional<std::uint32_t> Program::awaitEnd(DWORD milliseconds) const {
  if (WaitForSingleObject(process_.get(), milliseconds) != WAIT_OBJECT_0) return std::nullopt;
  DWORD code = 0;
  GetExitCodeProcess(process_.get(), &code);
  return code;
}

void Program::end() const {
  constexpr UINT ended = 1;
  if (job_) TerminateJobObject(job_.get(), ended);
  TerminateProcess(process_.get(), ended);
  WaitForSingleObject(process_.get(), INFINITE);
}

}  // namespace cli
