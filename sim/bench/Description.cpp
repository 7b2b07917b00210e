#include "sim/bench/Description.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <memory>

#include "kvexa.h"
#include "sim/bench/Files.h"
#include "sim/bench/TableReader.h"

namespace sim {

namespace {

constexpr std::array<NamedValue, 2> boardTypes{{{"usb", KVEXA_BOARD_USB}, {"pcie", KVEXA_BOARD_PCIE}}};

constexpr std::array<NamedValue, 2> paces{{{"real", static_cast<std::uint32_t>(Pace::real)},
                                           {"simulated", static_cast<std::uint32_t>(Pace::simulated)}}};

constexpr std::array<NamedValue, 4> patterns{{{"grbg", KVEXA_BAYER_GRBG},
                                              {"rggb", KVEXA_BAYER_RGGB},
                                              {"bggr", KVEXA_BAYER_BGGR},
                                              {"gbrg", KVEXA_BAYER_GBRG}}};

constexpr std::array<NamedValue, 2> formats{{{"bayer", 0}, {"yuv", 1}}};

// What a fault does, which value it takes, and on which boards there is one.
struct FaultWord {
  std::string_view name;
  Fault::Kind kind;
  bool hasValue;
  std::uint32_t mostValue;
  bool onUsb;
  bool onPcie;
};

constexpr std::uint32_t anyWord = 0xFFFFFFFF;
constexpr std::array<FaultWord, 7> faultWords{{
    {"refuse", Fault::Kind::refuse, true, anyWord, true, true},
    {"keep-status", Fault::Kind::keepStatus, false, 0, true, true},
    {"shorten", Fault::Kind::shorten, true, anyWord, true, true},
    {"corrupt", Fault::Kind::corrupt, true, 0xFF, true, false},
    {"unplug", Fault::Kind::unplug, false, 0, true, true},
    {"answer", Fault::Kind::answer, true, anyWord, false, true},
    {"answer-later", Fault::Kind::answerLater, true, anyWord, false, true},
}};

constexpr std::array<NamedValue, 8> eventWords{{
    {"unplug", static_cast<std::uint32_t>(BoardEvent::Kind::unplug)},
    {"plug", static_cast<std::uint32_t>(BoardEvent::Kind::plug)},
    {"no-acknowledge", static_cast<std::uint32_t>(BoardEvent::Kind::holdAcknowledge)},
    {"acknowledge", static_cast<std::uint32_t>(BoardEvent::Kind::releaseAcknowledge)},
    {"no-frames", static_cast<std::uint32_t>(BoardEvent::Kind::holdFrames)},
    {"frames", static_cast<std::uint32_t>(BoardEvent::Kind::releaseFrames)},
    {"refuse", static_cast<std::uint32_t>(BoardEvent::Kind::refuse)},
    {"clear-faults", static_cast<std::uint32_t>(BoardEvent::Kind::clear)},
}};

constexpr std::uint64_t mostBytes = std::uint64_t{1} << 20;  // of a description
constexpr std::uint32_t errorGenFailure = 31;
constexpr std::int64_t mostRequests = 0x7FFFFFFF;
constexpr double longestMoment = 1e7;  // seconds
constexpr std::int64_t mostBoards = 255;

// A whole number of the description that one or two registers of the sensor hold.
struct SensorKey {
  std::string_view name;
  std::uint16_t address;
  unsigned bytes;
  std::int64_t least;
  std::int64_t most;
};

constexpr std::array<SensorKey, 5> sensorKeys{{
    {"width", SensorRegister::width, 2, 1, 0xFFFF},
    {"height", SensorRegister::height, 2, 1, 0xFFFF},
    {"bits", SensorRegister::bits, 1, 8, 16},
    {"noise", SensorRegister::noise, 1, 0, 255},
    {"noise_seed", SensorRegister::noiseSeed, 1, 0, 255},
}};

void addReset(BoardDescription& board, std::uint16_t address, std::int64_t value, unsigned bytes) {
  for (unsigned i = 0; i < bytes; ++i) {
    const unsigned shift = 8 * (bytes - 1 - i);
    board.sensorResets.push_back(
        {static_cast<std::uint16_t>(address + i), static_cast<std::uint8_t>(value >> shift)});
  }
}

void readFrameRate(TableReader& table, BoardDescription& board) {
  constexpr double unitsPerSecond = 10000;
  constexpr double longest = 0xFFFF;
  const auto rate = table.number("frames_per_second", unitsPerSecond / longest, unitsPerSecond);
  if (!rate) return;
  const double period = std::min(longest, std::max(1.0, std::round(unitsPerSecond / *rate)));
  addReset(board, SensorRegister::framePeriod, static_cast<std::int64_t>(period), 2);
}

void readSensor(TableReader table, BoardDescription& board) {
  constexpr std::array<std::int64_t, 3> addressBits{0, 8, 16};
  if (const auto slave = table.integer("slave", 0, 0x3FF))
    board.address.slave = static_cast<std::uint16_t>(*slave);
  if (const auto bits = table.integer("register_bits", 0, 16)) {
    if (std::ranges::find(addressBits, *bits) == addressBits.end()) {
      table.fail("register_bits", "\"register_bits\" must be 0, 8 or 16");
    }
    board.address.registerBits = static_cast<unsigned>(*bits);
  }
  for (const SensorKey& key : sensorKeys) {
    if (const auto value = table.integer(key.name, key.least, key.most))
      addReset(board, key.address, *value, key.bytes);
  }
  readFrameRate(table, board);
  if (const auto pattern = table.word("pattern", patterns))
    addReset(board, SensorRegister::pattern, *pattern, 1);
  if (const auto format = table.word("format", formats)) addReset(board, SensorRegister::format, *format, 1);
  if (const auto counter = table.boolean("frame_counter"))
    addReset(board, SensorRegister::frameCounter, *counter ? 1 : 0, 1);
  table.addresses("registers", 0xFFFF, 0xFF, [&](std::uint32_t address, std::uint32_t value) {
    addReset(board, static_cast<std::uint16_t>(address), value, 1);
  });
  table.finish();
}

std::uint32_t readValue(TableReader& table, bool isWanted, std::uint32_t most,
                        std::optional<std::uint32_t> usual) {
  if (!isWanted) {
    if (table.has("value")) table.fail("value", "this takes no \"value\"");
    return 0;
  }
  const auto value = table.integer("value", 0, most);
  if (!value && !usual) table.fail({}, "\"value\" is missing");
  return value ? static_cast<std::uint32_t>(*value) : *usual;
}

const FaultWord& readFaultWord(TableReader& table, std::uint32_t type) {
  std::vector<NamedValue> names;
  for (std::uint32_t i = 0; i < faultWords.size(); ++i) {
    const FaultWord& each = faultWords[i];
    if (type == KVEXA_BOARD_USB ? each.onUsb : each.onPcie) names.push_back({each.name, i});
  }
  const auto word = table.word("do", names);
  if (!word) table.fail({}, "\"do\" is missing: what happens to the request");
  return faultWords[*word];
}

void readFault(TableReader table, BoardDescription& board) {
  const FaultWord& word = readFaultWord(table, board.type);
  const auto one = table.integer("request", 1, mostRequests);
  const auto from = table.integer("from_request", 1, mostRequests);
  if (one.has_value() == from.has_value()) {
    table.fail({}, "a fault has either \"request\" or \"from_request\", the number of a request from 1");
  }
  const auto usual = word.kind == Fault::Kind::refuse ? std::optional(errorGenFailure) : std::nullopt;
  const std::uint32_t value = readValue(table, word.hasValue, word.mostValue, usual);
  board.faults.push_back({static_cast<unsigned>(one ? *one : *from), from.has_value(), {word.kind, value}});
  table.finish();
}

void readDefects(TableReader& table, BoardDescription& board) {
  std::vector<NamedValue> names;
  for (const DefectName& each : defectNames()) {
    if (board.type == KVEXA_BOARD_USB ? each.onUsb : each.onPcie)
      names.push_back({each.name, static_cast<std::uint32_t>(each.defect)});
  }
  for (const std::uint32_t each : table.words("defect", names))
    board.defects.push_back(static_cast<Defect>(each));
}

void readEvent(TableReader table, BoardDescription& board) {
  const auto at = table.number("at", 0, longestMoment);
  if (!at) table.fail({}, "\"at\" is missing: seconds after the start");
  const auto word = table.word("do", eventWords);
  if (!word) table.fail({}, "\"do\" is missing: what happens to the board");
  const auto kind = static_cast<BoardEvent::Kind>(*word);
  const bool refuses = kind == BoardEvent::Kind::refuse;
  const std::uint32_t value = readValue(table, refuses, anyWord, errorGenFailure);
  constexpr double microseconds = 1e6;
  board.events.push_back({static_cast<Microseconds>(std::llround(*at * microseconds)), kind, value});
  table.finish();
}

// Boards of one table, all alike.
void readBoards(TableReader table, Description& description, const std::string& folder) {
  BoardDescription board;
  const auto type = table.word("type", boardTypes);
  if (!type) table.fail({}, "\"type\" is missing: \"usb\" or \"pcie\"");
  board.type = *type;
  const std::int64_t count = table.integer("count", 1, mostBoards).value_or(1);
  if (const auto scene = table.text("scene")) {
    const bool isFile = *scene != "chart" && !scene->starts_with('#');
    board.scene = isFile ? inFolder(folder, *scene) : *scene;
  }
  board.scenePlace = table.place("scene");
  board.plugged = table.boolean("plugged").value_or(true);
  if (auto sensor = table.table("sensor")) readSensor(std::move(*sensor), board);
  const bool isUsb = board.type == KVEXA_BOARD_USB;
  table.addresses("registers", 0xFFFF, isUsb ? 0xFFFF : anyWord,
                  [&](std::uint32_t address, std::uint32_t value) {
                    board.registers.emplace_back(static_cast<std::uint16_t>(address), value);
                  });
  readDefects(table, board);
  for (TableReader& each : table.tables("fault")) readFault(std::move(each), board);
  for (TableReader& each : table.tables("event")) readEvent(std::move(each), board);
  table.finish();
  if (description.boards.size() + static_cast<std::size_t>(count) > mostBoards) {
    table.fail({}, "there are more than " + std::to_string(mostBoards) + " boards");
  }
  description.boards.insert(description.boards.end(), static_cast<std::size_t>(count), board);
}

Description describe(const toml::table& root, const std::string& name, const std::string& folder) {
  Description description;
  TableReader table(root, name, "the description");
  if (const auto pace = table.word("time", paces)) description.pace = static_cast<Pace>(*pace);
  if (const auto trace = table.text("trace")) description.trace = inFolder(folder, *trace);
  if (auto drivers = table.table("drivers")) {
    description.usbDriver = drivers->text("usb");
    description.pcieDriver = drivers->text("pcie");
    drivers->finish();
  }
  for (TableReader& each : table.tables("board")) readBoards(std::move(each), description, folder);
  table.finish();
  return description;
}

}  // namespace

Description parseDescription(std::string_view text, const std::string& name, const std::string& folder) {
  std::unique_ptr<toml::table> root;
  try {
    root = std::make_unique<toml::table>(toml::parse(text));
  } catch (const toml::parse_error& error) {
    const toml::source_position& at = error.source().begin;
    throw DescriptionError(name + ":" + std::to_string(at.line) + ":" + std::to_string(at.column) + ": " +
                           std::string(error.description()));
  }
  return describe(*root, name, folder);
}

Description readDescription(const std::string& path) {
  const std::optional<std::string> text = readWholeFile(path, mostBytes);
  if (!text) throw DescriptionError(path + ": cannot be read, or is no text of at most 1 MiB");
  return parseDescription(*text, path, folderOf(path));
}

}  // namespace sim
