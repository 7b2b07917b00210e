// Ends that leave little time: the console is closed, the user logs off, the computer shuts down. Windows
// ends the process when its handler returns, so the handler waits for the server.
#pragma once

#include <windows.h>

namespace cli::serve {

// One at a time.
class Ending {
 public:
  Ending();
  ~Ending();
  Ending(const Ending&) = delete;
  Ending& operator=(const Ending&) = delete;

  HANDLE event() const { return wanted_; }

 private:
  HANDLE wanted_;
  HANDLE done_;
};

}  // namespace cli::serve
