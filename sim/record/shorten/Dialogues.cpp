#include <algorithm>
#include <map>
#include <optional>
#include <tuple>

#include "sim/record/shorten/RecordingParts.h"
#include "sim/usb/Protocol.h"

namespace sim::record {

namespace {

// A frame is read in pieces of this size, and a last one.
constexpr std::uint32_t wholePiece = 0x100000;

enum class Kind : std::uint8_t { list, file, restart, versions, command, frame, single };

Kind kindOf(const Line& line) {
  switch (line.call) {
    case Call::list:
    case Call::interface:
    case Call::path:
    case Call::endList:
    case Call::deviceInfo:
    case Call::property:
    case Call::parameters:
    case Call::install: return Kind::list;
    case Call::open:
    case Call::close: return Kind::file;
    case Call::installState:
    case Call::connect:
    case Call::locate:
    case Call::rescan:
    case Call::disconnect: return Kind::restart;
    case Call::folder:
    case Call::versionSize:
    case Call::version:
    case Call::versionValue: return Kind::versions;
    case Call::request:
      if (line.code != usb::Control::pipeTransfer) return Kind::single;
      return line.a == usb::Pipe::image ? Kind::frame : Kind::command;
    default: return Kind::single;
  }
}

class Dialogues {
 public:
  explicit Dialogues(const Script& script) : script_(script) {}

  std::vector<Part> run() {
    for (std::uint32_t step = 0; step < script_.steps().size(); ++step) {
      const Call call = script_.steps()[step].call;
      if (call != Call::complete && !isMark(call)) add(step);
    }
    for (Part& part : parts_) std::ranges::sort(part);
    return std::move(parts_);
  }

 private:
  // What a thread is at.
  struct Going {
    Kind kind = Kind::single;
    std::size_t part = 0;
  };

  void add(std::uint32_t step) {
    LineMemory memory;
    const Line line = script_.line(step, memory);
    const std::size_t part = partOf(line);
    if (part == parts_.size()) parts_.emplace_back();
    parts_[part].push_back(step);
    if (script_.steps()[step].completion != 0) parts_[part].push_back(script_.steps()[step].completion - 1);
  }

  std::size_t partOf(const Line& line) {
    const Kind kind = kindOf(line);
    if (kind == Kind::list || kind == Kind::file) return partOfHandle(kind, line.handle);
    const auto going = going_.find(line.thread);
    if (line.call == Call::sleep) return going == going_.end() ? parts_.size() : going->second.part;
    const bool goesOn = going != going_.end() && going->second.kind == kind && isContinued(kind, line);
    const std::size_t part = goesOn ? going->second.part : parts_.size();
    going_[line.thread] = {kind, part};
    pieces_[line.thread] = line.size;
    return part;
  }

  bool isContinued(Kind kind, const Line& line) {
    if (kind == Kind::command) return line.a != usb::Pipe::command;
    if (kind == Kind::frame) return pieces_[line.thread] == wholePiece;
    return kind != Kind::single;
  }

  std::size_t partOfHandle(Kind kind, std::uint32_t handle) {
    if (handle == 0) return parts_.size();
    return handles_.try_emplace({kind, handle}, parts_.size()).first->second;
  }

  const Script& script_;
  std::vector<Part> parts_;
  std::map<std::uint32_t, Going> going_;           // by thread
  std::map<std::uint32_t, std::uint32_t> pieces_;  // by thread: the size that was last asked for
  std::map<std::pair<Kind, std::uint32_t>, std::size_t> handles_;
};

}  // namespace

std::vector<Part> dialogues(const Script& script) { return Dialogues(script).run(); }

std::vector<Part> singleCalls(const Script& script, const std::vector<std::uint32_t>& steps) {
  std::vector<Part> parts;
  for (const std::uint32_t step : steps) {
    if (script.steps()[step].call == Call::complete) continue;
    parts.push_back({step});
    const std::uint32_t completion = script.steps()[step].completion;
    if (completion != 0) parts.back().push_back(completion - 1);
  }
  return parts;
}

std::vector<std::uint32_t> stepsOf(const std::vector<Part>& parts, const std::vector<std::uint32_t>& chosen) {
  std::vector<std::uint32_t> steps;
  for (const std::uint32_t part : chosen) steps.insert(steps.end(), parts[part].begin(), parts[part].end());
  std::ranges::sort(steps);
  return steps;
}

}  // namespace sim::record
