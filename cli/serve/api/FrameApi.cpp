// Frames, and the capture that brings them.
#include "cli/base/Output.h"
#include "cli/serve/api/Body.h"
#include "cli/serve/api/Routes.h"

namespace cli::serve {

namespace {

using namespace std::chrono_literals;

constexpr std::string_view captureStates[] = {"start", "stop", "one"};
constexpr std::uint64_t longestWait = 25000;  // milliseconds
constexpr std::uint32_t usualQuality = 85;
constexpr std::chrono::milliseconds oneFrame = 3000ms;
constexpr std::chrono::milliseconds longestPause = 10000ms;  // of a stream
constexpr char boundary[] = "kvexaframe";

struct PictureKind {
  Making::Kind kind;
  const char* type;
  const char* ending;
};
constexpr PictureKind raw{Making::Kind::raw, "application/octet-stream", "raw"};
constexpr PictureKind bmp{Making::Kind::bmp, "image/bmp", "bmp"};
constexpr PictureKind jpeg{Making::Kind::jpeg, "image/jpeg", "jpg"};

std::uint64_t newestNumber(const FrameSlot& slot) {
  const FramePointer newest = slot.newest();
  return newest ? newest->number : 0;
}

std::vector<std::pair<std::string, std::string>> fieldsOf(const LiveFrame& frame) {
  return {{"X-Frame-Number", std::to_string(frame.number)},
          {"X-Frame-Time", format("%.6f", frame.time)},
          {"X-Frame-Width", std::to_string(frame.shape->maker.width())},
          {"X-Frame-Height", std::to_string(frame.shape->layout.height)},
          {"X-Frame-Format", nameOf(frame.shape->maker.kind())},
          {"X-Frame-Bits", std::to_string(frame.shape->layout.bits)}};
}

asio::awaitable<Answer> frameAs(Parts& parts, Request request, PictureKind kind) {
  Query query(request.query);
  const std::uint64_t after = query.number("after", 0, UINT64_MAX).value_or(0);
  const std::chrono::milliseconds wait(query.number("wait", 0, longestWait).value_or(0));
  const bool isDownload = query.flag("download").value_or(false);
  Making making{kind.kind};
  if (kind.kind == Making::Kind::jpeg) {
    making.quality =
        sharedQuality(static_cast<std::uint32_t>(query.number("quality", 1, 100).value_or(usualQuality)));
  }
  query.end();
  const FramePointer newest = parts.slot().newest();
  const bool isThere = newest && newest->number > after;
  // A frame that is there only has to be encoded, however little the client would wait for another one.
  const MadePointer made =
      co_await parts.made(parts.pictures(), after, making, isThere ? wait + 2000ms : wait);
  Answer answer;
  answer.status = 204;
  if (!made) co_return answer;
  if (made->failure) std::rethrow_exception(made->failure);
  answer.status = 200;
  answer.type = kind.type;
  answer.bytes = made->bytes;
  answer.fields = fieldsOf(*made->frame);
  if (isDownload) {
    answer.fields.emplace_back(
        "Content-Disposition",
        "attachment; filename=\"frame-" + std::to_string(made->frame->number) + "." + kind.ending + "\"");
  }
  co_return answer;
}

// One picture after another, each the newest there is when the one before has gone out.
class Stream : public PieceSource {
 public:
  Stream(Parts& parts, Making making) : parts_(parts), making_(making) {}

  asio::awaitable<std::optional<Piece>> next() override {
    MadePointer made;
    made = co_await parts_.made(parts_.pictures(), last_, making_, longestPause);
    if (!made || made->failure) co_return std::nullopt;
    last_ = made->frame->number;
    Piece piece;
    piece.head = std::string("\r\n--") + boundary +
                 "\r\nContent-Type: image/jpeg\r\nContent-Length: " + std::to_string(made->bytes->size()) +
                 "\r\n";
    for (const auto& [name, value] : fieldsOf(*made->frame))
      piece.head.append(name).append(": ").append(value).append("\r\n");
    piece.head += "\r\n";
    piece.bytes = made->bytes;
    co_return piece;
  }

 private:
  Parts& parts_;
  Making making_;
  std::uint64_t last_ = 0;
};

}  // namespace

// Clients that want nearly the same share one encoding.
std::uint32_t sharedQuality(std::uint32_t quality) {
  constexpr std::uint32_t step = 5;
  return (quality + step - 1) / step * step;
}

asio::awaitable<Answer> getJpeg(Parts& parts, Request request) {
  return frameAs(parts, std::move(request), jpeg);
}
asio::awaitable<Answer> getBmp(Parts& parts, Request request) {
  return frameAs(parts, std::move(request), bmp);
}
asio::awaitable<Answer> getRaw(Parts& parts, Request request) {
  return frameAs(parts, std::move(request), raw);
}

asio::awaitable<Answer> getStream(Parts& parts, Request request) {
  Query query(request.query);
  Making making{Making::Kind::jpeg};
  making.quality =
      sharedQuality(static_cast<std::uint32_t>(query.number("quality", 1, 100).value_or(usualQuality)));
  query.end();
  Answer answer;
  answer.type = std::string("multipart/x-mixed-replace; boundary=") + boundary;
  answer.pieces = std::make_shared<Stream>(parts, making);
  co_return answer;
}

asio::awaitable<Answer> postCapture(Parts& parts, Request request) {
  Query(request.query).end();
  const Json body = parseJson(request.body);
  Members members(body);
  const std::string state = needed(members.word("state", captureStates), "state");
  members.end();
  const std::uint64_t last = newestNumber(parts.slot());
  if (state == "one" && parts.facts().get().isRunning) {
    // The next frame of the capture that runs is one.
    const MadePointer made = co_await parts.made(parts.pictures(), last, Making{}, oneFrame);
    if (!made) throw Problem(504, "time-limit", "no frame came within 3 seconds; does the sensor stream?");
  } else {
    const Parts::Work work = [state](LiveBoard& board) {
      if (state == "start") board.startCapture();
      if (state == "stop") board.stopCapture();
      if (state == "one") board.captureOne();
      return Json();
    };
    co_await parts.onBoard(work);
  }
  parts.tellChange();
  co_return answerOf(parts.stateFor(request.client));
}

}  // namespace cli::serve
