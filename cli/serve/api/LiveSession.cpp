#include "cli/serve/api/LiveSession.h"

#include "cli/serve/api/Body.h"
#include "cli/serve/api/Routes.h"
#include "cli/serve/http/Deadline.h"

namespace cli::serve {

namespace {

using namespace std::chrono_literals;
using boost::system::error_code;

constexpr std::size_t longestMessage = 4096;
constexpr auto handshakeTime = 5s;
constexpr auto idleTime = 30s;
constexpr auto writeTime = 2s;
constexpr auto counterInterval = 250ms;  // of the counters in the state
constexpr auto traceInterval = 100ms;
constexpr auto analysisInterval = 100ms;
constexpr auto restTime = 50ms;
constexpr std::uint32_t usualQuality = 85;
constexpr std::uint32_t largestSide = 65535;

auto into(error_code& error) { return asio::redirect_error(asio::use_awaitable, error); }

Json message(const char* kind, const Json& members) {
  Json all{{"kind", kind}};
  all.update(members);
  return all;
}

std::string headerOf(const LiveFrame& frame) {
  return textOf({{"number", frame.number},
                 {"time", frame.time},
                 {"width", frame.shape->maker.width()},
                 {"height", frame.shape->layout.height},
                 {"format", nameOf(frame.shape->maker.kind())},
                 {"bits", frame.shape->layout.bits}});
}

std::string complaintText(const Problem& problem) {
  return textOf({{"kind", "error"}, {"problem", toJson(problem)}});
}

// The header of a picture behind its length.
std::string measured(const std::string& header) {
  std::string text;
  for (unsigned shift = 0; shift < 32; shift += 8) text += static_cast<char>(header.size() >> shift & 0xFF);
  return text + header;
}

}  // namespace

LiveSession::LiveSession(tcp::socket socket, Parts& parts, std::string client)
    : parts_(parts),
      wheel_(parts.sharedWheel()),
      client_(std::move(client)),
      stream_(std::move(socket)),
      wake_(parts.io()) {
  wheel_->attend(client_);
}

LiveSession::~LiveSession() { wheel_->leave(client_); }

asio::awaitable<void> LiveSession::run(http::request<http::string_body> head) {
  const auto self = shared_from_this();
  websocket::stream_base::timeout limits{};
  limits.handshake_timeout = handshakeTime;
  limits.idle_timeout = idleTime;
  limits.keep_alive_pings = true;
  stream_.set_option(limits);
  stream_.set_option(websocket::stream_base::decorator([](websocket::response_type& response) {
    response.set(http::field::sec_websocket_protocol, "kvexa.v1");
    response.set(http::field::server, "kvexa");
  }));
  stream_.read_message_max(longestMessage);
  stream_.auto_fragment(false);
  error_code error;
  co_await stream_.async_accept(head, into(error));
  if (error) co_return;
  listening_ = parts_.listen([weak = weak_from_this()] {
    if (const auto session = weak.lock()) {
      session->isStateDue_ = true;
      session->wake_.cancel();
    }
  });
  asio::co_spawn(parts_.io(), listen(self), asio::detached);
  co_await talk();
  end();
}

void LiveSession::end() {
  isOpen_ = false;
  listening_.reset();
  cancel(parts_.pictures(), picture_);
  cancel(parts_.analysis(), analysis_);
  error_code ignored;
  beast::get_lowest_layer(stream_).close(ignored);
  wake_.cancel();
}

asio::awaitable<void> LiveSession::listen(std::shared_ptr<LiveSession> self) {
  beast::flat_buffer buffer;
  while (self->isOpen_) {
    error_code error;
    co_await self->stream_.async_read(buffer, into(error));
    if (error) break;
    const auto bytes = buffer.cdata();
    self->take(std::string(static_cast<const char*>(bytes.data()), bytes.size()));
    buffer.consume(buffer.size());
    self->wheel_->note(self->client_);
    self->wake_.cancel();
  }
  self->isOpen_ = false;
  self->wake_.cancel();
}

void LiveSession::take(const std::string& text) {
  try {
    if (!stream_.got_text()) throw Problem(400, "bad-json", "messages are texts");
    const Wishes wishes = wishesOf(parseJson(text));
    if (!wishes.frames || wishes.quality != wishes_.quality) cancel(parts_.pictures(), picture_);
    cancel(parts_.analysis(), analysis_);
    analysis_.last = 0;  // the same frame counts again, with another rectangle
    wishes_ = wishes;
  } catch (...) {
    complaint_ = problemOf(std::current_exception());
  }
}

LiveSession::Wishes LiveSession::wishesOf(const Json& message) {
  Members members(message);
  Wishes wishes;
  wishes.frames = members.flag("frames").value_or(false);
  wishes.analysis = members.flag("analysis").value_or(wishes.frames);
  const auto quality = members.number("quality", 1, 100);
  wishes.quality = sharedQuality(static_cast<std::uint32_t>(quality.value_or(usualQuality)));
  const Json* const given = members.any("rectangle");
  members.end();
  if (given == nullptr || given->is_null()) return wishes;
  Members rectangle(*given, "rectangle");
  wishes.rectangle.hasRectangle = true;
  wishes.rectangle.x =
      static_cast<std::uint32_t>(needed(rectangle.number("x", 0, largestSide), "rectangle/x"));
  wishes.rectangle.y =
      static_cast<std::uint32_t>(needed(rectangle.number("y", 0, largestSide), "rectangle/y"));
  wishes.rectangle.width =
      static_cast<std::uint32_t>(needed(rectangle.number("width", 1, largestSide), "rectangle/width"));
  wishes.rectangle.height =
      static_cast<std::uint32_t>(needed(rectangle.number("height", 1, largestSide), "rectangle/height"));
  rectangle.end();
  return wishes;
}

void LiveSession::order(FrameWorker& worker, Order& order, const Making& making) {
  if (order.want || order.made) return;
  const unsigned turn = ++order.turn;
  order.want = std::make_shared<const FrameWorker::Want>(
      FrameWorker::Want{order.last, making,
                        [weak = weak_from_this(), &order, turn, &io = parts_.io()](const MadePointer& made) {
                          asio::post(io, [weak, &order, turn, made] {
                            const auto session = weak.lock();
                            if (!session || !order.want || order.turn != turn) return;
                            order.want.reset();
                            order.made = made;
                            session->wake_.cancel();
                          });
                        }});
  worker.want(order.want);
}

void LiveSession::cancel(FrameWorker& worker, Order& order) {
  if (order.want) worker.forget(order.want);
  order.want.reset();
  order.made.reset();
}

bool LiveSession::isDue(Clock::time_point& last, std::chrono::milliseconds interval) {
  const auto now = Clock::now();
  if (now - last < interval) return false;
  last = now;
  return true;
}

asio::awaitable<void> LiveSession::talk() {
  while (isOpen_) {
    const bool hasTold = co_await tellSomething();
    if (hasTold) continue;
    if (wishes_.frames) {
      Making making{Making::Kind::jpeg};
      making.quality = wishes_.quality;
      order(parts_.pictures(), picture_, making);
    }
    if (wishes_.analysis && !analysis_.want && isDue(analysisTime_, analysisInterval)) {
      order(parts_.analysis(), analysis_, wishes_.rectangle);
    }
    co_await rest();
  }
}

asio::awaitable<void> LiveSession::rest() {
  error_code ignored;
  wake_.expires_after(restTime);
  co_await wake_.async_wait(into(ignored));
}

// True when something was told, so that the next thing is looked for at once.
asio::awaitable<bool> LiveSession::tellSomething() {
  if (complaint_) {
    const Problem problem = *std::exchange(complaint_, std::nullopt);
    const std::string text = complaintText(problem);
    co_await sendText(text);
    co_return true;
  }
  const bool isCounterDue = isDue(stateTime_, counterInterval);
  if (isStateDue_ || isCounterDue) {
    isStateDue_ = false;
    std::string state = textOf(message("state", parts_.stateFor(client_)));
    if (state != told_) {
      told_ = std::move(state);
      co_await sendText(told_);
      co_return true;
    }
  }
  if (parts_.trace().last() > traced_ && isDue(traceTime_, traceInterval)) {
    const Json lines = parts_.trace().after(traced_);
    traced_ = lines.at("last").get<std::uint64_t>();
    const std::string text = textOf(message("trace", lines));
    co_await sendText(text);
    co_return true;
  }
  if (analysis_.made) {
    const MadePointer made = std::exchange(analysis_.made, nullptr);
    analysis_.last = made->frame->number;
    if (made->failure) {
      complaint_ = problemOf(made->failure);
      wishes_.analysis = false;
    } else {
      const std::string text(made->bytes->begin(), made->bytes->end());
      co_await sendText(text);
    }
    co_return true;
  }
  if (picture_.made) {
    const MadePointer made = std::exchange(picture_.made, nullptr);
    picture_.last = made->frame->number;
    if (made->failure) {
      complaint_ = problemOf(made->failure);
      wishes_.frames = false;
    } else {
      co_await sendFrame(made);
    }
    co_return true;
  }
  co_return false;
}

asio::awaitable<void> LiveSession::sendText(const std::string& text) {
  stream_.text(true);
  error_code error;
  const Deadline deadline(beast::get_lowest_layer(stream_), writeTime);
  co_await stream_.async_write(asio::buffer(text), into(error));
  if (error) isOpen_ = false;
}

asio::awaitable<void> LiveSession::sendFrame(MadePointer made) {
  const std::string header = measured(headerOf(*made->frame));
  const std::vector<asio::const_buffer> message{asio::buffer(header), asio::buffer(*made->bytes)};
  stream_.binary(true);
  error_code error;
  const Deadline deadline(beast::get_lowest_layer(stream_), writeTime);
  co_await stream_.async_write(message, into(error));
  if (error) isOpen_ = false;
}

}  // namespace cli::serve
