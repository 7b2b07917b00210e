#include "usb/registers/Version.h"

#include <array>

#include "kvexa.h"
#include "usb/link/Transport.h"
#include "usb/registers/BoardRegisters.h"
#include "win32/FileVersion.h"

namespace kvexa::usb {

namespace {

constexpr const char* driverFileName = "KVEXAu.sys";
constexpr std::size_t deviceReleaseAt = 12;  // bcdDevice of a USB device descriptor

}  // namespace

std::int32_t readVersions(HANDLE driver, std::uint32_t* fpga, std::uint32_t* firmware,
                          std::uint32_t* driverFile) {
  std::uint32_t design = 0;
  const std::int32_t read = readRegister(driver, Register::fpgaVersion, design);
  if (read != KVEXA_OK) return read;
  *fpga = design & 0xFFFF;
  std::array<std::uint8_t, deviceDescriptorBytes> descriptor{};
  const std::int32_t described = readDeviceDescriptor(driver, descriptor);
  if (described != KVEXA_OK) return described;
  *firmware = descriptor[deviceReleaseAt] | static_cast<std::uint32_t>(descriptor[deviceReleaseAt + 1]) << 8;
  return win32::readDriverVersion(driverFileName, *driverFile) ? KVEXA_OK : KVEXA_FAILED;
}

}  // namespace kvexa::usb
