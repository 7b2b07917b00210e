// Ends the process in the middle of a capture, in one of the ways in which programs end.
#include <cstdio>

#include "tests/whole/run/Client.h"

namespace client {

namespace {

constexpr std::uint32_t side = 64;
constexpr std::uint32_t frameBytes = side * side;

// The capture's worker uses them until the process has ended.
std::uint8_t image[3 * frameBytes];
void* buffers[3] = {image, image + frameBytes, image + 2 * frameBytes};
HANDLE events[4];
std::int32_t result;
BoardHandle board;

void open(const Library& library, std::uint32_t type) {
  require(library.function<decltype(kVexaDevOpen)>("_kVexaDevOpen@12")(type, 0, &board) == KVEXA_OK, "open");
  for (const char* name : {"_kVexaPowerSwControlOn@4", "_kVexaPowerV1On@4", "_kVexaPowerV2On@4",
                           "_kVexaClockOn@4", "_kVexaI2cOn@4", "_kVexaResetOff@4"}) {
    require(library.function<decltype(kVexaPowerV1On)>(name)(&board) == KVEXA_OK, name);
  }
  CapParam param{};
  param.HCNT = param.VCNT = side;
  param.BITWIDTH = 8;
  param.PORTMSBBIT = 7;
  const auto set = library.function<decltype(kVexaSetCapParam)>("_kVexaSetCapParam@8");
  require(set(&board, &param) == KVEXA_OK, "kVexaSetCapParam");
}

void start(const Library& library, const std::wstring& kind) {
  for (HANDLE& each : events) each = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  const bool isPcie = kind == L"pcie";
  open(library, isPcie ? KVEXA_BOARD_PCIE : KVEXA_BOARD_USB);
  std::int32_t started = KVEXA_OK;
  if (isPcie) {
    started = library.function<decltype(kVexaMultiShotCapture2)>("_kVexaMultiShotCapture2@36")(
        &board, frameBytes, 1, 1, image, 1000, events[0], events[3], &result);
  } else if (kind == L"ring") {
    started = library.function<decltype(kVexaMultiShotCapArrayStart)>("_kVexaMultiShotCapArrayStart@28")(
        &board, frameBytes, 3, buffers, 1000, events, &result);
  } else {
    started = library.function<decltype(kVexaMultiShotCaptureEx)>("_kVexaMultiShotCaptureEx@32")(
        &board, frameBytes, 0, image, 1000, events[0], events[3], &result);
  }
  require(started == KVEXA_OK, "the capture starts");
  require(WaitForSingleObject(events[0], INFINITE) == WAIT_OBJECT_0, "a frame comes");
}

}  // namespace

// capture usb|ring|pcie return|exit|terminate|crash
int endInACapture(const Arguments& arguments) {
  start(Library(libraryBeside()), arguments.at(1));
  std::printf("capturing\n");
  std::fflush(stdout);
  const std::wstring& ending = arguments.at(2);
  if (ending == L"exit") ExitProcess(5);
  if (ending == L"terminate") TerminateProcess(GetCurrentProcess(), 5);
  if (ending == L"crash") {
    volatile int* volatile nothing = nullptr;
    *nothing = 1;
  }
  return 5;
}

}  // namespace client
