// Starts further programs, in the ways in which programs do.
#include <cstdio>
#include <cwchar>

#include "tests/whole/run/Client.h"

namespace client {

namespace {

std::string ansi(const std::wstring& text) {
  std::string made(text.size() * 2 + 1, '\0');
  made.resize(static_cast<std::size_t>(WideCharToMultiByte(CP_ACP, 0, text.c_str(), -1, made.data(),
                                                           static_cast<int>(made.size()), nullptr, nullptr)));
  made.pop_back();
  return made;
}

// Everything behind the arguments that are this program's own, as it was typed.
std::wstring tailBehind(const std::wstring& own) {
  const std::wstring line = GetCommandLineW();
  const std::size_t at = line.find(L" " + own + L" ");
  require(at != std::wstring::npos, "the command line has a tail");
  return line.substr(at + own.size() + 2);
}

DWORD codeOf(const PROCESS_INFORMATION& process) {
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD code = 0;
  GetExitCodeProcess(process.hProcess, &code);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return code;
}

DWORD createWide(std::wstring line, DWORD flags, void* environment) {
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  require(CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, flags, environment, nullptr, &startup,
                         &process) != FALSE,
          "CreateProcessW");
  if ((flags & CREATE_SUSPENDED) != 0) {
    require(WaitForSingleObject(process.hProcess, 0) == WAIT_TIMEOUT, "it has not run");
    require(ResumeThread(process.hThread) == 1, "it was suspended once");
  }
  return codeOf(process);
}

DWORD createNarrow(const std::wstring& line, void* environment) {
  std::string narrow = ansi(line);
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  require(CreateProcessA(nullptr, narrow.data(), nullptr, nullptr, TRUE, 0, environment, nullptr, &startup,
                         &process) != FALSE,
          "CreateProcessA");
  return codeOf(process);
}

// Windows' own folder is what a program needs least.
std::wstring smallBlock() {
  wchar_t root[MAX_PATH];
  GetEnvironmentVariableW(L"SystemRoot", root, MAX_PATH);
  return std::wstring(L"SystemRoot=") + root + L'\0' + L"ZEBRA=1" + L'\0' + L'\0';
}

DWORD withSmallBlock(const std::wstring& line) {
  std::wstring block = smallBlock();
  return createWide(line, CREATE_UNICODE_ENVIRONMENT, block.data());
}

DWORD withSmallNarrowBlock(const std::wstring& line) {
  const std::wstring wide = smallBlock();
  std::string block(wide.begin(), wide.end());
  return createNarrow(line, block.data());
}

// By the address that GetProcAddress finds, as run-time systems do that bind at run time.
DWORD byAddress(std::wstring line) {
  const auto create = reinterpret_cast<decltype(&CreateProcessW)>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("kernel32.dll"), "CreateProcessW")));
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  require(
      create(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process) != FALSE,
      "CreateProcessW by its address");
  return codeOf(process);
}

struct Way {
  const wchar_t* name;
  DWORD (*go)(const std::wstring& line);
};

constexpr Way ways[] = {
    {L"wide", [](const std::wstring& line) { return createWide(line, 0, nullptr); }},
    {L"suspended", [](const std::wstring& line) { return createWide(line, CREATE_SUSPENDED, nullptr); }},
    {L"narrow", [](const std::wstring& line) { return createNarrow(line, nullptr); }},
    {L"wide-block", withSmallBlock},
    {L"narrow-block", withSmallNarrowBlock},
    {L"address", [](const std::wstring& line) { return byAddress(line); }},
    {L"shell", [](const std::wstring& line) { return static_cast<DWORD>(_wsystem(line.c_str())); }},
    {L"winexec",
     [](const std::wstring& line) { return WinExec(ansi(line).c_str(), SW_HIDE) > 31 ? 0UL : 1UL; }},
};

}  // namespace

// child WAY COMMAND...: its exit code is the child's.
int startChild(const Arguments& arguments) {
  for (const Way& each : ways) {
    if (arguments.at(1) == each.name) return static_cast<int>(each.go(tailBehind(arguments[1])));
  }
  return 2;
}

// code COMMAND...: prints the exit code of a command, of which a shell would see the lowest byte only.
int tellExitCode(const Arguments& arguments) {
  std::printf("%08lx\n", createWide(tailBehind(arguments.at(0)), 0, nullptr));
  return 0;
}

}  // namespace client
