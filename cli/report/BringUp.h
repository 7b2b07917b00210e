// A module brought up from the first supply to the last frame, with everything that is found on the way.
#pragma once

#include <string>

#include "cli/board/Command.h"
#include "cli/frames/FrameFiles.h"
#include "cli/frames/FrameSetup.h"
#include "cli/frames/Picture.h"
#include "cli/report/FrameStatistics.h"

namespace cli {

struct ReportOptions {
  std::string registers;
  std::string parameters;
  std::string output;  // the page
  std::string module;
  std::string note;
  std::string date;
  std::string samples;  // name of the frames' own files, with a '#'; empty for none
  std::uint32_t frames = 8;
  std::uint32_t timeout = 1000;  // milliseconds for a frame
  std::string edge = "find";
  PictureOptions picture;
};

class BringUp {
 public:
  // Reads the files of the sensor. Every step and every finding goes into `found`. Throws Failure.
  BringUp(const Context& context, const ReportOptions& options, Output& found);

  // Powers the module down at its end, whatever that is. What was found before a Failure stays.
  void run();

  // Whether there was a board to speak of.
  bool isOpen() const { return isOpen_; }

  // Of the frames that came.
  void tellStatistics() { statistics_.tell(found_); }

  // Of the first frame; of no size when there is none.
  const kvexa::Image& picture() const { return picture_; }

 private:
  void tellFiles();
  void tellWrites(const Board& board);
  void measure(const Board& board);
  void takeFrames(const Board& board);
  void tellRate(const Board& board);

  const Context& context_;
  const ReportOptions& options_;
  Output& found_;
  CapParam parameters_;
  FrameLayout layout_;
  PictureMaker maker_;
  FrameWriter writer_;
  FrameStatistics statistics_;
  std::optional<FrameFiles> files_;
  kvexa::Image picture_{0, 0};
  bool isOpen_ = false;
  double start_ = 0;
  unsigned rates_ = 0;
};

}  // namespace cli
