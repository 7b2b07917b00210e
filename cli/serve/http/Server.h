// The network's thread: accepts connections, and ends them all.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <thread>

#include "cli/serve/http/Connection.h"

namespace cli::serve {

class Server {
 public:
  explicit Server(asio::io_context& io) : io_(io), acceptor_(io) {}
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Takes the port, which nobody else has then; 0 for any free one. Throws Failure.
  void listen(const asio::ip::address& address, std::uint16_t port);
  std::uint16_t port() const { return port_; }

  void start(Service& service);
  void stop();

 private:
  asio::awaitable<void> accept(Service& service);
  asio::awaitable<void> serve(std::shared_ptr<Connection> connection, bool isOneTooMany);
  bool makeRoom();

  asio::io_context& io_;
  tcp::acceptor acceptor_;
  std::uint16_t port_ = 0;
  std::list<std::shared_ptr<Connection>> connections_;
  std::thread thread_;
};

}  // namespace cli::serve
