// kvexa.hpp - KVEXA_LIB.dll for C++17 programs: owners for boards, captures, frames and images over the
// functions of kvexa.h, and result codes in words. Nothing here is compiled into the library; every function
// of kvexa.h can be used beside it.
//
//   kvexa::Board board(KVEXA_BOARD_USB, 0);
//   board.powerUp();
//   board.playRegisters("sensor.csv");
//   board.configure("capture.dat");
//   board.capture().bayerImage(KVEXA_BAYER_GRBG).save("frame.bmp");
//
// Functions that return a std::int32_t return the code of the library and throw nothing of their own;
// constructors, and functions that return something else, throw kvexa::Error or std::bad_alloc.
#ifndef KVEXA_HPP
#define KVEXA_HPP

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kvexa_frames.hpp"

namespace kvexa {

// ---- Boards ----

// An open board. When it goes, what powerUp switched on is switched off, and it is closed. End its captures
// before.
class Board {
 public:
  Board() = default;
  Board(std::uint32_t type, std::uint32_t index) { require("kVexaDevOpen", open(type, index)); }
  ~Board() { close(); }
  Board(const Board&) = delete;
  Board& operator=(const Board&) = delete;
  Board(Board&& other) noexcept
      : handle_(std::exchange(other.handle_, BoardHandle{})),
        layout_(std::exchange(other.layout_, FrameLayout{})),
        powered_(std::exchange(other.powered_, false)) {}
  Board& operator=(Board&& other) noexcept {
    if (this != &other) {
      close();
      handle_ = std::exchange(other.handle_, BoardHandle{});
      layout_ = std::exchange(other.layout_, FrameLayout{});
      powered_ = std::exchange(other.powered_, false);
    }
    return *this;
  }

  // Closes the board that was open before.
  std::int32_t open(std::uint32_t type, std::uint32_t index) {
    close();
    return kVexaDevOpen(type, index, &handle_);
  }

  // KVEXA_OK when nothing is open.
  std::int32_t close() {
    if (!isOpen()) return KVEXA_OK;
    const std::int32_t off = powered_ ? switchOff().second : static_cast<std::int32_t>(KVEXA_OK);
    const std::int32_t closed = kVexaDevClose(&handle_);
    layout_ = FrameLayout{};
    return closed < 0 ? closed : off;
  }

  bool isOpen() const { return handle_.driverHandle != nullptr; }

  // For the functions of kvexa.h. A board that is not open makes them return KVEXA_BAD_ARGUMENT.
  const BoardHandle* handle() const { return &handle_; }

  // Supplies and clock on, then out of reset.
  void powerUp() {
    powered_ = true;
    require("kVexaPowerV1On", kVexaPowerV1On(handle()));
    require("kVexaPowerV2On", kVexaPowerV2On(handle()));
    require("kVexaClockOn", kVexaClockOn(handle()));
    require("kVexaResetOff", kVexaResetOff(handle()));
  }

  // The way back, to its end whatever fails; then the first failure is thrown.
  void powerDown() {
    const auto [call, result] = switchOff();
    require(call, result);
  }

  // Plays a register-setting file into the sensor.
  // NOLINTNEXTLINE(readability-make-member-function-const): the board changes
  void playRegisters(const std::string& path) {
    require("kVexaSetI2cFile", kVexaSetI2cFile(path.c_str(), handle()), path);
  }

  // Bytes of a device on the sensor bus, one in each word; the mode is a KvexaAddressMode.
  std::vector<std::uint32_t> readRegister(std::uint32_t slave, std::uint32_t address, std::uint32_t count = 1,
                                          std::uint32_t mode = KVEXA_SLAVE7_SUB16) const {
    std::vector<std::uint32_t> words(count);
    require("kVexaRegRead", kVexaRegRead(handle(), slave, address, mode, count, words.data()));
    return words;
  }
  // NOLINTNEXTLINE(readability-make-member-function-const): the board changes
  void writeRegister(std::uint32_t slave, std::uint32_t address, const std::vector<std::uint32_t>& words,
                     std::uint32_t mode = KVEXA_SLAVE7_SUB16) {
    const auto count = static_cast<std::uint32_t>(words.size());
    require("kVexaRegWrite", kVexaRegWrite(handle(), slave, address, mode, count, words.data()));
  }

