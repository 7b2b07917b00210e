// What a self-test is made of: checks with a name, what each needs, and how one tells what it found.
#pragma once

#include <kvexa.h>

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace cli::selftest {

class Rig;

// Ends a check that found something else than it expected.
struct Departure : std::runtime_error {
  Departure(const std::string& expected, const std::string& found)
      : std::runtime_error("expected " + expected + ", found " + found),
        expectation(expected),
        finding(found) {}
  std::string expectation;
  std::string finding;
};

// Ends a check that has nothing to look at here.
struct LeftOut : std::runtime_error {
  using std::runtime_error::runtime_error;
};

std::string hex(std::uint32_t value, int digits = 4);

// "-57 (the device on the sensor bus did not acknowledge)", without the advice.
std::string resultText(std::int32_t result);

void expect(bool condition, const std::string& expected, const std::string& found);
void expectEqual(const std::string& what, std::uint64_t expected, std::uint64_t found);
// "0x0010 in register 0x0302".
void expectHex(const std::string& where, std::uint32_t expected, std::uint32_t found);
void expectResult(const std::string& call, std::int32_t expected, std::int32_t found);

inline void expectOk(const std::string& call, std::int32_t found) { expectResult(call, KVEXA_OK, found); }

enum Need : unsigned {
  nothing = 0,
  writes = 1,    // changes supplies or registers
  sensor = 2,    // knows how the sensor is addressed
  scratch = 4,   // has sensor registers to write to
  frames = 8,    // has capture parameters, and a sensor that streams
  numbers = 16,  // the sensor draws its frames' numbers
  noBoard = 32   // runs without an open board too
};

enum Boards : unsigned { usbOnly = 1, pcieOnly = 2, bothBoards = 3 };

struct Check {
  std::string_view name;
  unsigned boards;
  unsigned needs;
  void (*run)(Rig& rig);
};

// In the order in which they run.
std::span<const Check> boardChecks();
std::span<const Check> switchChecks();
std::span<const Check> sensorChecks();
std::span<const Check> measureChecks();
std::span<const Check> frameChecks();
std::span<const Check> sequenceChecks();
std::span<const Check> endingChecks();
std::span<const Check> pcieChecks();
std::span<const Check> conversionChecks();

}  // namespace cli::selftest
