#include "sim/pcie/PendingRequest.h"

#include <atomic>
#include <cstring>

namespace sim::pcie {

namespace {

// The lowest bit of the event's handle says that no completion port gets a packet.
HANDLE eventOf(const OVERLAPPED& overlapped) {
  return reinterpret_cast<HANDLE>(reinterpret_cast<std::uintptr_t>(overlapped.hEvent) & ~std::uintptr_t{1});
}

}  // namespace

PendingRequest::PendingRequest(const Shape& shape, const ControlRequest& request, Loans& loans,
                               Timeline& timeline)
    : shape_(shape),
      words_(shape.words),
      bytes_(shape.words * sizeof(std::uint32_t)),
      out_(request.out),
      overlapped_(request.overlapped),
      loans_(loans),
      timeline_(timeline) {
  std::memcpy(words_.data(), request.in, bytes_);
  const HANDLE event = eventOf(*overlapped_);
  if (event != nullptr) {
    const HANDLE self = GetCurrentProcess();
    valid_ = DuplicateHandle(self, event, self, &event_, 0, FALSE, DUPLICATE_SAME_ACCESS) != FALSE &&
             ResetEvent(event_) != FALSE;
  }
  overlapped_->Internal = STATUS_PENDING;
  overlapped_->InternalHigh = 0;
  ticket_ = loans_.take({out_, bytes_, overlapped_, event});
}

PendingRequest::~PendingRequest() {
  loans_.giveBack(ticket_);
  if (event_ != nullptr) CloseHandle(event_);
}

std::uint32_t PendingRequest::complete(std::uint32_t outcome) {
  loans_.settle(ticket_, [&] {
    std::memcpy(out_, words_.data(), bytes_);
    overlapped_->InternalHigh = bytes_;
    // From here on the memory is the program's again.
    std::atomic_ref(overlapped_->Internal).store(outcome, std::memory_order_release);
  });
  if (event_ != nullptr) timeline_.signal(ticket_->event, [this] { return SetEvent(event_); });
  return bytes_;
}

void PendingRequest::signalAgain() const {
  if (event_ != nullptr) timeline_.signal(ticket_->event, [this] { return SetEvent(event_); });
}

}  // namespace sim::pcie
