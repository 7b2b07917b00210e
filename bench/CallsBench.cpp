// What the library itself costs beside the driver: register accesses, lines of register-setting files, frames
// of captures, the way out of an abort; with one board and with several. Prints lines
// "what|boards|unit|value".
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <kvexa.hpp>
#include <string>
#include <thread>
#include <vector>

#include "LibraryClock.h"
#include "Timing.h"
#include "sim/attach/Attachment.h"
#include "sim/machine/Machine.h"

namespace {

using bench::LibraryClock;

constexpr unsigned mostBoards = 4;
constexpr unsigned rounds = 7;
constexpr unsigned requestMicroseconds = 100;
constexpr std::uint32_t sensor = 0x36;
constexpr std::uint32_t scratch = 0x3000;
constexpr std::uint32_t width = 1280;
constexpr std::uint32_t height = 960;
constexpr std::uint32_t frameBytes = width * height;
constexpr std::uint32_t timeout = 1000;
constexpr const char* typeNames[] = {"USB", "PCIe"};
constexpr const char* modeNames[] = {"7-bit slave, 8-bit register",   "7-bit slave, 16-bit register",
                                     "7-bit slave, no register",      "10-bit slave, 8-bit register",
                                     "10-bit slave, 16-bit register", "10-bit slave, no register"};

void print(const std::string& what, std::size_t boards, const char* unit, double value) {
  std::printf("%s|%u|%s|%.3f\n", what.c_str(), static_cast<unsigned>(boards), unit, value);
  std::fflush(stdout);
}

double leastOf(const std::function<double()>& measurement) {
  double least = 1e300;
  for (unsigned round = 0; round < rounds; ++round) least = std::min(least, measurement());
  return least;
}

using Call = std::function<void(const kvexa::Board& board)>;

// The library's microseconds in a call that each board's own thread makes again and again.
double callTime(HMODULE library, const std::vector<kvexa::Board>& boards, std::size_t count, unsigned delay,
                unsigned calls, const Call& call) {
  return leastOf([&] {
    const LibraryClock clock(library, delay);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < count; ++i) {
      threads.emplace_back([&, i] {
        for (unsigned n = 0; n < calls; ++n) {
          LibraryClock::enter();
          call(boards[i]);
          LibraryClock::leave();
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    return LibraryClock::all() * 1e6 / calls / static_cast<double>(count);
  });
}

// Devices that do not answer in a mode cost the library the same.
Call reading(std::uint32_t mode) {
  return [mode](const kvexa::Board& board) {
    std::uint32_t word = 0;
    kVexaRegRead(board.handle(), sensor, scratch, mode, 1, &word);
  };
}

Call writing(std::uint32_t mode) {
  return [mode](const kvexa::Board& board) {
    const std::uint32_t word = 0x5A;
    kVexaRegWrite(board.handle(), sensor, scratch, mode, 1, &word);
  };
}

void readOwnRegister(const kvexa::Board& board) {
  std::uint32_t word = 0;
  kVexaFpgaRead(board.handle(), 8, 2, &word);
}

std::string registerFile(unsigned lines) {
  const auto path = std::filesystem::temp_directory_path() / "kvexa_calls_bench.csv";
  std::ofstream file(path, std::ios::binary);
  file << "36,1\n";
  for (unsigned i = 1; i < lines; ++i) file << std::hex << scratch + i << "," << (i & 0xFF) << "\n";
  return path.string();
}

void measureRegisters(HMODULE library, const std::vector<kvexa::Board>& boards, const std::string& type) {
  constexpr unsigned calls = 2000;
  for (std::uint32_t mode = KVEXA_SLAVE7_SUB8; mode <= KVEXA_SLAVE10_NO_SUB; ++mode) {
    const std::string suffix = std::string(", ") + modeNames[mode];
    print(type + " register read" + suffix, 1, "us", callTime(library, boards, 1, 0, calls, reading(mode)));
    print(type + " register write" + suffix, 1, "us", callTime(library, boards, 1, 0, calls, writing(mode)));
  }
  print(type + " board register read", 1, "us", callTime(library, boards, 1, 0, calls, readOwnRegister));
  constexpr unsigned lines = 500;
  const std::string path = registerFile(lines);
  const Call play = [&](const kvexa::Board& board) { kVexaSetI2cFile(path.c_str(), board.handle()); };
  print(type + " line of a register-setting file", 1, "us", callTime(library, boards, 1, 0, 1, play) / lines);
  std::filesystem::remove(path);
  for (const std::size_t count : {1U, 2U, 4U}) {
    const double time =
        callTime(library, boards, count, requestMicroseconds, 300, reading(KVEXA_SLAVE7_SUB16));
    print(type + " register read, requests of 0.1 ms", count, "us", time);
  }
}

CapParam parameters() {
  CapParam all{};
  all.HCNT = width;
  all.VCNT = height;
  all.PORTMSBBIT = 7;
  all.BITWIDTH = 8;
  all.INPUTFORMAT = KVEXA_INPUT_BYTE_1;
  return all;
}

void prepare(kvexa::Board& board) {
  board.powerUp();
  const auto pair = [&](std::uint32_t address, std::uint32_t value) {
    board.writeRegister(sensor, address, {value >> 8, value & 0xFF});
  };
  pair(sim::SensorRegister::width, width);
  pair(sim::SensorRegister::height, height);
  board.writeRegister(sensor, sim::SensorRegister::streaming, {1});
  board.configure(parameters());
}

double counted(const kvexa::Board& board, std::uint32_t frames, std::vector<std::uint8_t>& buffer) {
  const kvexa::Event end;
  std::int32_t result = KVEXA_BUSY;
  kvexa::require("kVexaMultiShotCaptureEx",
                 kVexaMultiShotCaptureEx(board.handle(), frameBytes, frames, buffer.data(), timeout, nullptr,
                                         end.get(), &result));
  WaitForSingleObject(end.get(), INFINITE);
  kVexaAbortCapture(board.handle());
  return LibraryClock::workers() * 1e6 / frames;
}

double ring(const kvexa::Board& board, std::uint32_t frames) {
  kvexa::CaptureSession session(board, 4, timeout);
  std::uint32_t seen = 0;
  for (const kvexa::FrameView& frame : session.frames(frames)) seen += frame.width() == width ? 1 : 0;
  kvexa::require("kVexaMultiShotCapArrayStop", session.stop());
  if (seen != frames) throw std::runtime_error("frames are missing");
  return LibraryClock::workers() * 1e6 / frames;
}

void measureFrames(HMODULE library, const kvexa::Board& board, const std::string& type, bool hasRing) {
  constexpr std::uint32_t frames = 20;
  std::vector<std::uint8_t> buffer(std::size_t{frameBytes} * (frames + 1));
  print(type + " frame of a counted capture", 1, "us", leastOf([&] {
          const LibraryClock clock(library);
          return counted(board, frames, buffer);
        }));
  if (!hasRing) return;
  print(type + " frame of a ring", 1, "us", leastOf([&] {
          const LibraryClock clock(library);
          return ring(board, frames);
        }));
}

void measureCopy() {
  const std::vector<std::uint8_t> from(frameBytes, 1);
  std::vector<std::uint8_t> to(frameBytes);
  std::vector<bench::Job> jobs{{"copy", [&] { std::memcpy(to.data(), from.data(), frameBytes); }}};
  bench::measure(jobs, rounds, 0.02);
  print("copy of a frame", 1, "us", jobs.front().best * 1e6);
}

void measureAbort(HMODULE library, const kvexa::Board& board, const std::string& type) {
  std::vector<std::uint8_t> buffer(frameBytes * 2);
  print(type + " abort of an endless capture", 1, "us", leastOf([&] {
          const kvexa::Event frame;
          const kvexa::Event end;
          std::int32_t result = KVEXA_BUSY;
          const std::uint32_t endless = type == "USB" ? 0 : 1;
          kvexa::require("kVexaMultiShotCaptureEx",
                         kVexaMultiShotCaptureEx(board.handle(), frameBytes, endless, buffer.data(), timeout,
                                                 frame.get(), end.get(), &result));
          WaitForSingleObject(frame.get(), INFINITE);
          const LibraryClock clock(library);
          LibraryClock::enter();
          kVexaAbortCapture(board.handle());
          LibraryClock::leave();
          return LibraryClock::all() * 1e6;
        }));
}

void measure() {
  sim::Machine machine;
  for (unsigned i = 0; i < mostBoards; ++i) {
    machine.addUsbBoard();
    machine.addPcieBoard();
    machine.pciBus().addBoard();
  }
  const HMODULE library = GetModuleHandleA("KVEXA_LIB.dll");
  const sim::Attachment attachment(library, machine);
  measureCopy();
  for (const std::uint32_t type : {KVEXA_BOARD_USB, KVEXA_BOARD_PCIE}) {
    std::vector<kvexa::Board> boards;
    for (std::uint32_t i = 0; i < mostBoards; ++i) prepare(boards.emplace_back(type, i));
    measureRegisters(library, boards, typeNames[type]);
    measureFrames(library, boards.front(), typeNames[type], type == KVEXA_BOARD_USB);
    measureAbort(library, boards.front(), typeNames[type]);
  }
}

}  // namespace

int main() {
  try {
    measure();
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "calls_bench: %s\n", failure.what());
    return 1;
  }
}
