// The PCI functions that Windows lists, as a program restarts them.
#pragma once

#include <windows.h>
// After windows.h.
#include <cfgmgr32.h>
#include <setupapi.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "sim/base/Trace.h"
#include "sim/machine/HandleRange.h"

namespace sim {

// Every operation of a program is a line of the trace:
//   pci list
//   pci 0 disable
//   pci 0 enable -> error 5
//   pci connect, pci locate, pci rescan, pci disconnect
class PciBus {
 public:
  // The steps that can be made to fail. The last three fail with a configuration manager's code.
  enum class Step { list, identifiers, parameters, change, connect, locate, rescan };

  explicit PciBus(Trace& trace) : trace_(trace) {}

  // A function with these hardware identifiers; it is listed from now on, or from the next re-scan on.
  // Returns its number.
  unsigned add(const std::vector<std::string>& identifiers, bool atRescan = false);

  // The same with the list of identifiers as it is in memory, well formed or not.
  unsigned addRaw(std::string identifiers, bool atRescan = false);

  // The same, and a program that reads the list finds these bytes in its buffer after the length that is
  // reported.
  unsigned addRawBefore(std::string identifiers, std::string behind);

  // What Windows lists for one board: its bridge and its capture function.
  void addBoard(bool atRescan = false);

  // The k-th use of the step from now on fails, and so do those after it, up to `count` of them.
  void fail(Step step, std::uint32_t error, unsigned k = 1, unsigned count = 1);

  // Listing the functions succeeds, but leaves this last error. Otherwise it leaves the one of before.
  void leaveLastError(std::optional<std::uint32_t> error);

  // A restart of the function wants Windows to be restarted too.
  void needReboot(unsigned number);

  bool isEnabled(unsigned number) const;
  unsigned openSets() const;

  // ---- for the redirected calls; a Windows error each, 0 for success ----
  static bool ownsSet(HDEVINFO set);
  // The last error that is set; nothing keeps the earlier one.
  std::optional<std::uint32_t> makeSet(HDEVINFO& set);
  std::uint32_t destroySet(HDEVINFO set);
  std::uint32_t enumerate(HDEVINFO set, std::uint32_t index, SP_DEVINFO_DATA* data);
  std::uint32_t property(HDEVINFO set, const SP_DEVINFO_DATA* data, std::uint32_t which, DWORD* type,
                         BYTE* buffer, std::uint32_t size, DWORD* required);
  std::uint32_t setParameters(HDEVINFO set, const SP_DEVINFO_DATA* data, const SP_CLASSINSTALL_HEADER* header,
                              std::uint32_t size);
  std::uint32_t callInstaller(DI_FUNCTION function, HDEVINFO set, const SP_DEVINFO_DATA* data);
  std::uint32_t installParameters(HDEVINFO set, const SP_DEVINFO_DATA* data,
                                  SP_DEVINSTALL_PARAMS_A* parameters);

  // The configuration manager; its codes.
  CONFIGRET connect(const char* machineName, HMACHINE* machine);
  CONFIGRET locate(DEVINST* node, const char* identifier, ULONG flags, HMACHINE machine);
  CONFIGRET rescan(DEVINST node, ULONG flags, HMACHINE machine);
  CONFIGRET disconnect(HMACHINE machine);

 private:
  struct Function {
    std::string identifiers;
    std::string behind;
    bool listed = true;
    bool enabled = true;
    bool needsReboot = false;
  };
  struct Set {
    std::vector<unsigned> functions;
    std::map<unsigned, SP_PROPCHANGE_PARAMS> changes;
  };
  struct Failure {
    std::uint32_t error = 0;
    unsigned before = 0;  // uses that still work
    unsigned count = 0;
  };

  std::uint32_t errorOf(Step step);
  Set* findSet(HDEVINFO set);
  // The function that the record names, or null.
  Function* findFunction(const Set& set, const SP_DEVINFO_DATA* data);
  void note(const std::string& what, std::uint32_t error);

  mutable std::mutex mutex_;
  Trace& trace_;
  std::vector<Function> functions_;
  std::map<Step, Failure> failures_;
  std::optional<std::uint32_t> lastError_;
  std::map<std::uintptr_t, Set> sets_;
};

}  // namespace sim
