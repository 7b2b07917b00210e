#include "cli/serve/recording/Recordings.h"

#include <windows.h>

#include <fstream>

#include "cli/base/Failure.h"
#include "cli/base/Output.h"
#include "cli/base/Paths.h"

namespace cli::serve {

namespace {

constexpr std::size_t mostRemembered = 8;
constexpr std::size_t mostWaitingBytes = std::size_t{128} << 20;
constexpr std::uint32_t quality = 90;
constexpr std::uint64_t mostBitmapBytes = 54;  // of its header

const char* wordOf(Making::Kind kind) {
  switch (kind) {
    case Making::Kind::bmp: return "bmp";
    case Making::Kind::jpeg: return "jpg";
    default: return "raw";
  }
}

std::string nameOf(unsigned number) {
  SYSTEMTIME now;
  GetLocalTime(&now);
  return format("recording-%04u%02u%02u-%02u%02u%02u-%u", static_cast<unsigned>(now.wYear),
                static_cast<unsigned>(now.wMonth), static_cast<unsigned>(now.wDay),
                static_cast<unsigned>(now.wHour), static_cast<unsigned>(now.wMinute),
                static_cast<unsigned>(now.wSecond), number);
}

std::string utf8(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

void checkRoom(const RecordingOptions& options, const FrameShape& shape) {
  if (!options.isZip) return;
  std::uint64_t bytes = 0;
  if (options.format == Making::Kind::raw) bytes = shape.layout.bytes;
  if (options.format == Making::Kind::bmp) {
    bytes = std::uint64_t{3} * shape.maker.width() * shape.layout.height + mostBitmapBytes;
  }
  if (options.frames > mostZipEntries ||
      bytes * options.frames > mostZipBytes - (std::uint64_t{options.frames} << 8)) {
    Problem problem(422, "bad-value", "so many frames do not fit into a ZIP of 4 GiB", "frames");
    problem.advice = "record into a folder";
    throw problem;
  }
}

void writeFile(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) {
    throw Failure(shownName(path) + ": cannot be written", ExitCode::file, "check rights and free space");
  }
}

std::filesystem::path partOf(const std::filesystem::path& folder) {
  std::filesystem::path part = folder;
  part += ".part";
  return part;
}

}  // namespace

Recordings::Recordings(FrameSlot& slot, const std::string& folder, std::function<void()> changed)
    : folder_(std::filesystem::absolute(toPath(folder))), changed_(std::move(changed)) {
  slot.observe([this](const FramePointer& frame) { offer(frame); });
}

Recordings::~Recordings() { stop(); }

void Recordings::start() {
  thread_ = std::thread([this] { run(); });
}

void Recordings::stop() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
    if (!recordings_.empty()) recordings_.back()->isClosing = true;
  }
  awake_.notify_one();
  if (thread_.joinable()) thread_.join();
}

Json Recordings::begin(const RecordingOptions& options, const FrameShape& shape) {
  checkRoom(options, shape);
  if (options.format != Making::Kind::raw && !shape.maker.hindrance().empty()) {
    throw Problem(409, "no-picture", "there can be no picture: " + shape.maker.hindrance(), "format");
  }
  auto recording = std::make_shared<Recording>();
  Json told;
  {
    const std::lock_guard lock(mutex_);
    if (!recordings_.empty() && !recordings_.back()->hasEnded) {
      throw Problem(409, "recording-runs", "a recording runs already; its end is awaited, or asked for");
    }
    recording->id = std::to_string(++last_);
    recording->options = options;
    recording->name = nameOf(last_);
    if (options.isZip) {
      recording->zip = std::make_shared<ZipFile>();
    } else {
      recording->folder = folder_ / recording->name;
      std::error_code error;
      std::filesystem::create_directories(partOf(recording->folder), error);
      if (error)
        throw Problem(409, "no-folder",
                      "the folder for recordings cannot be made: " + utf8(recording->folder));
    }
    if (recordings_.size() == mostRemembered) recordings_.pop_front();
    recordings_.push_back(recording);
    told = {{"id", recording->id}, {"to", options.isZip ? "zip" : "folder"}};
  }
  changed_();
  return told;
}

void Recordings::offer(const FramePointer& frame) {
  const std::lock_guard lock(mutex_);
  if (recordings_.empty()) return;
  Recording& recording = *recordings_.back();
  if (recording.isClosing || recording.hasEnded || recording.taken == recording.options.frames) return;
  if (waitingBytes_ + frame->bytes.size() > mostWaitingBytes && !waiting_.empty()) {
    ++recording.missed;
    return;
  }
  waiting_.push_back(frame);
  waitingBytes_ += frame->bytes.size();
  ++recording.taken;
  awake_.notify_one();
}

