// kvexa lines and dip: general-purpose lines and DIP switches.
#include <memory>

#include "cli/board/Board.h"
#include "cli/board/BoardFacts.h"
#include "cli/commands/Commands.h"

namespace cli {

namespace {

void getLines(Context& context) {
  const Board board(context);
  tellLines(board);
}

void setLines(Context& context, const std::string& text) {
  const std::uint32_t value = parseNumber(text, "VALUE", 0, 0xFFFF);
  const Board board(context);
  board.step("kVexaSetDout", kVexaSetDout(board.handle(), value));
  tellLines(board);
}

void getDips(Context& context) {
  const Board board(context);
  tellDips(board);
}

// On a USB board the word that is written holds the hardware switch's byte as well: it is kept.
void setDip(Context& context, const std::string& text) {
  const std::uint32_t value = parseNumber(text, "VALUE", 0, 0xFF);
  const Board board(context);
  std::uint32_t hardware = 0;
  if (board.isUsb()) {
    board.step("kVexaGetHwDipStatus", kVexaGetHwDipStatus(board.handle(), &hardware));
  }
  const std::uint32_t word = hardware << 8 | value;
  board.step("kVexaSetSwDip", kVexaSetSwDip(board.handle(), &word));
  tellDips(board);
}

Action withValue(Options& options, const char* help, void (*act)(Context&, const std::string&)) {
  const auto value = std::make_shared<std::string>();
  options.text("VALUE", *value, help).required();
  return [value, act](Context& context) { act(context, *value); };
}

}  // namespace

Action linesGetCommand(Options& /*options*/) { return getLines; }
Action linesSetCommand(Options& options) {
  return withValue(options, "the output lines, a bit each: 0 to 0xFFFF", setLines);
}
Action dipGetCommand(Options& /*options*/) { return getDips; }
Action dipSetCommand(Options& options) {
  return withValue(options, "bits 0-2 V1, 3-5 V2, 6-7 clock setting: 0 to 0xFF", setDip);
}

}  // namespace cli
