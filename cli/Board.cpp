#include "Board.h"

#include <cstdio>

#include "Failure.h"
#include "ResultText.h"

namespace cli {

void step(const std::string& call, std::int32_t result) {
  std::printf("  %-24s %d\n", call.c_str(), result);
  require(call, result);
}

void require(const std::string& call, std::int32_t result) {
  if (result < 0) throw Failure(call + " returned " + describe(result));
}

Board::Board(std::uint32_t type, std::uint32_t index) {
  step("kVexaDevOpen", kVexaDevOpen(type, index, &handle_));
}

Board::~Board() {
  const std::int32_t result = kVexaDevClose(&handle_);
  std::printf("  %-24s %d\n", "kVexaDevClose", result);
}

void Board::powerUp() {
  step("kVexaPowerV1On", kVexaPowerV1On(&handle_));
  step("kVexaPowerV2On", kVexaPowerV2On(&handle_));
  step("kVexaClockOn", kVexaClockOn(&handle_));
  step("kVexaResetOff", kVexaResetOff(&handle_));
}

void Board::powerDown() {
  step("kVexaResetOn", kVexaResetOn(&handle_));
  step("kVexaClockOff", kVexaClockOff(&handle_));
  step("kVexaPowerV2Off", kVexaPowerV2Off(&handle_));
  step("kVexaPowerV1Off", kVexaPowerV1Off(&handle_));
}

}  // namespace cli
