// The program that kvexa run starts in tests: its first argument says what it does.
#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <cwchar>
#include <thread>

// After windows.h.
#include "tests/whole/run/Client.h"
// After windows.h.
#include <shellapi.h>

#include "kvexa_sim.h"

namespace client {

std::wstring libraryBeside() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path.substr(0, path.find_last_of(L'\\') + 1) + L"KVEXA_LIB.dll";
}

namespace {

std::string utf8(const std::wstring& text) {
  std::string made(text.size() * 4 + 1, '\0');
  made.resize(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, made.data(),
                                                           static_cast<int>(made.size()), nullptr, nullptr)));
  made.pop_back();
  return made;
}

// The arguments as this program got them, and the whole command line as it stands.
int tellArguments(const Arguments& arguments) {
  for (std::size_t i = 1; i < arguments.size(); ++i) std::printf("[%s]\n", utf8(arguments[i]).c_str());
  const std::wstring line = GetCommandLineW();
  std::printf("line: %s\n", utf8(line.substr(line.find(L" arguments") + 1)).c_str());
  return 0;
}

// Standard input to standard output, byte by byte, and a line to standard error.
int copyStreams(const Arguments&) {
  _setmode(_fileno(stdin), _O_BINARY);
  _setmode(_fileno(stdout), _O_BINARY);
  for (int byte = std::getchar(); byte != EOF; byte = std::getchar()) std::putchar(byte);
  std::fputs("to the error stream\n", stderr);
  return 0;
}

int tellFolder(const Arguments&) {
  wchar_t folder[MAX_PATH];
  GetCurrentDirectoryW(MAX_PATH, folder);
  std::printf("%s\n", utf8(folder).c_str());
  return 0;
}

int endWith(const Arguments& arguments) {
  ExitProcess(static_cast<UINT>(std::wcstoul(arguments.at(1).c_str(), nullptr, 0)));
}

int tellBoards(const Arguments& arguments) {
  const Library library(arguments.size() > 1 ? arguments[1] : libraryBeside());
  std::printf("%s\n", library.boards().c_str());
  return 0;
}

// Two copies at a time.
int tellBoardsTwice(const Arguments& arguments) {
  const Library first(arguments.at(1));
  const Library second(arguments.at(2));
  require(first.module != second.module, "the copies are two");
  std::printf("%s, %s\n", first.boards().c_str(), second.boards().c_str());
  return 0;
}

// On several threads, each with a copy of its own: rounds, then the paths.
int loadAgainAndAgain(const Arguments& arguments) {
  const unsigned long rounds = std::wcstoul(arguments.at(1).c_str(), nullptr, 10);
  std::vector<std::thread> threads;
  for (std::size_t i = 2; i < arguments.size(); ++i) {
    threads.emplace_back([rounds, path = arguments[i]] {
      for (unsigned long round = 0; round < rounds; ++round) {
        const Library library(path);
        require(library.boards() == "2 1", "every load has the boards");
        require(FreeLibrary(library.module) != FALSE, "the library is freed");
      }
    });
  }
  for (std::thread& each : threads) each.join();
  std::printf("done\n");
  return 0;
}

template <class Function>
Function* simFunction(const char* name) {
  const HMODULE module = GetModuleHandleA("kvexa_sim.dll");
  require(module != nullptr, "kvexa_sim.dll is here");
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

// The functions of kvexa_sim.dll, before the library is there and with it.
int useSimulation(const Arguments&) {
  const auto count = simFunction<decltype(kvexaSimBoardCount)>("kvexaSimBoardCount");
  const auto plug = simFunction<decltype(kvexaSimPlug)>("kvexaSimPlug");
  const auto start = simFunction<decltype(kvexaSimStartText)>("kvexaSimStartText");
  require(start("") == KVEXA_SIM_RUNNING, "a simulation runs from the beginning");
  require(count(KVEXA_BOARD_USB) == 2 && count(KVEXA_BOARD_PCIE) == 1, "its boards are told");
  require(plug(KVEXA_BOARD_PCIE, 0, 0) == KVEXA_SIM_OK, "a board is pulled out");
  const Library library(libraryBeside());
  std::printf("%s\n", library.boards().c_str());
  require(simFunction<decltype(kvexaSimStop)>("kvexaSimStop")() == KVEXA_SIM_OK, "it is stopped");
  std::printf("%s\n", library.boards().c_str());
  return 0;
}

// The same, stopped before it was ever asked for.
int stopSimulation(const Arguments&) {
  require(simFunction<decltype(kvexaSimStop)>("kvexaSimStop")() == KVEXA_SIM_OK, "it is stopped");
  require(simFunction<decltype(kvexaSimStop)>("kvexaSimStop")() == KVEXA_SIM_NOT_RUNNING, "once");
  return tellBoards({});
}

BOOL WINAPI interrupted(DWORD) { ExitProcess(7); }

// Waits for somebody to end it, and says so when it is ready.
int waitForEnd(const Arguments&) {
  SetConsoleCtrlHandler(interrupted, TRUE);
  const Library library(libraryBeside());
  std::printf("%s\n", library.boards().c_str());
  std::fflush(stdout);
  WaitForSingleObject(GetCurrentThread(), INFINITE);
  return 0;
}

struct Act {
  const wchar_t* name;
  int (*go)(const Arguments& arguments);
};

constexpr Act acts[] = {
    {L"arguments", tellArguments}, {L"streams", copyStreams},
    {L"folder", tellFolder},       {L"exit", endWith},
    {L"boards", tellBoards},       {L"twice", tellBoardsTwice},
    {L"again", loadAgainAndAgain}, {L"simulation", useSimulation},
    {L"stop", stopSimulation},     {L"wait", waitForEnd},
    {L"capture", endInACapture},   {L"child", startChild},
    {L"code", tellExitCode},
};

int act() {
  int count = 0;
  wchar_t** const all = CommandLineToArgvW(GetCommandLineW(), &count);
  const Arguments arguments(all + 1, all + count);
  for (const Act& each : acts) {
    if (!arguments.empty() && arguments[0] == each.name) return each.go(arguments);
  }
  return 2;
}

}  // namespace

}  // namespace client

int main() { return client::act(); }
