#include "sim/attach/Bench.h"

#include <stdexcept>

#include "kvexa.h"

namespace sim {

CameraBoard& Bench::addBoard(std::uint32_t type) {
  if (boards_ != Boards::simulated) throw std::invalid_argument("boards cannot be added to real ones");
  CameraBoard* added = nullptr;
  switch (type) {
    case KVEXA_BOARD_USB: added = &machine_.addUsbBoard(); break;
    case KVEXA_BOARD_PCIE: added = &machine_.addPcieBoard(); break;
    default: throw std::invalid_argument("there is no board type " + std::to_string(type));
  }
  added->sensor().setScene(scene_);
  return *added;
}

CameraBoard& Bench::board(std::uint32_t type, unsigned number) {
  switch (type) {
    case KVEXA_BOARD_USB: return machine_.usbBoard(number);
    case KVEXA_BOARD_PCIE: return machine_.pcieBoard(number);
    default: throw std::invalid_argument("there is no board type " + std::to_string(type));
  }
}

void Bench::writeTrace(const std::string& path) {
  std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "wb"));
  if (!file) throw std::runtime_error(path + ": cannot be written");
  writeTrace(file.get());
  traceFile_ = std::move(file);
}

void Bench::writeTrace(std::FILE* stream) {
  trace().writeTo(stream);
  traceFile_.reset();
}

void Bench::attach(HMODULE module) {
  attachment_.reset();
  attachment_ = boards_ == Boards::simulated ? std::make_unique<Attachment>(module, machine_)
                                             : std::make_unique<Attachment>(module, realTrace_);
}

}  // namespace sim
