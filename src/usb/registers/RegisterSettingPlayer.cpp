#include "usb/registers/RegisterSettingPlayer.h"

#include <algorithm>
#include <memory>
#include <new>
#include <span>

#include "files/RegisterSettingReader.h"
#include "usb/link/CommandTurn.h"
#include "usb/link/Status.h"
#include "usb/link/Transport.h"
#include "usb/registers/RegisterSettingPackets.h"
#include "win32/ByteBuffer.h"

namespace kvexa::usb {

namespace {

using Table = std::span<const RegisterTableEntry>;

bool haveRoomForTheirValues(Table writes) {
  return std::ranges::all_of(
      writes, [](const RegisterTableEntry& entry) { return entry.valueCount <= std::size(entry.values); });
}

// Every line is a transfer by itself.
std::int32_t sendInTurn(HANDLE driver, std::span<const std::uint8_t> packet) {
  const CommandTurn turn(driver);
  return send(driver, Pipe::command, packet);
}

std::int32_t checkStatusInTurn(HANDLE driver) {
  const CommandTurn turn(driver);
  return checkStatus(driver);
}

// Ends at the first transfer that fails.
std::int32_t sendWrites(HANDLE driver, const RegisterTableEntry& header, Table writes) {
  for (const RegisterTableEntry& entry : writes) {
    const auto packet = buildSettingPacket(header, entry);
    const std::int32_t sent = sendInTurn(driver, packet->all());
    if (sent != KVEXA_OK) return sent;
  }
  return KVEXA_OK;
}

std::int32_t sendCommands(HANDLE driver, Table commands) {
  ByteBuffer packet(commands.size() * commandBytes);
  if (!packet) return KVEXA_FAILED;
  packCommands(commands, packet.all());
  return sendInTurn(driver, packet.all());
}

std::int32_t pauseAndCheck(HANDLE driver, std::uint32_t lineCount, std::int32_t sent) {
  Sleep(lineCount);  // a millisecond a line, the header included; that is intended
  const std::int32_t status = checkStatusInTurn(driver);
  if (sent != KVEXA_OK) return sent;
  return status == statusBusError ? KVEXA_NO_ACKNOWLEDGE : KVEXA_OK;
}

}  // namespace

std::int32_t playRegisterTable(HANDLE driver, const RegisterTableEntry* table, std::uint32_t lineCount) {
  if (table == nullptr || lineCount > KVEXA_REGISTER_TABLE_ENTRIES) return KVEXA_BAD_ARGUMENT;
  if (lineCount < 2) return pauseAndCheck(driver, lineCount, KVEXA_OK);

  const RegisterTableEntry& header = table[0];
  const Table rest = Table(table, lineCount).subspan(1);
  if (tableKind(header) == TableKind::commands) {
    return pauseAndCheck(driver, lineCount, sendCommands(driver, rest));
  }
  if (!haveRoomForTheirValues(rest)) return KVEXA_BAD_ARGUMENT;
  // An unknown address mode ends the play at once, without the pause and the check. That is intended.
  if (!buildSettingPacket(header, rest.front())) return KVEXA_BAD_ARGUMENT;
  return pauseAndCheck(driver, lineCount, sendWrites(driver, header, rest));
}

std::int32_t playRegisterFile(HANDLE driver, const char* path) {
  const std::unique_ptr<RegisterTableEntry[]> table(new (std::nothrow)
                                                        RegisterTableEntry[KVEXA_REGISTER_TABLE_ENTRIES]);
  if (!table) return KVEXA_FAILED;
  // The reader writes no value of a line without a comma: the address mode of such a header is 0.
  table[0].values[0] = KVEXA_SLAVE7_SUB8;
  std::uint32_t lineCount = 0;
  const std::int32_t read = files::readRegisterTableFile(path, table.get(), &lineCount);
  return read != KVEXA_OK ? read : playRegisterTable(driver, table.get(), lineCount);
}

}  // namespace kvexa::usb
