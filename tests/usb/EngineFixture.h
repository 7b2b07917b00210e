// A streaming board whose frames carry their number, and a worker that a test holds where it wants it.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "tests/support/CaptureFixture.h"
#include "tests/usb/LibraryCalls.h"

namespace kvexa::test {

// A manual-reset event.
class Event {
 public:
  Event();
  ~Event();
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  HANDLE get() const { return handle_; }
  void set() const;
  void reset() const { ResetEvent(handle_); }
  bool isSet() const;

  // Waits until it is set; false when that does not happen.
  bool await() const;

 private:
  HANDLE handle_;
};

class EngineFixture : public CaptureFixture {
 protected:
  void SetUp() override;
  void TearDown() override;

  // The frame number that is drawn into a frame.
  static std::uint32_t numberOf(const std::uint8_t* frame);

  // Whether the bytes are the frame of that number, whole.
  bool isFrame(const std::uint8_t* bytes, std::uint32_t number) const;

  // The worker stops before anything else, or before its k-th read of a frame (from 0, counted from now),
  // until release() or until the library waits for it.
  void holdWorkerStart();
  void holdRead(unsigned k);
  void release() { gate_.set(); }

  // Waits until the worker has come to where it is held, or until a test says that it never will.
  void awaitHeld();
  void doNotAwaitHeld() { arrived_.set(); }

  // Waits until the workers have ended.
  void join();

  // What the worker did, in order, each with the result word at that moment: "read 0:-59" for a read
  // into slot 0, "frame:0" and "end:-58" for the signals of the named events. The text starts anew with
  // each call.
  std::string log();

  // The same for one line of it that a test adds to what it expects.
  static std::string line(const std::string& what, std::int32_t result);

  // Names an event, or the buffer that starts at an address, in the log.
  void nameEvent(HANDLE event, const std::string& name);
  void nameBuffer(const std::uint8_t* address, const std::string& name);

  // The time-outs of the library's waits for a worker, since the last call.
  std::vector<DWORD> waits();

  // A wait for a worker fails as if its time had passed.
  void failWaits(bool fail) { failWaits_ = fail; }

  // No more handles than before; the system makes one for a lock when threads first meet at it, so a few
  // more are none of the library's.
  static void expectHandles(unsigned before);

  // A start without memory for its worker.
  template <class Start>
  void expectRefusedWithoutMemory(Start start) {
    trace();
    machine.resources().failBlocksFrom(1);
    const std::int32_t result = start();
    machine.resources().failBlocksFrom(0);
    EXPECT_EQ(KVEXA_BUSY, result);
    EXPECT_EQ("", trace());
    EXPECT_EQ("", log());
    EXPECT_EQ(unset, word);
  }

  // A capture of one frame by itself, to see that the board works.
  void expectWorkingBoard();

  static constexpr auto unset = static_cast<std::int32_t>(untouched);  // of the result word
  static constexpr unsigned width = 128;
  static constexpr unsigned height = 8;
  static constexpr std::uint32_t frameBytes = width * height;
  static constexpr std::uint32_t timeout = 700;

  LibraryCalls calls{libraryModule()};
  Event frameEvent;
  Event endEvent;
  std::atomic<std::int32_t> word{static_cast<std::int32_t>(untouched)};

  // As the library takes it.
  std::int32_t* wordAddress() { return reinterpret_cast<std::int32_t*>(&word); }

 private:
  void passGate();
  void noteRead(const FrameRead& read);
  void noteSignal(HANDLE event);
  std::optional<DWORD> noteWait(DWORD milliseconds);

  Event gate_;
  Event arrived_;
  std::atomic<int> readsToGate_{-1};
  std::atomic<bool> startIsHeld_{false};
  std::atomic<bool> failWaits_{false};
  std::mutex mutex_;
  std::string log_;
  std::vector<DWORD> waits_;
  std::vector<std::pair<HANDLE, std::string>> events_;
  std::vector<std::pair<const std::uint8_t*, std::string>> buffers_;
};

// The transfers of a capture, for comparison with a trace.
std::string holdAndFlush(unsigned control);
std::string releaseHold(unsigned control);
std::string workerStop(unsigned control);
std::string abortTransfers(unsigned control);

}  // namespace kvexa::test
