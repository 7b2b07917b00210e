#include "sim/pcie/Protocol.h"

#include <algorithm>
#include <array>

namespace sim::pcie {

namespace {

constexpr std::uint32_t sensorBlockWords = Word::blockData + blockWords;
constexpr std::uint32_t lutBlockWords = Word::lutData + blockWords;
static_assert(sensorBlockWords * 4 == 16420 && lutBlockWords * 4 == 16392);

constexpr std::array<Shape, 15> shapes{{
    {Request::readRegister, "readRegister", 3, false, 3, {}, Word::registerValue, 1},
    {Request::writeRegister, "writeRegister", 3, false, 3, {}},
    {Request::lockMemory, "lockMemory", 3, false, 3, {}},
    {Request::unlockMemory, "unlockMemory", 3, false, 3, {}},
    {Request::capture, "capture", 7, true, 7, {}},
    {Request::stop, "stop", 1, false, 1, {}},
    {Request::writeSensor, "writeSensor", 5, false, 5, {}},
    {Request::readSensor, "readSensor", 5, false, 5, {}, Word::wordData, 1},
    {Request::autoActual, "autoActual", 4, true, 4, {}, Word::measuredWidth, 3},
    {Request::interval, "interval", 2, true, 2, {}},
    {Request::cancelInterval, "cancelInterval", 1, false, 1, {}},
    {Request::readBlock, "readBlock", sensorBlockWords, true, 9, {Word::blockCount, false}},
    {Request::writeBlock, "writeBlock", sensorBlockWords, true, 9, {Word::blockCount, true}},
    {Request::readLut, "readLut", lutBlockWords, false, 2, {Word::lutCount, false}},
    {Request::writeLut, "writeLut", lutBlockWords, false, 2, {Word::lutCount, true}},
}};

}  // namespace

const Shape* findShape(std::uint32_t code) {
  const auto* const found = std::ranges::find_if(
      shapes, [code](const Shape& each) { return static_cast<std::uint32_t>(each.request) == code; });
  return found == shapes.end() ? nullptr : found;
}

}  // namespace sim::pcie
