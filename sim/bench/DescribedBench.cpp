#include "sim/bench/DescribedBench.h"

#include <charconv>
#include <map>

#include "kvexa.h"
#include "sim/bench/Files.h"

namespace sim {

namespace {

constexpr char usualScene[] = "chart";
constexpr std::uint64_t mostPictureBytes = std::uint64_t{256} << 20;

// "#8090a0".
std::optional<Colour> parseColour(const std::string& name) {
  constexpr std::size_t digits = 6;
  std::uint32_t value = 0;
  const char* const begin = name.data() + 1;
  const char* const end = name.data() + name.size();
  const auto [last, error] = std::from_chars(begin, end, value, 16);
  if (name.size() != digits + 1 || error != std::errc{} || last != end) return std::nullopt;
  return Colour{static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 8),
                static_cast<std::uint8_t>(value)};
}

std::shared_ptr<const Scene> sceneOf(const BoardDescription& board) {
  try {
    return sceneNamed(board.scene);
  } catch (const SceneError& error) {
    throw DescriptionError(board.scenePlace + ": " + error.what());
  }
}

}  // namespace

void checkScenes(const Description& description) {
  for (const BoardDescription& each : description.boards) {
    if (each.scene != usualScene) sceneOf(each);
  }
}

std::shared_ptr<const Scene> sceneNamed(const std::string& name) {
  if (name == usualScene) return Scene::chart();
  if (name.starts_with('#')) {
    const auto colour = parseColour(name);
    if (!colour) throw SceneError(name + ": is no colour; six hexadecimal digits after # are");
    return Scene::plain(*colour);
  }
  auto content = readWholeFile(name, mostPictureBytes);
  if (!content) throw SceneError(name + ": cannot be read, or is larger than 256 MiB");
  return Scene::fromBytes(name, {content->begin(), content->end()});
}

DescribedBench::DescribedBench(const Description& description) : machine_(description.pace) {
  if (!description.trace.empty()) traceTo(description.trace);
  setDriver("KVEXAu.sys", description.usbDriver);
  setDriver("KVEXAPCIE.sys", description.pcieDriver);
  // Boards with the same scene look at the same one.
  std::map<std::string, std::shared_ptr<const Scene>> scenes;
  for (const BoardDescription& each : description.boards) {
    auto& scene = scenes[each.scene];
    if (!scene) scene = sceneOf(each);
    add(each, scene);
  }
  if (events_.isEmpty()) return;
  machine_.timeline().add(events_);
  machine_.timeline().serve();
}

DescribedBench::~DescribedBench() { machine_.trace().sendTo({}); }

void DescribedBench::setDriver(const char* file, const std::optional<std::string>& version) {
  if (!version) return;
  constexpr std::uint16_t english = 0x0409;
  constexpr std::uint16_t unicode = 0x04B0;
  SystemFiles& files = machine_.systemFiles();
  const auto text = version->empty() ? std::nullopt : version;
  files.set(files.driverPath(file), {{english, unicode, text}});
}

void DescribedBench::add(const BoardDescription& description, const std::shared_ptr<const Scene>& scene) {
  const std::uint32_t type = description.type;
  const bool isUsb = type == KVEXA_BOARD_USB;
  isUsb ? void(machine_.addUsbBoard()) : void(machine_.addPcieBoard());
  const unsigned index = isUsb ? usbBoards_++ : pcieBoards_++;
  const BoardParts parts = *board(type, index);
  parts.sensor.setScene(scene);
  parts.sensor.setAddress(description.address);
  parts.sensor.setResetValues(description.sensorResets);
  for (const auto& [address, value] : description.registers) writeRegister(type, index, address, value);
  for (const Defect each : description.defects) parts.faults.defects().add(each);
  for (const RequestFault& each : description.faults) {
    each.andAllAfter ? parts.faults.from(each.request, each.fault)
                     : parts.faults.at(each.request, each.fault);
  }
  if (!description.plugged) plug(type, index, false);
  for (const BoardEvent& each : description.events) {
    events_.add(each, parts.faults, [this, type, index](bool plugged) { plug(type, index, plugged); });
  }
}

bool DescribedBench::has(std::uint32_t type, unsigned index) const {
  if (type == KVEXA_BOARD_USB) return index < usbBoards_;
  return type == KVEXA_BOARD_PCIE && index < pcieBoards_;
}

std::optional<BoardParts> DescribedBench::board(std::uint32_t type, unsigned index) {
  if (!has(type, index)) return std::nullopt;
  if (type == KVEXA_BOARD_USB) {
    usb::Board& board = machine_.usbBoard(index);
    return BoardParts{board.sensor(), board.faults()};
  }
  pcie::Board& board = machine_.pcieBoard(index);
  return BoardParts{board.sensor(), board.faults()};
}

bool DescribedBench::plug(std::uint32_t type, unsigned index, bool plugged) {
  if (!has(type, index)) return false;
  const auto change = [plugged](auto& board) { plugged ? board.plug() : board.unplug(); };
  type == KVEXA_BOARD_USB ? change(machine_.usbBoard(index)) : change(machine_.pcieBoard(index));
  return true;
}

bool DescribedBench::writeRegister(std::uint32_t type, unsigned index, std::uint32_t address,
                                   std::uint32_t value) {
  if (!has(type, index)) return false;
  if (type == KVEXA_BOARD_USB) {
    machine_.usbBoard(index).setBoardRegister(static_cast<std::uint16_t>(address),
                                              static_cast<std::uint16_t>(value));
  } else {
    machine_.pcieBoard(index).setBoardRegister(address, value);
  }
  return true;
}

std::optional<std::uint32_t> DescribedBench::readRegister(std::uint32_t type, unsigned index,
                                                          std::uint32_t address) {
  if (!has(type, index)) return std::nullopt;
  if (type == KVEXA_BOARD_USB)
    return machine_.usbBoard(index).boardRegister(static_cast<std::uint16_t>(address));
  return machine_.pcieBoard(index).boardRegister(address);
}

void DescribedBench::traceTo(const std::string& path) {
  auto file = path.empty() ? nullptr : std::make_unique<TraceFile>(path);
  TraceFile* const target = file.get();
  const std::lock_guard lock(traceMutex_);  // the old file is in use until the sink has changed
  machine_.trace().sendTo(target == nullptr ? Trace::Sink{} : Trace::Sink{[target](const std::string& line) {
    target->write(line);
  }});
  traceFile_ = std::move(file);
}

}  // namespace sim
