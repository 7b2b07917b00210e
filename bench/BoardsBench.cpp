// What several USB boards cost that are set up at the same time: each is played a register-setting file of
// 500 lines by a thread of its own, through the DLL that ships, with a driver that takes 0.2 ms a request.
// Prints the milliseconds of one board and of four, best of three, and how many times longer four take.
#include <windows.h>
// After windows.h.
#include <winternl.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "kvexa.h"
#include "sim/attach/Attachment.h"
#include "sim/attach/ImportTable.h"
#include "sim/machine/Machine.h"

extern "C" NTSTATUS NTAPI NtDelayExecution(BOOLEAN alertable, const LARGE_INTEGER* interval);

namespace {

constexpr unsigned mostBoards = 4;
constexpr unsigned lines = 500;
constexpr unsigned rounds = 3;

decltype(&::DeviceIoControl) simulated = nullptr;

// Blocks for real, as a thread does whose request is with a driver; no processor time is spent.
BOOL WINAPI slowControl(HANDLE file, DWORD code, LPVOID in, DWORD inLength, LPVOID out, DWORD outLength,
                        LPDWORD returned, LPOVERLAPPED overlapped) {
  LARGE_INTEGER interval;
  interval.QuadPart = -2000;  // units of 100 ns, from now on
  NtDelayExecution(FALSE, &interval);
  return simulated(file, code, in, inLength, out, outLength, returned, overlapped);
}

std::string writeFile() {
  const auto path = std::filesystem::temp_directory_path() / "kvexa_bench_registers.csv";
  std::ofstream file(path, std::ios::binary);
  file << "36,1\n";
  for (unsigned i = 1; i < lines; ++i) file << std::hex << 0x3000 + 2 * i << "," << (i & 0xFF) << "\n";
  return path.string();
}

// Milliseconds, or nothing when a board did not take the file.
std::optional<double> play(const std::vector<BoardHandle>& boards, unsigned count, const std::string& path) {
  std::vector<std::int32_t> results(count, KVEXA_FAILED);
  std::vector<std::thread> threads;
  const auto start = std::chrono::steady_clock::now();
  for (unsigned i = 0; i < count; ++i) {
    threads.emplace_back([&, i] { results[i] = kVexaSetI2cFile(path.c_str(), &boards[i]); });
  }
  for (auto& thread : threads) thread.join();
  const std::chrono::duration<double, std::milli> spent = std::chrono::steady_clock::now() - start;
  const bool played = std::ranges::all_of(results, [](std::int32_t result) { return result == KVEXA_OK; });
  return played ? std::optional(spent.count()) : std::nullopt;
}

}  // namespace

int main() {
  sim::Machine machine;
  for (unsigned i = 0; i < mostBoards; ++i) machine.addUsbBoard();
  const HMODULE library = GetModuleHandleA("KVEXA_LIB.dll");
  const sim::Attachment attachment(library, machine);
  std::vector<BoardHandle> boards(mostBoards);
  for (unsigned i = 0; i < mostBoards; ++i) {
    if (kVexaDevOpen(KVEXA_BOARD_USB, i, &boards[i]) != KVEXA_OK) return 1;
    for (const auto turn :
         {kVexaPowerSwControlOn, kVexaPowerV1On, kVexaPowerV2On, kVexaClockOn, kVexaI2cOn, kVexaResetOff}) {
      if (turn(&boards[i]) != KVEXA_OK) return 1;
    }
  }
  const auto entries = sim::findImports(library, "DeviceIoControl");
  if (entries.size() != 1) return 1;
  simulated = reinterpret_cast<decltype(simulated)>(*entries.front());
  const std::string path = writeFile();
  double one = 1e300;
  double all = 1e300;
  {
    const sim::ImportPatch patch(entries.front(), reinterpret_cast<void*>(&slowControl));
    // In turn, so that a slow moment of the machine meets both.
    for (unsigned round = 0; round < rounds; ++round) {
      const auto alone = play(boards, 1, path);
      const auto together = play(boards, mostBoards, path);
      if (!alone || !together) return 1;
      one = std::min(one, *alone);
      all = std::min(all, *together);
    }
  }
  std::filesystem::remove(path);
  for (BoardHandle& board : boards) kVexaDevClose(&board);
  std::printf("%.1f %.1f %.2f\n", one, all, all / one);
}
