// What recordings cost. Called with "cost", it prints the microseconds that recording adds to a request, of
// the program's own thread and of all threads, for USB and for PCIe; with "make FILE", it writes a recording
// of a million requests; with "lines FILE", it reads a file line by line, and prints the bytes.
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "sim/machine/BoardClass.h"
#include "sim/record/format/LineText.h"
#include "sim/record/recording/RecordingPlatform.h"
#include "sim/usb/Protocol.h"

namespace {

using Seconds = std::chrono::duration<double>;

// Boards that answer at once.
class InstantBoards : public sim::Platform {
 public:
  HANDLE createFile(const char*, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE) override {
    return this;
  }
  BOOL closeHandle(HANDLE) override { return TRUE; }
  BOOL deviceIoControl(HANDLE, DWORD, void*, DWORD, void*, DWORD outLength, DWORD* returned,
                       OVERLAPPED*) override {
    *returned = outLength;
    return TRUE;
  }
  HDEVINFO getClassDevs(const GUID*, const char*, HWND, DWORD) override { return this; }
  BOOL enumDeviceInterfaces(HDEVINFO, SP_DEVINFO_DATA*, const GUID*, DWORD,
                            SP_DEVICE_INTERFACE_DATA*) override {
    return TRUE;
  }
  BOOL getDeviceInterfaceDetail(HDEVINFO, SP_DEVICE_INTERFACE_DATA*,
                                SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD, DWORD*,
                                SP_DEVINFO_DATA*) override {
    std::strcpy(&detail->DevicePath[0], "board");
    return TRUE;
  }
};

HANDLE openBoard(sim::Platform& platform, const sim::BoardClass& boardClass) {
  const HDEVINFO set = platform.getClassDevs(&boardClass.interfaceClass, nullptr, nullptr, 0);
  SP_DEVICE_INTERFACE_DATA data{};
  platform.enumDeviceInterfaces(set, nullptr, &boardClass.interfaceClass, 0, &data);
  std::vector<char> memory(300);
  auto* const detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_A*>(memory.data());
  platform.getDeviceInterfaceDetail(set, &data, detail, static_cast<DWORD>(memory.size()), nullptr, nullptr);
  return platform.createFile("board", GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
}

// Microseconds.
struct Cost {
  double own = 0;
  double processor = 0;  // time of all threads
};

double processorTime() {
  FILETIME unused;
  FILETIME times[2];
  GetProcessTimes(GetCurrentProcess(), &unused, &unused, &times[0], &times[1]);
  std::uint64_t sum = 0;
  for (const FILETIME& time : times) sum += std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
  return static_cast<double>(sum) / 10;
}

// In the program's own thread the best of many blocks, so that neither other programs nor the writing of the
// lines count.
template <class Request>
Cost timeOf(Request request, sim::record::Recorder* recorder) {
  constexpr unsigned blocks = 300;
  constexpr unsigned requests = 1000;
  const double before = processorTime();
  Seconds best{1e9};
  for (unsigned block = 0; block < blocks; ++block) {
    const auto begin = std::chrono::steady_clock::now();
    for (unsigned i = 0; i < requests; ++i) request();
    best = std::min<Seconds>(best, std::chrono::steady_clock::now() - begin);
    Sleep(1);  // what is recorded is written meanwhile
  }
  if (recorder != nullptr) recorder->close();
  return {best.count() * 1e6 / requests, (processorTime() - before) / blocks / requests};
}

Cost usbRequest(sim::Platform& platform, sim::record::Recorder* recorder) {
  const HANDLE file = openBoard(platform, sim::boardClasses[0]);
  sim::usb::Control::PipeRecord record{};
  record.pipe = sim::usb::Pipe::answer;
  record.timeout = 1000;
  std::uint8_t answer[64] = {};
  DWORD returned = 0;
  const auto request = [&] {
    platform.deviceIoControl(file, sim::usb::Control::pipeTransfer, &record, sizeof record, answer,
                             sizeof answer, &returned, nullptr);
  };
  return timeOf(request, recorder);
}

Cost pcieRequest(sim::Platform& platform, sim::record::Recorder* recorder) {
  constexpr DWORD readRegister = 0x80002008;
  const HANDLE file = openBoard(platform, sim::boardClasses[1]);
  std::uint32_t words[] = {0, 0x214, 0};
  DWORD returned = 0;
  const auto request = [&] {
    platform.deviceIoControl(file, readRegister, words, sizeof words, words, sizeof words, &returned,
                             nullptr);
  };
  return timeOf(request, recorder);
}

void showCost() {
  const std::string path = (std::filesystem::temp_directory_path() / "kvexa_bench.jsonl").string();
  for (const auto request : {usbRequest, pcieRequest}) {
    const auto boards = std::make_shared<InstantBoards>();
    const Cost bare = request(*boards, nullptr);
    sim::record::Recorder::Options options;
    options.path = path;
    options.memory = std::size_t{256} << 20;
    const auto recorder = std::make_shared<sim::record::Recorder>(options);
    const auto recording =
        sim::record::makeRecordingPlatform(boards, recorder, std::make_shared<sim::Clock>(sim::Pace::real));
    const Cost recorded = request(*recording, recorder.get());
    std::printf("%.2f %.2f ", recorded.own - bare.own, recorded.processor - bare.processor);
  }
  std::printf("\n");
  std::filesystem::remove(path);
}

void make(const char* path) {
  std::ofstream file(path, std::ios::binary);
  std::vector<char> text(sim::record::longestLine);
  sim::record::Header header;
  header.format = sim::record::Header::version;
  file.write(text.data(), static_cast<std::streamsize>(sim::record::writeHeader(header, text)));
  std::uint8_t command[] = {1, 0x80, 1, 2, 0, 0, 0};
  const std::uint8_t status[64] = {};
  constexpr std::uint32_t requests = 1000000;
  sim::record::Line line;
  for (std::uint32_t i = 0; i < requests; ++i) {
    line = {};
    line.call = sim::record::Call::request;
    line.board = {0, 0};
    line.thread = 1;
    line.handle = 1;
    line.code = sim::usb::Control::pipeTransfer;
    line.n = std::uint64_t{2} * i + 1;
    line.e = line.n + 1;
    line.t = std::uint64_t{20} * i;
    line.d = 17;
    line.b = 1000;
    line.result = 1;
    command[5] = static_cast<std::uint8_t>(i);
    if (i % 2 == 0) {
      line.a = sim::usb::Pipe::command;
      line.in = {command, sizeof command};
      line.moved = sizeof command;
    } else {
      line.a = sim::usb::Pipe::status;
      line.size = line.moved = sizeof status;
      line.out = {status, sizeof status};
    }
    file.write(text.data(), static_cast<std::streamsize>(sim::record::writeLine(line, text)));
  }
  line = {};
  line.a = requests;
  file.write(text.data(), static_cast<std::streamsize>(sim::record::writeLine(line, text)));
}

void readLines(const char* path) {
  std::ifstream file(path, std::ios::binary);
  std::size_t bytes = 0;
  for (std::string line; std::getline(file, line);) bytes += line.size();
  std::printf("%zu\n", bytes);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string what = argc > 1 ? argv[1] : "";
  if (what == "cost") showCost();
  if (what == "make" && argc > 2) make(argv[2]);
  if (what == "lines" && argc > 2) readLines(argv[2]);
  return 0;
}
