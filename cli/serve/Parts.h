// Everything that a server consists of, and how its threads reach one another.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cli/serve/api/Metrics.h"
#include "cli/serve/api/TraceRing.h"
#include "cli/serve/api/Wheel.h"
#include "cli/serve/board/CommandQueue.h"
#include "cli/serve/board/LiveBoard.h"
#include "cli/serve/http/Answer.h"
#include "cli/serve/picture/FrameWorker.h"
#include "cli/serve/picture/PictureMaking.h"
#include "cli/serve/recording/Recordings.h"

namespace cli::serve {

struct ServeOptions {
  BoardOptions board;
  bool isSimulated = false;
  std::string folder;  // for recordings
};

class Parts {
 public:
  Parts(asio::io_context& io, const ServeOptions& options, TraceRing& trace);
  ~Parts();
  Parts(const Parts&) = delete;
  Parts& operator=(const Parts&) = delete;

  // The threads; returns when the board has been looked for once.
  void start();
  // As a client would.
  void startCapture();
  // Capture stopped, module powered down, recordings ended. The network's thread goes on.
  void endBoard();
  // No thread of this reaches the network's any more.
  void stop();

  // ---- for the network's thread

  using Work = std::function<Json(LiveBoard& board)>;

  // Done on the board's thread, in turn; urgent work drops what waits. Throws what the work throws.
  //
  // Name the work before the call: this compiler loses what a function object holds that is made within a
  // co_await expression.
  asio::awaitable<Json> onBoard(const Work& work, bool isUrgent = false);

  // The first frame behind that number and what is made of it; null when none comes in time.
  asio::awaitable<MadePointer> made(FrameWorker& worker, std::uint64_t after, Making making,
                                    std::chrono::milliseconds wait);

  // What the client sees.
  Json stateFor(const std::string& client) const;

  // Called whenever the state has changed in more than its counters, until the token is gone.
  using Listener = std::function<void()>;
  std::shared_ptr<void> listen(Listener listener);
  void tellChange();  // on the network's thread

  asio::io_context& io() { return io_; }
  const ServeOptions& options() const { return options_; }
  TraceRing& trace() { return trace_; }
  Wheel& wheel() { return *wheel_; }
  // For who may go after this: what the network has under way ends with its last object.
  const std::shared_ptr<Wheel>& sharedWheel() const { return wheel_; }
  FrameSlot& slot() { return slot_; }
  FrameWorker& pictures() { return pictures_; }
  FrameWorker& analysis() { return analysis_; }
  CaptureLoop& capture() { return capture_; }
  CommandQueue& queue() { return queue_; }
  const FactStore& facts() const { return facts_; }
  Recordings& recordings() { return recordings_; }
  Metrics& metrics() { return metrics_; }

 private:
  void captureEnded(const std::exception_ptr& failure);
  void factsChanged();
  void postChange();

  asio::io_context& io_;
  ServeOptions options_;
  TraceRing& trace_;
  std::shared_ptr<Wheel> wheel_ = std::make_shared<Wheel>();
  std::vector<std::weak_ptr<Listener>> listeners_;
  Metrics metrics_;
  FactStore facts_;
  FrameSlot slot_;
  Recordings recordings_;
  PictureMaking making_;
  FrameWorker pictures_;
  FrameWorker analysis_;
  CaptureLoop capture_;
  LiveBoard board_;
  CommandQueue queue_;
};

}  // namespace cli::serve
