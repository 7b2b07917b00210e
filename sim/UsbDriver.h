// The USB board's driver: checks the records of the requests and passes them to the board.
#pragma once

#include "Driver.h"
#include "UsbBoard.h"

namespace sim {

// The records as they cross the driver's interface; the library's own headers are not asked.
namespace UsbControl {
constexpr std::uint32_t pipeTransfer = 0x0022204E;
constexpr std::uint32_t deviceDescriptor = 0x00222059;

#pragma pack(push, 1)
struct PipeRecord {
  std::uint32_t pipe;
  std::uint32_t timeout;
  std::uint32_t statusAddress;  // of a word in the caller's memory
};

struct DescriptorRecord {
  std::uint8_t fields[5];  // 1, 1, 0, 0, 6
  std::uint8_t unset;
  std::uint16_t type;
  std::uint16_t language;
};
#pragma pack(pop)
static_assert(sizeof(PipeRecord) == 12 && sizeof(DescriptorRecord) == 10);
}  // namespace UsbControl

class UsbDriver : public Driver {
 public:
  UsbDriver(std::string name, Timeline& timeline, Trace& trace) : board_(std::move(name), timeline, trace) {}

  UsbBoard& board() { return board_; }

  const std::string& name() const override { return board_.name(); }
  bool isPresent() const override { return board_.isPlugged(); }
  bool open() override { return board_.open(); }
  void close() override { board_.close(); }
  ControlAnswer control(const ControlRequest& request) override;

 private:
  ControlAnswer pipeTransfer(const ControlRequest& request);
  ControlAnswer descriptor(const ControlRequest& request);

  UsbBoard board_;
};

}  // namespace sim
