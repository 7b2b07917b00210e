// Finds the recorded answers to the calls of a program.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sim/base/Clock.h"
#include "sim/base/NativeLock.h"
#include "sim/record/format/ThreadNumbers.h"
#include "sim/record/replay/Outcome.h"
#include "sim/record/replay/Repetition.h"
#include "sim/record/replay/Script.h"
#include "sim/record/replay/Turns.h"

namespace sim::record {

// A recorded answer. The line's bytes are in its memory.
struct Reply {
  LineMemory memory;
  Line line;
  std::uint32_t step = 0;
  Microseconds asked = 0;
  bool isRepeated = false;  // the thread goes through a loop once more than it did
};

class Replay {
 public:
  struct Options {
    bool isLenient = false;
    // Answers take as long as they took, by this clock; null: no time. A clock of simulated time is moved on.
    std::shared_ptr<Clock> clock;
    // Hears in words what the program did that the recording does not have. The call fails then, if it comes
    // back.
    std::function<void(const std::string& report)> depart;
    // Milliseconds without anything happening after which a thread no longer waits for the others: less than
    // the library waits for a driver that it has told to stop.
    std::uint32_t patience = 600;
    // Of lenient replays; may be null.
    std::shared_ptr<Outcome> outcome;
  };

  Replay(std::shared_ptr<const Script> script, Options options);

  const Script& script() const { return *script_; }

  // The answer to what the calling thread asks; null when there is none. When its turn comes: see finish.
  std::unique_ptr<Reply> take(Line& asked);

  // Comes when the answer is where it belongs: lets its time pass, and waits for what comes before the
  // thread's next call.
  void finish(const Reply& reply);

  // The calling thread sets an event, begins a thread or a wait: waits for its turn, and comes again when it
  // has done so. Null when the recording does not have it.
  const Step* beginMark(Call call);
  void endMark(const Step* step);

  // The calling thread ends: nobody waits for what it has left out.
  void endThread();

  // For completions: waits until everything before has happened, unless the count leaves the given one first;
  // and that it has happened.
  bool awaitTurn(const Step& step, const std::atomic<std::uint32_t>& count, std::uint32_t seen);
  void look() { turns_.look(); }
  void noteDone(const Step& step);
  void noteAnswer(const Line& answer);
  bool isLenient() const { return options_.isLenient; }
  void awaitTime(Microseconds asked, Microseconds passed);
  // How long it is until then; 0 without a clock, and by one of simulated time, which is moved on.
  Microseconds until(Microseconds moment) const;
  Microseconds now() const { return options_.clock != nullptr ? options_.clock->now() : 0; }

  // What the program left out at its end; empty when it did all, or need not.
  std::string leftOver() const;

  // What a lenient replay had to do without; empty when all was as recorded.
  std::string remarks() const;

 private:
  // Where a thread, or in lenient replays a board, stands.
  struct Place {
    std::vector<std::uint32_t> steps;
    std::size_t at = 0;
    std::uint32_t last = 0;  // step + 1 that was answered last
    // Of threads: the steps that are no marks, which of them comes next, and how often loops were gone
    // through once more since the last one.
    std::vector<AskedCall> calls;
    std::size_t next = 0;
    unsigned repeated = 0;
    bool isTaken = false;
  };

  std::unique_ptr<Reply> takeStrictly(Line& asked);
  std::unique_ptr<Reply> takeLeniently(Line& asked);
  std::unique_ptr<Reply> replyOfLane(std::size_t lane, const Line& asked);
  Place placeOf(std::uint32_t thread) const;
  Place* placeOfThread(const Line& asked);
  Place* newPlace(const Line& asked);
  bool isQuestion(const Place& place, std::size_t call, const Line& asked) const;
  bool isAmongOthers(const Place& place, std::size_t call) const;
  std::unique_ptr<Reply> nextReply(Place& place, std::size_t call);
  std::unique_ptr<Reply> replyOfLoop(Place& place, const Line& asked);
  std::unique_ptr<Reply> replyWithoutFrame();
  void passOver(Place& place, std::size_t end);
  const Step* takeMark(Call call);
  void expect(const Place& place);
  std::size_t likest(const Place& place, const Line& asked, std::size_t from, std::size_t to);
  std::unique_ptr<Reply> replyOf(std::uint32_t step) const;
  std::string report(const Place* place, const Line& asked);
  std::string whereElse(const Line& asked, std::uint32_t expected);

  std::shared_ptr<const Script> script_;
  Options options_;
  Turns turns_;
  ThreadNumbers threads_;

  mutable NativeLock lock_;
  std::vector<Place> places_;  // by thread, or by lane
  std::vector<BoardName> lanes_;
  unsigned withoutFrame_ = 0;
  std::size_t skipped_ = 0;
  std::size_t likened_ = 0;
  std::string firstRemark_;
};

}  // namespace sim::record
