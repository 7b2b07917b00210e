// The one thread on which everything is done with the board, one command after the other.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace cli::serve {

class CommandQueue {
 public:
  // `dropped` says that the command was not done, and never will be.
  using Command = std::function<void(bool dropped)>;

  // `idle` is called about once a second, also while commands come in.
  explicit CommandQueue(std::function<void()> idle);
  ~CommandQueue();
  CommandQueue(const CommandQueue&) = delete;
  CommandQueue& operator=(const CommandQueue&) = delete;

  void start();

  // Commands throw nothing. Any thread.
  void post(Command command);

  // Drops what waits, and does this command next.
  void postUrgent(const Command& command);

  // Drops what waits, does this command last, and waits for it.
  void close(const std::function<void()>& last);

  std::size_t length() const;

 private:
  void run();
  static void drop(std::deque<Command>& commands);

  std::function<void()> idle_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Command> commands_;
  bool isClosed_ = false;
  std::thread thread_;
};

}  // namespace cli::serve
