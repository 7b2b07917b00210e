// A trace file that several processes may write at a time.
#pragma once

#include <stdexcept>
#include <string>

namespace sim {

struct TraceError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class TraceFile {
 public:
  // Appends to the file, named in UTF-8, which is made when it is not there. Throws TraceError when it cannot
  // be written.
  explicit TraceFile(const std::string& path);
  ~TraceFile();
  TraceFile(const TraceFile&) = delete;
  TraceFile& operator=(const TraceFile&) = delete;

  // In one piece, so that lines of several processes do not mix, and a process that is ended leaves whole
  // lines.
  void write(const std::string& line);

 private:
  void* file_;
};

}  // namespace sim
