// The program that unload_test starts: it takes the library away, or itself, while a capture runs. Its exit
// code tells how far it came; 0 is the end that was wanted.
#include <windows.h>
// After windows.h.
#include <tlhelp32.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "kvexa.h"
#include "sim/attach/Attachment.h"
#include "sim/machine/Machine.h"

namespace {

constexpr char libraryName[] = "KVEXA_LIB.dll";
constexpr std::uint32_t side = 64;
constexpr std::uint32_t frameBytes = side * side;

void require(bool holds, const char* what) {
  if (holds) return;
  std::printf("not so: %s\n", what);
  std::fflush(stdout);
  std::_Exit(1);
}

// A library that was loaded by hand; it never unloads by itself.
struct Library {
  HMODULE module = LoadLibraryA(libraryName);

  template <typename Function>
  Function* function(const char* name) const {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
  }
  std::int32_t open(std::uint32_t type, BoardHandle& board) const {
    return function<decltype(kVexaDevOpen)>("_kVexaDevOpen@12")(type, 0, &board);
  }
  std::int32_t close(BoardHandle& board) const {
    return function<decltype(kVexaDevClose)>("_kVexaDevClose@4")(&board);
  }
  std::int32_t turn(const char* name, const BoardHandle& board) const {
    return function<decltype(kVexaPowerV1On)>(name)(&board);
  }
  void write(const BoardHandle& board, unsigned address, std::uint32_t value) const {
    const auto registerWrite = function<decltype(kVexaRegWrite)>("_kVexaRegWrite@24");
    require(registerWrite(&board, 0x36, address, KVEXA_SLAVE7_SUB16, 1, &value) == KVEXA_OK,
            "register write");
  }
  std::int32_t abort(const BoardHandle& board) const { return turn("_kVexaAbortCapture@4", board); }
};

// Never freed: the library's workers may use it for as long as the process lives.
struct Capture {
  sim::Machine machine;
  std::unique_ptr<sim::Attachment> attachment;
  BoardHandle board{};
  std::vector<std::uint8_t> image = std::vector<std::uint8_t>(8 * frameBytes, 0);
  void* buffers[3] = {image.data(), image.data() + frameBytes, image.data() + 2 * frameBytes};
  HANDLE events[4] = {};
  HANDLE frameEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  HANDLE endEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  volatile std::int32_t result = KVEXA_OK;

  explicit Capture(const Library& library) {
    machine.addUsbBoard();
    machine.addPcieBoard();
    machine.timeline().serve();  // its thread is none of the library's
    attach(library);
    for (auto& event : events) event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  }

  void attach(const Library& library) {
    attachment = std::make_unique<sim::Attachment>(library.module, machine);
  }

  void openStreaming(const Library& library, std::uint32_t type) {
    require(library.open(type, board) == KVEXA_OK, "open");
    for (const char* name : {"_kVexaPowerSwControlOn@4", "_kVexaPowerV1On@4", "_kVexaPowerV2On@4",
                             "_kVexaClockOn@4", "_kVexaI2cOn@4", "_kVexaResetOff@4"}) {
      require(library.turn(name, board) == KVEXA_OK, name);
    }
    library.write(board, sim::SensorRegister::width + 1, side);
    library.write(board, sim::SensorRegister::height + 1, side);
    library.write(board, sim::SensorRegister::width, 0);
    library.write(board, sim::SensorRegister::height, 0);
    library.write(board, sim::SensorRegister::streaming, 1);
    CapParam param{};
    param.HCNT = param.VCNT = side;
    param.BITWIDTH = 8;
    param.PORTMSBBIT = 7;
    const auto setCapParam = library.function<decltype(kVexaSetCapParam)>("_kVexaSetCapParam@8");
    require(setCapParam(&board, &param) == KVEXA_OK, "kVexaSetCapParam");
  }

  void start(const Library& library, std::uint32_t frames) {
    ResetEvent(frameEvent);
    const auto multiShot = library.function<decltype(kVexaMultiShotCaptureEx)>("_kVexaMultiShotCaptureEx@32");
    require(multiShot(&board, frameBytes, frames, image.data(), 1000, frameEvent, endEvent,
                      resultAddress()) == KVEXA_OK,
            "kVexaMultiShotCaptureEx");
  }

