// kvexa_sim.hpp - kvexa_sim.dll for C++17 programs: simulated boards that end with their owner, over the
// functions of kvexa_sim.h. Nothing here is compiled into the library.
//
//   const auto simulation = kvexa::Simulation::fromFile("boards.toml");
//   simulation.board(KVEXA_BOARD_USB, 0).setScene("street.jpg");
//
// From its start on KVEXA_LIB.dll finds the simulated boards instead of real ones. What the library refuses
// is thrown as kvexa::SimulationError, whose what() says it in words. Texts and file names are UTF-8.
#ifndef KVEXA_SIM_HPP
#define KVEXA_SIM_HPP

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

#include "kvexa_sim.h"

namespace kvexa {

// What the library refused, with its code.
class SimulationError : public std::runtime_error {
 public:
  SimulationError(std::int32_t result, const std::string& sentence)
      : std::runtime_error(sentence), result_(result) {}

  // A KvexaSimResult.
  std::int32_t result() const { return result_; }

 private:
  std::int32_t result_;
};

// The sentence of the last failure of this thread.
inline std::string lastSimulationError() {
  std::string text(1024, '\0');
  while (kvexaSimLastError(text.data(), static_cast<std::uint32_t>(text.size())) == KVEXA_SIM_TOO_SMALL) {
    text.resize(2 * text.size());
  }
  text.resize(text.find('\0'));
  return text;
}

// Throws SimulationError for a negative result, and gives any other one back.
inline std::int32_t requireSimulated(std::int32_t result) {
  if (result < 0) throw SimulationError(result, lastSimulationError());
  return result;
}

// A text as the library takes it: with a zero in it it would end there.
inline const char* wholeText(const std::string& text) {
  if (text.find('\0') != std::string::npos) {
    throw std::invalid_argument("a text with a zero in it would end there");
  }
  return text.c_str();
}

// A board of a simulation, which is there whether a program has opened it or not.
class SimulatedBoard {
 public:
  // type as in kvexa.h; index counts the boards of the type from 0.
  SimulatedBoard(std::uint32_t type, std::uint32_t index) : type_(type), index_(index) {}

  // Plugs the board in, or pulls it out; its registers stay.
  void plug(bool plugged = true) const { requireSimulated(kvexaSimPlug(type_, index_, plugged ? 1 : 0)); }

  // What the sensor sees from now on: "chart", a colour such as "#8090a0", or the path of a BMP or JPEG file.
  void setScene(const std::string& scene) const {
    requireSimulated(kvexaSimSetScene(type_, index_, wholeText(scene)));
  }

  // A register without a driver request: 16 bits on USB boards, 32 on PCIe boards.
  std::uint32_t readBoardRegister(std::uint32_t address) const {
    std::uint32_t value = 0;
    requireSimulated(kvexaSimReadBoardRegister(type_, index_, address, &value));
    return value;
  }
  void writeBoardRegister(std::uint32_t address, std::uint32_t value) const {
    requireSimulated(kvexaSimWriteBoardRegister(type_, index_, address, value));
  }

  // A register of the sensor, 8 bits, without the bus, whether the sensor is powered or not. What is written
  // is lost when the sensor loses its supply or is reset.
  std::uint32_t readSensorRegister(std::uint32_t address) const {
    std::uint32_t value = 0;
    requireSimulated(kvexaSimReadSensorRegister(type_, index_, address, &value));
    return value;
  }
  void writeSensorRegister(std::uint32_t address, std::uint32_t value) const {
    requireSimulated(kvexaSimWriteSensorRegister(type_, index_, address, value));
  }

  // Lets one driver request go wrong, counted from 1 for the next one, or every one from it on. The value is
  // that of the fault, such as the Windows error of KVEXA_SIM_FAULT_REFUSE.
  void setFault(KvexaSimFault fault, std::uint32_t value = 0, std::uint32_t request = 1) const {
    requireSimulated(kvexaSimSetFault(type_, index_, request, 0, fault, value));
  }
  void setFaultFrom(std::uint32_t request, KvexaSimFault fault, std::uint32_t value = 0) const {
    requireSimulated(kvexaSimSetFault(type_, index_, request, 1, fault, value));
  }

  // Whether the sensor acknowledges, and whether frames reach the board, until it is set again.
  void setConditions(bool acknowledge, bool frames) const {
    requireSimulated(kvexaSimSetConditions(type_, index_, acknowledge ? 1 : 0, frames ? 1 : 0));
  }

  // Forgets the faults and conditions of the board.
  void clearFaults() const { requireSimulated(kvexaSimClearFaults(type_, index_)); }

 private:
  std::uint32_t type_;
  std::uint32_t index_;
};

// The boards of a description, for the whole process; one simulation runs at a time. When it goes, the
// simulation is stopped: close boards before.
class Simulation {
 public:
  // Starts the boards of a description in TOML.
  static Simulation fromFile(const std::string& path) {
    requireSimulated(kvexaSimStartFile(wholeText(path)));
    return Simulation(true);
  }

  // The same for a text. Files that it names are found from the working folder.
  static Simulation fromText(const std::string& description) {
    requireSimulated(kvexaSimStartText(wholeText(description)));
    return Simulation(true);
  }

  // The simulation that runs already, as in a program under kvexa run. It is not stopped when this goes.
  static Simulation running() {
    Simulation found(false);
    found.count(0);
    return found;
  }

  ~Simulation() {
    // One that somebody else has stopped has ended as well.
    if (runs_) static_cast<void>(kvexaSimStop());
  }
  Simulation(const Simulation&) = delete;
  Simulation& operator=(const Simulation&) = delete;
  Simulation(Simulation&& other) noexcept : runs_(std::exchange(other.runs_, false)) {}

  // Pulls the boards out and ends the simulation, whoever has started it.
  void stop() {
    runs_ = false;
    requireSimulated(kvexaSimStop());
  }

  // How many boards of a type the simulation has, plugged or not.
  std::uint32_t count(std::uint32_t type) const {
    return static_cast<std::uint32_t>(requireSimulated(kvexaSimBoardCount(type)));
  }

  // A board; one that is not there is told here.
  SimulatedBoard board(std::uint32_t type, std::uint32_t index) const {
    const SimulatedBoard found(type, index);
    found.readSensorRegister(0);
    return found;
  }

  // The time of the boards since the start.
  std::chrono::microseconds time() const {
    std::uint64_t microseconds = 0;
    requireSimulated(kvexaSimGetTime(&microseconds));
    return std::chrono::microseconds(static_cast<std::int64_t>(microseconds));
  }

  // Lets simulated time pass; boards in real time refuse it.
  void advance(std::chrono::microseconds time) const {
    if (time.count() < 0) throw std::invalid_argument("time does not go back");
    requireSimulated(kvexaSimAdvanceTime(static_cast<std::uint64_t>(time.count())));
  }

  // Writes every driver request to a file from now on, behind what is in it; an empty name ends that.
  void trace(const std::string& path) const { requireSimulated(kvexaSimTrace(wholeText(path))); }

 private:
  explicit Simulation(bool runs) : runs_(runs) {}

  bool runs_;
};

}  // namespace kvexa

#endif  // KVEXA_SIM_HPP
