#include "cli/serve/picture/FrameWorker.h"

#include <algorithm>

namespace cli::serve {

FrameWorker::FrameWorker(FrameSlot& slot, Maker maker) : slot_(slot), maker_(std::move(maker)) {
  slot_.observe([this](const FramePointer& /*frame*/) {
    const std::lock_guard lock(mutex_);
    if (!wants_.empty()) changed_.notify_one();
  });
}

FrameWorker::~FrameWorker() { stop(); }

void FrameWorker::stop() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  changed_.notify_one();
  if (thread_.joinable()) thread_.join();
}

void FrameWorker::start() {
  thread_ = std::thread([this] { run(); });
}

void FrameWorker::want(const std::shared_ptr<const Want>& want) {
  const std::lock_guard lock(mutex_);
  wants_.push_back(want);
  changed_.notify_one();
}

void FrameWorker::forget(const std::shared_ptr<const Want>& want) {
  const std::lock_guard lock(mutex_);
  std::erase(wants_, want);
}

std::uint64_t FrameWorker::made() const {
  const std::lock_guard lock(mutex_);
  return made_;
}

// The caller holds the lock.
std::vector<std::shared_ptr<const FrameWorker::Want>> FrameWorker::takeReady(const FramePointer& frame) {
  std::vector<std::shared_ptr<const Want>> ready;
  if (!frame) return ready;
  const auto isLater = [&](const auto& want) { return want->after >= frame->number; };
  const auto first = std::stable_partition(wants_.begin(), wants_.end(), isLater);
  ready.assign(first, wants_.end());
  wants_.erase(first, wants_.end());
  return ready;
}

void FrameWorker::run() {
  std::unique_lock lock(mutex_);
  while (!isEnding_) {
    const FramePointer frame = slot_.newest();
    const auto ready = takeReady(frame);
    if (ready.empty()) {
      changed_.wait(lock);
      continue;
    }
    lock.unlock();
    serve(frame, ready);
    lock.lock();
  }
}

void FrameWorker::serve(const FramePointer& frame, std::vector<std::shared_ptr<const Want>> ready) {
  while (!ready.empty()) {
    const Making making = ready.front()->making;
    if (!latest_ || latest_->frame != frame || latestMaking_ != making) {
      auto made = std::make_shared<Made>();
      made->frame = frame;
      try {
        made->bytes = maker_(frame, making);
      } catch (...) {
        made->failure = std::current_exception();
      }
      latest_ = made;
      latestMaking_ = making;
      const std::lock_guard lock(mutex_);
      ++made_;
    }
    const auto others = std::stable_partition(ready.begin(), ready.end(),
                                              [&](const auto& want) { return want->making == making; });
    for (auto each = ready.begin(); each != others; ++each) (*each)->handler(latest_);
    ready.erase(ready.begin(), others);
  }
}

}  // namespace cli::serve
