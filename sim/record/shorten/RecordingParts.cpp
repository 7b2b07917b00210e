#include "sim/record/shorten/RecordingParts.h"

#include <windows.h>

#include <map>
#include <memory>

#include "sim/bench/Files.h"
#include "sim/record/format/LineText.h"

namespace sim::record {

namespace {

constexpr std::size_t bufferBytes = std::size_t{1} << 20;

class File {
 public:
  File(const std::string& path, bool writes)
      : path_(path),
        file_(CreateFileW(wideText(path).c_str(), writes ? GENERIC_WRITE : GENERIC_READ, FILE_SHARE_READ,
                          nullptr, writes ? CREATE_ALWAYS : OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)) {
    if (file_.get() != INVALID_HANDLE_VALUE) return;
    static_cast<void>(file_.release());
    throw RecordingError(path + (writes ? ": cannot be written" : ": cannot be read"));
  }

  void write(std::string_view bytes) {
    DWORD written = 0;
    if (WriteFile(file_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) == FALSE ||
        written != bytes.size()) {
      throw RecordingError(path_ + ": cannot be written, the disk may be full");
    }
  }

  std::string read(std::uint64_t at, std::uint32_t bytes) {
    std::string content(bytes, '\0');
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(at);
    place.OffsetHigh = static_cast<DWORD>(at >> 32);
    DWORD read = 0;
    ReadFile(file_.get(), content.data(), bytes, &read, &place);
    if (read != bytes) throw RecordingError(path_ + ": is shorter than the recording says");
    return content;
  }

 private:
  struct Closer {
    using pointer = HANDLE;
    void operator()(HANDLE file) const { CloseHandle(file); }
  };
  std::string path_;
  std::unique_ptr<void, Closer> file_;
};

class PartWriter {
 public:
  PartWriter(const Script& script, KeptFrames frames, const std::string& path)
      : script_(script), frames_(frames), path_(path), lines_(path, true), text_(longestLine) {}

  void write(const std::vector<std::uint32_t>& steps) {
    if (frames_ == KeptFrames::copied && !keepsAny(steps)) frames_ = KeptFrames::none;
    writeHeading();
    for (const std::uint32_t step : steps) {
      frames_ == KeptFrames::inPlace ? put(script_.text(step)) : putChanged(step);
    }
    Line end;
    end.call = Call::end;
    end.a = static_cast<std::uint32_t>(steps.size());
    put({text_.data(), writeLine(end, text_)});
    lines_.write(buffer_);
  }

 private:
  bool keepsAny(const std::vector<std::uint32_t>& steps) {
    LineMemory memory;
    for (const std::uint32_t step : steps) {
      if (script_.line(step, memory).image.isKept) return true;
    }
    return false;
  }

  void writeHeading() {
    LineMemory memory;
    Header header = readHeader(script_.headingText(), memory);
    header.hasFrames = header.hasFrames && frames_ != KeptFrames::none;
    put({text_.data(), writeHeader(header, text_)});
  }

  void putChanged(std::uint32_t step) {
    LineMemory memory;
    Line line = script_.line(step, memory);
    if (line.image.isKept && frames_ == KeptFrames::copied) {
      line.image.at = copied(line.image);
    } else {
      line.image.isKept = false;
      line.image.at = 0;
    }
    put({text_.data(), writeLine(line, text_)});
  }

  std::uint64_t copied(const Image& image) {
    const auto [place, isNew] = places_.try_emplace(image.at, frameBytes_);
    if (!isNew) return place->second;
    if (!from_) {
      from_ = std::make_unique<File>(script_.path() + ".frames", false);
      to_ = std::make_unique<File>(path_ + ".frames", true);
    }
    to_->write(from_->read(image.at, image.bytes));
    frameBytes_ += image.bytes;
    return place->second;
  }

  // A line with or without its end.
  void put(std::string_view line) {
    buffer_ += line;
    if (buffer_.back() != '\n') buffer_ += '\n';
    if (buffer_.size() < bufferBytes) return;
    lines_.write(buffer_);
    buffer_.clear();
  }

  const Script& script_;
  KeptFrames frames_;
  std::string path_;
  File lines_;
  std::vector<char> text_;
  std::string buffer_;
  std::unique_ptr<File> from_;
  std::unique_ptr<File> to_;
  std::map<std::uint64_t, std::uint64_t> places_;  // of frames: there, here
  std::uint64_t frameBytes_ = 0;
};

}  // namespace

void writePart(const Script& script, const std::vector<std::uint32_t>& steps, KeptFrames frames,
               const std::string& path) {
  PartWriter(script, frames, path).write(steps);
}

}  // namespace sim::record
