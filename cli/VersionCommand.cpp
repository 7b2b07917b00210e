#include "VersionCommand.h"

#include <kvexa.h>

#include <cstdio>

#include "Board.h"

namespace cli {

namespace {

constexpr std::uint32_t unknown = 0xFFFFFFFF;

// Four hexadecimal digits with points between them.
void printFileVersion(const char* what, std::uint32_t version) {
  if (version == unknown) {
    std::printf("%s unknown\n", what);
  } else {
    std::printf("%s %X.%X.%X.%X\n", what, version >> 12 & 0xF, version >> 8 & 0xF, version >> 4 & 0xF,
                version & 0xF);
  }
}

}  // namespace

void version(std::uint32_t boardType, std::uint32_t boardIndex) {
  const Board board(boardType, boardIndex);
  std::uint32_t fpga = 0;
  std::uint32_t firmware = 0;
  std::uint32_t driver = unknown;
  std::uint32_t library = unknown;
  step("kVexaGetVersion", kVexaGetVersion(board.handle(), &fpga, &firmware, &driver, &library));
  std::printf("FPGA     %0*X\n", boardType == KVEXA_BOARD_USB ? 4 : 8, fpga);
  if (boardType == KVEXA_BOARD_USB) std::printf("firmware %X.%02X\n", firmware >> 8, firmware & 0xFF);
  printFileVersion("driver  ", driver);
  printFileVersion("library ", library);
}

}  // namespace cli
