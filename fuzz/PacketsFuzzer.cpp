// The packet builder: whatever stands in a table or an address, packets have the length that their parts
// ask for, and words come back as they went.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "usb/registers/RegisterPacket.h"
#include "usb/registers/RegisterSettingPackets.h"

using namespace kvexa;

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

// Takes numbers from the fuzzer's bytes; zeros when they are used up.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}

  std::uint32_t word() {
    std::uint32_t value = 0;
    const std::size_t count = left_ < sizeof value ? left_ : sizeof value;
    std::memcpy(&value, data_, count);
    data_ += count;
    left_ -= count;
    return value;
  }

 private:
  const std::uint8_t* data_;
  std::size_t left_;
};

void checkSettingPacket(Input& input) {
  RegisterTableEntry header{};
  RegisterTableEntry entry{};
  header.number = input.word();
  header.values[0] = static_cast<std::uint16_t>(input.word());
  entry.number = input.word();
  entry.valueCount = input.word() % 257;
  for (std::uint32_t i = 0; i < entry.valueCount; ++i)
    entry.values[i] = static_cast<std::uint16_t>(input.word());
  const auto packet = usb::buildSettingPacket(header, entry);
  const std::uint32_t mode = header.values[0] & 0xFF;
  require(packet.has_value() == (mode <= 5));
  if (!packet) return;
  constexpr std::size_t headerBytes[] = {5, 6, 4, 6, 7, 5};
  const std::size_t width = (header.number & 0xFFFF) == 0x80 ? 2 : 1;
  require(packet->length == headerBytes[mode] + entry.valueCount * width);
  require(packet->all().size() <= packet->bytes.size());
}

void checkCommands(Input& input) {
  std::vector<RegisterTableEntry> entries(input.word() % 8);
  for (auto& entry : entries) entry.number = input.word();
  std::vector<std::uint8_t> bytes(entries.size() * usb::commandBytes);
  usb::packCommands(entries, bytes);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    require(bytes[3 * i] == 1 && bytes[3 * i + 1] == 0x81 && bytes[3 * i + 2] == (entries[i].number & 0xFF));
  }
}

void checkHeaderAndWords(Input& input) {
  const auto framing = input.word() % 2 == 0 ? usb::Framing::prefixed : usb::Framing::sensorBus;
  const auto direction = input.word() % 2 == 0 ? usb::Direction::read : usb::Direction::write;
  const usb::RegisterAddress address{input.word() % 8, input.word(), input.word()};
  const auto header = usb::buildHeader(framing, direction, address, input.word() % 0x10000);
  require(header.has_value() == (address.mode <= 5));
  if (header) require(header->used <= header->total && header->total <= usb::largestHeader);

  const std::uint32_t slave = input.word();
  std::vector<std::uint32_t> words(input.word() % 64);
  for (auto& word : words) word = input.word();
  std::vector<std::uint8_t> bytes(input.word() % (words.size() + 1));
  usb::packWords(slave, words.data(), bytes);
  std::vector<std::uint32_t> back(words.size());
  usb::unpackWords(slave, bytes, back.data());
  std::vector<std::uint8_t> again(bytes.size());
  usb::packWords(slave, back.data(), again);
  require(bytes == again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  checkSettingPacket(input);
  checkCommands(input);
  checkHeaderAndWords(input);
  return 0;
}
