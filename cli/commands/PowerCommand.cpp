// kvexa power, clock and reset: the module's supplies and signals.
#include <cmath>
#include <memory>

#include "cli/base/Failure.h"
#include "cli/board/Board.h"
#include "cli/board/BoardFacts.h"
#include "cli/commands/Commands.h"
#include "cli/files/NumberFile.h"

namespace cli {

namespace {

constexpr std::size_t stepNumbers = 6;
constexpr std::size_t mostSteps = std::size(PowerSequence{}.steps);
constexpr double mostDelay = 600000;  // milliseconds

// What is switched stays as it is when the command ends: that is what it is for.
void powerOn(Context& context) {
  const Board board(context);
  board.powerUp();
  tellSupplies(board);
}

void powerOff(Context& context) {
  const Board board(context);
  board.powerDown();
  tellSupplies(board);
}

Action switching(const char* call, std::int32_t(KVEXA_CALL* function)(const BoardHandle*)) {
  return [call, function](Context& context) {
    const Board board(context);
    board.step(call, function(board.handle()));
    tellSupplies(board);
  };
}

std::uint32_t switchWord(const std::string& path, const FileNumber& number) {
  if (number.value == 0 || number.value == 1) return number.value == 1 ? 1 : 0;
  throw Failure(path + ": line " + std::to_string(number.line) + ": a switch is 0 or 1");
}

PowerSequence readSequence(const std::string& path) {
  const auto numbers = readNumbers(path);
  if (numbers.empty() || numbers.size() % stepNumbers != 0) {
    throw Failure(path + ": holds " + std::to_string(numbers.size()) +
                  " numbers; a step is V1 V2 RESET CLOCK I2C and a pause in milliseconds");
  }
  if (numbers.size() / stepNumbers > mostSteps) {
    throw Failure(path + ": has more than " + std::to_string(mostSteps) + " steps");
  }
  PowerSequence sequence{};
  for (std::size_t i = 0; i < numbers.size(); i += stepNumbers) {
    const FileNumber& delay = numbers[i + 5];
    if (delay.value < 0 || delay.value > mostDelay || delay.value != std::floor(delay.value)) {
      throw Failure(path + ": line " + std::to_string(delay.line) +
                    ": a pause is a whole number of milliseconds, at most 600000");
    }
    sequence.steps[sequence.stepCount++] = {
        switchWord(path, numbers[i]),     switchWord(path, numbers[i + 1]),
        switchWord(path, numbers[i + 2]), switchWord(path, numbers[i + 3]),
        switchWord(path, numbers[i + 4]), static_cast<std::uint32_t>(delay.value)};
  }
  return sequence;
}

// A sequence that does not come to its end leaves no supply on. A USB board does not tell that it did not:
// that the supplies cannot be read does.
class Unfinished {
 public:
  explicit Unfinished(const Board& board) : board_(board) {}
  ~Unfinished() {
    if (isDone_) return;
    try {
      board_.powerDown();
    } catch (const CallFailure&) {
      // The command fails already, with the reason of that.
    }
  }
  Unfinished(const Unfinished&) = delete;
  Unfinished& operator=(const Unfinished&) = delete;

  void done() { isDone_ = true; }

 private:
  const Board& board_;
  bool isDone_ = false;
};

void playSequence(Context& context, const std::string& path) {
  const PowerSequence sequence = readSequence(path);
  const Board board(context);
  Unfinished unfinished(board);
  board.step("kVexaPowerControl", kVexaPowerControl(board.handle(), &sequence));
  context.interrupt->check();
  context.output.put("steps", sequence.stepCount);
  tellSupplies(board);
  unfinished.done();
}

}  // namespace

Action powerOnCommand(Options& /*options*/) { return powerOn; }
Action powerOffCommand(Options& /*options*/) { return powerOff; }
Action clockOnCommand(Options& /*options*/) { return switching("kVexaClockOn", kVexaClockOn); }
Action clockOffCommand(Options& /*options*/) { return switching("kVexaClockOff", kVexaClockOff); }
Action resetOnCommand(Options& /*options*/) { return switching("kVexaResetOn", kVexaResetOn); }
Action resetOffCommand(Options& /*options*/) { return switching("kVexaResetOff", kVexaResetOff); }

Action powerSequenceCommand(Options& options) {
  const auto file = std::make_shared<std::string>();
  options
      .text("FILE", *file, "a step a line: V1 V2 RESET CLOCK I2C (0 or 1 each) and a pause in milliseconds")
      .required();
  return [file](Context& context) { playSequence(context, *file); };
}

}  // namespace cli
