// What the simulated boards have in common: a name, a sensor, faults, and whether they are plugged in and
// open.
#pragma once

#include <mutex>
#include <string>
#include <utility>

#include "sim/base/Faults.h"
#include "sim/base/Timeline.h"
#include "sim/base/Trace.h"
#include "sim/sensor/Sensor.h"

namespace sim {

class CameraBoard {
 public:
  CameraBoard(const CameraBoard&) = delete;
  CameraBoard& operator=(const CameraBoard&) = delete;

  const std::string& name() const { return name_; }
  Sensor& sensor() { return sensor_; }
  Faults& faults() { return faults_; }

  // Unplugged, every request fails with ERROR_DEVICE_NOT_CONNECTED and the board is not enumerated.
  virtual void unplug() = 0;
  void plug() {
    const std::lock_guard lock(mutex_);
    plugged_ = true;
  }
  bool isPlugged() const {
    const std::lock_guard lock(mutex_);
    return plugged_;
  }

  // ---- for the driver ----

  // False when somebody has it open already.
  bool open() {
    const std::lock_guard lock(mutex_);
    return !std::exchange(open_, true);
  }

 protected:
  CameraBoard(std::string name, Timeline& timeline, Trace& trace)
      : name_(std::move(name)),
        timeline_(timeline),
        trace_(trace),
        sensor_(timeline.clock()),
        faults_(timeline) {
    sensor_.setDefects(faults_.defects());
  }
  virtual ~CameraBoard() = default;

  mutable std::recursive_mutex mutex_;
  std::string name_;
  Timeline& timeline_;
  Trace& trace_;
  Sensor sensor_;
  Faults faults_;
  bool open_ = false;
  bool plugged_ = true;
};

}  // namespace sim