void Recordings::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    const bool isOpen = !recordings_.empty() && !recordings_.back()->hasEnded;
    if (!isOpen && isEnding_) return;
    if (isOpen && !waiting_.empty()) {
      const std::shared_ptr<Recording> recording = recordings_.back();
      const FramePointer frame = waiting_.front();
      waiting_.pop_front();
      waitingBytes_ -= frame->bytes.size();
      lock.unlock();
      std::optional<Problem> failure;
      try {
        save(*recording, frame);
      } catch (...) {
        failure = problemOf(std::current_exception());
      }
      lock.lock();
      if (!failure) ++recording->done;
      if (failure || recording->done == recording->options.frames) conclude(lock, failure);
    } else if (isOpen && recordings_.back()->isClosing) {
      conclude(lock, std::nullopt);
    } else {
      awake_.wait(lock);
    }
  }
}

void Recordings::save(Recording& recording, const FramePointer& frame) {
  Making making{recording.options.format};
  making.quality = quality;
  const auto bytes = making_.make(frame, making);
  const std::string name = format("frame-%06u.%s", recording.done + 1, wordOf(recording.options.format));
  if (recording.zip) {
    recording.zip->add(recording.name + "/" + name, *bytes);
  } else {
    writeFile(partOf(recording.folder) / name, *bytes);
  }
}

void Recordings::finish(Recording& recording) {
  if (recording.zip) return recording.zip->finish();
  std::error_code error;
  std::filesystem::rename(partOf(recording.folder), recording.folder, error);
  if (error) throw Failure(shownName(recording.folder) + ": the folder cannot get its name");
}

// What is there by now is whole, and stays.
void Recordings::conclude(std::unique_lock<std::mutex>& lock, const std::optional<Problem>& failure) {
  const std::shared_ptr<Recording> recording = recordings_.back();
  recording->isClosing = true;
  waiting_.clear();
  waitingBytes_ = 0;
  lock.unlock();
  std::optional<Problem> other;
  try {
    finish(*recording);
  } catch (...) {
    other = problemOf(std::current_exception());
  }
  lock.lock();
  recording->failure = failure ? failure : other;
  recording->hasEnded = true;
  lock.unlock();
  changed_();
  lock.lock();
}

const Recordings::Recording& Recordings::find(const std::string& id) const {
  for (const auto& each : recordings_) {
    if (each->id == id) return *each;
  }
  throw Problem(404, "not-found", "there is no recording of this number");
}

Json Recordings::toJson(const Recording& recording) {
  Json json{{"id", recording.id},
            {"to", recording.zip ? "zip" : "folder"},
            {"format", wordOf(recording.options.format)},
            {"wanted", recording.options.frames},
            {"done", recording.done},
            {"missed", recording.missed},
            {"ended", recording.hasEnded}};
  if (recording.hasEnded && !recording.zip) json["folder"] = utf8(recording.folder);
  if (recording.failure) json["error"] = serve::toJson(*recording.failure);
  return json;
}

Json Recordings::stateOf(const std::string& id) const {
  const std::lock_guard lock(mutex_);
  return toJson(find(id));
}

Json Recordings::latest() const {
  const std::lock_guard lock(mutex_);
  return recordings_.empty() ? Json() : toJson(*recordings_.back());
}

Json Recordings::end(const std::string& id) {
  {
    const std::lock_guard lock(mutex_);
    static_cast<void>(find(id));
    if (recordings_.back()->id == id) recordings_.back()->isClosing = true;
  }
  awake_.notify_one();
  return stateOf(id);
}

void Recordings::endCurrent() {
  {
    const std::lock_guard lock(mutex_);
    if (!recordings_.empty()) recordings_.back()->isClosing = true;
  }
  awake_.notify_one();
}

std::shared_ptr<const ZipFile> Recordings::archive(const std::string& id) const {
  const std::lock_guard lock(mutex_);
  const Recording& recording = find(id);
  if (!recording.zip) throw Problem(409, "no-archive", "this recording went into a folder");
  if (!recording.hasEnded)
    throw Problem(409, "recording-runs", "the archive is there when the recording has ended");
  return recording.zip;
}

}  // namespace cli::serve
