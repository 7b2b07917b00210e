#include "cli/serve/http/Guard.h"

#include <windows.h>
// After windows.h.
#include <bcrypt.h>

#include <algorithm>
#include <array>
#include <cctype>

#include "cli/base/Failure.h"

namespace cli::serve {

namespace {

constexpr std::size_t longestClient = 64;
constexpr std::string_view bearer = "Bearer ";
constexpr std::string_view usualPort = "80";

std::string_view text(beast::string_view view) { return {view.data(), view.size()}; }

std::string lower(std::string_view given) {
  std::string result(given);
  std::ranges::transform(result, result.begin(), [](unsigned char c) { return std::tolower(c); });
  return result;
}

std::size_t countOf(const Head& head, http::field name) {
  const auto range = head.equal_range(name);
  return static_cast<std::size_t>(std::distance(range.first, range.second));
}

std::string bracketed(const asio::ip::address& address) {
  std::string text = address.to_string();
  if (address.is_v6()) text.insert(0, 1, '[').push_back(']');
  return text;
}

// "[::1]:80" or "192.168.0.7:80", with any literal address.
bool isLiteral(std::string_view host) {
  if (host.starts_with('[')) {
    const std::size_t end = host.find(']');
    if (end == std::string_view::npos) return false;
    boost::system::error_code error;
    asio::ip::make_address_v6(std::string(host.substr(1, end - 1)), error);
    return !error;
  }
  boost::system::error_code error;
  asio::ip::make_address_v4(std::string(host.substr(0, host.find(':'))), error);
  return !error;
}

}  // namespace

Guard::Guard(const asio::ip::address& address, std::uint16_t port, std::string token)
    : hosts_{"127.0.0.1", "localhost", "[::1]"},
      isAnyAddress_(address.is_unspecified()),
      port_(std::to_string(port)),
      token_(std::move(token)) {
  if (!isAnyAddress_ && !address.is_loopback()) hosts_ = {lower(bracketed(address))};
  if (address.is_loopback()) hosts_.push_back(lower(bracketed(address)));
}

bool Guard::isOurs(std::string_view host) const {
  const std::string given = lower(host);
  for (const std::string& each : hosts_) {
    if (given == each + ":" + port_ || (port_ == usualPort && given == each)) return true;
  }
  return isAnyAddress_ && (given.ends_with(":" + port_) || port_ == usualPort) && isLiteral(given);
}

void Guard::checkSource(const Head& head) const {
  const std::string_view host = text(head[http::field::host]);
  if (countOf(head, http::field::host) != 1 || !isOurs(host)) {
    throw Problem(421, "other-host", "this server does not answer for that host");
  }
  const std::size_t origins = countOf(head, http::field::origin);
  if (origins > 1 || (origins == 1 && lower(text(head[http::field::origin])) != "http://" + lower(host))) {
    throw Problem(403, "other-origin", "pages of other origins are not answered");
  }
  const auto sites = head.equal_range("Sec-Fetch-Site");
  for (auto each = sites.first; each != sites.second; ++each) {
    const std::string_view site = text(each->value());
    if (site != "same-origin" && site != "none") {
      throw Problem(403, "other-origin", "pages of other sites are not answered");
    }
  }
}

bool Guard::isToken(std::string_view given) const {
  if (given.size() != token_.size()) return false;
  // Takes the same time wherever it differs.
  unsigned difference = 0;
  for (std::size_t i = 0; i < given.size(); ++i) {
    difference |=
        static_cast<unsigned>(static_cast<unsigned char>(given[i]) ^ static_cast<unsigned char>(token_[i]));
  }
  return difference == 0;
}

void Guard::checkToken(const Head& head) const {
  const std::string_view given = text(head[http::field::authorization]);
  const bool isBearer = countOf(head, http::field::authorization) == 1 && given.starts_with(bearer) &&
                        isToken(given.substr(bearer.size()));
  if (isBearer || isToken(protocolValue(head, "bearer."))) return;
  Problem problem(401, "no-token", "the token of this server is needed");
  problem.advice = "send the header Authorization: Bearer and the token that kvexa serve printed";
  problem.fields.emplace_back("WWW-Authenticate", "Bearer");
  throw problem;
}

std::string Guard::clientOf(const Head& head) {
  std::string client(text(head["X-Kvexa-Client"]));
  if (client.empty()) client = protocolValue(head, "client.");
  const bool isGood = client.size() <= longestClient && std::ranges::all_of(client, [](unsigned char c) {
                        return std::isalnum(c) != 0 || c == '-' || c == '_' || c == '.';
                      });
  if (!isGood) {
    throw Problem(400, "bad-client", "a client is named by up to 64 letters, digits, '-', '_' and '.'",
                  "X-Kvexa-Client");
  }
  return client;
}

std::string randomToken() {
  std::array<unsigned char, 16> bytes{};
  if (BCryptGenRandom(nullptr, bytes.data(), static_cast<ULONG>(bytes.size()),
                      BCRYPT_USE_SYSTEM_PREFERRED_RNG) < 0) {
    throw Failure("Windows gives no random numbers, and there is no token without them", ExitCode::board);
  }
  std::string token;
  for (const unsigned char each : bytes) {
    constexpr char digits[] = "0123456789abcdef";
    token += digits[each >> 4];
    token += digits[each & 0xF];
  }
  return token;
}

std::string protocolValue(const Head& head, std::string_view prefix) {
  std::string_view rest = text(head[http::field::sec_websocket_protocol]);
  while (!rest.empty()) {
    const std::size_t comma = rest.find(',');
    std::string_view word = rest.substr(0, comma);
    while (word.starts_with(' ')) word.remove_prefix(1);
    while (word.ends_with(' ')) word.remove_suffix(1);
    if (word.starts_with(prefix)) return std::string(word.substr(prefix.size()));
    if (comma == std::string_view::npos) break;
    rest.remove_prefix(comma + 1);
  }
  return {};
}

}  // namespace cli::serve
