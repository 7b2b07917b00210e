// What a frame of the simulated boards costs: 1280 x 960 pixels, after the first one of a scene, as the USB
// board delivers it. Prints for each kind of picture its name, milliseconds a frame and frames a second.
#include <cstdio>
#include <vector>

#include "bench/Timing.h"
#include "sim/machine/Machine.h"

namespace {

constexpr unsigned width = 1280;
constexpr unsigned height = 960;
constexpr unsigned rounds = 5;
constexpr double secondsPerMeasurement = 0.2;

void setSensor(sim::usb::Board& board, unsigned bits, unsigned noise) {
  namespace registers = sim::SensorRegister;
  sim::Sensor& sensor = board.sensor();
  sensor.setLines({.supplied = true, .clocked = true, .resetActive = false});
  const auto pokePair = [&](std::uint16_t address, unsigned value) {
    sensor.poke(address, static_cast<std::uint8_t>(value >> 8));
    sensor.poke(static_cast<std::uint16_t>(address + 1), static_cast<std::uint8_t>(value));
  };
  pokePair(registers::width, width);
  pokePair(registers::height, height);
  sensor.poke(registers::bits, static_cast<std::uint8_t>(bits));
  sensor.poke(registers::noise, static_cast<std::uint8_t>(noise));
  sensor.setScene(sim::Scene::chart());
  sensor.poke(registers::streaming, 1);
  board.setBoardRegister(sim::usb::Register::areaRight, width);
  board.setBoardRegister(sim::usb::Register::areaBottom, height);
  board.setBoardRegister(sim::usb::Register::narrowData, bits == 8 ? 1 : 0);
}

}  // namespace

int main() {
  sim::Machine machine;
  std::vector<bench::Job> jobs;
  std::uint64_t number = 0;
  bool wrong = false;
  const auto add = [&](const char* name, unsigned bits, unsigned noise) {
    sim::usb::Board& board = machine.addUsbBoard();
    setSensor(board, bits, noise);
    const std::size_t bytes = std::size_t{width} * height * (bits == 8 ? 1 : 2);
    jobs.push_back({name, [&board, &number, &wrong, bytes] {
                      wrong = wrong || board.frameBytes(number++).size() != bytes;
                    }});
  };
  add("8 bits", 8, 0);
  add("8 bits with noise", 8, 4);
  add("10 bits", 10, 0);
  add("10 bits with noise", 10, 4);
  bench::measure(jobs, rounds, secondsPerMeasurement);
  for (const bench::Job& job : jobs)
    std::printf("%s | %.2f | %.0f\n", job.name.c_str(), job.best * 1e3, 1 / job.best);
  return wrong ? 1 : 0;
}
