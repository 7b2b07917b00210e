#include "cli/serve/board/CommandQueue.h"

#include <utility>

namespace cli::serve {

namespace {

constexpr std::chrono::seconds idleInterval{1};

}  // namespace

CommandQueue::CommandQueue(std::function<void()> idle) : idle_(std::move(idle)) {}

CommandQueue::~CommandQueue() {
  close([] {});
}

void CommandQueue::start() {
  thread_ = std::thread([this] { run(); });
}

void CommandQueue::post(Command command) {
  {
    const std::lock_guard lock(mutex_);
    if (!isClosed_) {
      commands_.push_back(std::move(command));
      changed_.notify_one();
      return;
    }
  }
  command(true);
}

void CommandQueue::postUrgent(const Command& command) {
  std::deque<Command> late;
  bool isDropped = false;
  {
    const std::lock_guard lock(mutex_);
    isDropped = isClosed_;
    if (!isDropped) {
      late.swap(commands_);
      commands_.push_back(command);
    }
  }
  changed_.notify_one();
  drop(late);
  if (isDropped) command(true);
}

void CommandQueue::close(const std::function<void()>& last) {
  std::deque<Command> late;
  {
    const std::lock_guard lock(mutex_);
    if (isClosed_) return;
    isClosed_ = true;
    late.swap(commands_);
    commands_.emplace_back([last](bool /*dropped*/) { last(); });
  }
  changed_.notify_one();
  drop(late);
  if (thread_.joinable()) {
    thread_.join();
  } else {
    last();
  }
}

std::size_t CommandQueue::length() const {
  const std::lock_guard lock(mutex_);
  return commands_.size();
}

void CommandQueue::drop(std::deque<Command>& commands) {
  for (const Command& each : commands) each(true);
}

void CommandQueue::run() {
  auto look = std::chrono::steady_clock::now() + idleInterval;
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait_until(lock, look, [this] { return !commands_.empty(); });
    if (!commands_.empty()) {
      const Command command = std::move(commands_.front());
      commands_.pop_front();
      lock.unlock();
      command(false);
      lock.lock();
      if (isClosed_ && commands_.empty()) return;
    }
    if (isClosed_ || std::chrono::steady_clock::now() < look) continue;
    lock.unlock();
    idle_();
    lock.lock();
    look = std::chrono::steady_clock::now() + idleInterval;
  }
}

}  // namespace cli::serve
