#include "pcie/Version.h"

#include "kvexa.h"
#include "pcie/BoardRegisters.h"
#include "win32/FileVersion.h"

namespace kvexa::pcie {

namespace {

constexpr const char* driverFileName = "KVEXAPCIE.sys";

}  // namespace

std::int32_t readVersions(HANDLE driver, std::uint32_t* fpga, std::uint32_t* firmware,
                          std::uint32_t* driverFile) {
  std::uint32_t design = 0;
  const std::int32_t read = readRegister(driver, Register::fpgaVersion, design);
  if (read != KVEXA_OK) return read;
  *fpga = design;
  *firmware = 0;  // this board has none
  // Stations with several driver packages may lack this file; that is no failure here, and intended.
  win32::readDriverVersion(driverFileName, *driverFile);
  return KVEXA_OK;
}

}  // namespace kvexa::pcie
