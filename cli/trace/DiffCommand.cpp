#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>
#include <deque>
#include <map>
#include <optional>
#include <vector>

#include "cli/trace/RecordingFile.h"
#include "cli/trace/TraceCommand.h"
#include "sim/record/format/Description.h"
#include "sim/record/format/RequestBytes.h"

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

// Two lanes of words, which a processor of 32 bits mixes quickly.
class Print {
 public:
  void mix(std::uint32_t word) {
    first_ = std::rotl((first_ ^ word) * 0x9E3779B1, 15);
    second_ = std::rotl((second_ + word) * 0x85EBCA6B, 13);
  }

  void mix(const sim::record::Bytes& bytes) {
    mix(bytes.size);
    std::uint32_t at = 0;
    std::uint32_t word = 0;
    for (; at + sizeof word <= bytes.size; at += sizeof word) {
      std::memcpy(&word, bytes.data + at, sizeof word);
      mix(word);
    }
    word = 0;
    for (; at < bytes.size; ++at) word = word << 8 | bytes.data[at];
    mix(word);
  }

  std::uint64_t value() const { return std::uint64_t{first_} << 32 | second_; }

 private:
  std::uint32_t first_ = 1;
  std::uint32_t second_ = 2;
};

class Fingerprints {
 public:
  explicit Fingerprints(const DiffOptions& options) : options_(options) {}

  // Of what counts of a line: not its order, nor where its image is kept.
  std::uint64_t of(Line line) {
    if (!options_.times) line.t = line.d = 0;
    if (!options_.frames) line.image.hash = {};
    if (!options_.addresses) leaveOutAddresses(line);
    Print print;
    for (const std::uint32_t each :
         {static_cast<std::uint32_t>(line.call), static_cast<std::uint32_t>(line.pending),
          static_cast<std::uint32_t>(line.statusKept), line.board.type, line.board.index, line.thread,
          line.handle, line.code, line.a, line.b, line.size, line.moved, line.result, line.error,
          line.image.bytes, line.image.offset}) {
      print.mix(each);
    }
    for (const std::uint64_t each : {line.t, line.d}) {
      print.mix(static_cast<std::uint32_t>(each));
      print.mix(static_cast<std::uint32_t>(each >> 32));
    }
    for (const std::uint32_t each : line.image.hash) print.mix(each);
    for (const sim::record::Bytes* each : {&line.text, &line.in, &line.out}) print.mix(*each);
    return print.value();
  }

 private:
  static constexpr std::uint32_t mostAddressBytes = 16;  // they are in the first words

  void leaveOutAddresses(Line& line) {
    if (line.call == Call::path || line.call == Call::open) line.text = {};
    if (line.call == Call::locate) line.a = 0;
    if (line.call != Call::request && line.call != Call::complete) return;
    clear(line.code, line.in, in_, 0);
    clear(line.code, line.out, out_, sizeof(std::uint32_t));  // the first word that comes back is a status
  }

  // In a copy, when there are any.
  static void clear(std::uint32_t code, sim::record::Bytes& bytes, std::vector<std::uint8_t>& copy,
                    std::uint32_t from) {
    const std::uint32_t end = std::min(bytes.size, mostAddressBytes);
    bool isCopied = false;
    for (std::uint32_t i = from; i < end; ++i) {
      if (!sim::record::isAddress(code, i)) continue;
      if (!isCopied) copy.assign(bytes.data, bytes.data + bytes.size);
      isCopied = true;
      copy[i] = 0;
    }
    if (isCopied) bytes.data = copy.data();
  }

  const DiffOptions options_;
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
