#include "sim/record/recording/Recorder.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "sim/bench/Files.h"
#include "sim/record/format/LineText.h"

namespace sim::record {

namespace {

constexpr std::size_t memoryForLines = std::size_t{4} << 20;
constexpr std::size_t memoryForFrames = std::size_t{64} << 20;
constexpr DWORD writeEvery = 100;  // milliseconds
constexpr std::size_t textBytes = 2 * longestLine;
constexpr std::size_t knownFrames = 1024;
constexpr std::size_t alignment = 8;
constexpr char programVersion[] = KVEXA_VERSION;

// Before every line in the waiting memory. 0 bytes: nothing follows up to the end of the memory.
struct Head {
  std::uint32_t bytes;
  std::uint32_t imageBytes;
};

std::size_t rounded(std::size_t bytes) { return (bytes + alignment - 1) / alignment * alignment; }

Bytes bytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), static_cast<std::uint32_t>(text.size())};
}

std::string programName() {
  std::wstring path(MAX_PATH, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), MAX_PATH));
  const std::string whole = utf8Text(path);
  return whole.substr(whole.find_last_of('\\') + 1);
}

std::string momentNow() {
  SYSTEMTIME now;
  GetSystemTime(&now);
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", now.wYear, now.wMonth, now.wDay,
                now.wHour, now.wMinute, now.wSecond);
  return text;
}

void append(HANDLE file, const void* data, std::size_t bytes) {
  DWORD written = 0;
  WriteFile(file, data, static_cast<DWORD>(bytes), &written, nullptr);
}

// A process that ends may have stopped its writer between the file and the note of it.
void cutBack(HANDLE file, std::uint64_t bytes) {
  LARGE_INTEGER end;
  end.QuadPart = static_cast<LONGLONG>(bytes);
  SetFilePointerEx(file, end, nullptr, FILE_BEGIN);
  SetEndOfFile(file);
}

template <class Function>
void eachPayload(Line& line, Function function) {
  for (Bytes* each : {&line.text, &line.in, &line.out}) function(*each);
}

}  // namespace

Recorder::Recorder(const Options& options)
    : lines_(make(options.path)),
      frames_(options.frames ? make(options.path + ".frames") : File()),
      capacity_(options.memory != 0 ? rounded(options.memory)
                : options.frames    ? memoryForFrames
                                    : memoryForLines),
      waiting_(static_cast<std::uint8_t*>(
          VirtualAlloc(nullptr, capacity_, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE))),
      text_(textBytes),
      known_(options.frames ? knownFrames : 0) {
  if (!waiting_) throw RecorderError(options.path + ": there is no memory for recording");
  Header header{Header::version, options.isSimulated, options.isSimulatedTime, options.frames, {}, {}, {}};
  const std::string version = programVersion;
  const std::string program = programName();
  const std::string moment = momentNow();
  header.library = bytesOf(version);
  header.program = bytesOf(program);
  header.started = bytesOf(moment);
  const std::size_t bytes = writeHeader(header, text_);
  append(lines_.get(), text_.data(), bytes);
  progress_[0].lineBytes = bytes;
  if (options.writing == Writing::byItself) writer_ = std::thread([this] { work(); });
}

Recorder::~Recorder() { close(); }

void Recorder::close() {
  if (writer_.joinable()) {
    {
      const std::lock_guard lock(sleeping_);
      ends_ = true;
    }
    wake_.wake();
    writer_.join();
  }
  finish();
}

