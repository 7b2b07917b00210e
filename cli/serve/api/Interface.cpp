#include "cli/serve/api/Interface.h"

#include "cli/serve/api/LiveSession.h"
#include "cli/serve/api/Routes.h"
#include "cli/serve/http/Page.h"

namespace cli::serve {

namespace {

constexpr std::string_view livePath = "/api/v1/live";

// Everything else is a file of the page, which holds nothing that is secret.
bool needsToken(const std::string& path) { return path.starts_with("/api/") || path == "/metrics"; }

void checkPage(const Request& request) {
  if (!pageFile(request.path)) throw Problem(404, "not-found", "there is nothing at this path");
  if (request.method == "GET") return;
  Problem problem(405, "other-method", "this path takes GET");
  problem.fields.emplace_back("Allow", "GET");
  throw problem;
}

void requireName(const std::string& client) {
  if (!client.empty()) return;
  throw Problem(400, "no-client", "a client that changes things says who it is: X-Kvexa-Client",
                "X-Kvexa-Client");
}

}  // namespace

void Interface::check(const Head& head, Request& request) {
  guard_.checkSource(head);
  if (!needsToken(request.path)) return checkPage(request);
  guard_.checkToken(head);
  request.client = Guard::clientOf(head);
  const Route& route = findRoute(request);
  parts_.wheel().note(request.client);
  if (route.needs != Route::Needs::looks) requireName(request.client);
  if (route.needs == Route::Needs::writes) parts_.wheel().require(request.client);
  if (request.path == livePath && !websocket::is_upgrade(http::request<http::empty_body>(head))) {
    Problem problem(426, "not-a-websocket", "this path is a WebSocket");
    problem.fields.emplace_back("Upgrade", "websocket");
    throw problem;
  }
}

asio::awaitable<Answer> Interface::answer(Request request) {
  Answer answer;
  try {
    if (needsToken(request.path)) {
      const Route& route = findRoute(request);
      answer = co_await route.answer(parts_, std::move(request));
    } else {
      const auto file = pageFile(request.path);
      answer.type = file->type;
      answer.text = file->content;
    }
  } catch (...) {
    answer = answerOf(problemOf(std::current_exception()));
  }
  co_return answer;
}

bool Interface::isLive(const Request& request) const { return request.path == livePath; }

asio::awaitable<void> Interface::live(tcp::socket socket, http::request<http::string_body> head,
                                      Request request) {
  const auto session = std::make_shared<LiveSession>(std::move(socket), parts_, request.client);
  co_await session->run(std::move(head));
}

void Interface::note(const Request& request, unsigned status, double seconds) {
  parts_.metrics().noteAnswer(routePath(request.path), status, seconds);
}

std::string Interface::policyFor(const std::string& host) const {
  // Not every browser counts a WebSocket of the same host as its own.
  const std::string socket = host.empty() ? "" : " ws://" + host;
  return "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob:; connect-src 'self'" +
         socket + "; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";
}

// The path is answered as a WebSocket, so nobody asks here.
asio::awaitable<Answer> getLive(Parts& /*parts*/, Request /*request*/) {
  throw Problem(426, "not-a-websocket", "this path is a WebSocket");
  co_return Answer{};
}

}  // namespace cli::serve
