// Looks at frames of the first USB board, one after another: stream [sensor.csv capture.dat [100]]
//
// Without arguments it plays the two files that stand beside the program. KVEXA_LIB.dll must stand beside the
// program.
//
//   i686-w64-mingw32-g++ -std=c++17 -I../include stream.cpp -L../lib -lKVEXA_LIB -static -o stream.exe
//   cl /std:c++17 /EHsc /I..\include stream.cpp ..\lib\KVEXA_LIB.lib
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <kvexa.hpp>
#include <string>

namespace {

// Set by Ctrl-C: the loop then ends, and with it the capture; the board is powered down and closed.
const kvexa::Event stopped;

BOOL WINAPI onKey(DWORD key) {
  if (key != CTRL_C_EVENT && key != CTRL_BREAK_EVENT) return FALSE;
  stopped.set();
  return TRUE;
}

// The name of a file that stands beside the program.
std::string beside(const std::string& name) {
  char path[MAX_PATH];
  const std::string program(path, GetModuleFileNameA(nullptr, path, MAX_PATH));
  return program.substr(0, program.rfind('\\') + 1) + name;
}

void stream(const std::string& registers, const std::string& parameters, std::uint32_t count) {
  const CapParam param = kvexa::readParameters(parameters);
  kvexa::Board board(KVEXA_BOARD_USB, 0);
  board.powerUp();
  board.playRegisters(registers);
  board.configure(param);
  kvexa::CaptureSession session(board, 8, 1000);
  unsigned number = 0;
  for (const kvexa::FrameView& frame : session.frames(count, stopped.get())) {
    std::printf("frame %u: %u x %u, first sample %u\n", ++number, frame.width(), frame.height(),
                frame.data()[0]);
  }
  kvexa::require("kVexaMultiShotCapArrayStop", session.stop());
}

}  // namespace

int main(int argc, char** argv) {
  const int count = argc > 3 ? std::atoi(argv[3]) : 100;
  if (argc == 2 || argc > 4 || count < 1) {
    std::fprintf(stderr, "stream [sensor.csv capture.dat [100]]\n");
    return 2;
  }
  SetConsoleCtrlHandler(onKey, TRUE);
  try {
    stream(argc > 2 ? argv[1] : beside("sensor.csv"), argc > 2 ? argv[2] : beside("capture.dat"),
           static_cast<std::uint32_t>(count));
    return 0;
  } catch (const kvexa::Error& failure) {
    std::fprintf(stderr, "%s\n%s\n", failure.what(), failure.advice());
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
  }
  return 1;
}
