// A table played into a simulated board.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/files/RegisterTable.h"
#include "tests/files/TemporaryFolder.h"
#include "tests/support/BoardFixture.h"

namespace kvexa::test {

class RegisterPlayFixture : public BoardFixture {
 protected:
  // Plays the lines, the header first.
  std::int32_t play(const std::vector<SettingLine>& lines) {
    fill(lines);
    return kUsbBufToReg(handle.driverHandle, entries(), static_cast<std::uint32_t>(lines.size()));
  }

  // Plays them on a board that reports no error, and gives what it received.
  std::string played(const std::vector<SettingLine>& lines) {
    board.queueStatus(0);
    EXPECT_EQ(KVEXA_OK, play(lines));
    return trace();
  }

  // The same through a file.
  std::int32_t playFile(const std::string& content) {
    return kVexaSetI2cFile(folder_.write("sensor.txt", content).c_str(), &handle);
  }

  void fill(const std::vector<SettingLine>& lines) { table_ = expectedTable(lines); }

  RegisterTableEntry* entries() { return reinterpret_cast<RegisterTableEntry*>(table_.data()); }

  TemporaryFolder folder_;

 private:
  std::vector<std::uint8_t> table_ = expectedTable({});
};

// What follows the last packet of so many lines: the pause, and one look at the status.
inline std::string playEnd(unsigned lineCount) { return sleep(lineCount) + statusReading(); }

}  // namespace kvexa::test
