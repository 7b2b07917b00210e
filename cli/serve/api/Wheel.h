// Who may change things: one client at a time. For the network's thread.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "cli/serve/http/Problem.h"

namespace cli::serve {

class Wheel {
 public:
  using Clock = std::chrono::steady_clock;

  // The client has sent a request.
  void note(const std::string& client);
  // It has, or has no more, a WebSocket.
  void attend(const std::string& client);
  void leave(const std::string& client);

  // Before a write: takes the wheel when nobody has it. Throws Problem when somebody else has.
  void require(const std::string& client);

  void take(const std::string& client, const std::optional<std::string>& name);  // throws Problem
  void ask(const std::string& client, const std::optional<std::string>& name);
  void give(const std::string& client);  // to whoever has asked; throws Problem

  Json stateFor(const std::string& client) const;

 private:
  struct Seat {
    std::string client;
    std::optional<std::string> name;

    const std::string& shown() const { return name ? *name : client; }
  };
  bool isSilent() const;
  [[noreturn]] void refuse() const;
  void seat(const std::string& client, const std::optional<std::string>& name);

  std::optional<Seat> holder_;
  std::optional<Seat> asker_;
  Clock::time_point heard_;               // of the holder
  std::map<std::string, unsigned> here_;  // WebSockets of each client
};

}  // namespace cli::serve
