// Registers of the sensor on the PCIe board, the I2C bus' settings, and the debug look-up table.
#pragma once

#include <windows.h>

#include <cstdint>

namespace kvexa::pcie {

std::int32_t readSensorBlock(HANDLE driver, std::uint32_t slave, std::uint32_t address, std::uint32_t mode,
                             std::uint32_t count, std::uint32_t* words);
std::int32_t writeSensorBlock(HANDLE driver, std::uint32_t slave, std::uint32_t address, std::uint32_t mode,
                              std::uint32_t count, const std::uint32_t* words);

// Word by word, every one from or to the same register.
std::int32_t readSensorWords(HANDLE driver, std::uint32_t slave, std::uint32_t address, std::uint32_t mode,
                             std::uint32_t count, std::uint32_t* words);
std::int32_t writeSensorWords(HANDLE driver, std::uint32_t slave, std::uint32_t address, std::uint32_t mode,
                              std::uint32_t count, const std::uint32_t* words);

std::int32_t playRegisterFile(HANDLE driver, const char* path);

std::int32_t setI2cSpeed(HANDLE driver, std::uint32_t speed);
std::int32_t setAcknowledgeWait(HANDLE driver, std::uint32_t time);

std::int32_t writeLut(HANDLE driver, std::uint32_t count, const std::uint32_t* words);
std::int32_t readLut(HANDLE driver, std::uint32_t count, std::uint32_t* words);

}  // namespace kvexa::pcie
