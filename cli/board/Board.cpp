#include "cli/board/Board.h"

#include <optional>
#include <utility>

#include "cli/base/Failure.h"
#include "cli/board/BoardNames.h"

namespace cli {

namespace {

// Why a board does not open, as far as counting tells.
std::optional<std::string> whyMissing(std::uint32_t type, std::uint32_t index) {
  std::uint32_t counts[2] = {0, 0};
  if (kVexaDevNum(&counts[KVEXA_BOARD_USB], &counts[KVEXA_BOARD_PCIE]) < 0) return std::nullopt;
  const std::uint32_t count = counts[type];
  if (index < count) return std::nullopt;
  const std::uint32_t others = counts[type ^ 1U];
  std::string text = count == 0 ? "no " + std::string(typeTitle(type)) + " board is there"
                                : "boards of this type: " + std::to_string(count) + ", so --index is " +
                                      (count == 1 ? "0" : "0 to " + std::to_string(count - 1));
  if (count == 0 && others != 0) {
    text += ", but " + std::to_string(others) + " of type " + typeName(type ^ 1U) + " (--board " +
            typeName(type ^ 1U) + ")";
  }
  return text;
}

}  // namespace

Board::Board(Context& context) : Board(context.output, context.common.boardType, context.common.boardIndex) {}

Board::Board(Output& output, std::uint32_t type, std::uint32_t index) : output_(output) {
  const std::int32_t result = board_.open(type, index);
  output_.record("kVexaDevOpen", result);
  if (result >= 0) return;
  CallFailure failure("kVexaDevOpen", result);
  if (const auto reason = whyMissing(type, index)) failure.advice = *reason + "; kvexa list shows all boards";
  throw failure;
}

Board::~Board() {
  const std::int32_t result = board_.close();
  output_.record("kVexaDevClose", result);
}

void Board::powerUp() const {
  step("kVexaPowerV1On", kVexaPowerV1On(handle()));
  step("kVexaPowerV2On", kVexaPowerV2On(handle()));
  step("kVexaClockOn", kVexaClockOn(handle()));
  step("kVexaResetOff", kVexaResetOff(handle()));
}

void Board::powerDown() const {
  const std::pair<const char*, std::int32_t> results[] = {
      {"kVexaResetOn", kVexaResetOn(handle())},
      {"kVexaClockOff", kVexaClockOff(handle())},
      {"kVexaPowerV2Off", kVexaPowerV2Off(handle())},
      {"kVexaPowerV1Off", kVexaPowerV1Off(handle())},
  };
  for (const auto& [call, result] : results) output_.record(call, result);
  for (const auto& [call, result] : results) require(call, result);
}

Powered::Powered(const Board& board, bool isWanted) : board_(board), on_(isWanted) {
  if (!on_) return;
  try {
    board_.powerUp();
  } catch (...) {
    // The destructor does not run: switched on is what came before the failure.
    on_ = false;
    try {
      board_.powerDown();
    } catch (const CallFailure&) {
    }
    throw;
  }
}

Powered::~Powered() {
  if (!on_) return;
  try {
    board_.powerDown();
  } catch (const CallFailure&) {
    // The command fails already, with the reason of that.
  }
}

void Powered::off() {
  if (!on_) return;
  on_ = false;
  board_.powerDown();
}

}  // namespace cli
