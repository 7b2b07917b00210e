// A PCIe board of a machine, and the host's side of its protocol written once more.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

#include "sim/machine/Machine.h"
#include "tests/support/SimulatedTime.h"

// An overlapped record with its event and its request.
struct Overlapped {
  explicit Overlapped(std::vector<std::uint32_t> record = {})
      : words(std::move(record)), overlapped{0, 0, {}, CreateEventA(nullptr, TRUE, FALSE, nullptr)} {}
  ~Overlapped() {
    if (overlapped.hEvent != nullptr) CloseHandle(overlapped.hEvent);
  }
  Overlapped(const Overlapped&) = delete;
  Overlapped& operator=(const Overlapped&) = delete;

  bool isPending() const { return static_cast<const volatile OVERLAPPED&>(overlapped).Internal == 0x103; }
  bool isSignalled() const { return WaitForSingleObject(overlapped.hEvent, 0) == WAIT_OBJECT_0; }
  void wait() const { kvexa::test::await(overlapped.hEvent); }
  std::uint32_t status() const { return words.front(); }

  std::vector<std::uint32_t> words;
  OVERLAPPED overlapped;
};

class PcieFixture : public testing::Test {
 protected:
  using Words = std::vector<std::uint32_t>;
  using Request = sim::pcie::Request;

  sim::Answer send(Request request, Words& words, OVERLAPPED* overlapped = nullptr) {
    return sendTo(board, request, words, overlapped);
  }

  static sim::Answer sendTo(sim::pcie::Board& to, Request request, Words& words,
                            OVERLAPPED* overlapped = nullptr) {
    const sim::pcie::Shape* shape = sim::pcie::findShape(static_cast<std::uint32_t>(request));
    words.resize(shape->words);
    const auto bytes = static_cast<std::uint32_t>(words.size() * 4);
    return to.control(
        *shape, {static_cast<std::uint32_t>(request), words.data(), bytes, words.data(), bytes, overlapped});
  }

  // Sends an overlapped request, which must stay pending.
  void start(Request request, Overlapped& overlapped) {
    EXPECT_EQ(send(request, overlapped.words, &overlapped.overlapped).error, 997U);
  }

  void writeRegister(std::uint32_t address, std::uint32_t value) { write(board, address, value); }

  static void write(sim::pcie::Board& to, std::uint32_t address, std::uint32_t value) {
    Words words = {0, address, value};
    EXPECT_EQ(sendTo(to, Request::writeRegister, words).error, 0U);
    EXPECT_EQ(words[0], 0U);
  }

  std::uint32_t readRegister(std::uint32_t address) {
    Words words = {0, address, 0xEEEEEEEE};
    EXPECT_EQ(send(Request::readRegister, words).error, 0U);
    return words[2];
  }

  // V1, clock and I2C lines on, out of reset.
  void powerUp() { writeRegister(0x214, 0x15); }

  // Streams frames of 8-bit samples with their number, and captures all of the image.
  void stream(unsigned width, unsigned height, unsigned period = 100) {
    powerUp();
    for (const auto& [address, value] :
         std::initializer_list<std::pair<std::uint16_t, unsigned>>{{0x104, width >> 8},
                                                                   {0x105, width},
                                                                   {0x106, height >> 8},
                                                                   {0x107, height},
                                                                   {0x108, period >> 8},
                                                                   {0x109, period},
                                                                   {0x10C, 1},
                                                                   {0x100, 1}}) {
      board.sensor().poke(address, static_cast<std::uint8_t>(value & 0xFF));
    }
    writeRegister(0x508, width);
    writeRegister(0x510, height);
  }

  static Words captureWords(std::vector<std::uint8_t>& buffer, std::uint32_t mode,
                            std::uint32_t continuous = 0, std::uint32_t timeout = 0) {
    return {0,
            static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(buffer.data())),
            static_cast<std::uint32_t>(buffer.size()),
            1,
            continuous,
            timeout,
            mode};
  }

  sim::Microseconds now() { return machine.clock().now(); }

  sim::Machine machine;
  sim::pcie::Board& board = machine.addPcieBoard();

 private:
  kvexa::test::TakesPart takesPart_{machine.timeline()};
};
