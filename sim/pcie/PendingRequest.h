// A request of a program that its driver completes: now or later.
#pragma once

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "sim/base/Driver.h"
#include "sim/base/Loans.h"
#include "sim/base/Timeline.h"
#include "sim/pcie/Protocol.h"

namespace sim::pcie {

class PendingRequest {
 public:
  // Marks the overlapped record as pending. The event is kept beyond the program's own handle, as Windows
  // keeps it.
  PendingRequest(const Shape& shape, const ControlRequest& request, Loans& loans, Timeline& timeline);

  // A request that was not completed leaves the program's memory alone.
  ~PendingRequest();
  PendingRequest(const PendingRequest&) = delete;
  PendingRequest& operator=(const PendingRequest&) = delete;

  // False when its event is no event.
  bool isValid() const { return valid_; }
  bool hasEvent() const { return event_ != nullptr; }

  const Shape& shape() const { return shape_; }
  std::vector<std::uint32_t>& words() { return words_; }

  // At most so many bytes of the record go back.
  void shorten(std::uint32_t bytes) { bytes_ = std::min(bytes_, bytes); }

  // Hands the record back to the program and wakes it. `outcome` is what Windows reports, 0 for a request
  // that the driver carried out. Once. Returns the bytes that went back.
  std::uint32_t complete(std::uint32_t outcome);

  // Wakes the program once more; its memory stays as it is.
  void signalAgain() const;

 private:
  const Shape& shape_;
  std::vector<std::uint32_t> words_;
  std::uint32_t bytes_;
  void* out_;
  OVERLAPPED* overlapped_;
  HANDLE event_ = nullptr;
  bool valid_ = true;
  Loans& loans_;
  Timeline& timeline_;
  Loans::Ticket ticket_;
};

}  // namespace sim::pcie
