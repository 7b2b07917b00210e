#include "Machine.h"

#include "MachineInside.h"

namespace sim {

Machine::Machine() : inside_(std::make_unique<Inside>()) {}

Machine::~Machine() = default;

Clock& Machine::clock() { return inside_->clock; }

Timeline& Machine::timeline() { return inside_->timeline; }

Trace& Machine::trace() { return inside_->trace; }

UsbBoard& Machine::addUsbBoard() { return inside_->addUsbBoard(); }

UsbBoard& Machine::usbBoard(unsigned index) { return inside_->usbBoard(index); }

PcieBoard& Machine::addPcieBoard() { return inside_->addPcieBoard(); }

void Machine::addPcieBoards(unsigned count) {
  for (unsigned i = 0; i < count; ++i) inside_->addPcieBoard();
}

PcieBoard& Machine::pcieBoard(unsigned index) { return inside_->pcieBoard(index); }

PciBus& Machine::pciBus() { return inside_->pciBus; }

Resources& Machine::resources() { return inside_->resources; }

SystemFiles& Machine::systemFiles() { return inside_->systemFiles; }

unsigned Machine::lostLoans() const { return inside_->loans.lostLoans(); }

void Machine::failOpenStep(std::uint32_t boardType, OpenStep step, std::uint32_t error) {
  inside_->failOpenStep(boardType, step, error);
}

unsigned Machine::openDeviceSets() const { return inside_->openDeviceSets(); }

unsigned Machine::openFiles() const { return inside_->openFiles(); }

Machine::FileRequest Machine::lastFileRequest() const { return inside_->lastFileRequest(); }

}  // namespace sim
