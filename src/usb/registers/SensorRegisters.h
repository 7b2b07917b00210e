// Registers of the sensor, or of any device on the board's I2C bus, the way of the exported functions:
// no waiting between request and answer.
#pragma once

#include <windows.h>

#include <cstdint>

#include "kvexa.h"

namespace kvexa::usb {

std::int32_t readSensor(HANDLE driver, std::uint32_t slave, std::uint32_t subAddress, std::uint32_t mode,
                        std::uint32_t count, std::uint32_t* words);
std::int32_t writeSensor(HANDLE driver, std::uint32_t slave, std::uint32_t subAddress, std::uint32_t mode,
                         std::uint32_t count, const std::uint32_t* words);
std::int32_t writeBatch(HANDLE driver, RegisterBatch* batch);

}  // namespace kvexa::usb
