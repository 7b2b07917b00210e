#include "cli/serve/http/Server.h"

#include <algorithm>

#include "cli/base/Failure.h"

namespace cli::serve {

namespace {

using boost::system::error_code;

constexpr std::size_t mostConnections = 16;
constexpr std::size_t mostRefusals = 64;  // that are on their way at a time

// Without it another program could take the port as well, and get the requests.
using Exclusive = asio::detail::socket_option::boolean<SOL_SOCKET, SO_EXCLUSIVEADDRUSE>;

void requireNone(const error_code& error, const std::string& what) {
  if (error) {
    throw Failure(what + " (Windows error " + std::to_string(error.value()) + ")", ExitCode::usage,
                  "another program may have the port; --port 0 takes any free one");
  }
}

}  // namespace

void Server::listen(const asio::ip::address& address, std::uint16_t port) {
  const tcp::endpoint endpoint(address, port);
  const std::string what = "cannot listen on " + address.to_string() + ", port " + std::to_string(port);
  error_code error;
  acceptor_.open(endpoint.protocol(), error);
  requireNone(error, what);
  acceptor_.set_option(Exclusive(true), error);
  requireNone(error, what);
  acceptor_.bind(endpoint, error);
  requireNone(error, what);
  acceptor_.listen(asio::socket_base::max_listen_connections, error);
  requireNone(error, what);
  port_ = acceptor_.local_endpoint().port();
}

void Server::start(Service& service) {
  asio::co_spawn(io_, accept(service), asio::detached);
  thread_ = std::thread([this] { io_.run(); });
}

Server::~Server() {
  try {
    stop();
  } catch (const std::exception&) {
    // The thread cannot be waited for; its end comes with that of the process.
    thread_.detach();
  }
}

void Server::stop() {
  if (!thread_.joinable()) return;
  io_.stop();
  thread_.join();
}

asio::awaitable<void> Server::accept(Service& service) {
  for (;;) {
    error_code error;
    tcp::socket socket(io_);
    co_await acceptor_.async_accept(socket, asio::redirect_error(asio::use_awaitable, error));
    if (error) {
      if (!acceptor_.is_open()) co_return;
      // Short of something: the next one may find it.
      asio::steady_timer pause(io_, std::chrono::milliseconds(100));
      co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, error));
      continue;
    }
    const bool isOneTooMany = !makeRoom();
    if (connections_.size() >= mostConnections + mostRefusals) continue;
    auto connection = std::make_shared<Connection>(std::move(socket), service);
    connections_.push_back(connection);
    asio::co_spawn(io_, serve(std::move(connection), isOneTooMany), asio::detached);
  }
}

// Whoever says nothing goes before somebody new does: silent connections keep nobody out.
bool Server::makeRoom() {
  if (connections_.size() < mostConnections) return true;
  const auto idle = std::ranges::find_if(connections_, [](const auto& each) { return each->isIdle(); });
  if (idle == connections_.end()) return false;
  (*idle)->close();
  connections_.erase(idle);
  return true;
}

asio::awaitable<void> Server::serve(std::shared_ptr<Connection> connection, bool isOneTooMany) {
  try {
    if (isOneTooMany) {
      co_await connection->refuse();
    } else {
      co_await connection->run();
    }
  } catch (const std::exception&) {
    connection->close();
  }
  connections_.remove(connection);
}

}  // namespace cli::serve
