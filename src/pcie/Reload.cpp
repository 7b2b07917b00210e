#include "pcie/Reload.h"

#include <windows.h>

#include <cfgmgr32.h>
#include <setupapi.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "kvexa.h"
#include "win32/ByteBuffer.h"

namespace kvexa::pcie {

namespace {

constexpr std::string_view bridgeIdentifier = "PCI\\VEN_104C&DEV_8231";
constexpr std::string_view captureIdentifier = "PCI\\VEN_1446&DEV_C31F";

enum class Outcome : std::int32_t {
  restarted = 0,
  noMemory = 1,
  noDeviceSet = 2,
  noIdentifiers = 3,
  needsReboot = 4,
  changeFailed = 5,
  noDevice = 6
};

constexpr DWORD identifierBytes = 8192;
constexpr DWORD listEndBytes = 2;

static_assert(sizeof(SP_DEVINFO_DATA) == 28);
static_assert(sizeof(SP_PROPCHANGE_PARAMS) == 20);
static_assert(sizeof(SP_DEVINSTALL_PARAMS_A) == 296);

Outcome changeState(HDEVINFO devices, SP_DEVINFO_DATA& device, DWORD state) {
  SP_PROPCHANGE_PARAMS change{};
  change.ClassInstallHeader = {sizeof change.ClassInstallHeader, DIF_PROPERTYCHANGE};
  change.StateChange = state;
  change.Scope = DICS_FLAG_GLOBAL;
  if (SetupDiSetClassInstallParamsA(devices, &device, &change.ClassInstallHeader, sizeof change) == FALSE ||
      SetupDiCallClassInstaller(DIF_PROPERTYCHANGE, devices, &device) == FALSE) {
    return Outcome::changeFailed;
  }
  // The location of the set is passed instead of the set, so this read fails and a restart that wants a
  // reboot goes unreported. That is intended.
  SP_DEVINSTALL_PARAMS_A parameters{};
  parameters.cbSize = sizeof parameters;
  const bool read = SetupDiGetDeviceInstallParamsA(&devices, &device, &parameters) != FALSE;
  const bool wantsReboot = (parameters.Flags & (DI_NEEDRESTART | DI_NEEDREBOOT)) != 0;
  return read && wantsReboot ? Outcome::needsReboot : Outcome::restarted;
}

// Whether a list of zero-terminated entries holds the identifier as a whole entry.
bool holds(std::span<const std::uint8_t> entries, std::string_view identifier) {
  const auto* const text = reinterpret_cast<const char*>(entries.data());
  for (std::size_t i = 0; i < entries.size() && text[i] != '\0';) {
    const std::string_view entry(text + i, strnlen(text + i, entries.size() - i));
    if (entry == identifier) return true;
    i += entry.size() + 1;
  }
  return false;
}

// Off and on again. A later failure overwrites an earlier one, and a success clears none.
void restart(HDEVINFO devices, SP_DEVINFO_DATA& device, Outcome& outcome) {
  for (const DWORD state : {DWORD{DICS_DISABLE}, DWORD{DICS_ENABLE}}) {
    const Outcome changed = changeState(devices, device, state);
    if (changed != Outcome::restarted) outcome = changed;
  }
}

Outcome restartDevices(std::string_view identifier) {
  // Two bytes more than are read.
  ByteBuffer identifiers(identifierBytes + listEndBytes);
  if (!identifiers) return Outcome::noMemory;
  SetLastError(ERROR_SUCCESS);
  // The set stays with the process: it is never destroyed. That is intended.
  const HDEVINFO devices = SetupDiGetClassDevsA(nullptr, "PCI", nullptr, DIGCF_PRESENT | DIGCF_ALLCLASSES);
  if (GetLastError() != ERROR_SUCCESS) return Outcome::noDeviceSet;

  SP_DEVINFO_DATA device{};
  device.cbSize = sizeof device;
  Outcome outcome = Outcome::restarted;
  bool found = false;
  for (DWORD i = 0; SetupDiEnumDeviceInfo(devices, i, &device) != FALSE; ++i) {
    DWORD bytes = 0;
    if (SetupDiGetDeviceRegistryPropertyA(devices, &device, SPDRP_HARDWAREID, nullptr,
                                          identifiers.all().data(), identifierBytes, &bytes) == FALSE) {
      outcome = Outcome::noIdentifiers;
      break;
    }
    // Zeros end a list that lacks its own end. What else follows the list may be anything: of the
    // function before, or of Windows.
    const auto list = identifiers.all().first(std::min(bytes, identifierBytes) + listEndBytes);
    std::ranges::fill(list.last(listEndBytes), std::uint8_t{0});
    if (!holds(list, identifier)) continue;
    found = true;
    restart(devices, device, outcome);
  }
  return found || outcome != Outcome::restarted ? outcome : Outcome::noDevice;
}

std::int32_t resultOf(Outcome outcome) {
  return outcome == Outcome::restarted ? KVEXA_OK : KVEXA_RELOAD_FAILED - static_cast<std::int32_t>(outcome);
}

// The bridge first; the capture function only after a bridge that restarted.
Outcome restartBoth() {
  const Outcome bridge = restartDevices(bridgeIdentifier);
  return bridge == Outcome::restarted ? restartDevices(captureIdentifier) : bridge;
}

// Failures are ignored: the attempt that follows has a result of its own.
void rescan() {
  HMACHINE machine = nullptr;
  if (CM_Connect_MachineA(nullptr, &machine) != CR_SUCCESS) return;
  DEVINST root = 0;
  if (CM_Locate_DevNode_ExA(&root, nullptr, CM_LOCATE_DEVNODE_NORMAL, machine) == CR_SUCCESS) {
    CM_Reenumerate_DevNode_Ex(root, 0, machine);
  }
  CM_Disconnect_Machine(machine);
}

}  // namespace

std::int32_t reloadDevice() { return resultOf(restartBoth()); }

std::int32_t reloadDeviceEx() {
  const Outcome outcome = restartBoth();
  if (outcome != Outcome::noDevice) return resultOf(outcome);
  rescan();
  return reloadDevice();
}

}  // namespace kvexa::pcie
