#include "cli/serve/http/Deadline.h"

namespace cli::serve {

namespace {

constexpr std::chrono::milliseconds again{50};

}  // namespace

Deadline::Deadline(tcp::socket& socket, std::chrono::milliseconds time)
    : watch_(std::make_shared<Watch>(socket)) {
  arm(watch_, time);
}

Deadline::~Deadline() {
  watch_->socket = nullptr;
  boost::system::error_code ignored;
  watch_->timer.cancel(ignored);
}

void Deadline::arm(const std::shared_ptr<Watch>& watch, std::chrono::milliseconds time) {
  watch->timer.expires_after(time);
  watch->timer.async_wait([watch](const boost::system::error_code& error) {
    if (error || watch->socket == nullptr) return;
    watch->isOver = true;
    boost::system::error_code ignored;
    watch->socket->cancel(ignored);
    // An operation of several steps may have been between two of them.
    arm(watch, again);
  });
}

}  // namespace cli::serve
