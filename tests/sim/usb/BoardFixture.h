// A USB board, and the host's side of its protocol written once more, for tests of the board itself.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

#include "sim/usb/Board.h"

class BoardTest : public testing::Test {
 protected:
  using Bytes = std::vector<std::uint8_t>;

  sim::Answer send(Bytes packet) {
    return board.transfer(3, 1000, packet.data(), static_cast<std::uint32_t>(packet.size()));
  }

  sim::Answer request(Bytes packet) {
    return board.transfer(0, 1000, packet.data(), static_cast<std::uint32_t>(packet.size()));
  }

  // What a read on a pipe delivers, cut to the bytes that came.
  Bytes receive(std::uint32_t pipe, std::uint32_t length, std::uint32_t timeout = 1000) {
    Bytes data(length, 0xEE);
    last = board.transfer(pipe, timeout, data.data(), length);
    data.resize(last.bytes);
    return data;
  }

  Bytes status() {
    EXPECT_EQ(request({0, 0}).error, 0U);
    return receive(1, 64);
  }

  void writeRegister(std::uint16_t address, std::uint16_t value) {
    EXPECT_EQ(send({1, 0x80, 0, 2, 0, low(address), high(address)}).error, 0U);
    EXPECT_EQ(send({1, 0x80, 1, 2, 0, low(value), high(value)}).error, 0U);
  }

  std::uint16_t readRegister(std::uint16_t address) {
    send({1, 0x80, 0, 2, 0, low(address), high(address)});
    send({0, 0x80, 1, 2, 0});
    const Bytes answer = receive(4, 7);
    EXPECT_EQ(answer.size(), 7U);
    return static_cast<std::uint16_t>(answer.at(5) | answer.at(6) << 8);
  }

  // V1, clock and I2C lines on, out of reset.
  void powerUp() { writeRegister(0x000A, 0x15); }

  void writeSensor(std::uint16_t address, std::initializer_list<std::uint8_t> data) {
    Bytes packet = {3, 0x36, low(address), high(address), static_cast<std::uint8_t>(data.size()), 0};
    packet.insert(packet.end(), data);
    EXPECT_EQ(send(packet).error, 0U);
  }

  static std::uint8_t low(std::uint16_t value) { return static_cast<std::uint8_t>(value & 0xFF); }
  static std::uint8_t high(std::uint16_t value) { return static_cast<std::uint8_t>(value >> 8); }

  sim::Clock clock;
  sim::Timeline timeline{clock};
  sim::Trace trace;
  sim::usb::Board board{"usb0", timeline, trace};
  sim::Answer last;
};
