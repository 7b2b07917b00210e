#include "PcieProtocol.h"

#include <algorithm>
#include <array>

namespace sim {

namespace {

constexpr std::uint32_t sensorBlockWords = PcieWord::blockData + pcieBlockWords;
constexpr std::uint32_t lutBlockWords = PcieWord::lutData + pcieBlockWords;
static_assert(sensorBlockWords * 4 == 16420 && lutBlockWords * 4 == 16392);

constexpr std::array<PcieShape, 15> shapes{{
    {PcieRequest::readRegister, "readRegister", 3, false, 3, {}, PcieWord::registerValue, 1},
    {PcieRequest::writeRegister, "writeRegister", 3, false, 3, {}},
    {PcieRequest::lockMemory, "lockMemory", 3, false, 3, {}},
    {PcieRequest::unlockMemory, "unlockMemory", 3, false, 3, {}},
    {PcieRequest::capture, "capture", 7, true, 7, {}},
    {PcieRequest::stop, "stop", 1, false, 1, {}},
    {PcieRequest::writeSensor, "writeSensor", 5, false, 5, {}},
    {PcieRequest::readSensor, "readSensor", 5, false, 5, {}, PcieWord::wordData, 1},
    {PcieRequest::autoActual, "autoActual", 4, true, 4, {}, PcieWord::measuredWidth, 3},
    {PcieRequest::interval, "interval", 2, true, 2, {}},
    {PcieRequest::cancelInterval, "cancelInterval", 1, false, 1, {}},
    {PcieRequest::readBlock, "readBlock", sensorBlockWords, true, 9, {PcieWord::blockCount, false}},
    {PcieRequest::writeBlock, "writeBlock", sensorBlockWords, true, 9, {PcieWord::blockCount, true}},
    {PcieRequest::readLut, "readLut", lutBlockWords, false, 2, {PcieWord::lutCount, false}},
    {PcieRequest::writeLut, "writeLut", lutBlockWords, false, 2, {PcieWord::lutCount, true}},
}};

}  // namespace

const PcieShape* findPcieShape(std::uint32_t code) {
  const auto* const found = std::ranges::find_if(
      shapes, [code](const PcieShape& each) { return static_cast<std::uint32_t>(each.request) == code; });
  return found == shapes.end() ? nullptr : found;
}

}  // namespace sim
