// Writes a recording: calls leave their lines in memory, and a thread of its own brings them into the file.
#pragma once

#include <windows.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "sim/base/NativeLock.h"
#include "sim/record/format/Line.h"

namespace sim::record {

struct RecorderError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class Recorder {
 public:
  enum class Writing { byItself, onDemand };

  struct Options {
    std::string path;     // in UTF-8; what is there is overwritten
    bool frames = false;  // image data whole, in a file beside it
    bool isSimulated = false;
    bool isSimulatedTime = false;
    std::size_t memory = 0;  // bytes of lines that wait to be written; 0: enough for what is recorded
    Writing writing = Writing::byItself;
  };

  // Throws RecorderError when a file cannot be made.
  explicit Recorder(const Options& options);

  // Writes what is left, and the last line.
  ~Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  bool keepsFrames() const { return frames_ != nullptr; }

  // The order of a begin. Ends take theirs when their line is added.
  std::uint64_t begin();

  // Completes the line with its end and takes a copy of all that it refers to, with the image when the frames
  // are kept. Never waits for the file: without memory the line is lost, and counted.
  void add(Line& line, std::span<const std::uint8_t> image = {});

  // Writes what is left, and the last line; what is added later is not recorded. Once.
  void close();

  // Brings into the file what is there.
  void flush();

  // The same, and the last line, in a process that ends: no other thread runs any more, wherever it was
  // stopped.
  void finishAtExit() noexcept;

 private:
  struct Closer {
    using pointer = HANDLE;
    void operator()(HANDLE file) const { CloseHandle(file); }
  };
  using File = std::unique_ptr<void, Closer>;
  struct Freer {
    void operator()(std::uint8_t* memory) const { VirtualFree(memory, 0, MEM_RELEASE); }
  };

  // How far the files have come. Two of them in turn, so that one is whole whenever this process is ended.
  struct Progress {
    std::uint64_t taken = 0;  // of the waiting bytes
    std::uint64_t lineBytes = 0;
    std::uint64_t frameBytes = 0;
  };
  struct KnownFrame {
    std::array<std::uint32_t, 4> hash{};
    std::uint64_t at = 0;
  };

  static File make(const std::string& path);
  std::uint8_t* reserve(std::uint32_t bytes);
  bool addLocked(const Line& line, std::span<const std::uint8_t> image);
  void noteLost();
  void work();
  void bringLines();
  Line waitingLine(std::uint64_t at, std::span<const std::uint8_t>& image) const;
  void keepFrame(Line& line, std::span<const std::uint8_t> image, Progress& progress);
  void write(std::size_t textBytes, std::uint64_t taken, Progress& progress);
  void finish();
  void writeEnd();

  File lines_;
  File frames_;
  std::size_t capacity_;
  std::unique_ptr<std::uint8_t, Freer> waiting_;
  std::vector<char> text_;
  std::vector<KnownFrame> known_;

  NativeLock adding_;
  std::uint64_t order_ = 0;
  std::uint64_t lost_ = 0;  // since the last line
  std::uint64_t allLost_ = 0;
  std::uint64_t count_ = 0;
  std::atomic<std::uint64_t> added_ = 0;  // waiting bytes, ever
  std::atomic<std::uint64_t> taken_ = 0;  // as the progress says

  NativeLock writing_;
  std::array<Progress, 2> progress_;
  std::atomic<unsigned> current_ = 0;

  NativeLock sleeping_;
  NativeCondition wake_;
  bool ends_ = false;
  std::atomic<bool> finished_ = false;
  std::thread writer_;
};

}  // namespace sim::record