  // Sets the capture up, by a capture-parameter file or by parameters.
  const FrameLayout& configure(const std::string& path) { return configure(readParameters(path)); }
  const FrameLayout& configure(const CapParam& parameters) {
    const FrameLayout size = layoutOf(parameters);
    require("kVexaSetCapParam", kVexaSetCapParam(handle(), &parameters));
    return layout_ = size;
  }

  // The size of a frame, once configure has been called; std::logic_error before.
  const FrameLayout& layout() const {
    if (layout_.bytes == 0)
      throw std::logic_error("the size of a frame is not known: configure the board before");
    return layout_;
  }

  // Frames a second that come in, as the board measures them; 0.0 when none come.
  double frameRate() const {
    const double rate = kVexaGetFrameRate(handle());
    if (rate < 0) throw Error("kVexaGetFrameRate", static_cast<std::int32_t>(rate));
    return rate;
  }

  // One frame; the time-out is in milliseconds. When none comes in it, Error with KVEXA_TIMED_OUT is thrown
  // on either board.
  Frame capture(std::uint32_t timeout = 1000) const {
    // A USB board does not tell when no frame comes. A frame that is one of these through and through is not
    // the other one as well.
    for (const std::uint8_t mark : {std::uint8_t{0xA5}, std::uint8_t{0x5A}}) {
      Frame frame(layout(), mark);
      require("kVexaOneShotCapture", kVexaOneShotCapture(handle(), layout_.bytes, frame.memory(), timeout));
      const auto data = frame.data();
      const bool isUnwritten =
          std::all_of(data.begin(), data.end(), [mark](auto byte) { return byte == mark; });
      if (handle_.boardType != KVEXA_BOARD_USB || !isUnwritten) return frame;
    }
    throw Error("kVexaOneShotCapture", KVEXA_TIMED_OUT);
  }

 private:
  // The first call that failed with its result, or the last one.
  std::pair<const char*, std::int32_t> switchOff() {
    powered_ = false;
    const std::pair<const char*, std::int32_t> results[] = {
        {"kVexaResetOn", kVexaResetOn(handle())},
        {"kVexaClockOff", kVexaClockOff(handle())},
        {"kVexaPowerV2Off", kVexaPowerV2Off(handle())},
        {"kVexaPowerV1Off", kVexaPowerV1Off(handle())},
    };
    for (const auto& result : results) {
      if (result.second < 0) return result;
    }
    return results[3];
  }

