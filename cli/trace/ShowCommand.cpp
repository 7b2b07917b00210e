#include <windows.h>

#include <cstdio>

#include "cli/trace/RecordingFile.h"
#include "cli/trace/RegisterNames.h"
#include "cli/trace/TraceCommand.h"
#include "sim/bench/Files.h"
#include "sim/record/format/Description.h"

namespace cli::trace {

namespace {

using sim::record::Call;
using sim::record::Line;

std::string textOf(const sim::record::Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.data), bytes.size};
}

std::string imageText(const sim::record::Image& image) {
  if (image.bytes == 0) return {};
  char text[80];
  std::snprintf(text, sizeof text, "  image %u bytes, %08x%08x..", static_cast<unsigned>(image.bytes),
                static_cast<unsigned>(image.hash[0]), static_cast<unsigned>(image.hash[1]));
  return text;
}

void showHeader(const sim::record::Header& header) {
  std::printf("# recorded of %s, %s, library %s, %s boards%s%s\n", textOf(header.program).c_str(),
              textOf(header.started).c_str(), textOf(header.library).c_str(),
              header.isSimulated ? "simulated" : "real", header.isSimulatedTime ? ", simulated time" : "",
              header.hasFrames ? ", with frames" : "");
}

void showLine(const Line& line, RegisterNames& names) {
  if (line.call == Call::lost || line.call == Call::end) {
    std::printf("# %s\n", sim::record::described(line).c_str());
    return;
  }
  constexpr std::uint64_t million = 1000000;
  char begin[80];
  const int length = std::snprintf(begin, sizeof begin, "%5llu.%06u %8u us  t%-3u ",
                                   static_cast<unsigned long long>(line.t / million),
                                   static_cast<unsigned>(line.t % million), static_cast<unsigned>(line.d),
                                   static_cast<unsigned>(line.thread));
  std::string text(begin, static_cast<std::size_t>(length));
  text += sim::record::described(line);
  text += imageText(line.image);
  const std::string remark = names.remark(line);
  if (!remark.empty()) text += "  " + remark;
  std::puts(text.c_str());
}

}  // namespace

std::string absolutePath(const std::string& path) {
  std::wstring wide(path.size(), L'\0');
  wide.resize(static_cast<std::size_t>(MultiByteToWideChar(
      CP_ACP, 0, path.data(), static_cast<int>(path.size()), wide.data(), static_cast<int>(wide.size()))));
  return sim::absolutePath(sim::utf8Text(wide));
}

void show(const std::string& path) {
  const RecordingFile file(absolutePath(path));
  sim::record::RecordingReader reader = file.reader();
  showHeader(reader.header());
  RegisterNames names;
  for (Line line; reader.next(line);) showLine(line, names);
}

void check(const std::string& path) {
  const RecordingFile file(absolutePath(path));
  sim::record::RecordingReader reader = file.reader();
  std::uint64_t lines = 0;
  std::uint64_t lost = 0;
  std::uint64_t pending = 0;
  for (Line line; reader.next(line);) {
    if (line.call == Call::lost) lost += line.a;
    if (line.call != Call::lost && line.call != Call::end) ++lines;
    if (line.pending) ++pending;
    if (line.call == Call::complete && pending != 0) --pending;
  }
  std::printf(
      "%s: a recording of format %u, %llu calls, %llu lost, %llu requests never completed, %s\n",
      path.c_str(), static_cast<unsigned>(reader.header().format), static_cast<unsigned long long>(lines),
      static_cast<unsigned long long>(lost), static_cast<unsigned long long>(pending),
      reader.hasEnd() ? "complete" : "without its last line: the program was ended, or the file is cut");
}

}  // namespace cli::trace
