// The exported functions. No exception crosses one: each has a result code, and its sentence is kept.
#include <array>
#include <cstring>
#include <exception>
#include <new>

#include "kvexa.h"
#include "kvexa_sim.h"
#include "sim/bench/Files.h"
#include "sim/dll/LastError.h"
#include "sim/dll/Simulation.h"

namespace {

using sim::DescribedBench;
using sim::Simulation;

struct Failure {
  KvexaSimResult result;
  std::string text;
};

[[noreturn]] void fail(KvexaSimResult result, std::string text) { throw Failure{result, std::move(text)}; }

int32_t failed(KvexaSimResult result, const char* text) {
  sim::setLastError(text);
  return result;
}

template <class Call>
int32_t guarded(Call call) noexcept {
  try {
    return call();
  } catch (const Failure& failure) {
    return failed(failure.result, failure.text.c_str());
  } catch (const sim::DescriptionError& error) {
    return failed(KVEXA_SIM_BAD_DESCRIPTION, error.what());
  } catch (const sim::SimulationRuns& error) {
    return failed(KVEXA_SIM_RUNNING, error.what());
  } catch (const sim::SceneError& error) {
    return failed(KVEXA_SIM_BAD_FILE, error.what());
  } catch (const sim::TraceError& error) {
    return failed(KVEXA_SIM_BAD_FILE, error.what());
  } catch (const sim::record::RecorderError& error) {
    return failed(KVEXA_SIM_BAD_FILE, error.what());
  } catch (const sim::record::RecordingError& error) {
    return failed(KVEXA_SIM_BAD_FILE, error.what());
  } catch (const std::bad_alloc&) {
    return failed(KVEXA_SIM_NO_MEMORY, "there is no memory");
  } catch (const std::exception& error) {
    return failed(KVEXA_SIM_FAILED, error.what());
  } catch (...) {
    return failed(KVEXA_SIM_FAILED, "an error of an unknown kind");
  }
}

// Ends the call with the code of a bad argument unless it holds.
void require(bool holds, const char* text) {
  if (!holds) fail(KVEXA_SIM_BAD_ARGUMENT, text);
}

std::shared_ptr<DescribedBench> running() {
  auto bench = Simulation::instance().bench();
  if (!bench) fail(KVEXA_SIM_NOT_RUNNING, "no simulation runs");
  return bench;
}

// The parts of a board; the bench is kept for as long as they are used.
struct BoardInUse {
  std::shared_ptr<DescribedBench> bench;
  sim::BoardParts parts;
};

BoardInUse boardOf(uint32_t type, uint32_t index) {
  auto bench = running();
  const auto parts = bench->board(type, index);
  if (!parts) {
    fail(KVEXA_SIM_NO_BOARD, "the simulation has no board of type " + std::to_string(type) + " and index " +
                                 std::to_string(index));
  }
  return {std::move(bench), *parts};
}

struct FaultKind {
  sim::Fault::Kind kind;
  bool onUsb;
  bool onPcie;
  uint32_t mostValue;
};

// In the order of KvexaSimFault.
constexpr uint32_t anyWord = 0xFFFFFFFF;
constexpr std::array<FaultKind, 7> faultKinds{{{sim::Fault::Kind::refuse, true, true, anyWord},
                                               {sim::Fault::Kind::keepStatus, true, true, anyWord},
                                               {sim::Fault::Kind::shorten, true, true, anyWord},
                                               {sim::Fault::Kind::corrupt, true, false, 0xFF},
                                               {sim::Fault::Kind::unplug, true, true, anyWord},
                                               {sim::Fault::Kind::answer, false, true, anyWord},
                                               {sim::Fault::Kind::answerLater, false, true, anyWord}}};

void requireRegister(uint32_t type, uint32_t address, uint32_t value) {
  constexpr uint32_t mostAddress = 0xFFFF;
  require(type != KVEXA_BOARD_USB || address <= mostAddress, "a USB board has registers up to 0xffff");
  require(type != KVEXA_BOARD_USB || value <= mostAddress, "registers of a USB board have 16 bits");
}

}  // namespace

