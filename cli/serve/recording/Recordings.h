// Frames one after another into a folder or an archive, on a thread of their own. One recording at a time;
// the last ones are remembered.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "cli/serve/board/Frames.h"
#include "cli/serve/http/Problem.h"
#include "cli/serve/picture/PictureMaking.h"
#include "cli/serve/recording/ZipFile.h"

namespace cli::serve {

struct RecordingOptions {
  std::uint32_t frames = 0;
  bool isZip = false;
  Making::Kind format = Making::Kind::raw;
};

class Recordings {
 public:
  // `changed` is called when a recording begins or ends.
  Recordings(FrameSlot& slot, const std::string& folder, std::function<void()> changed);
  ~Recordings();
  Recordings(const Recordings&) = delete;
  Recordings& operator=(const Recordings&) = delete;

  void start();
  void stop();  // a recording that runs ends with the frames that it has

  // Any thread. Throw Problem.
  Json begin(const RecordingOptions& options, const FrameShape& shape);
  Json stateOf(const std::string& id) const;
  Json end(const std::string& id);
  std::shared_ptr<const ZipFile> archive(const std::string& id) const;

  // No frames come any more.
  void endCurrent();

  // The one that runs, or ran last; null before the first.
  Json latest() const;

 private:
  struct Recording {
    std::string id;
    RecordingOptions options;
    std::string name;
    std::filesystem::path folder;  // as long as it runs with an ending of its own
    std::shared_ptr<ZipFile> zip;
    std::uint32_t taken = 0;
    std::uint32_t done = 0;
    std::uint32_t missed = 0;  // while the disk was too slow
    bool isClosing = false;    // takes no more frames
    bool hasEnded = false;
    std::optional<Problem> failure;
  };

  void offer(const FramePointer& frame);
  void run();
  void save(Recording& recording, const FramePointer& frame);
  static void finish(Recording& recording);
  void conclude(std::unique_lock<std::mutex>& lock, const std::optional<Problem>& failure);
  static Json toJson(const Recording& recording);
  const Recording& find(const std::string& id) const;

  std::filesystem::path folder_;
  std::function<void()> changed_;
  PictureMaking making_;
  mutable std::mutex mutex_;
  std::condition_variable awake_;
  std::deque<std::shared_ptr<Recording>> recordings_;  // the newest last
  std::deque<FramePointer> waiting_;
  std::size_t waitingBytes_ = 0;
  unsigned last_ = 0;
  bool isEnding_ = false;
  std::thread thread_;
};

}  // namespace cli::serve
