// Who may ask at all: looked at for every request alike, before anything else is done with it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cli/serve/http/Network.h"
#include "cli/serve/http/Problem.h"

namespace cli::serve {

using Head = http::request_header<>;

class Guard {
 public:
  // The address that is listened on, and its port.
  Guard(const asio::ip::address& address, std::uint16_t port, std::string token);

  // Throw Problem.
  void checkSource(const Head& head) const;  // Host, Origin, Sec-Fetch-Site
  void checkToken(const Head& head) const;

  // Who asks, as it says itself; empty when it does not.
  static std::string clientOf(const Head& head);

  const std::string& token() const { return token_; }

 private:
  bool isOurs(std::string_view host) const;
  bool isToken(std::string_view given) const;

  std::vector<std::string> hosts_;
  bool isAnyAddress_;
  std::string port_;
  std::string token_;
};

// 32 random characters.
std::string randomToken();

// The value behind the prefix among the sub-protocols that a WebSocket proposes; empty without one.
std::string protocolValue(const Head& head, std::string_view prefix);

}  // namespace cli::serve
