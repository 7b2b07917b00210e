#include "FileRemarks.h"

#include <cctype>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "Failure.h"

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

void Remarks::add(unsigned line, std::string_view subject, const std::string& reason) {
  std::string text = line != 0 ? "line " + std::to_string(line) : "file";
  if (!subject.empty()) text += ", " + std::string(subject);
  (line != 0 ? ofLines_ : ofFile_).push_back(text + ": " + reason);
}

void Remarks::print() const {
  if (ofLines_.empty() && ofFile_.empty()) {
    std::printf("nothing suspicious\n");
    return;
  }
  std::printf("suspicious:\n");
  for (const auto* remarks : {&ofLines_, &ofFile_}) {
    for (const std::string& remark : *remarks) std::printf("  %s\n", remark.c_str());
  }
}

}  // namespace cli
