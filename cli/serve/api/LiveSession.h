// A WebSocket: state, numbers, trace and pictures as they come, one write at a time. What a client is too
// slow for it does not get: there is no queue.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "cli/serve/Parts.h"
#include "cli/serve/http/Network.h"

namespace cli::serve {

class LiveSession : public std::enable_shared_from_this<LiveSession> {
 public:
  LiveSession(tcp::socket socket, Parts& parts, std::string client);
  ~LiveSession();
  LiveSession(const LiveSession&) = delete;
  LiveSession& operator=(const LiveSession&) = delete;

  asio::awaitable<void> run(http::request<http::string_body> head);

 private:
  using Clock = std::chrono::steady_clock;

  // What the client wants to see.
  struct Wishes {
    bool frames = false;
    bool analysis = false;
    std::uint32_t quality = 0;
    Making rectangle{Making::Kind::analysis};
  };

  // A wish that a worker answers when it can.
  struct Order {
    std::shared_ptr<const FrameWorker::Want> want;  // null when nothing is on order
    MadePointer made;
    std::uint64_t last = 0;  // the number of the frame that came last
    unsigned turn = 0;       // tells an answer to this order from a late one to an order before
  };

  static asio::awaitable<void> listen(std::shared_ptr<LiveSession> self);
  asio::awaitable<void> talk();
  asio::awaitable<bool> tellSomething();
  asio::awaitable<void> sendText(const std::string& text);
  asio::awaitable<void> sendFrame(MadePointer made);
  asio::awaitable<void> rest();
  void take(const std::string& text);
  static Wishes wishesOf(const Json& message);
  void order(FrameWorker& worker, Order& order, const Making& making);
  void cancel(FrameWorker& worker, Order& order);
  bool isDue(Clock::time_point& last, std::chrono::milliseconds interval);
  void end();

  Parts& parts_;
  std::shared_ptr<Wheel> wheel_;
  std::string client_;
  websocket::stream<tcp::socket, false> stream_;  // pictures are compressed already
  asio::steady_timer wake_;
  std::shared_ptr<void> listening_;
  Wishes wishes_;
  Order picture_;
  Order analysis_;
  std::optional<Problem> complaint_;
  std::string told_;  // the state that the client knows
  bool isStateDue_ = true;
  std::uint64_t traced_ = 0;
  Clock::time_point stateTime_;
  Clock::time_point traceTime_;
  Clock::time_point analysisTime_;
  bool isOpen_ = true;
};

}  // namespace cli::serve
