#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "cli/trace/RecordingFile.h"
#include "cli/trace/TraceCommand.h"
#include "sim/record/format/Description.h"
#include "sim/record/format/LineFields.h"
#include "sim/record/format/RequestBytes.h"
#include "sim/usb/Protocol.h"

namespace cli::trace {

namespace {

using sim::record::Call;
using sim::record::Line;

constexpr double million = 1e6;
constexpr std::size_t mostShown = 10;

struct Kind {
  std::uint64_t count = 0;
  std::uint64_t failures = 0;
  std::uint64_t time = 0;
  std::uint64_t longest = 0;
};

// A line worth to be shown by itself.
struct Noted {
  std::uint64_t number = 0;
  std::uint64_t time = 0;
  std::string text;
};

struct Frames {
  std::uint64_t count = 0;
  std::uint64_t last = 0;
  std::uint64_t least = ~std::uint64_t{0};
  std::uint64_t most = 0;
  std::uint64_t sum = 0;
};

std::string boardName(const Line& line) {
  return (line.board.type == 0 ? "usb" : "pcie") + std::to_string(line.board.index);
}

std::string kindOf(const Line& line) {
  if (line.call != Call::request) return sim::record::callName(line.call);
  if (line.code == sim::usb::Control::pipeTransfer) return boardName(line) + " pipe" + std::to_string(line.a);
  std::array<char, 16> name{};
  sim::record::requestName(line.code, name);
  return boardName(line) + " " + name.data();
}

// The driver moves at most so much of a frame at once, so a smaller piece is a frame's last.
constexpr std::uint32_t wholePiece = 0x100000;

bool endsFrame(const Line& line) {
  if (line.image.bytes == 0) return false;
  return line.call == Call::complete || line.size < wholePiece;
}

class Summary {
 public:
  void add(const Line& line, std::uint64_t number) {
    if (line.call == Call::lost) lost_ += line.a;
    if (line.call == Call::lost || line.call == Call::end || sim::record::isMark(line.call)) return;
    if (!began_) first_ = line.t;
    began_ = true;
    last_ = std::max(last_, line.t + line.d);
    noteKind(line);
    if (sim::record::isFailure(line) && failures_.size() < mostShown && line.call != Call::interface &&
        line.call != Call::path) {
      failures_.push_back({number, line.d, sim::record::described(line)});
    }
    if (line.call == Call::request) noteRequest(line, number);
    if (line.call == Call::sleep) sleeping_ += line.d;
    if (endsFrame(line)) noteFrame(line);
  }

  void print() const {
    printKinds();
    printNoted("slowest requests", slowest_);
    printNoted("failures", failures_);
    printFrames();
    printTimes();
    if (lost_ != 0) std::printf("\n%llu calls were lost\n", static_cast<unsigned long long>(lost_));
  }

 private:
  void noteKind(const Line& line) {
    Kind& kind = kinds_[kindOf(line)];
    ++kind.count;
    kind.failures += sim::record::isFailure(line) ? 1 : 0;
    kind.time += line.d;
    kind.longest = std::max(kind.longest, line.d);
  }

  void noteRequest(const Line& line, std::uint64_t number) {
    inDriver_ += line.d;
    if (slowest_.size() == mostShown && slowest_.back().time >= line.d) return;
    const auto place = std::ranges::upper_bound(slowest_, line.d, std::greater(), &Noted::time);
    slowest_.insert(place, {number, line.d, sim::record::described(line)});
    if (slowest_.size() > mostShown) slowest_.pop_back();
  }

  void noteFrame(const Line& line) {
    Frames& frames = frames_[boardName(line)];
    const std::uint64_t moment = line.t + line.d;
    if (frames.count++ != 0) {
      const std::uint64_t interval = moment - std::min(moment, frames.last);
      frames.least = std::min(frames.least, interval);
      frames.most = std::max(frames.most, interval);
      frames.sum += interval;
    }
    frames.last = moment;
  }

  void printKinds() const {
    std::printf("%-28s %10s %10s %12s %12s\n", "calls", "count", "failed", "seconds", "longest us");
    for (const auto& [name, kind] : kinds_) {
      std::printf("%-28s %10llu %10llu %12.6f %12llu\n", name.c_str(),
                  static_cast<unsigned long long>(kind.count), static_cast<unsigned long long>(kind.failures),
                  static_cast<double>(kind.time) / million, static_cast<unsigned long long>(kind.longest));
    }
  }

  static void printNoted(const char* title, const std::vector<Noted>& noted) {
    if (noted.empty()) return;
    std::printf("\n%s\n", title);
    for (const Noted& each : noted) {
      std::printf("  line %-8llu %10llu us  %s\n", static_cast<unsigned long long>(each.number),
                  static_cast<unsigned long long>(each.time), each.text.c_str());
    }
  }

  void printFrames() const {
    for (const auto& [board, frames] : frames_) {
      std::printf("\n%s: %llu frames", board.c_str(), static_cast<unsigned long long>(frames.count));
      if (frames.count > 1) {
        std::printf(", intervals %.3f to %.3f ms, mean %.3f ms", static_cast<double>(frames.least) / 1000,
                    static_cast<double>(frames.most) / 1000,
                    static_cast<double>(frames.sum) / 1000 / static_cast<double>(frames.count - 1));
      }
      std::printf("\n");
    }
  }

  void printTimes() const {
    const std::uint64_t whole = last_ - first_;
    const std::uint64_t known = std::min(whole, inDriver_ + sleeping_);
    std::printf(
        "\nseconds: %.6f in all, %.6f in the drivers, %.6f asleep, %.6f in the library and the program\n",
        static_cast<double>(whole) / million, static_cast<double>(inDriver_) / million,
        static_cast<double>(sleeping_) / million, static_cast<double>(whole - known) / million);
  }

  std::map<std::string, Kind> kinds_;
  std::map<std::string, Frames> frames_;
  std::vector<Noted> slowest_;
  std::vector<Noted> failures_;
  std::uint64_t first_ = 0;
  std::uint64_t last_ = 0;
  std::uint64_t inDriver_ = 0;
  std::uint64_t sleeping_ = 0;
  std::uint64_t lost_ = 0;
  bool began_ = false;
};

}  // namespace

void summarise(const std::string& path) {
  const RecordingFile file(absolutePath(path));
  sim::record::RecordingReader reader = file.reader();
  Summary summary;
  for (Line line; reader.next(line);) summary.add(line, reader.lineNumber());
  summary.print();
}

}  // namespace cli::trace
