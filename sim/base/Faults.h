// What goes wrong on one simulated board, and when. Requests are the driver requests (DeviceIoControl)
// of that board; they are counted from 1, from the moment of the call that sets the fault.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>

#include "sim/base/Defects.h"
#include "sim/base/HeldRequests.h"

namespace sim {

struct Fault {
  enum class Kind {
    refuse,       // the driver refuses the request with the Windows error `value`
    keepStatus,   // the driver accepts the request, but does not report success in its status word
    shorten,      // the request moves at most `value` bytes
    corrupt,      // USB: every byte that moves has the bits of `value` turned round
    unplug,       // the board is pulled out just before the request
    answer,       // PCIe: the driver's status word is `value`, and the request is over at once
    answerLater,  // PCIe: the driver's status word is `value` when the request is over
    hold          // the request hangs in the driver, and reaches the board when held() releases it
  };
  Kind kind;
  std::uint32_t value = 0;
};

class Faults {
 public:
  explicit Faults(Timeline& timeline) : held_(timeline) {}

  // The k-th request from now meets the fault.
  void at(unsigned k, Fault fault);

  // Every request from the k-th from now on meets the fault.
  void from(unsigned k, Fault fault);

  // The sensor does not acknowledge while this is set.
  void holdAcknowledge(bool hold);
  bool acknowledgeIsHeld() const;

  // Frames stop coming while this is set: image reads run into their time-out.
  void holdFrames(bool hold);
  bool framesAreHeld() const;

  // The requests that `hold` holds; other requests to the board are served meanwhile.
  HeldRequests& held() { return held_; }

  // What is wrong by the board's build; clear() leaves it.
  Defects& defects() { return defects_; }
  const Defects& defects() const { return defects_; }

  // Forgets all faults. The request counter goes on. What is held stays held.
  void clear();

  // Requests that the board has seen since it was made.
  unsigned requestCount() const;

  // For the board: counts one request. The fault that it meets.
  std::optional<Fault> nextRequest();

  // The same for a thread that has the board's lock, which it gives up while its request is held.
  template <class Lock>
  std::optional<Fault> nextRequest(Lock& lock) {
    const std::optional<Fault> fault = nextRequest();
    if (!fault || fault->kind != Fault::Kind::hold) return fault;
    lock.unlock();
    held_.hold();
    lock.lock();
    return std::nullopt;
  }

 private:
  mutable std::mutex mutex_;
  std::uint64_t count_ = 0;  // of a size that no number of a request makes it begin again
  std::map<std::uint64_t, Fault> at_;
  std::optional<std::pair<std::uint64_t, Fault>> from_;
  bool acknowledgeHeld_ = false;
  bool framesHeld_ = false;
  HeldRequests held_;
  Defects defects_;
};

}  // namespace sim
