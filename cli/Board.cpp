#include "Board.h"

#include <cstdio>

namespace cli {

void step(const std::string& call, std::int32_t result) {
  std::printf("  %-24s %d\n", call.c_str(), result);
  kvexa::require(call, result);
}

Board::Board(std::uint32_t type, std::uint32_t index) { step("kVexaDevOpen", board_.open(type, index)); }

Board::~Board() {
  const std::int32_t result = board_.close();
  std::printf("  %-24s %d\n", "kVexaDevClose", result);
}

void Board::powerUp() const {
  step("kVexaPowerV1On", kVexaPowerV1On(handle()));
  step("kVexaPowerV2On", kVexaPowerV2On(handle()));
  step("kVexaClockOn", kVexaClockOn(handle()));
  step("kVexaResetOff", kVexaResetOff(handle()));
}

void Board::powerDown() const {
  step("kVexaResetOn", kVexaResetOn(handle()));
  step("kVexaClockOff", kVexaClockOff(handle()));
  step("kVexaPowerV2Off", kVexaPowerV2Off(handle()));
  step("kVexaPowerV1Off", kVexaPowerV1Off(handle()));
}

}  // namespace cli
