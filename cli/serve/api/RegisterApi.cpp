// Registers, parameters and their files.
#include <array>

#include "cli/serve/api/Body.h"
#include "cli/serve/api/Routes.h"
#include "files/CapParamReader.h"

namespace cli::serve {

namespace {

constexpr std::string_view targets[] = {"sensor", "board"};
constexpr std::uint32_t largestAddress = 0xFFFF;
constexpr std::uint32_t largestSlave7 = 0x7F;
constexpr std::uint32_t largestSlave = 0x7FFF;
constexpr std::uint32_t mostRegisters = 4096;

std::vector<std::string_view> modeWords() {
  std::vector<std::string_view> words;
  for (const Choice& each : addressModeWords()) words.push_back(each.name);
  return words;
}

std::uint32_t modeOf(const std::optional<std::string>& word) {
  if (!word) return KVEXA_SLAVE7_SUB16;
  for (const Choice& each : addressModeWords()) {
    if (each.name == *word) return each.value;
  }
  return KVEXA_SLAVE7_SUB16;
}

// From a query or an object alike.
template <class Source>
RegisterPlace placeOf(Source& source) {
  RegisterPlace place;
  const auto words = modeWords();
  place.isOnBoard = needed(source.word("target", targets), "target") == "board";
  place.mode = modeOf(source.word("mode", words));
  place.address = static_cast<std::uint32_t>(needed(source.number("address", 0, largestAddress), "address"));
  const bool isShort = place.mode <= KVEXA_SLAVE7_NO_SUB;
  const auto slave = source.number("slave", 0, isShort ? largestSlave7 : largestSlave);
  if (slave) place.slave = static_cast<std::uint32_t>(*slave);
  return place;
}

// The parameters that an object names, and the others as they were.
CapParam changed(CapParam parameters, const Json& object) {
  Members members(object, "parameters");
  for (const auto& key : kvexa::files::capParamKeys) {
    const auto value = members.number(std::string(key.name), 0, 0xFFFF);
    if (value) parameters.*key.field = static_cast<std::uint16_t>(*value);
  }
  members.end();
  return parameters;
}

}  // namespace

asio::awaitable<Answer> getRegisters(Parts& parts, Request request) {
  Query query(request.query);
  const RegisterPlace place = placeOf(query);
  const auto count = static_cast<std::uint32_t>(query.number("count", 1, mostRegisters).value_or(1));
  query.end();
  const Parts::Work work = [place, count](LiveBoard& board) { return board.readRegisters(place, count); };
  const Json answer = co_await parts.onBoard(work);
  co_return answerOf(answer);
}

asio::awaitable<Answer> putRegisters(Parts& parts, Request request) {
  Query(request.query).end();
  const Json body = parseJson(request.body);
  Members members(body);
  const RegisterPlace place = placeOf(members);
  const std::vector<std::uint32_t> values = needed(members.numbers("values", mostRegisters), "values");
  members.end();
  const Parts::Work work = [place, values](LiveBoard& board) { return board.writeRegisters(place, values); };
  const Json answer = co_await parts.onBoard(work);
  co_return answerOf(answer);
}

asio::awaitable<Answer> postRegisterFile(Parts& parts, Request request) {
  Query query(request.query);
  const bool isPlayed = query.flag("play").value_or(false);
  query.end();
  const std::string text = request.body;
  const Parts::Work work = [text, isPlayed](LiveBoard& board) {
    return board.takeRegisterFile(text, isPlayed);
  };
  const Json answer = co_await parts.onBoard(work);
  co_return answerOf(answer);
}

asio::awaitable<Answer> postParameterFile(Parts& parts, Request request) {
  Query query(request.query);
  const bool isApplied = query.flag("apply").value_or(false);
  query.end();
  const std::string text = request.body;
  const Parts::Work work = [text, isApplied](LiveBoard& board) {
    return board.takeParameterFile(text, isApplied);
  };
  const Json answer = co_await parts.onBoard(work);
  co_return answerOf(answer);
}

asio::awaitable<Answer> getParameters(Parts& parts, Request request) {
  Query(request.query).end();
  const Parts::Work work = [](LiveBoard& board) { return board.parameters(); };
  const Json answer = co_await parts.onBoard(work);
  co_return answerOf(answer);
}

asio::awaitable<Answer> putParameters(Parts& parts, Request request) {
  Query(request.query).end();
  const Json body = parseJson(request.body);
  Members members(body);
  const Json* const given = members.any("parameters");
  if (given == nullptr) throw Problem(422, "missing", "is needed: parameters", "parameters");
  const Json object = *given;
  const bool isApplied = members.flag("apply").value_or(false);
  members.end();
  changed({}, object);  // what is wrong with it is told before its turn has come
  const Parts::Work work = [object, isApplied](LiveBoard& board) {
    return board.setParameters(changed(board.current(), object), isApplied);
  };
  const Json answer = co_await parts.onBoard(work);
  co_return answerOf(answer);
}

}  // namespace cli::serve
