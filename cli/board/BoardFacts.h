// What a board tells about itself, read and told.
#pragma once

#include <cstdint>
#include <string>

#include "cli/base/Output.h"
#include "cli/board/Board.h"

namespace cli {

struct Versions {
  std::uint32_t fpga = 0;
  std::uint32_t firmware = 0;
  std::uint32_t driver = 0;  // unknownVersion when the driver file does not tell
  std::uint32_t library = 0;
};

constexpr std::uint32_t unknownVersion = 0xFFFFFFFF;

// The result of kVexaGetVersion. What the library prints by itself meanwhile goes nowhere.
std::int32_t readVersions(const BoardHandle* board, Versions& versions);

// As people write them: "0103", "1.05", "1.0.0.0" or "unknown".
std::string fpgaText(std::uint32_t type, std::uint32_t fpga);
std::string firmwareText(std::uint32_t firmware);
std::string fileVersionText(std::uint32_t version);

// A board of a list: opened, asked and closed. What it does not tell is no failure.
void tellListed(Output& output, std::uint32_t type, std::uint32_t index, const std::string& place);

// Lines for people, and members of the object. Throw CallFailure.
void tellVersions(const Board& board);
void tellSupplies(const Board& board);
void tellUsbStatus(const Board& board);
void tellLines(const Board& board);
void tellDips(const Board& board);

}  // namespace cli
