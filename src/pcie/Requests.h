// Sending requests to the PCIe driver.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <type_traits>

#include "pcie/Protocol.h"
#include "win32/Handles.h"

namespace kvexa::pcie {

// Sends a request that completes before it returns. False when the driver refuses it.
bool sendBytes(HANDLE driver, Request request, void* record, DWORD bytes);

template <class Record>
bool send(HANDLE driver, Request request, Record& record) {
  return sendBytes(driver, request, &record, sizeof record);
}

// Stop and cancel: the status word alone is sent and returned.
std::int32_t sendStop(HANDLE driver);
std::int32_t sendCancelInterval(HANDLE driver);

// What the driver writes to when it completes an overlapped request: a fixed block of global memory in the
// layout of OVERLAPPED, and its event.
class Completion {
 public:
  enum class Event { own, none };

  explicit Completion(Event event = Event::own);
  ~Completion();
  Completion(const Completion&) = delete;
  Completion& operator=(const Completion&) = delete;

  explicit operator bool() const { return overlapped_ != nullptr && (event_ || !needsEvent_); }
  OVERLAPPED* overlapped() const { return overlapped_; }
  HANDLE event() const { return event_.get(); }
  void reset();

 private:
  bool needsEvent_;
  win32::UniqueObject event_;
  HGLOBAL memory_;
  OVERLAPPED* overlapped_;
};

// An overlapped request: its record and its completion, which live until the driver is done with them.
class PendingBase {
 public:
  explicit PendingBase(Completion::Event event) : completion_(event) {}
  virtual ~PendingBase() = default;
  PendingBase(const PendingBase&) = delete;
  PendingBase& operator=(const PendingBase&) = delete;

  explicit operator bool() const { return static_cast<bool>(completion_); }
  HANDLE event() const { return completion_.event(); }
  void resetEvent() { completion_.reset(); }

  // Whether the driver took the request.
  bool isAccepted() const { return accepted_; }

  // Whether the driver may still write to the record.
  bool mayComplete() const;

  // False when the request did not complete within the time.
  bool wait(DWORD milliseconds) const {
    return WaitForSingleObject(completion_.event(), milliseconds) == WAIT_OBJECT_0;
  }

 protected:
  bool startBytes(HANDLE driver, Request request, void* record, DWORD bytes);

 private:
  friend class OrphanedRequests;

  Completion completion_;
  bool accepted_ = false;
  std::unique_ptr<PendingBase> next_;  // among the orphaned requests
};

template <class Record>
class Pending : public PendingBase {
 public:
  explicit Pending(Completion::Event event = Completion::Event::own) : PendingBase(event) {}

  // False when the driver refuses the request.
  bool start(HANDLE driver, Request request) { return startBytes(driver, request, &record, sizeof record); }

  Record record{};
};

// Requests that have outlasted their owners: each is kept until the driver is done with it. What is left when
// the library is unloaded is never freed.
class OrphanedRequests {
 public:
  // Frees the request, or keeps it while the driver may still write to it.
  static void adopt(std::unique_ptr<PendingBase> request);

  // Frees what the driver is done with.
  static void freeCompleted();
};

struct OrphanWhenPending {
  void operator()(PendingBase* request) const {
    OrphanedRequests::adopt(std::unique_ptr<PendingBase>(request));
  }
};

template <class Record>
using PendingPointer = std::unique_ptr<Pending<Record>, OrphanWhenPending>;

// Null when there is no memory or no event for it.
template <class Record>
PendingPointer<Record> makePending(Completion::Event event = Completion::Event::own) {
  OrphanedRequests::freeCompleted();
  PendingPointer<Record> request(new (std::nothrow) Pending<Record>(event));
  if (request && !*request) request.reset();
  return request;
}

}  // namespace kvexa::pcie
