// The board that is served. Everything here is done on one thread, that of the commands.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/board/Board.h"
#include "cli/board/Registers.h"
#include "cli/frames/Picture.h"
#include "cli/serve/board/CaptureLoop.h"
#include "cli/serve/board/Facts.h"

namespace cli::serve {

struct BoardOptions {
  std::uint32_t type = 0;
  std::uint32_t index = 0;
  std::string registers;  // the text of a register-setting file; empty for none
  CapParam parameters{};
  PictureOptions picture;
};

// Registers of the sensor or the board, as a request names them.
struct RegisterPlace {
  bool isOnBoard = false;
  std::optional<std::uint32_t> slave;  // of the register-setting file when not given
  std::uint32_t mode = KVEXA_SLAVE7_SUB16;
  std::uint32_t address = 0;
};

// Switches that a request names.
struct SwitchSetting {
  std::optional<bool> v1;
  std::optional<bool> v2;
  std::optional<bool> clock;
  std::optional<bool> reset;
};

class LiveBoard {
 public:
  LiveBoard(const BoardOptions& options, CaptureLoop& capture, FrameSlot& slot, FactStore& facts);
  ~LiveBoard();
  LiveBoard(const LiveBoard&) = delete;
  LiveBoard& operator=(const LiveBoard&) = delete;

  // About once a second: opens a board that is plugged in, notices one that is pulled out.
  void look();

  // The capture stopped and the module powered down, whatever fails on the way.
  void shutDown();

  // These throw Failure or Problem.
  void power(bool on);
  void setSwitches(const SwitchSetting& setting);
  void setLines(std::uint32_t out);
  void startCapture();
  void stopCapture();
  void captureOne();  // while no capture runs
  void abortEverything();
  Json boards();
  Json readRegisters(const RegisterPlace& place, std::uint32_t count);
  Json writeRegisters(const RegisterPlace& place, const std::vector<std::uint32_t>& values);
  Json parameters() const;
  Json setParameters(const CapParam& parameters, bool isApplied);
  const CapParam& current() const { return parameters_; }
  const FrameShape& capturedShape() const;  // of the frames that come; throws Problem when none do
  Json takeRegisterFile(const std::string& text, bool isPlayed);
  Json takeParameterFile(const std::string& text, bool isApplied);

  // A capture that ended by itself.
  void captureEnded(const std::exception_ptr& failure);

 private:
  const Board& board() const;  // throws Problem when none is connected
  void connect();
  void disconnect(const Problem& reason);
  void refresh();
  void readFacts();
  void lookAtDrops();
  void store(const std::optional<Problem>& error);
  void makeReady();
  void play(const std::string& path);
  void playRegisters();
  std::exception_ptr exchangeParameters(const CapParam& parameters);
  void program(const CapParam& parameters);
  void findShape();
  const std::shared_ptr<const FrameShape>& shape() const;  // throws Failure when the parameters have no size
  RegisterAccess access(const RegisterPlace& place) const;
  std::uint32_t usualSlave() const;
  static Json frameOf(const CapParam& parameters);

  BoardOptions options_;
  CaptureLoop& capture_;
  FrameSlot& slot_;
  FactStore& store_;
  Facts facts_;
  Output output_;
  std::optional<Board> board_;
  CapParam parameters_;
  std::shared_ptr<const FrameShape> shape_;  // null when the parameters have no size
  std::string registers_;
  bool wasLost_ = false;  // it was there, and then did not answer
  bool isSetUp_ = false;  // the register-setting file was played since the module was powered up
};

}  // namespace cli::serve