  BoardHandle handle_{};
  FrameLayout layout_;
  bool powered_ = false;
};

// ---- Captures ----

// A manual-reset event, as captures want them.
class Event {
 public:
  Event() : handle_(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {
    if (handle_ == nullptr) throw std::bad_alloc();
  }
  ~Event() {
    if (handle_ != nullptr) CloseHandle(handle_);
  }
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  Event(Event&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  Event& operator=(Event&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }

  HANDLE get() const { return handle_; }
  bool isSet() const { return WaitForSingleObject(handle_, 0) == WAIT_OBJECT_0; }
  void set() const { SetEvent(handle_); }
  void reset() const { ResetEvent(handle_); }

 private:
  HANDLE handle_;
};

// Frames one after another from a USB board, into buffers that the library fills while earlier ones are
// looked at (kVexaMultiShotCapArrayStart). The board must outlive it, where it is. One session a process at a
// time; for one thread.
//
//   kvexa::CaptureSession session(board, 8, 1000);
//   for (const kvexa::FrameView& frame : session.frames(100)) use(frame);
class CaptureSession {
 public:
  class Frames;

  enum class Next {
    frame,        // a frame is there: frame(), then giveBack()
    ended,        // the capture ended by itself: result() tells why, start() begins anew
    interrupted,  // the caller's event was set
    nothing       // the wait was over first
  };

  // frameBytes as kVexaCalcFrameSizeEx tells; timeout in milliseconds for each frame, 100 or more so that the
  // board has time to come to its end.
  CaptureSession(const Board& board, std::uint32_t frameBytes, std::uint32_t bufferCount,
                 std::uint32_t timeout)
      : CaptureSession(board, FrameLayout{frameBytes, 0, 0, 0, 0}, bufferCount, timeout) {}

  // Of a board that is configured.
  CaptureSession(const Board& board, std::uint32_t bufferCount, std::uint32_t timeout)
      : CaptureSession(board, board.layout(), bufferCount, timeout) {}

  // Ends a capture that runs.
  ~CaptureSession() {
    if (!running_) return;
    const std::int32_t result = kVexaMultiShotCapArrayStop(board_.handle());
    const bool ended = WaitForSingleObject(buffers_->end(), timeout_) == WAIT_OBJECT_0;
    // A worker that hangs in the driver still has the buffers: they must outlive it.
    if (result == KVEXA_BUSY && !ended) static_cast<void>(buffers_.release());
  }
  CaptureSession(const CaptureSession&) = delete;
  CaptureSession& operator=(const CaptureSession&) = delete;

  std::int32_t start() {
    current_ = 0;
    const std::int32_t result = kVexaMultiShotCapArrayStart(
        board_.handle(), layout_.bytes, static_cast<std::uint32_t>(buffers_->frames.size()),
        buffers_->addresses.data(), timeout_, buffers_->handles.data(), &buffers_->result);
    running_ = result == KVEXA_OK;
    return result;
  }

  std::int32_t stop() {
    const std::int32_t result = kVexaMultiShotCapArrayStop(board_.handle());
    running_ = running_ && WaitForSingleObject(buffers_->end(), 0) != WAIT_OBJECT_0;
    return result;
  }

  // Waits for a frame, for the capture's end, or for an event of the caller's (null for none). Does not wait
  // when no capture runs.
  Next next(HANDLE interrupt = nullptr, DWORD milliseconds = INFINITE) {
    if (!running_) return Next::ended;
    // The first of them that is set counts, so frames that are there come before the end.
    const HANDLE events[] = {buffers_->handles[current_], buffers_->end(), interrupt};
    if (interrupt != nullptr && WaitForSingleObject(interrupt, 0) == WAIT_OBJECT_0) return Next::interrupted;
    switch (WaitForMultipleObjects(interrupt == nullptr ? 2 : 3, events, FALSE, milliseconds)) {
      case WAIT_OBJECT_0: return Next::frame;
      case WAIT_OBJECT_0 + 1: return Next::ended;
      case WAIT_OBJECT_0 + 2: return Next::interrupted;
      case WAIT_TIMEOUT: return Next::nothing;
      default: throw std::runtime_error("the capture's events cannot be waited for");
    }
  }

  // The frame that next() told of, frameBytes() long. It stays as it is until giveBack().
  const std::uint8_t* frame() const { return buffers_->frames[current_].data(); }
  FrameView view() const { return {frame(), layout_}; }
  std::uint32_t frameBytes() const { return layout_.bytes; }

  // The next frames as a range for one loop; each stays as it is until the loop goes on, Frame(view) keeps
  // it. The loop ends after so many frames (0: without end), when the caller's event is set, or in Error when
  // the capture ends by itself. A capture that does not run is started, with boardMemory MiB of the board's
  // memory for frames that wait.
  Frames frames(std::uint32_t count = 0, HANDLE interrupt = nullptr, double boardMemory = 31.0);

  // Lets the library fill the buffer again.
  void giveBack() {
    ResetEvent(buffers_->handles[current_]);
    current_ = (current_ + 1) % buffers_->frames.size();
  }

  // How the capture stands: KVEXA_OK, KVEXA_TIMED_OUT or KVEXA_BUSY.
  std::int32_t result() const { return *static_cast<const volatile std::int32_t*>(&buffers_->result); }

 private:
  // What the library's worker uses until it has set the last event.
  struct Buffers {
    Buffers(std::uint32_t count, std::uint32_t bytes) : frames(count), events(std::size_t{count} + 1) {
      for (auto& buffer : frames) {
        buffer.resize(bytes);
        addresses.push_back(buffer.data());
      }
      for (const auto& event : events) handles.push_back(event.get());
    }

    HANDLE end() const { return handles.back(); }

    std::vector<std::vector<std::uint8_t>> frames;
    std::vector<Event> events;
    std::vector<void*> addresses;
    std::vector<void*> handles;
    std::int32_t result = KVEXA_OK;
  };

  CaptureSession(const Board& board, const FrameLayout& layout, std::uint32_t bufferCount,
                 std::uint32_t timeout)
      : board_(board),
        layout_(layout),
        timeout_(timeout),
        buffers_(std::make_unique<Buffers>(bufferCount, layout.bytes)) {}

  const Board& board_;
  FrameLayout layout_;
  std::uint32_t timeout_;
  std::unique_ptr<Buffers> buffers_;
  std::size_t current_ = 0;
  bool running_ = false;
};

class CaptureSession::Frames {
 public:
  class End {};

  class Iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = FrameView;
    using difference_type = std::ptrdiff_t;
    using pointer = const FrameView*;
    using reference = const FrameView&;

    explicit Iterator(Frames* frames) : frames_(frames) {}

    reference operator*() const { return frames_->view_; }
    pointer operator->() const { return &frames_->view_; }
    Iterator& operator++() {
      frames_->advance();
      return *this;
    }
    void operator++(int) { frames_->advance(); }
    friend bool operator==(const Iterator& iterator, End /*end*/) { return iterator.isOver(); }
    friend bool operator!=(const Iterator& iterator, End /*end*/) { return !iterator.isOver(); }

   private:
    bool isOver() const { return !frames_->holding_; }

    Frames* frames_;
  };

  Frames(CaptureSession& session, std::uint32_t count, HANDLE interrupt, double boardMemory)
      : session_(session),
        left_(count),
        isCounted_(count != 0),
        interrupt_(interrupt),
        boardMemory_(boardMemory) {}
  ~Frames() { giveBack(); }
  Frames(const Frames&) = delete;
  Frames& operator=(const Frames&) = delete;

  Iterator begin() {
    if (!session_.running_) {
      require("kVexaSetBufSize", kVexaSetBufSize(session_.board_.handle(), boardMemory_));
      require("kVexaMultiShotCapArrayStart", session_.start());
    }
    advance();
    return Iterator(this);
  }
  End end() const { return {}; }

 private:
  void giveBack() {
    if (std::exchange(holding_, false)) session_.giveBack();
  }

  void advance() {
    giveBack();
    if (isCounted_ && left_ == 0) return;
    switch (session_.next(interrupt_)) {
      case Next::frame: break;
      case Next::ended: throw Error("the capture", session_.result());
      default: return;
    }
    view_ = session_.view();
    holding_ = true;
    if (isCounted_) --left_;
  }

  CaptureSession& session_;
  std::uint32_t left_;
  bool isCounted_;
  HANDLE interrupt_;
  double boardMemory_;
  FrameView view_;
  bool holding_ = false;
};

inline CaptureSession::Frames CaptureSession::frames(std::uint32_t count, HANDLE interrupt,
                                                     double boardMemory) {
  return {*this, count, interrupt, boardMemory};
}

}  // namespace kvexa

#endif  // KVEXA_HPP
