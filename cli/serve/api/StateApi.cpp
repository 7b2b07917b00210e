// What the board is, and its switches.
#include <kvexa.h>

#include "cli/base/Output.h"
#include "cli/board/BoardFacts.h"
#include "cli/board/BoardNames.h"
#include "cli/serve/api/Body.h"
#include "cli/serve/api/Routes.h"
#include "cli/serve/http/Page.h"
#include "convert/vector/InstructionSet.h"

namespace cli::serve {

namespace {

constexpr std::string_view onOff[] = {"on", "off"};
constexpr std::string_view wheelActions[] = {"take", "ask", "give"};
constexpr std::size_t longestName = 64;

// The answer of commands that change the board.
asio::awaitable<Answer> stateAfter(Parts& parts, const std::string& client, const Parts::Work& work,
                                   bool isUrgent = false) {
  co_await parts.onBoard(work, isUrgent);
  parts.tellChange();
  co_return answerOf(parts.stateFor(client));
}

}  // namespace

asio::awaitable<Answer> getDescription(Parts& /*parts*/, Request request) {
  Query(request.query).end();
  Answer answer;
  answer.type = "application/json";
  answer.text = interfaceDescription();
  co_return answer;
}

asio::awaitable<Answer> getServer(Parts& parts, Request request) {
  Query(request.query).end();
  const std::string version =
      format("%d.%d.%d", KVEXA_VERSION_MAJOR, KVEXA_VERSION_MINOR, KVEXA_VERSION_PATCH);
  co_return answerOf(Json{{"version", version},
                          {"library", version},
                          {"instructionSet", kvexa::convert::nameOf(kvexa::convert::chosenInstructionSet())},
                          {"simulated", parts.options().isSimulated},
                          {"page", "/"}});
}

asio::awaitable<Answer> getBoards(Parts& parts, Request request) {
  Query(request.query).end();
  const Parts::Work work = [](LiveBoard& board) { return board.boards(); };
  const Json boards = co_await parts.onBoard(work);
  co_return answerOf(boards);
}

asio::awaitable<Answer> getState(Parts& parts, Request request) {
  Query(request.query).end();
  co_return answerOf(parts.stateFor(request.client));
}

asio::awaitable<Answer> postPower(Parts& parts, Request request) {
  Query(request.query).end();
  const Json body = parseJson(request.body);
  Members members(body);
  const bool isOn = needed(members.word("state", onOff), "state") == "on";
  members.end();
  const Parts::Work work = [isOn](LiveBoard& board) {
    board.power(isOn);
    return Json();
  };
  co_return co_await stateAfter(parts, request.client, work);
}

asio::awaitable<Answer> putSupplies(Parts& parts, Request request) {
  Query(request.query).end();
  const Json body = parseJson(request.body);
  Members members(body);
  const SwitchSetting setting{members.flag("v1"), members.flag("v2"), members.flag("clock"),
                              members.flag("reset")};
  members.end();
  const Parts::Work work = [setting](LiveBoard& board) {
    board.setSwitches(setting);
    return Json();
  };
  co_return co_await stateAfter(parts, request.client, work);
}

asio::awaitable<Answer> putLines(Parts& parts, Request request) {
  Query(request.query).end();
  const Json body = parseJson(request.body);
  Members members(body);
  const auto out = static_cast<std::uint32_t>(needed(members.number("out", 0, 0xFFFF), "out"));
  members.end();
  const Parts::Work work = [out](LiveBoard& board) {
    board.setLines(out);
    return Json();
  };
  co_return co_await stateAfter(parts, request.client, work);
}

asio::awaitable<Answer> postOff(Parts& parts, Request request) {
  Query(request.query).end();
  const Parts::Work work = [](LiveBoard& board) {
    board.abortEverything();
    return Json();
  };
  co_return co_await stateAfter(parts, request.client, work, true);
}

asio::awaitable<Answer> postWheel(Parts& parts, Request request) {
  Query(request.query).end();
  const Json body = parseJson(request.body);
  Members members(body);
  const std::string action = needed(members.word("action", wheelActions), "action");
  const std::optional<std::string> name = members.text("name", longestName);
  members.end();
  Wheel& wheel = parts.wheel();
  if (action == "take") wheel.take(request.client, name);
  if (action == "ask") wheel.ask(request.client, name);
  if (action == "give") wheel.give(request.client);
  parts.tellChange();
  co_return answerOf(parts.stateFor(request.client));
}

asio::awaitable<Answer> getTrace(Parts& parts, Request request) {
  Query query(request.query);
  const std::uint64_t after = query.number("after", 0, UINT64_MAX).value_or(0);
  query.end();
  co_return answerOf(parts.trace().after(after));
}

Json Parts::stateFor(const std::string& client) const {
  const Facts facts = facts_.get();
  const CaptureCounts counts = capture_.counts();
  Json board{{"type", typeName(options_.board.type)},
             {"index", options_.board.index},
             {"connected", facts.isConnected}};
  for (const char* const each : {"fpga", "firmware", "driver"}) {
    board[each] = facts.versions.contains(each) ? facts.versions.at(each) : Json();
  }
  Json capture{{"running", facts.isRunning}};
  capture.update(facts.shape);
  capture["frames"] = counts.frames;
  capture["lost"] = counts.lost;
  capture["failed"] = counts.failed;
  capture["rate"] = counts.rate;
  capture["recording"] = recordings_.latest();
  return {{"board", board},
          {"supplies", facts.supplies},
          {"lines", facts.lines},
          {"capture", capture},
          {"wheel", wheel_->stateFor(client)},
          {"error", facts.error ? toJson(*facts.error) : Json()}};
}

}  // namespace cli::serve
