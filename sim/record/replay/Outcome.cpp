#include "sim/record/replay/Outcome.h"

#include <algorithm>
#include <string>

#include "sim/pcie/Protocol.h"
#include "sim/record/format/Description.h"
#include "sim/record/format/RequestBytes.h"

namespace sim::record {

namespace {

// The interval of a capture ends with a failure whenever the capture ends.
bool counts(const Line& line) {
  if (line.code == static_cast<std::uint32_t>(pcie::Request::interval)) return false;
  return line.call == Call::open || line.call == Call::request || line.call == Call::complete;
}

// Alike for the same failure at another place of a recording.
std::uint32_t kindOf(const Line& line) {
  std::uint32_t kind = 0x811C9DC5;
  const std::uint32_t pipe = line.board.type == 0 ? line.a : 0;
  for (const std::uint32_t each : {static_cast<std::uint32_t>(line.call), line.board.type, line.board.index,
                                   line.code, pipe, line.error, statusWord(line)}) {
    kind = (kind ^ each) * 0x01000193;
  }
  return kind | 1U;
}

}  // namespace

void note(Outcome& outcome, const Line& answer) {
  if (!counts(answer) || !isFailure(answer)) return;
  outcome.failure = kindOf(answer);
  const std::string text = described(answer);
  outcome.text.fill('\0');
  std::copy_n(text.begin(), std::min(text.size(), outcome.text.size() - 1), outcome.text.begin());
}

}  // namespace sim::record
