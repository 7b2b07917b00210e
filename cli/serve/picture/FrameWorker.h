// A thread that makes something of the newest frame, when somebody waits for it, and once for all who do.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <tuple>
#include <vector>

#include "cli/serve/board/Frames.h"

namespace cli::serve {

// What is made.
struct Making {
  enum class Kind { raw, bmp, jpeg, analysis };
  Kind kind = Kind::raw;
  std::uint32_t quality = 0;  // of a JPEG picture
  bool hasRectangle = false;  // of an analysis
  std::uint32_t x = 0;
  std::uint32_t y = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;

  bool operator==(const Making&) const = default;
};

struct Made {
  FramePointer frame;
  std::shared_ptr<const std::vector<std::uint8_t>> bytes;
  std::exception_ptr failure;  // instead of the bytes
};

using MadePointer = std::shared_ptr<const Made>;

class FrameWorker {
 public:
  using Maker = std::function<std::shared_ptr<const std::vector<std::uint8_t>>(const FramePointer& frame,
                                                                               const Making& making)>;
  // On the worker's thread; must not wait.
  using Handler = std::function<void(const MadePointer& made)>;

  struct Want {
    std::uint64_t after;  // the number of the newest frame that is no answer
    Making making;
    Handler handler;
  };

  FrameWorker(FrameSlot& slot, Maker maker);
  ~FrameWorker();
  FrameWorker(const FrameWorker&) = delete;
  FrameWorker& operator=(const FrameWorker&) = delete;

  void start();
  // No handler is called any more when it returns.
  void stop();

  // Any thread.
  void want(const std::shared_ptr<const Want>& want);
  // The handler may be called once more, on its way.
  void forget(const std::shared_ptr<const Want>& want);

  // How many frames were made something of, for whoever counts.
  std::uint64_t made() const;

 private:
  void run();
  std::vector<std::shared_ptr<const Want>> takeReady(const FramePointer& frame);
  void serve(const FramePointer& frame, std::vector<std::shared_ptr<const Want>> ready);

  FrameSlot& slot_;
  Maker maker_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::shared_ptr<const Want>> wants_;
  MadePointer latest_;  // what was made last serves who comes late
  Making latestMaking_;
  std::uint64_t made_ = 0;
  bool isEnding_ = false;
  std::thread thread_;
};

}  // namespace cli::serve
