// What it costs a program to load the library: prints the time of the first load in this process, in
// milliseconds, and the addresses that it takes, in MiB.
#include <windows.h>
// After windows.h.
#include <psapi.h>

#include <chrono>
#include <cstdio>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const auto start = std::chrono::steady_clock::now();
  const HMODULE library = LoadLibraryA(argv[1]);
  const std::chrono::duration<double, std::milli> spent = std::chrono::steady_clock::now() - start;
  if (library == nullptr) {
    std::fprintf(stderr, "%s cannot be loaded\n", argv[1]);
    return 1;
  }
  MODULEINFO information{};
  GetModuleInformation(GetCurrentProcess(), library, &information, sizeof information);
  std::printf("%.2f %.2f\n", spent.count(), information.SizeOfImage / (1024.0 * 1024.0));
}
