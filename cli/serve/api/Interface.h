// The interface as the network's thread asks it: who may do what, and the answers.
#pragma once

#include <string>

#include "cli/serve/Parts.h"
#include "cli/serve/http/Connection.h"
#include "cli/serve/http/Guard.h"

namespace cli::serve {

class Interface : public Service {
 public:
  Interface(Parts& parts, Guard guard) : parts_(parts), guard_(std::move(guard)) {}

  void check(const Head& head, Request& request) override;
  asio::awaitable<Answer> answer(Request request) override;
  bool isLive(const Request& request) const override;
  asio::awaitable<void> live(tcp::socket socket, http::request<http::string_body> head,
                             Request request) override;
  void note(const Request& request, unsigned status, double seconds) override;
  std::string policyFor(const std::string& host) const override;

  const std::string& token() const { return guard_.token(); }

 private:
  Parts& parts_;
  Guard guard_;
};

}  // namespace cli::serve
