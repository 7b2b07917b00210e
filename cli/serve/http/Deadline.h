// A limit for what is under way on a socket: at its end the socket's operations fail.
#pragma once

#include <chrono>
#include <memory>

#include "cli/serve/http/Network.h"

namespace cli::serve {

class Deadline {
 public:
  Deadline(tcp::socket& socket, std::chrono::milliseconds time);
  ~Deadline();
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

  bool isOver() const { return watch_->isOver; }

 private:
  struct Watch {
    explicit Watch(tcp::socket& watched) : socket(&watched), timer(watched.get_executor()) {}
    tcp::socket* socket;  // null when the deadline is gone
    asio::steady_timer timer;
    bool isOver = false;
  };
  static void arm(const std::shared_ptr<Watch>& watch, std::chrono::milliseconds time);

  std::shared_ptr<Watch> watch_;
};

}  // namespace cli::serve
