// A recording on disk.
#pragma once

#include <memory>
#include <string>

#include "sim/record/format/RecordingReader.h"

namespace cli::trace {

class RecordingFile {
 public:
  // The path in UTF-8. Throws sim::record::RecordingError.
  explicit RecordingFile(const std::string& path);

  // Reads from the beginning; one reader at a time.
  sim::record::RecordingReader reader() const;

 private:
  struct Closer {
    using pointer = void*;
    void operator()(void* file) const;
  };
  std::string path_;
  std::unique_ptr<void, Closer> file_;
};

}  // namespace cli::trace