extern "C" {

KVEXA_SIM_EXPORT(int32_t) kvexaSimStartFile(const char* path) noexcept {
  return guarded([&] {
    if (path == nullptr) fail(KVEXA_SIM_BAD_ARGUMENT, "the path is null");
    Simulation::instance().start(sim::readDescription(path));
    return KVEXA_SIM_OK;
  });
}

KVEXA_SIM_EXPORT(int32_t) kvexaSimStartText(const char* text) noexcept {
  return guarded([&] {
    if (text == nullptr) fail(KVEXA_SIM_BAD_ARGUMENT, "the text is null");
    Simulation::instance().start(sim::parseDescription(text, "description", "."));
    return KVEXA_SIM_OK;
  });
}

KVEXA_SIM_EXPORT(int32_t) kvexaSimStop() noexcept {
  return guarded([&] {
    if (!Simulation::instance().stop()) fail(KVEXA_SIM_NOT_RUNNING, "no simulation runs");
    return KVEXA_SIM_OK;
  });
}

KVEXA_SIM_EXPORT(int32_t) kvexaSimLastError(char* text, uint32_t size) noexcept {
  if (text == nullptr || size == 0) return KVEXA_SIM_BAD_ARGUMENT;
  try {
    const std::string whole = sim::lastError();
    const std::size_t count = std::min<std::size_t>(whole.size(), size - 1);
    std::memcpy(text, whole.data(), count);
    text[count] = '\0';
    return count == whole.size() ? KVEXA_SIM_OK : KVEXA_SIM_TOO_SMALL;
  } catch (...) {
    text[0] = '\0';
    return KVEXA_SIM_NO_MEMORY;
  }
}

KVEXA_SIM_EXPORT(int32_t) kvexaSimBoardCount(uint32_t type) noexcept {
  return guarded([&] {
    require(type == KVEXA_BOARD_USB || type == KVEXA_BOARD_PCIE, "there is no such board type");
    return static_cast<int32_t>(running()->count(type));
  });
}

KVEXA_SIM_EXPORT(int32_t) kvexaSimSetScene(uint32_t type, uint32_t index, const char* scene) noexcept {
  return guarded([&] {
    if (scene == nullptr) fail(KVEXA_SIM_BAD_ARGUMENT, "the scene is null");
    boardOf(type, index).parts.sensor.setScene(sim::sceneNamed(scene));
    return KVEXA_SIM_OK;
  });
}

KVEXA_SIM_EXPORT(int32_t)
kvexaSimReadBoardRegister(uint32_t type, uint32_t index, uint32_t address, uint32_t* value) noexcept {
  return guarded([&] {
    if (value == nullptr) fail(KVEXA_SIM_BAD_ARGUMENT, "the value is null");
    requireRegister(type, address, 0);
    *value = *boardOf(type, index).bench->readRegister(type, index, address);
    return KVEXA_SIM_OK;
  });
}

KVEXA_SIM_EXPORT(int32_t)
kvexaSimWriteBoardRegister(uint32_t type, uint32_t index, uint32_t address, uint32_t value) noexcept {
  return guarded([&] {
    requireRegister(type, address, value);
    boardOf(type, index).bench->writeRegister(type, index, address, value);
    return KVEXA_SIM_OK;
  });
}

KVEXA_SIM_EXPORT(int32_t)
kvexaSimReadSensorRegister(uint32_t type, uint32_t index, uint32_t address, uint32_t* value) noexcept {
  return guarded([&] {
    if (value == nullptr) fail(KVEXA_SIM_BAD_ARGUMENT, "the value is null");
    require(address <= 0xFFFF, "the sensor has registers up to 0xffff");
    *value = boardOf(type, index).parts.sensor.peek(static_cast<uint16_t>(address));
    return KVEXA_SIM_OK;
  });
}

KVEXA_SIM_EXPORT(int32_t)
kvexaSimWriteSensorRegister(uint32_t type, uint32_t index, uint32_t address, uint32_t value) noexcept {
  return guarded([&] {
    require(address <= 0xFFFF && value <= 0xFF, "the sensor has registers of 8 bits up to 0xffff");
    boardOf(type, index).parts.sensor.poke(static_cast<uint16_t>(address), static_cast<uint8_t>(value));
    return KVEXA_SIM_OK;
  });
}

KVEXA_SIM_EXPORT(int32_t)
kvexaSimSetFault(uint32_t type, uint32_t index, uint32_t request, uint32_t andAfter, uint32_t fault,
                 uint32_t value) noexcept {
  return guarded([&] {
    require(request != 0, "requests are counted from 1");
    require(andAfter <= 1, "\"andAfter\" is 0 or 1");
    require(fault < faultKinds.size(), "there is no such fault");
    const FaultKind& kind = faultKinds[fault];
    require(type == KVEXA_BOARD_USB ? kind.onUsb : kind.onPcie, "boards of this type do not have the fault");
    require(value <= kind.mostValue, "the value is too large for the fault");
    const BoardInUse board = boardOf(type, index);
    const sim::Fault made{kind.kind, value};
    andAfter != 0 ? board.parts.faults.from(request, made) : board.parts.faults.at(request, made);
    return KVEXA_SIM_OK;
  });
}

KVEXA_SIM_EXPORT(int32_t)
kvexaSimSetConditions(uint32_t type, uint32_t index, uint32_t acknowledge, uint32_t frames) noexcept {
  return guarded([&] {
    require(acknowledge <= 1 && frames <= 1, "conditions are 0 or 1");
    const BoardInUse board = boardOf(type, index);
    board.parts.faults.holdAcknowledge(acknowledge == 0);
    board.parts.faults.holdFrames(frames == 0);
    return KVEXA_SIM_OK;
  });
}

KVEXA_SIM_EXPORT(int32_t) kvexaSimClearFaults(uint32_t type, uint32_t index) noexcept {
  return guarded([&] {
    const BoardInUse board = boardOf(type, index);
    board.parts.faults.clear();
    board.parts.faults.holdAcknowledge(false);
    board.parts.faults.holdFrames(false);
    return KVEXA_SIM_OK;
  });
}

KVEXA_SIM_EXPORT(int32_t) kvexaSimPlug(uint32_t type, uint32_t index, uint32_t plugged) noexcept {
  return guarded([&] {
    require(plugged <= 1, "\"plugged\" is 0 or 1");
    boardOf(type, index).bench->plug(type, index, plugged != 0);
    return KVEXA_SIM_OK;
  });
}

KVEXA_SIM_EXPORT(int32_t) kvexaSimGetTime(uint64_t* microseconds) noexcept {
  return guarded([&] {
    if (microseconds == nullptr) fail(KVEXA_SIM_BAD_ARGUMENT, "the place of the time is null");
    *microseconds = running()->machine().clock().now();
    return KVEXA_SIM_OK;
  });
}

KVEXA_SIM_EXPORT(int32_t) kvexaSimAdvanceTime(uint64_t microseconds) noexcept {
  return guarded([&] {
    const auto bench = running();
    require(!bench->machine().clock().isReal(), "the boards live in real time, which passes by itself");
    constexpr sim::Microseconds longest = 1000ULL * 365 * 24 * 3600 * 1000000;  // a thousand years
    require(microseconds <= longest && bench->machine().clock().now() <= longest - microseconds,
            "that is more time than boards live for");
    bench->machine().timeline().advance(microseconds);
    return KVEXA_SIM_OK;
  });
}

KVEXA_SIM_EXPORT(int32_t) kvexaSimTrace(const char* path) noexcept {
  return guarded([&] {
    running()->traceTo(path != nullptr ? path : "");
    return KVEXA_SIM_OK;
  });
}

KVEXA_SIM_EXPORT(int32_t) kvexaSimRecord(const char* path, uint32_t frames) noexcept {
  return guarded([&] {
    require(frames <= 1, "\"frames\" is 0 or 1");
    const bool ends = path == nullptr || *path == '\0';
    const bool done = Simulation::instance().record(ends ? "" : path, frames != 0);
    if (!done) fail(KVEXA_SIM_NOT_RUNNING, "no recording is written");
    return KVEXA_SIM_OK;
  });
}

}  // extern "C"