  void startEndless(const Library& library) {
    if (board.boardType == KVEXA_BOARD_USB) {
      start(library, 0);
      return;
    }
    const auto multiShot = library.function<decltype(kVexaMultiShotCapture2)>("_kVexaMultiShotCapture2@36");
    require(multiShot(&board, frameBytes, 1, 1, image.data(), 1000, frameEvent, endEvent, resultAddress()) ==
                KVEXA_OK,
            "kVexaMultiShotCapture2");
  }

  void startArray(const Library& library) {
    const auto array =
        library.function<decltype(kVexaMultiShotCapArrayStart)>("_kVexaMultiShotCapArrayStart@28");
    require(array(&board, frameBytes, 3, buffers, 1000, events, resultAddress()) == KVEXA_OK,
            "kVexaMultiShotCapArrayStart");
  }

  std::int32_t* resultAddress() { return const_cast<std::int32_t*>(&result); }

  void awaitFrame() {
    require(WaitForSingleObject(frameEvent, INFINITE) == WAIT_OBJECT_0, "a frame comes");
    ResetEvent(frameEvent);
  }
};

std::set<DWORD> threadsOfThisProcess() {
  std::set<DWORD> threads;
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Thread32First(snapshot, &entry); more != FALSE; more = Thread32Next(snapshot, &entry)) {
    if (entry.th32OwnerProcessID == GetCurrentProcessId()) threads.insert(entry.th32ThreadID);
  }
  CloseHandle(snapshot);
  return threads;
}

// Waits until every thread that was not there before has ended.
void awaitThreadsBeyond(const std::vector<HANDLE>& threads) {
  for (const HANDLE thread : threads) {
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
  }
}

std::vector<HANDLE> threadsBeyond(const std::set<DWORD>& before) {
  std::vector<HANDLE> threads;
  for (const DWORD thread : threadsOfThisProcess()) {
    if (!before.contains(thread)) threads.push_back(OpenThread(SYNCHRONIZE, FALSE, thread));
  }
  return threads;
}

bool isLoaded() { return GetModuleHandleA(libraryName) != nullptr; }

// The capture goes on without the program's reference, and is ended through a new one.
void freeWhileCapturing(std::uint32_t type) {
  const Library library;
  auto& capture = *new Capture(library);
  capture.openStreaming(library, type);
  capture.startEndless(library);
  capture.awaitFrame();
  FreeLibrary(library.module);
  require(isLoaded(), "the worker keeps the library");
  for (int i = 0; i < 5; ++i) capture.awaitFrame();
  const Library again;
  require(again.module == library.module, "the same library");
  require(again.abort(capture.board) == KVEXA_OK, "abort");
  require(WaitForSingleObject(capture.endEvent, INFINITE) == WAIT_OBJECT_0, "the end is told");
  require(again.close(capture.board) == KVEXA_OK, "close");
  capture.attachment.reset();
  FreeLibrary(again.module);
  require(!isLoaded(), "the library goes with its last reference");
}

// A capture that comes to its end by itself takes the library with it.
void endAfterFree() {
  const Library library;
  auto& capture = *new Capture(library);
  capture.openStreaming(library, KVEXA_BOARD_USB);
  const auto before = threadsOfThisProcess();
  capture.start(library, 5);
  const auto workers = threadsBeyond(before);
  FreeLibrary(library.module);
  awaitThreadsBeyond(workers);
  require(!isLoaded(), "the library goes with its last worker");
  require(WaitForSingleObject(capture.endEvent, 0) == WAIT_OBJECT_0, "the end was told");
  static_cast<void>(capture.attachment.release());  // what it would put back is gone
}

// The process ends in the middle of a capture.
void exitWhileCapturing(std::uint32_t type) {
  const Library library;
  auto& capture = *new Capture(library);
  capture.openStreaming(library, type);
  capture.startEndless(library);
  capture.awaitFrame();
}

void exitWhileArrayRuns() {
  const Library library;
  auto& capture = *new Capture(library);
  capture.openStreaming(library, KVEXA_BOARD_USB);
  capture.startArray(library);
  require(WaitForSingleObject(capture.events[2], INFINITE) == WAIT_OBJECT_0, "the ring is full");
}

