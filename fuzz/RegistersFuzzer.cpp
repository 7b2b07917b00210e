// The register-setting readers: any bytes give a documented result, and nothing of the table is written but
// the named fields of as many entries as there are lines. What was read is made into packets.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "MemoryFile.h"
#include "files/RegisterSettingReader.h"
#include "usb/registers/RegisterSettingPackets.h"

using namespace kvexa;

namespace {

constexpr unsigned char untouched = 0xA5;

void require(bool condition) {
  if (!condition) std::abort();
}

template <class Bytes>
bool isUntouched(const Bytes& bytes) {
  return std::all_of(std::begin(bytes), std::end(bytes),
                     [](unsigned char byte) { return byte == untouched; });
}

bool isUntouched(const RegisterTableEntry& entry) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(&entry);
  return std::all_of(bytes, bytes + sizeof entry, [](unsigned char byte) { return byte == untouched; });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto table = std::make_unique<RegisterTableEntry[]>(KVEXA_REGISTER_TABLE_ENTRIES);
  // A text ends at its end mark.
  const std::uint8_t* const end = std::find(data, data + size, std::uint8_t{0x1A});
  const auto lines = static_cast<std::size_t>(std::count(data, end, std::uint8_t{'\n'})) +
                     (end != data && end[-1] != '\n' ? 1 : 0);
  // Only what the lines can reach is cleared and looked at, which is what takes the time.
  const std::size_t looked = std::min<std::size_t>(lines + 2, KVEXA_REGISTER_TABLE_ENTRIES);
  std::memset(static_cast<void*>(table.get()), untouched, looked * sizeof table[0]);

  const fuzz::MemoryFile file = fuzz::openMemory(data, size);
  std::uint32_t count = 0;
  const std::int32_t result = files::readRegisterTable(file.get(), table.get(), count);
  require(result == KVEXA_OK || result == KVEXA_BAD_ARGUMENT);
  require(result != KVEXA_OK || count == lines);
  for (std::size_t i = 0; i < looked; ++i) require(isUntouched(table[i].unused));
  for (std::size_t i = lines; i < looked; ++i) require(isUntouched(table[i]));

  // The other board's reader keeps whole values.
  const fuzz::MemoryFile again = fuzz::openMemory(data, size);
  files::RegisterSettingReader reader(again.get());
  files::RegisterSettingLine line;
  for (std::uint32_t i = 0; i < count && reader.next(line) == files::RegisterSettingReader::Outcome::line;
       ++i) {
    require(line.number == table[i].number && line.valueCount == table[i].valueCount);
    for (std::uint32_t k = 0; k < line.valueCount; ++k) {
      require(static_cast<std::uint16_t>(line.values[k]) == table[i].values[k]);
    }
  }
  for (std::uint32_t i = 1; i < count; ++i) {
    const auto packet = usb::buildSettingPacket(table[0], table[i]);
    require(packet.has_value() == ((table[0].values[0] & 0xFF) <= 5));
  }
  return 0;
}
