#include "usb/registers/TargetWords.h"

#include <algorithm>
#include <array>

#include "kvexa.h"
#include "usb/link/CommandTurn.h"
#include "usb/link/Status.h"
#include "usb/link/Transport.h"
#include "usb/registers/RegisterPacket.h"

namespace kvexa::usb {

namespace {

constexpr std::size_t headerBytes = 5;
using Packet = std::array<std::uint8_t, headerBytes + targetWordBytes>;

PacketHeader headerFor(Direction direction, Target target) {
  const RegisterAddress address{KVEXA_SLAVE7_SUB8, boardTarget, static_cast<std::uint32_t>(target)};
  return *buildHeader(Framing::prefixed, direction, address, targetWordBytes);
}

}  // namespace

std::int32_t readTarget(Link link, Target target, std::uint32_t& value) {
  const CommandTurn turn(link);
  Packet answer{};
  std::int32_t result = send(turn.driver(), Pipe::command, headerFor(Direction::read, target).whole());
  if (result == KVEXA_OK) result = receive(turn.driver(), Pipe::registerData, answer);
  unpackWords(boardTarget, std::span(answer).subspan<headerBytes>(), &value);
  return checkedResult(turn.driver(), result);
}

std::int32_t writeTarget(Link link, Target target, std::uint32_t value) {
  const CommandTurn turn(link);
  Packet packet{};
  std::ranges::copy(headerFor(Direction::write, target).whole(), packet.begin());
  packWords(boardTarget, &value, std::span(packet).subspan<headerBytes>());
  return checkedResult(turn.driver(), send(turn.driver(), Pipe::command, packet));
}

}  // namespace kvexa::usb