// Whether the library is only late, or stays.
void tellWhatStayed(int round) {
  const auto threads = threadsOfThisProcess().size();
  unsigned turns = 0;
  while (isLoaded() && turns < 100000) {
    SwitchToThread();
    ++turns;
  }
  std::printf("round %d: %u threads, %s after %u turns\n", round, static_cast<unsigned>(threads),
              isLoaded() ? "loaded still" : "gone", turns);
}

void thousandRounds() {
  std::unique_ptr<Capture> capture;
  for (int round = 0; round < 1000; ++round) {
    const Library library;
    require(library.module != nullptr, "the library loads");
    if (capture == nullptr) {
      capture = std::make_unique<Capture>(library);
      capture->openStreaming(library, KVEXA_BOARD_USB);
    } else {
      capture->attach(library);
      require(library.open(KVEXA_BOARD_USB, capture->board) == KVEXA_OK, "open");
    }
    capture->startEndless(library);
    capture->awaitFrame();
    require(library.abort(capture->board) == KVEXA_OK, "abort");
    require(library.close(capture->board) == KVEXA_OK, "close");
    capture->attachment.reset();
    FreeLibrary(library.module);
    const bool gone = !isLoaded();
    if (!gone) tellWhatStayed(round);
    require(gone, "the library goes");
    capture->machine.trace().take();
  }
}

// A library that is loaded anew starts captures of a board that was opened before, but cannot abort them.
void captureWithAHandleFromBefore() {
  const Library library;
  auto& capture = *new Capture(library);
  capture.openStreaming(library, KVEXA_BOARD_PCIE);
  capture.attachment.reset();
  FreeLibrary(library.module);
  require(!isLoaded(), "the library goes");

  const Library again;
  capture.attach(again);
  capture.machine.trace().take();
  capture.start(again, 5);
  require(WaitForSingleObject(capture.endEvent, INFINITE) == WAIT_OBJECT_0, "the end is told");
  require(capture.result == KVEXA_OK, "every frame came");
  ResetEvent(capture.endEvent);
  capture.startEndless(again);
  capture.awaitFrame();
  capture.machine.trace().take();
  require(again.abort(capture.board) == KVEXA_FAILED, "the abort does not know the board");
  for (const auto& line : capture.machine.trace().take()) {
    require(line.find("stop") == std::string::npos, "nothing is sent");
  }
  capture.awaitFrame();
  require(WaitForSingleObject(capture.endEvent, 0) == WAIT_TIMEOUT, "the capture goes on");
}

// Opened again, the board is known.
void openAgainAfterReload() {
  const Library library;
  auto& capture = *new Capture(library);
  capture.openStreaming(library, KVEXA_BOARD_PCIE);
  capture.attachment.reset();
  FreeLibrary(library.module);
  require(!isLoaded(), "the library goes");

  const Library again;
  capture.attach(again);
  require(again.close(capture.board) == KVEXA_OK, "close");
  require(again.open(KVEXA_BOARD_PCIE, capture.board) == KVEXA_OK, "open");
  capture.startEndless(again);
  capture.awaitFrame();
  require(again.abort(capture.board) == KVEXA_OK, "abort");
  require(WaitForSingleObject(capture.endEvent, INFINITE) == WAIT_OBJECT_0, "the end is told");
}

struct Way {
  const char* name;
  void (*go)();
};

constexpr Way ways[] = {
    {"free-usb", [] { freeWhileCapturing(KVEXA_BOARD_USB); }},
    {"free-pcie", [] { freeWhileCapturing(KVEXA_BOARD_PCIE); }},
    {"free-ended", endAfterFree},
    {"exit-usb", [] { exitWhileCapturing(KVEXA_BOARD_USB); }},
    {"exit-pcie", [] { exitWhileCapturing(KVEXA_BOARD_PCIE); }},
    {"exit-array", exitWhileArrayRuns},
    {"rounds", thousandRounds},
    {"reload-kept", captureWithAHandleFromBefore},
    {"reload-opened", openAgainAfterReload},
};

}  // namespace

int main(int count, char** arguments) {
  for (const Way& way : ways) {
    if (count == 2 && std::strcmp(arguments[1], way.name) == 0) {
      way.go();
      std::printf("done\n");
      std::fflush(stdout);
      ExitProcess(0);
    }
  }
  return 2;
}
