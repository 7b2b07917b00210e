#include "cli/files/FileRemarks.h"

#include <cctype>
#include <fstream>
#include <iterator>

#include "cli/base/Failure.h"

namespace cli {

namespace {

// The tool holds the whole file in memory. The readers do not, and have no such limit.
constexpr std::size_t mostBytes = std::size_t{16} << 20;

}  // namespace

std::string readTextFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw Failure(path + ": cannot be opened");
  std::string content;
  std::string block(std::size_t{1} << 16, '\0');
  while (file.read(block.data(), static_cast<std::streamsize>(block.size())) || file.gcount() > 0) {
    content.append(block, 0, static_cast<std::size_t>(file.gcount()));
    if (content.size() > mostBytes) throw Failure(path + ": is too large to be such a file");
  }
  return content;
}

std::vector<TextLine> linesOf(std::string_view content) {
  std::vector<TextLine> lines;
  while (!content.empty()) {
    const std::size_t end = content.find('\n');
    const bool isEnded = end != std::string_view::npos;
    lines.push_back({static_cast<unsigned>(lines.size() + 1), content.substr(0, end), isEnded});
    content.remove_prefix(isEnded ? end + 1 : content.size());
  }
  return lines;
}

std::string quoted(std::string_view text) {
  std::string shown = "\"";
  for (const char character : text)
    shown += std::isprint(static_cast<unsigned char>(character)) != 0 ? character : '?';
  shown += '"';
  return shown;
}

std::string Remarks::textOf(const Remark& remark) {
  const std::string place = remark.line != 0 ? "line " + std::to_string(remark.line) : "file";
  return place + (remark.subject.empty() ? "" : ", " + remark.subject) + ": " + remark.reason;
}

void Remarks::add(unsigned line, std::string_view subject, const std::string& reason) {
  remarks_.push_back({line, std::string(subject), reason});
}

void Remarks::addFault(unsigned line, std::string_view subject, const std::string& reason) {
  add(line, subject, reason);
  if (fault_.empty()) fault_ = textOf(remarks_.back());
}

void Remarks::put(Output& output, const std::string& list) const {
  output.putList(list);
  for (std::size_t i = 0; i < remarks_.size(); ++i) {
    const std::string place = list + "/" + std::to_string(i);
    output.put(place + "/line", remarks_[i].line);
    output.put(place + "/subject", remarks_[i].subject);
    output.put(place + "/text", remarks_[i].reason);
  }
}

void Remarks::tell(Output& output) const {
  put(output, "remarks");
  output.print(remarks_.empty() ? "nothing suspicious\n" : "suspicious:\n");
  for (const bool ofLines : {true, false}) {
    for (const Remark& remark : remarks_) {
      if ((remark.line != 0) == ofLines) output.print("  %s\n", textOf(remark).c_str());
    }
  }
}

}  // namespace cli
