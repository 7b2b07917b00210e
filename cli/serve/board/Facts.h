// What is known of the board, for threads that do not talk to it.
#pragma once

#include <functional>
#include <mutex>
#include <optional>

#include "cli/serve/http/Problem.h"

namespace cli::serve {

struct Facts {
  bool isConnected = false;
  Json versions = Json::object();  // fpga, firmware, driver
  Json supplies;                   // null when not connected
  Json lines;
  Json shape = Json::object();  // format, bits, width and height of the frames that the parameters describe
  bool isRunning = false;
  std::optional<Problem>
      error;  // of what nobody asked for: a capture that ended, a board that was pulled out

  bool operator==(const Facts& other) const {
    return isConnected == other.isConnected && versions == other.versions && supplies == other.supplies &&
           lines == other.lines && shape == other.shape && isRunning == other.isRunning &&
           error.has_value() == other.error.has_value() && (!error || toJson(*error) == toJson(*other.error));
  }
};

class FactStore {
 public:
  // `changed` is called on the thread that changes them.
  explicit FactStore(std::function<void()> changed) : changed_(std::move(changed)) {}

  Facts get() const {
    const std::lock_guard lock(mutex_);
    return facts_;
  }

  void set(const Facts& facts) {
    {
      const std::lock_guard lock(mutex_);
      if (facts_ == facts) return;
      facts_ = facts;
    }
    changed_();
  }

 private:
  std::function<void()> changed_;
  mutable std::mutex mutex_;
  Facts facts_;
};

}  // namespace cli::serve
