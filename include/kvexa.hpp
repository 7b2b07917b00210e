// kvexa.hpp - KVEXA_LIB.dll for C++17 programs: owners for boards, captures and images over the functions of
// kvexa.h, and result codes in words. Nothing here is compiled into the library; every function of kvexa.h
// can be used beside it.
//
//   kvexa::Board board(KVEXA_BOARD_USB, 0);
//   kvexa::require("kVexaPowerV1On", kVexaPowerV1On(board.handle()));
//
// Functions that return a std::int32_t return the code of the library and throw nothing of their own;
// constructors, and functions that return something else, throw kvexa::Error or std::bad_alloc.
#ifndef KVEXA_HPP
#define KVEXA_HPP

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kvexa.h"

namespace kvexa {

// ---- Result codes ----

struct ResultText {
  std::int32_t result;
  const char* name;    // "KVEXA_NO_ACKNOWLEDGE"
  const char* text;    // what it means, for people
  const char* advice;  // what to do
};

inline constexpr ResultText resultTexts[] = {
#define KVEXA_RESULT(name, value, text, advice) {name, #name, text, advice},
#include "kvexa_results.inc"
#undef KVEXA_RESULT
};

#define KVEXA_RESULT(name, value, text, advice) \
  static_assert((name) == (value), "kvexa.h and kvexa_results.inc differ in " #name);
#include "kvexa_results.inc"
#undef KVEXA_RESULT

// Null for a number that is no code, such as several codes in one by bitwise OR.
inline const ResultText* findResult(std::int32_t result) {
  for (const ResultText& candidate : resultTexts) {
    if (candidate.result == result) return &candidate;
  }
  return nullptr;
}

// "-57 (the device on the sensor bus did not acknowledge; ...)"
inline std::string describe(std::int32_t result) {
  const ResultText* const found = findResult(result);
  return found == nullptr ? std::to_string(result) : std::to_string(result) + " (" + found->text + ")";
}

// "kVexaDevOpen returned -50 (no such board, or its driver would not open it)"
class Error : public std::runtime_error {
 public:
  Error(const std::string& call, std::int32_t result)
      : std::runtime_error(call + " returned " + describe(result)), result_(result) {}

  std::int32_t result() const { return result_; }

 private:
  std::int32_t result_;
};

// Throws Error for a negative result, and gives any other one back.
inline std::int32_t require(const std::string& call, std::int32_t result) {
  if (result < 0) throw Error(call, result);
  return result;
}

// ---- Boards ----

// An open board, closed at the latest when it goes. End its captures before.
class Board {
 public:
  Board() = default;
  Board(std::uint32_t type, std::uint32_t index) { require("kVexaDevOpen", open(type, index)); }
  ~Board() { close(); }
  Board(const Board&) = delete;
  Board& operator=(const Board&) = delete;
  Board(Board&& other) noexcept : handle_(std::exchange(other.handle_, BoardHandle{})) {}
  Board& operator=(Board&& other) noexcept {
    if (this != &other) {
      close();
      handle_ = std::exchange(other.handle_, BoardHandle{});
    }
    return *this;
  }

  // Closes the board that was open before.
  std::int32_t open(std::uint32_t type, std::uint32_t index) {
    close();
    return kVexaDevOpen(type, index, &handle_);
  }

  // KVEXA_OK when nothing is open.
  std::int32_t close() { return isOpen() ? kVexaDevClose(&handle_) : static_cast<std::int32_t>(KVEXA_OK); }

  bool isOpen() const { return handle_.driverHandle != nullptr; }

  // For the functions of kvexa.h. A board that is not open makes them return KVEXA_BAD_ARGUMENT.
  const BoardHandle* handle() const { return &handle_; }

 private:
  BoardHandle handle_{};
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
// looked at (kVexaMultiShotCapArrayStart). The board must outlive it. One session a process at a time; for
// one thread.
class CaptureSession {
 public:
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
      : board_(board),
        frameBytes_(frameBytes),
        timeout_(timeout),
        buffers_(std::make_unique<Buffers>(bufferCount, frameBytes)) {}

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
        board_.handle(), frameBytes_, static_cast<std::uint32_t>(buffers_->frames.size()),
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
  std::uint32_t frameBytes() const { return frameBytes_; }

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

  const Board& board_;
  std::uint32_t frameBytes_;
  std::uint32_t timeout_;
  std::unique_ptr<Buffers> buffers_;
  std::size_t current_ = 0;
  bool running_ = false;
};

// ---- Images ----

// A picture of 24 bits a pixel (KVEXA_FORMAT_BGR24): top row first, rows not padded.
class Image {
 public:
  Image(std::uint32_t width, std::uint32_t height) { resize(width, height); }

  // Keeps the memory when it suffices: one image serves a whole stream.
  void resize(std::uint32_t width, std::uint32_t height) {
    const std::uint64_t bytes = std::uint64_t{3} * width * height;
    if (std::uint64_t{width} * height > SIZE_MAX / 3) throw std::bad_alloc();
    pixels_.resize(static_cast<std::size_t>(bytes));
    width_ = width;
    height_ = height;
  }

  std::uint32_t width() const { return width_; }
  std::uint32_t height() const { return height_; }
  std::uint8_t* pixels() { return pixels_.data(); }
  const std::uint8_t* pixels() const { return pixels_.data(); }

  // The conversions of kvexa.h that a capture ends in; the frame has the image's size.
  std::int32_t fromBayer8(const std::uint8_t* frame, std::uint32_t pattern) {
    return kVexaRaw8ToRgb888(frame, pixels(), width_, height_, pattern);
  }
  std::int32_t fromBayer16(const std::uint16_t* frame, std::uint32_t pattern, std::uint32_t bits) {
    return kVexaRaw16ToRgb888(frame, pixels(), width_, height_, pattern, bits);
  }
  std::int32_t fromYuyv8(const std::uint8_t* frame, std::uint32_t method, std::uint32_t order) {
    return kVexaYuyv8ToRgbT2(frame, pixels(), width_, height_, method, order, KVEXA_FORMAT_BGR24);
  }

  // A Windows bitmap; see kVexaSaveBmpFile about widths that are no multiple of 4.
  std::int32_t saveBmp(const std::string& path) const {
    const SaveRect all{0, 0, width_, height_};
    return kVexaSaveBmpFile(path.c_str(), pixels(), width_, height_, &all, KVEXA_FORMAT_BGR24,
                            KVEXA_BMP_24_BITS);
  }

  // A baseline JPEG file of quality 0 to 100.
  std::int32_t saveJpeg(const std::string& path, std::uint32_t quality) const {
    const SaveRect all{0, 0, width_, height_};
    return kVexaSaveJpegFile(path.c_str(), pixels(), width_, height_, &all, KVEXA_FORMAT_BGR24, quality);
  }

 private:
  std::vector<std::uint8_t> pixels_;
  std::uint32_t width_ = 0;
  std::uint32_t height_ = 0;
};

}  // namespace kvexa

#endif  // KVEXA_HPP
