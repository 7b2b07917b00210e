// One connection: requests, one after another, each within its limits.
#pragma once

#include <cstdint>
#include <memory>

#include "cli/serve/http/Answer.h"
#include "cli/serve/http/Guard.h"
#include "cli/serve/http/Network.h"

namespace cli::serve {

// What connections ask.
class Service {
 public:
  Service() = default;
  virtual ~Service() = default;
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  // Before the body is read. Throws Problem.
  virtual void check(const Head& head, Request& request) = 0;
  virtual asio::awaitable<Answer> answer(Request request) = 0;

  // A WebSocket. The socket is the service's from here on; returns at its end.
  virtual bool isLive(const Request& request) const = 0;
  virtual asio::awaitable<void> live(tcp::socket socket, http::request<http::string_body> head,
                                     Request request) = 0;

  // A request was answered so, after so many seconds.
  virtual void note(const Request& request, unsigned status, double seconds) = 0;

  // Of every answer.
  virtual std::string policyFor(const std::string& host) const = 0;
};

class Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(tcp::socket socket, Service& service);

  asio::awaitable<void> run();

  // It waits for a request that has not come in whole.
  bool isIdle() const { return isIdle_; }
  void close();

  // For a connection that is one too many.
  asio::awaitable<void> refuse();

 private:
  using Parser = http::request_parser<http::string_body>;

  asio::awaitable<bool> serveOne();
  asio::awaitable<bool> readHead(Parser& parser);
  asio::awaitable<bool> readBody(Parser& parser, Request& request);
  asio::awaitable<void> reject(const Problem& problem, bool hasBody);
  asio::awaitable<bool> send(const Answer& answer, const std::string& host, bool isKept);
  asio::awaitable<bool> sendPieces(const Answer& answer);
  asio::awaitable<bool> write(asio::const_buffer bytes);
  asio::awaitable<void> drain();

  tcp::socket socket_;
  Service& service_;
  beast::flat_buffer buffer_;
  bool isIdle_ = true;
};

}  // namespace cli::serve
