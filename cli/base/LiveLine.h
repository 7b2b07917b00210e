// One line on standard output that shows progress: rewritten in place on a terminal, a new line every
// second elsewhere, an object a second in JSON.
#pragma once

#include <cstdint>
#include <string>

#include "cli/base/Output.h"

namespace cli {

class LiveLine {
 public:
  explicit LiveLine(Output& output);

  // Ends the line, so that what comes next starts on one of its own.
  ~LiveLine();
  LiveLine(const LiveLine&) = delete;
  LiveLine& operator=(const LiveLine&) = delete;

  // Whether it is time to show something new; asked first, as finding out what may cost something.
  bool isDue() const;
  // The object that JSON shows holds what was put into the output.
  void show(const std::string& text);

  // The last text, which stays.
  void finish(const std::string& text);

 private:
  void print(const std::string& text);

  Output& output_;
  bool terminal_;
  bool open_ = false;
  std::size_t shown_ = 0;  // characters of the line that is shown
  std::uint64_t last_ = 0;
};

}  // namespace cli
