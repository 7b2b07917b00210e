// A computer with simulated boards in it: what the library sees through Windows.
#pragma once

#include "sim/base/Clock.h"
#include "sim/base/Loans.h"
#include "sim/base/Timeline.h"
#include "sim/base/Trace.h"
#include "sim/machine/DeviceTree.h"
#include "sim/machine/PciBus.h"
#include "sim/machine/Resources.h"
#include "sim/machine/SystemFiles.h"

namespace sim {

class Machine {
 public:
  explicit Machine(Pace pace = Pace::simulated) : clock_(pace) {}

  Clock& clock() { return clock_; }
  Timeline& timeline() { return timeline_; }
  Trace& trace() { return trace_; }

  // The boards, and what finds and opens them.
  DeviceTree& devices() { return devices_; }
  usb::Board& addUsbBoard() { return devices_.addUsbBoard(); }
  usb::Board& usbBoard(unsigned index) { return devices_.usbBoard(index); }
  pcie::Board& addPcieBoard() { return devices_.addPcieBoard(); }
  void addPcieBoards(unsigned count) {
    for (unsigned i = 0; i < count; ++i) addPcieBoard();
  }
  pcie::Board& pcieBoard(unsigned index) { return devices_.pcieBoard(index); }

  // The PCI functions that a driver reload restarts. They are listed apart from the boards.
  PciBus& pciBus() { return pciBus_; }

  // Things that the library took from Windows and has not given back.
  Resources& resources() { return resources_; }

  // The version resources that the machine's driver files have, and its Windows directory.
  SystemFiles& systemFiles() { return systemFiles_; }

  // The library's memory that driver requests hold.
  Loans& loans() { return loans_; }

 private:
  Clock clock_;
  Trace trace_;
  Loans loans_;
  Resources resources_;
  SystemFiles systemFiles_;
  PciBus pciBus_{trace_};
  DeviceTree devices_{timeline_, trace_, loans_};
  Timeline timeline_{clock_};  // last, so that it ends before the boards
};

}  // namespace sim
