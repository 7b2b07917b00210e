#include "cli/serve/http/Connection.h"

#include <algorithm>
#include <chrono>

#include "cli/serve/http/Deadline.h"

namespace cli::serve {

namespace {

using namespace std::chrono_literals;
using boost::system::error_code;

constexpr std::uint32_t headLimit = 8192;
constexpr std::uint64_t bodyLimit = std::uint64_t{1} << 20;
constexpr std::size_t writtenAtOnce = std::size_t{256} << 10;
constexpr std::size_t drainedAtMost = std::size_t{64} << 20;
constexpr auto requestTime = 5s;
constexpr auto writeTime = 2s;
constexpr auto drainTime = 2s;

auto into(error_code& error) { return asio::redirect_error(asio::use_awaitable, error); }

std::string textOfView(beast::string_view view) { return {view.data(), view.size()}; }

Problem problemOfHead(const error_code& error) {
  if (error == http::error::header_limit) {
    return {431, "head-too-large", "the header of a request has 8192 bytes at most"};
  }
  return {400, "bad-request", "this is no HTTP request: " + error.message()};
}

std::string headOf(const Answer& answer, const std::string& policy, bool isKept) {
  std::string head = "HTTP/1.1 " + std::to_string(answer.status) + " " + reasonOf(answer.status) + "\r\n";
  const auto add = [&head](std::string_view name, std::string_view value) {
    head.append(name).append(": ").append(value).append("\r\n");
  };
  if (!answer.type.empty()) add("Content-Type", answer.type);
  for (const auto& [name, value] : answer.fields) add(name, value);
  if (!answer.pieces) {
    const std::size_t length = answer.bytes ? answer.bytes->size() : answer.text.size();
    if (answer.status != 204) add("Content-Length", std::to_string(length));
  } else if (answer.length) {
    add("Content-Length", std::to_string(*answer.length));
  }
  add("Content-Security-Policy", policy);
  add("X-Content-Type-Options", "nosniff");
  add("Referrer-Policy", "no-referrer");
  add("Cross-Origin-Resource-Policy", "same-origin");
  add("Cross-Origin-Opener-Policy", "same-origin");
  add("Cache-Control", "no-store");
  add("Connection", isKept ? "keep-alive" : "close");
  return head + "\r\n";
}

}  // namespace

Connection::Connection(tcp::socket socket, Service& service) : socket_(std::move(socket)), service_(service) {
  error_code ignored;
  socket_.set_option(tcp::no_delay(true), ignored);
}

void Connection::close() {
  error_code ignored;
  socket_.close(ignored);
}

asio::awaitable<void> Connection::run() {
  const auto self = shared_from_this();
  for (;;) {
    const bool goesOn = co_await serveOne();
    if (!goesOn) break;
  }
  isIdle_ = false;
  close();
}

asio::awaitable<void> Connection::refuse() {
  const auto self = shared_from_this();
  isIdle_ = false;
  co_await reject(Problem(503, "too-many-connections", "this server has as many connections as it takes"),
                  true);
  close();
}

asio::awaitable<bool> Connection::serveOne() {
  Parser parser;
  const bool hasHead = co_await readHead(parser);
  if (!hasHead) co_return false;

  Request request;
  request.method = textOfView(parser.get().method_string());
  request.host = textOfView(parser.get()[http::field::host]);
  const std::string target = textOfView(parser.get().target());
  request.path = target.substr(0, target.find('?'));
  if (request.path.size() < target.size()) request.query = target.substr(request.path.size() + 1);

  const bool hasBody = !parser.is_done();
  std::optional<Problem> problem;
  try {
    service_.check(parser.get(), request);
    if (parser.content_length().value_or(0) > bodyLimit) {
      throw Problem(413, "body-too-large", "the body of a request has 1048576 bytes at most");
    }
  } catch (...) {
    problem = problemOf(std::current_exception());
  }
  if (problem) service_.note(request, problem->status, 0);
  if (problem && hasBody) {
    co_await reject(*problem, true);
    co_return false;
  }
  const bool isKept = parser.get().keep_alive();
  if (problem) {
    const Answer refusal = answerOf(*problem);
    const bool isSent = co_await send(refusal, request.host, isKept);
    co_return isSent&& isKept;
  }
  const bool hasAll = co_await readBody(parser, request);
  if (!hasAll) co_return false;
  if (service_.isLive(request)) {
    // What has come in behind the request belongs to nobody: a client waits for the answer.
    co_await service_.live(std::move(socket_), parser.release(), std::move(request));
    co_return false;
  }
  const auto start = std::chrono::steady_clock::now();
  const Answer answer = co_await service_.answer(request);
  service_.note(request, answer.status,
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  const bool isLast = !isKept || (answer.pieces && !answer.length);
  const bool isSent = co_await send(answer, request.host, !isLast);
  co_return isSent && !isLast;
}

asio::awaitable<bool> Connection::readHead(Parser& parser) {
  parser.header_limit(headLimit);
  parser.body_limit(UINT64_MAX);  // it is looked at when it is known who asks
  isIdle_ = true;
  error_code error;
  bool isLate = false;
  {
    const Deadline deadline(socket_, requestTime);
    co_await http::async_read_header(socket_, buffer_, parser, into(error));
    isLate = deadline.isOver();
  }
  isIdle_ = false;
  if (!error) co_return true;
  if (!parser.got_some() && buffer_.size() == 0) co_return false;  // a silent one gets no answer
  if (isLate) {
    co_await reject(Problem(408, "too-slow", "a request comes in within five seconds"), false);
  } else if (error.category() == http::make_error_code(http::error::bad_method).category()) {
    co_await reject(problemOfHead(error), true);
  }
  co_return false;
}

asio::awaitable<bool> Connection::readBody(Parser& parser, Request& request) {
  if (parser.is_done()) co_return true;
  parser.body_limit(bodyLimit);
  if (beast::iequals(parser.get()[http::field::expect], "100-continue")) {
    static constexpr std::string_view goOn = "HTTP/1.1 100 Continue\r\n\r\n";
    const bool isSent = co_await write(asio::buffer(goOn));
    if (!isSent) co_return false;
  }
  error_code error;
  bool isLate = false;
  {
    const Deadline deadline(socket_, requestTime);
    co_await http::async_read(socket_, buffer_, parser, into(error));
    isLate = deadline.isOver();
  }
  if (isLate) {
    co_await reject(Problem(408, "too-slow", "a request comes in within five seconds"), false);
    co_return false;
  }
  if (error == http::error::body_limit) {
    co_await reject(Problem(413, "body-too-large", "the body of a request has 1048576 bytes at most"), true);
    co_return false;
  }
  if (error) {
    if (error != http::error::partial_message &&
        error.category() == http::make_error_code(http::error::bad_method).category()) {
      co_await reject(problemOfHead(error), true);
    }
    co_return false;
  }
  request.body = std::move(parser.get().body());
  co_return true;
}

// The client may still be sending: it would see a reset instead of the answer when the connection closed at
// once.
asio::awaitable<void> Connection::reject(const Problem& problem, bool hasBody) {
  const Answer answer = answerOf(problem);
  const bool isSent = co_await send(answer, {}, false);
  if (isSent && hasBody) co_await drain();
}

asio::awaitable<void> Connection::drain() {
  error_code error;
  socket_.shutdown(tcp::socket::shutdown_send, error);
  const Deadline deadline(socket_, drainTime);
  Bytes room(std::size_t{64} << 10);
  for (std::size_t all = 0; !error && !deadline.isOver() && all < drainedAtMost;) {
    all += co_await socket_.async_read_some(asio::buffer(room), into(error));
  }
}

asio::awaitable<bool> Connection::send(const Answer& answer, const std::string& host, bool isKept) {
  std::string head = headOf(answer, service_.policyFor(host), isKept);
  if (!answer.bytes) head += answer.text;
  const bool isHeadSent = co_await write(asio::buffer(head));
  if (!isHeadSent) co_return false;
  bool isSent = true;
  if (answer.pieces) {
    isSent = co_await sendPieces(answer);
  } else if (answer.bytes) {
    isSent = co_await write(asio::buffer(*answer.bytes));
  }
  co_return isSent;
}

asio::awaitable<bool> Connection::sendPieces(const Answer& answer) {
  for (;;) {
    const std::optional<Piece> piece = co_await answer.pieces->next();
    if (!piece) co_return true;
    const bool isHeadSent = co_await write(asio::buffer(piece->head));
    if (!isHeadSent) co_return false;
    if (!piece->bytes) continue;
    const bool isSent = co_await write(asio::buffer(*piece->bytes));
    if (!isSent) co_return false;
  }
}

asio::awaitable<bool> Connection::write(asio::const_buffer bytes) {
  while (bytes.size() > 0) {
    const asio::const_buffer part(bytes.data(), std::min(bytes.size(), writtenAtOnce));
    error_code error;
    const Deadline deadline(socket_, writeTime);
    co_await asio::async_write(socket_, part, into(error));
    if (error) co_return false;
    bytes += part.size();
  }
  co_return true;
}

}  // namespace cli::serve
