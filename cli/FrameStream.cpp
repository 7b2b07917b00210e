#include "FrameStream.h"

#include "Failure.h"
#include "ResultText.h"

namespace cli {

namespace {

// An event of the capture, which its holder sets and resets by hand.
class Event {
 public:
  Event() : handle_(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {
    if (handle_ == nullptr) throw Failure("no memory for an event");
  }
  ~Event() { CloseHandle(handle_); }
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_;
};

}  // namespace

// What the library's worker uses until it has set the last event.
struct FrameStream::Buffers {
  Buffers(std::uint32_t count, std::uint32_t frameBytes) : frames(count), events(count + 1) {
    for (auto& frame : frames) {
      frame.resize(frameBytes);
      addresses.push_back(frame.data());
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

FrameStream::FrameStream(const Board& board, const FrameLayout& frame, std::uint32_t buffers,
                         std::uint32_t timeout)
    : board_(board),
      frameBytes_(frame.bytes),
      timeout_(timeout),
      buffers_(std::make_unique<Buffers>(buffers, frame.bytes)) {}

FrameStream::~FrameStream() {
  if (!running_) return;
  const std::int32_t result = kVexaMultiShotCapArrayStop(board_.handle());
  const bool ended = WaitForSingleObject(buffers_->end(), timeout_) == WAIT_OBJECT_0;
  // A worker that hangs in the driver still has the buffers: they must outlive it.
  if (result == KVEXA_BUSY && !ended) static_cast<void>(buffers_.release());
}

std::int32_t FrameStream::start() {
  current_ = 0;
  const std::int32_t result = kVexaMultiShotCapArrayStart(
      board_.handle(), frameBytes_, static_cast<std::uint32_t>(buffers_->frames.size()),
      buffers_->addresses.data(), timeout_, buffers_->handles.data(), &buffers_->result);
  running_ = result == KVEXA_OK;
  return result;
}

std::int32_t FrameStream::stop() {
  const std::int32_t result = kVexaMultiShotCapArrayStop(board_.handle());
  running_ = WaitForSingleObject(buffers_->end(), 0) != WAIT_OBJECT_0;
  return result;
}

FrameStream::Next FrameStream::next(HANDLE interrupt) {
  // The first of them that is set counts, so frames that are there come before the end.
  const HANDLE events[] = {interrupt, buffers_->handles[current_], buffers_->end()};
  switch (WaitForMultipleObjects(3, events, FALSE, INFINITE)) {
    case WAIT_OBJECT_0: return Next::interrupted;
    case WAIT_OBJECT_0 + 1: return Next::frame;
    case WAIT_OBJECT_0 + 2: break;
    default: throw Failure("the capture's events cannot be waited for");
  }
  if (buffers_->result == KVEXA_TIMED_OUT) return Next::timedOut;
  throw Failure("the capture ended with " + describe(buffers_->result));
}

const std::uint8_t* FrameStream::frame() const { return buffers_->frames[current_].data(); }

void FrameStream::giveBack() {
  ResetEvent(buffers_->handles[current_]);
  current_ = (current_ + 1) % buffers_->frames.size();
}

}  // namespace cli
