#include "tests/files/FilesUnderTest.h"
#include "tests/files/TemporaryFolder.h"

namespace kvexa::test::undertest {

std::int32_t readCapParam(const std::string& content, CapParam& param) {
  const TemporaryFolder folder;
  return kVexaGetCapFileParam(folder.write("capture.dat", content).c_str(), &param);
}

std::int32_t readRegisterTable(const std::string& content, RegisterTableEntry* table,
                               std::uint32_t& lineCount) {
  const TemporaryFolder folder;
  return kUsbIniFileToBuf(folder.write("registers.txt", content).c_str(), table, &lineCount);
}

std::uint32_t calcFrameSize(const CapParam& param, std::uint32_t alignment) {
  return kVexaCalcFrameSize(&param, alignment);
}

std::int32_t calcFrameSizeEx(const CapParam* param, std::uint32_t* frameBytes, std::uint32_t* bytesPerUnit,
                             std::uint32_t* width, std::uint32_t* height, std::uint32_t alignment) {
  return kVexaCalcFrameSizeEx(param, frameBytes, bytesPerUnit, width, height, alignment);
}

}  // namespace kvexa::test::undertest
