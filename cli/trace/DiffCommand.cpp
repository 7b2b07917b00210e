#include <algorithm>
#include <cstdio>
#include <deque>
#include <map>
#include <optional>
#include <vector>

#include "cli/trace/RecordingFile.h"
#include "cli/trace/TraceCommand.h"
#include "sim/record/Description.h"
#include "sim/record/LineText.h"
#include "sim/record/RequestBytes.h"

namespace cli::trace {

namespace {

using sim::record::Call;
using sim::record::Line;

// A call as far as it counts: what is alike has the same fingerprint.
struct Entry {
  std::uint64_t fingerprint = 0;
  std::uint64_t number = 0;  // of the line
};

// So much may one recording be ahead of the other in some thread.
constexpr std::size_t mostAhead = 4000000;

class Fingerprints {
 public:
  explicit Fingerprints(const DiffOptions& options) : options_(options), text_(sim::record::longestLine) {}

  std::uint64_t of(Line line) {
    line.n = line.e = line.of = 0;
    if (!options_.times) line.t = line.d = 0;
    line.image.at = 0;
    line.image.isKept = false;
    if (!options_.frames) line.image.hash = {};
    if (!options_.addresses) leaveOutAddresses(line);
    const std::size_t bytes = sim::record::writeLine(line, text_);
    std::uint64_t print = 0xCBF29CE484222325;
    for (std::size_t i = 0; i < bytes; ++i)
      print = (print ^ static_cast<std::uint8_t>(text_[i])) * 0x100000001B3;
    return print;
  }

 private:
  void leaveOutAddresses(Line& line) {
    if (line.call == Call::path || line.call == Call::open) line.text = {};
    if (line.call == Call::locate) line.a = 0;
    if (line.call != Call::request && line.call != Call::complete) return;
    in_ = cleared(line, line.in, 0);
    out_ = cleared(line, line.out, sizeof(std::uint32_t));  // the first word that comes back is a status
    line.in.data = in_.data();
    line.out.data = out_.data();
  }

  static std::vector<std::uint8_t> cleared(const Line& line, const sim::record::Bytes& bytes,
                                           std::uint32_t from) {
    std::vector<std::uint8_t> copy(bytes.data, bytes.data + bytes.size);
    for (std::uint32_t i = from; i < copy.size() && i < 16; ++i) {
      if (sim::record::isAddress(line.code, i)) copy[i] = 0;
    }
    return copy;
  }

  const DiffOptions options_;
  std::vector<char> text_;
  std::vector<std::uint8_t> in_;
  std::vector<std::uint8_t> out_;
};

// Completions come when somebody looks, so their order is that of their board.
std::uint64_t sequenceOf(const Line& line) {
  constexpr std::uint64_t completions = std::uint64_t{1} << 40;
  return line.call == Call::complete ? completions + line.board.type * std::uint64_t{256} + line.board.index
                                     : line.thread;
}

bool counts(const Line& line) {
  return !sim::record::isMark(line.call) && line.call != Call::end && line.call != Call::lost;
}

struct Difference {
  std::uint64_t first = 0;  // lines; 0 for none
  std::uint64_t second = 0;
};

class Comparison {
 public:
  Comparison(sim::record::RecordingReader first, sim::record::RecordingReader second,
             const DiffOptions& options)
      : readers_{std::move(first), std::move(second)}, fingerprints_(options) {}

  std::optional<Difference> run() {
    for (bool more = true; more;) {
      more = false;
      for (std::size_t side = 0; side < 2; ++side) {
        Line line;
        if (!readers_[side].next(line)) continue;
        more = true;
        if (!counts(line)) continue;
        if (const auto difference = take(side, line)) return difference;
      }
    }
    return leftOver();
  }

 private:
  struct Sequence {
    std::deque<Entry> ahead;
    std::size_t side = 0;  // whose
  };

  std::optional<Difference> take(std::size_t side, const Line& line) {
    const Entry entry{fingerprints_.of(line), readers_[side].lineNumber()};
    Sequence& sequence = sequences_[sequenceOf(line)];
    if (sequence.ahead.empty() || sequence.side == side) {
      if (++waiting_ > mostAhead)
        throw sim::record::RecordingError("the recordings are too different to be compared");
      sequence.side = side;
      sequence.ahead.push_back(entry);
      return std::nullopt;
    }
    const Entry other = sequence.ahead.front();
    sequence.ahead.pop_front();
    --waiting_;
    if (other.fingerprint == entry.fingerprint) return std::nullopt;
    return side == 0 ? Difference{entry.number, other.number} : Difference{other.number, entry.number};
  }

  std::optional<Difference> leftOver() const {
    std::optional<Difference> found;
    for (const auto& [name, sequence] : sequences_) {
      if (sequence.ahead.empty()) continue;
      const std::uint64_t number = sequence.ahead.front().number;
      if (found && std::max(found->first, found->second) < number) continue;
      found = sequence.side == 0 ? Difference{number, 0} : Difference{0, number};
    }
    return found;
  }

  sim::record::RecordingReader readers_[2];
  Fingerprints fingerprints_;
  std::map<std::uint64_t, Sequence> sequences_;
  std::size_t waiting_ = 0;
};

void showLine(const std::string& path, const RecordingFile& file, std::uint64_t number) {
  if (number == 0) {
    std::printf("%s: nothing more of this thread\n", path.c_str());
    return;
  }
  sim::record::RecordingReader reader = file.reader();
  Line line;
  while (reader.next(line) && reader.lineNumber() != number) continue;
  std::printf("%s:%llu: thread %u: %s", path.c_str(), static_cast<unsigned long long>(number),
              static_cast<unsigned>(line.thread), sim::record::described(line).c_str());
  if (line.image.bytes != 0)
    std::printf("  image %u bytes %08x", static_cast<unsigned>(line.image.bytes),
                static_cast<unsigned>(line.image.hash[0]));
  std::printf("\n");
}

}  // namespace

bool compare(const std::string& first, const std::string& second, const DiffOptions& options) {
  const RecordingFile firstFile(absolutePath(first));
  const RecordingFile secondFile(absolutePath(second));
  const auto difference = Comparison(firstFile.reader(), secondFile.reader(), options).run();
  if (!difference) return true;
  showLine(first, firstFile, difference->first);
  showLine(second, secondFile, difference->second);
  return false;
}

}  // namespace cli::trace