// Readable while it is written, by nobody else.
Recorder::File Recorder::make(const std::string& path) {
  File file(CreateFileW(wideText(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                        FILE_ATTRIBUTE_NORMAL, nullptr));
  if (file.get() != INVALID_HANDLE_VALUE) return file;
  static_cast<void>(file.release());
  throw RecorderError(path + ": cannot be written");
}

std::uint64_t Recorder::begin() {
  const std::lock_guard lock(adding_);
  return ++order_;
}

void Recorder::add(Line& line, std::span<const std::uint8_t> image) {
  bool isHalfFull = false;
  {
    const std::lock_guard lock(adding_);
    if (finished_.load()) return;
    line.e = ++order_;
    if (lost_ != 0) noteLost();
    if (lost_ != 0 || !addLocked(line, image)) {
      ++lost_;
      ++allLost_;
    } else {
      ++count_;
    }
    isHalfFull = added_.load() - taken_.load() > capacity_ / 2;
  }
  if (isHalfFull) wake_.wake();
}

void Recorder::noteLost() {
  Line line;
  line.call = Call::lost;
  line.a = static_cast<std::uint32_t>(std::min<std::uint64_t>(lost_, 0xFFFFFFFF));
  if (addLocked(line, {})) lost_ = 0;
}

// Where so many bytes may be put, or null; the caller counts them when they are there.
std::uint8_t* Recorder::reserve(std::uint32_t bytes) {
  const std::uint64_t added = added_.load();
  const auto at = static_cast<std::size_t>(added % capacity_);
  const std::size_t toEnd = capacity_ - at;
  const std::size_t skipped = toEnd < bytes ? toEnd : 0;
  if (added - taken_.load() + skipped + bytes > capacity_) return nullptr;
  if (skipped == 0) return waiting_.get() + at;
  const Head nothing{0, 0};
  std::memcpy(waiting_.get() + at, &nothing, sizeof nothing);
  added_.store(added + skipped);
  return waiting_.get();
}

bool Recorder::addLocked(const Line& line, std::span<const std::uint8_t> image) {
  std::size_t bytes = sizeof(Head) + sizeof(Line) + image.size();
  Line copy = line;
  eachPayload(copy, [&](const Bytes& each) { bytes += each.size; });
  bytes = rounded(bytes);
  if (bytes > capacity_ / 2) return !image.empty() && addLocked(line, {});  // its hash is there all the same
  std::uint8_t* at = reserve(static_cast<std::uint32_t>(bytes));
  if (at == nullptr) return false;
  const auto put = [&at](const void* data, std::size_t size) {
    if (size != 0) std::memcpy(at, data, size);
    at += size;
  };
  const Head head{static_cast<std::uint32_t>(bytes), static_cast<std::uint32_t>(image.size())};
  put(&head, sizeof head);
  put(&line, sizeof line);
  eachPayload(copy, [&](const Bytes& each) { put(each.data, each.size); });
  put(image.data(), image.size());
  added_.store(added_.load() + bytes);
  return true;
}

void Recorder::work() {
  for (;;) {
    bool ends = false;
    {
      std::unique_lock lock(sleeping_);
      if (!ends_) wake_.wait(lock, writeEvery);
      ends = ends_;
    }
    flush();
    if (ends) return;
  }
}

void Recorder::flush() {
  const std::lock_guard lock(writing_);
  bringLines();
}

Line Recorder::waitingLine(std::uint64_t at, std::span<const std::uint8_t>& image) const {
  const std::uint8_t* from = waiting_.get() + at % capacity_;
  Head head;
  std::memcpy(&head, from, sizeof head);
  from += sizeof head;
  Line line;
  std::memcpy(&line, from, sizeof line);
  from += sizeof line;
  eachPayload(line, [&](Bytes& each) {
    each.data = from;
    from += each.size;
  });
  image = {from, head.imageBytes};
  return line;
}

void Recorder::bringLines() {
  Progress progress = progress_[current_.load()];
  std::size_t bytes = 0;
  std::uint64_t at = progress.taken;
  for (const std::uint64_t end = added_.load(); at != end;) {
    Head head;
    std::memcpy(&head, waiting_.get() + at % capacity_, sizeof head);
    if (head.bytes == 0) {
      at += capacity_ - at % capacity_;
      continue;
    }
    std::span<const std::uint8_t> image;
    Line line = waitingLine(at, image);
    if (!image.empty()) keepFrame(line, image, progress);
    bytes += writeLine(line, std::span(text_).subspan(bytes));
    at += head.bytes;
    if (bytes > textBytes - longestLine) {
      write(bytes, at, progress);
      bytes = 0;
    }
  }
  write(bytes, at, progress);
}

// A frame that came before stands in the file already.
void Recorder::keepFrame(Line& line, std::span<const std::uint8_t> image, Progress& progress) {
  KnownFrame& known = known_[line.image.hash[0] % knownFrames];
  if (known.hash != line.image.hash || known.at >= progress.frameBytes) {
    append(frames_.get(), image.data(), image.size());
    known = {line.image.hash, progress.frameBytes};
    progress.frameBytes += image.size();
  }
  line.image.isKept = true;
  line.image.at = known.at;
}

void Recorder::write(std::size_t bytes, std::uint64_t taken, Progress& progress) {
  if (bytes != 0) append(lines_.get(), text_.data(), bytes);
  progress.taken = taken;
  progress.lineBytes += bytes;
  const unsigned next = 1 - current_.load();
  progress_[next] = progress;
  current_.store(next);
  taken_.store(taken);
}

void Recorder::writeEnd() {
  Line line;
  line.call = Call::lost;
  line.a = static_cast<std::uint32_t>(std::min<std::uint64_t>(lost_, 0xFFFFFFFF));
  std::size_t bytes = lost_ != 0 ? writeLine(line, text_) : 0;
  line.call = Call::end;
  line.a = static_cast<std::uint32_t>(std::min<std::uint64_t>(count_, 0xFFFFFFFF));
  line.b = static_cast<std::uint32_t>(std::min<std::uint64_t>(allLost_, 0xFFFFFFFF));
  bytes += writeLine(line, std::span(text_).subspan(bytes));
  append(lines_.get(), text_.data(), bytes);
}

void Recorder::finish() {
  const std::lock_guard lock(adding_);
  if (finished_.exchange(true)) return;
  bringLines();
  writeEnd();
}

void Recorder::finishAtExit() noexcept {
  if (finished_) return;
  const Progress& progress = progress_[current_.load()];
  cutBack(lines_.get(), progress.lineBytes);
  if (frames_) cutBack(frames_.get(), progress.frameBytes);
  finished_ = true;
  bringLines();
  writeEnd();
}

}  // namespace sim::record
