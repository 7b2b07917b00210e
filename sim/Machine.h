// A computer with simulated boards in it: what the library sees through Windows.
#pragma once

#include <windows.h>
// After windows.h.
#include <objbase.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Clock.h"
#include "PciBus.h"
#include "PcieBoard.h"
#include "Resources.h"
#include "SystemFiles.h"
#include "Timeline.h"
#include "Trace.h"
#include "UsbBoard.h"

// A word of COM for "struct", which would get into the way of a name below.
#undef interface

namespace sim {

// The steps of finding and opening a board that can be made to fail, for one board type.
enum class OpenStep { deviceSet, interface, detailSize, detail, file };

class Machine {
 public:
  Machine();
  ~Machine();
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  Clock& clock();
  Timeline& timeline();
  Trace& trace();

  // Boards are enumerated in the order in which they were added. References stay good as long as the
  // machine lives.
  UsbBoard& addUsbBoard();
  UsbBoard& usbBoard(unsigned index);

  PcieBoard& addPcieBoard();
  void addPcieBoards(unsigned count);
  PcieBoard& pcieBoard(unsigned index);

  // The PCI functions that a driver reload restarts. They are listed apart from the boards.
  PciBus& pciBus();

  // From now on the step fails for every board of the type (BoardType of kvexa.h) with the Windows
  // error; 0 makes it work again.
  void failOpenStep(std::uint32_t boardType, OpenStep step, std::uint32_t error);

  // Things that the library took from Windows and has not given back.
  unsigned openDeviceSets() const;
  unsigned openFiles() const;
  Resources& resources();

  // The version resources that the machine's driver files have, and its Windows directory.
  SystemFiles& systemFiles();

  // How often the library has freed memory while a driver's request still held it.
  unsigned lostLoans() const;

  // The paths and arguments of the last CreateFileA on a device.
  struct FileRequest {
    std::string path;
    std::uint32_t access = 0;
    std::uint32_t share = 0;
    bool securityGiven = false;
    std::uint32_t disposition = 0;
    std::uint32_t flags = 0;
    bool templateGiven = false;
  };
  FileRequest lastFileRequest() const;

  struct Inside;  // for the redirected calls
  Inside& inside() { return *inside_; }

 private:
  std::unique_ptr<Inside> inside_;
};

}  // namespace sim
