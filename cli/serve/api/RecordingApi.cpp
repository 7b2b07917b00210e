// Recordings, pixels and analysis: what is made of frames beside pictures.
#include <algorithm>

#include "cli/serve/api/Body.h"
#include "cli/serve/api/Routes.h"
#include "cli/serve/picture/Samples.h"

namespace cli::serve {

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t mostFrames = 100000;
constexpr std::uint32_t mostPixels = 4096;  // samples of one answer
constexpr std::uint32_t largestSide = 65535;
constexpr std::size_t pieceBytes = std::size_t{256} << 10;
constexpr std::chrono::milliseconds analysisTime = 5000ms;
constexpr std::string_view targets[] = {"folder", "zip"};
constexpr std::string_view formats[] = {"raw", "bmp", "jpg"};

Making::Kind kindOf(const std::string& word) {
  if (word == "bmp") return Making::Kind::bmp;
  return word == "jpg" ? Making::Kind::jpeg : Making::Kind::raw;
}

class ArchiveSource : public PieceSource {
 public:
  explicit ArchiveSource(std::shared_ptr<const ZipFile> archive) : archive_(std::move(archive)) {}

  asio::awaitable<std::optional<Piece>> next() override {
    if (offset_ == archive_->size()) co_return std::nullopt;
    Piece piece;
    piece.bytes = std::make_shared<const Bytes>(archive_->read(offset_, pieceBytes));
    offset_ += piece.bytes->size();
    co_return piece;
  }

 private:
  std::shared_ptr<const ZipFile> archive_;
  std::uint64_t offset_ = 0;
};

FramePointer newestFrame(Parts& parts) {
  FramePointer frame = parts.slot().newest();
  if (frame) return frame;
  Problem problem(409, "no-frame", "no frame has come yet");
  problem.advice = "start the capture (POST /api/v1/capture)";
  throw problem;
}

// All four members or none of them.
bool takeRectangle(Query& query, Region& region) {
  struct Side {
    const char* name;
    std::uint32_t* value;
    std::uint32_t least;
  };
  unsigned given = 0;
  const char* missing = "";
  for (const Side& side : {Side{"x", &region.x, 0}, Side{"y", &region.y, 0}, Side{"width", &region.width, 1},
                           Side{"height", &region.height, 1}}) {
    const auto value = query.number(side.name, side.least, largestSide);
    if (!value) missing = side.name;
    if (!value) continue;
    ++given;
    *side.value = static_cast<std::uint32_t>(*value);
  }
  if (given != 0 && given != 4) throw Problem(422, "missing", std::string("is needed: ") + missing, missing);
  return given != 0;
}

Json pixelsOf(const LiveFrame& frame, const Region& wanted) {
  const Samples samples(frame);
  const Region region = regionIn(samples, true, wanted);
  if (std::uint64_t{region.width} * region.height * samples.perPixel() > mostPixels) {
    throw Problem(422, "bad-value", "at most 4096 samples are told at a time", "width");
  }
  Json rows = Json::array();
  std::vector<std::uint16_t> row(std::size_t{region.width} * samples.perPixel());
  for (std::uint32_t y = 0; y < region.height; ++y) {
    samples.row(region.x, region.y + y, region.width, row.data());
    rows.push_back(row);
  }
  return {
      {"frame", frame.number},   {"x", region.x},          {"y", region.y},   {"width", region.width},
      {"height", region.height}, {"bits", samples.bits()}, {"samples", rows}, {"colours", samples.colours()}};
}

}  // namespace

asio::awaitable<Answer> getPixels(Parts& parts, Request request) {
  Query query(request.query);
  Region region;
  const bool isGiven = takeRectangle(query, region);
  query.end();
  if (!isGiven) throw Problem(422, "missing", "is needed: x, y, width and height", "x");
  co_return answerOf(pixelsOf(*newestFrame(parts), region));
}

asio::awaitable<Answer> getAnalysis(Parts& parts, Request request) {
  Query query(request.query);
  Region region;
  Making making{Making::Kind::analysis};
  making.hasRectangle = takeRectangle(query, region);
  query.end();
  newestFrame(parts);
  making.x = region.x;
  making.y = region.y;
  making.width = region.width;
  making.height = region.height;
  const MadePointer made = co_await parts.made(parts.analysis(), 0, making, analysisTime);
  if (!made) throw Problem(504, "time-limit", "the analysis did not come in time");
  if (made->failure) std::rethrow_exception(made->failure);
  Answer answer;
  answer.type = "application/json";
  answer.bytes = made->bytes;
  co_return answer;
}

asio::awaitable<Answer> postRecording(Parts& parts, Request request) {
  Query(request.query).end();
  const Json body = parseJson(request.body);
  Members members(body);
  RecordingOptions options;
  options.frames = static_cast<std::uint32_t>(needed(members.number("frames", 1, mostFrames), "frames"));
  options.isZip = needed(members.word("to", targets), "to") == "zip";
  options.format = kindOf(needed(members.word("format", formats), "format"));
  members.end();
  // In its turn: a command before it may change what is captured.
  const Parts::Work work = [&parts, options](LiveBoard& board) {
    return parts.recordings().begin(options, board.capturedShape());
  };
  const Json begun = co_await parts.onBoard(work);
  Answer answer = answerOf(begun);
  answer.status = 201;
  answer.fields.emplace_back("Location", "/api/v1/recordings/" + begun.at("id").get<std::string>());
  co_return answer;
}

asio::awaitable<Answer> getRecording(Parts& parts, Request request) {
  Query(request.query).end();
  co_return answerOf(parts.recordings().stateOf(request.id));
}

asio::awaitable<Answer> deleteRecording(Parts& parts, Request request) {
  Query(request.query).end();
  co_return answerOf(parts.recordings().end(request.id));
}

asio::awaitable<Answer> getArchive(Parts& parts, Request request) {
  Query(request.query).end();
  const auto archive = parts.recordings().archive(request.id);
  Answer answer;
  answer.type = "application/zip";
  answer.length = archive->size();
  answer.pieces = std::make_shared<ArchiveSource>(archive);
  answer.fields.emplace_back("Content-Disposition",
                             "attachment; filename=\"recording-" + request.id + ".zip\"");
  co_return answer;
}

}  // namespace cli::serve
