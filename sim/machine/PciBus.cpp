#include "sim/machine/PciBus.h"

#include <algorithm>
#include <cstring>

namespace sim {

namespace {

constexpr HandleRange setHandles{0xFFFE0004, 0xFFFEFFFC};
LastHandle lastSetHandle;
constexpr DEVINST rootNode = 1;
constexpr DEVINST firstNode = 0x100;
const HMACHINE localMachine = reinterpret_cast<HMACHINE>(std::uintptr_t{0xFFFE0000});

std::uintptr_t number(const void* handle) { return reinterpret_cast<std::uintptr_t>(handle); }

std::string multiString(const std::vector<std::string>& entries) {
  std::string text;
  for (const std::string& entry : entries) text.append(entry).push_back('\0');
  text.push_back('\0');
  return text;
}

// "PCI\VEN_104C&DEV_8231" as Windows lists it: the most particular identifier first.
std::vector<std::string> identifiersOf(const std::string& device) {
  return {device + "&SUBSYS_00000000&REV_03", device + "&SUBSYS_00000000", device + "&REV_03", device};
}

}  // namespace

unsigned PciBus::add(const std::vector<std::string>& identifiers, bool atRescan) {
  return addRaw(multiString(identifiers), atRescan);
}

unsigned PciBus::addRaw(std::string identifiers, bool atRescan) {
  const std::lock_guard lock(mutex_);
  functions_.push_back({std::move(identifiers), {}, !atRescan});
  return static_cast<unsigned>(functions_.size() - 1);
}

unsigned PciBus::addRawBefore(std::string identifiers, std::string behind) {
  const std::lock_guard lock(mutex_);
  functions_.push_back({std::move(identifiers), std::move(behind)});
  return static_cast<unsigned>(functions_.size() - 1);
}

void PciBus::addBoard(bool atRescan) {
  add(identifiersOf("PCI\\VEN_104C&DEV_8231"), atRescan);
  add(identifiersOf("PCI\\VEN_1446&DEV_C31F"), atRescan);
}

void PciBus::fail(Step step, std::uint32_t error, unsigned k, unsigned count) {
  const std::lock_guard lock(mutex_);
  failures_[step] = {error, std::max(k, 1U) - 1, count};
}

void PciBus::leaveLastError(std::optional<std::uint32_t> error) {
  const std::lock_guard lock(mutex_);
  lastError_ = error;
}

void PciBus::needReboot(unsigned number) {
  const std::lock_guard lock(mutex_);
  functions_.at(number).needsReboot = true;
}

bool PciBus::isEnabled(unsigned number) const {
  const std::lock_guard lock(mutex_);
  return functions_.at(number).enabled;
}

unsigned PciBus::openSets() const {
  const std::lock_guard lock(mutex_);
  return static_cast<unsigned>(sets_.size());
}

bool PciBus::ownsSet(HDEVINFO set) { return setHandles.holds(number(set)); }

std::optional<std::uint32_t> PciBus::makeSet(HDEVINFO& set) {
  const std::lock_guard lock(mutex_);
  std::uint32_t error = errorOf(Step::list);
  const std::uintptr_t handle = freeHandle(setHandles, sets_, lastSetHandle);
  if (error == 0 && handle == 0) error = ERROR_NOT_ENOUGH_MEMORY;
  note("list", error);
  if (error != 0) return error;
  Set& made = sets_[handle];
  for (unsigned i = 0; i < functions_.size(); ++i) {
    if (functions_[i].listed) made.functions.push_back(i);
  }
  set = reinterpret_cast<HDEVINFO>(handle);
  return lastError_;
}

std::uint32_t PciBus::destroySet(HDEVINFO set) {
  const std::lock_guard lock(mutex_);
  return sets_.erase(number(set)) != 0 ? 0 : ERROR_INVALID_HANDLE;
}

std::uint32_t PciBus::enumerate(HDEVINFO set, std::uint32_t index, SP_DEVINFO_DATA* data) {
  const std::lock_guard lock(mutex_);
  const Set* const devices = findSet(set);
  if (devices == nullptr) return ERROR_INVALID_HANDLE;
  if (data == nullptr) return ERROR_INVALID_PARAMETER;
  if (data->cbSize != sizeof *data) return ERROR_INVALID_USER_BUFFER;
  if (index >= devices->functions.size()) return ERROR_NO_MORE_ITEMS;
  data->ClassGuid = {};
  data->DevInst = firstNode + devices->functions[index];
  data->Reserved = number(set);
  return 0;
}

std::uint32_t PciBus::property(HDEVINFO set, const SP_DEVINFO_DATA* data, std::uint32_t which, DWORD* type,
                               BYTE* buffer, std::uint32_t size, DWORD* required) {
  const std::lock_guard lock(mutex_);
  const Set* const devices = findSet(set);
  if (devices == nullptr) return ERROR_INVALID_HANDLE;
  const Function* const function = findFunction(*devices, data);
  if (function == nullptr) return ERROR_INVALID_PARAMETER;
  if (const std::uint32_t error = errorOf(Step::identifiers)) return error;
  if (which != SPDRP_HARDWAREID) return ERROR_INVALID_DATA;
  const std::string& text = function->identifiers;
  if (type != nullptr) *type = REG_MULTI_SZ;
  if (required != nullptr) *required = static_cast<DWORD>(text.size());
  if (buffer == nullptr || size < text.size()) return ERROR_INSUFFICIENT_BUFFER;
  std::copy_n(text.begin(), text.size(), buffer);
  std::copy_n(function->behind.begin(), std::min<std::size_t>(function->behind.size(), size - text.size()),
              buffer + text.size());
  return 0;
}

std::uint32_t PciBus::setParameters(HDEVINFO set, const SP_DEVINFO_DATA* data,
                                    const SP_CLASSINSTALL_HEADER* header, std::uint32_t size) {
  const std::lock_guard lock(mutex_);
  Set* const devices = findSet(set);
  if (devices == nullptr) return ERROR_INVALID_HANDLE;
  SP_PROPCHANGE_PARAMS change;
  if (findFunction(*devices, data) == nullptr || header == nullptr || size != sizeof change) {
    return ERROR_INVALID_PARAMETER;
  }
  std::memcpy(&change, header, sizeof change);
  const bool isGood = change.ClassInstallHeader.cbSize == sizeof change.ClassInstallHeader &&
                      change.ClassInstallHeader.InstallFunction == DIF_PROPERTYCHANGE &&
                      (change.StateChange == DICS_ENABLE || change.StateChange == DICS_DISABLE) &&
                      change.Scope == DICS_FLAG_GLOBAL && change.HwProfile == 0;
  if (!isGood) return ERROR_INVALID_PARAMETER;
  if (const std::uint32_t error = errorOf(Step::parameters)) return error;
  devices->changes[data->DevInst - firstNode] = change;
  return 0;
}

std::uint32_t PciBus::callInstaller(DI_FUNCTION function, HDEVINFO set, const SP_DEVINFO_DATA* data) {
  const std::lock_guard lock(mutex_);
  Set* const devices = findSet(set);
  if (devices == nullptr) return ERROR_INVALID_HANDLE;
  Function* const device = findFunction(*devices, data);
  if (device == nullptr || function != DIF_PROPERTYCHANGE) return ERROR_INVALID_PARAMETER;
  const unsigned index = data->DevInst - firstNode;
  const auto change = devices->changes.find(index);
  if (change == devices->changes.end()) return ERROR_INVALID_DATA;
  const bool enables = change->second.StateChange == DICS_ENABLE;
  const std::uint32_t error = errorOf(Step::change);
  note(std::to_string(index) + (enables ? " enable" : " disable"), error);
  if (error == 0) device->enabled = enables;
  return error;
}

std::uint32_t PciBus::installParameters(HDEVINFO set, const SP_DEVINFO_DATA* data,
                                        SP_DEVINSTALL_PARAMS_A* parameters) {
  const std::lock_guard lock(mutex_);
  const Set* const devices = findSet(set);
  if (devices == nullptr) return ERROR_INVALID_HANDLE;
  const Function* const function = findFunction(*devices, data);
  if (function == nullptr || parameters == nullptr) return ERROR_INVALID_PARAMETER;
  if (parameters->cbSize != sizeof *parameters) return ERROR_INVALID_USER_BUFFER;
  parameters->Flags = function->needsReboot ? DI_NEEDREBOOT : 0;
  return 0;
}

CONFIGRET PciBus::connect(const char* machineName, HMACHINE* machine) {
  const std::lock_guard lock(mutex_);
  std::uint32_t code = errorOf(Step::connect);
  if (machineName != nullptr) code = CR_MACHINE_UNAVAILABLE;
  note("connect", code);
  if (code == CR_SUCCESS) *machine = localMachine;
  return code;
}

CONFIGRET PciBus::locate(DEVINST* node, const char* identifier, ULONG flags, HMACHINE machine) {
  const std::lock_guard lock(mutex_);
  std::uint32_t code = errorOf(Step::locate);
  if (identifier != nullptr) code = CR_NO_SUCH_DEVNODE;
  if (flags != CM_LOCATE_DEVNODE_NORMAL) code = CR_INVALID_FLAG;
  if (machine != localMachine) code = CR_INVALID_DATA;
  note("locate", code);
  if (code == CR_SUCCESS) *node = rootNode;
  return code;
}

CONFIGRET PciBus::rescan(DEVINST node, ULONG flags, HMACHINE machine) {
  const std::lock_guard lock(mutex_);
  std::uint32_t code = errorOf(Step::rescan);
  if (node != rootNode) code = CR_INVALID_DEVNODE;
  if (flags != 0) code = CR_INVALID_FLAG;
  if (machine != localMachine) code = CR_INVALID_DATA;
  note("rescan", code);
  if (code != CR_SUCCESS) return code;
  for (Function& function : functions_) function.listed = true;
  return CR_SUCCESS;
}

CONFIGRET PciBus::disconnect(HMACHINE machine) {
  const CONFIGRET code = machine == localMachine ? CR_SUCCESS : CR_INVALID_DATA;
  note("disconnect", code);
  return code;
}

// Counts one use of the step.
std::uint32_t PciBus::errorOf(Step step) {
  Failure& failure = failures_[step];
  if (failure.before > 0) {
    --failure.before;
    return 0;
  }
  if (failure.count == 0) return 0;
  --failure.count;
  return failure.error;
}

PciBus::Set* PciBus::findSet(HDEVINFO set) {
  const auto found = sets_.find(number(set));
  return found == sets_.end() ? nullptr : &found->second;
}

PciBus::Function* PciBus::findFunction(const Set& set, const SP_DEVINFO_DATA* data) {
  if (data == nullptr || data->cbSize != sizeof *data || data->DevInst < firstNode) return nullptr;
  const unsigned index = data->DevInst - firstNode;
  const bool isListed = std::ranges::find(set.functions, index) != set.functions.end();
  return isListed ? &functions_.at(index) : nullptr;
}

void PciBus::note(const std::string& what, std::uint32_t error) {
  trace_.add("pci " + what + outcome(error, true));
}

}  // namespace sim
