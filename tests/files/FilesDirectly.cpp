#include <cstdio>
#include <memory>
#include <stdexcept>

#include "files/CapParamReader.h"
#include "files/FrameSize.h"
#include "files/RegisterSettingReader.h"
#include "tests/files/FilesUnderTest.h"

namespace kvexa::test::undertest {
namespace {

struct Close {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

using File = std::unique_ptr<std::FILE, Close>;

File fileOf(const std::string& content) {
  File file(std::tmpfile());
  if (!file || std::fwrite(content.data(), 1, content.size(), file.get()) != content.size()) {
    throw std::runtime_error("no temporary file");
  }
  std::rewind(file.get());
  return file;
}

}  // namespace

std::int32_t readCapParam(const std::string& content, CapParam& param) {
  return files::readCapParam(fileOf(content).get(), param);
}

std::int32_t readRegisterTable(const std::string& content, RegisterTableEntry* table,
                               std::uint32_t& lineCount) {
  return files::readRegisterTable(fileOf(content).get(), table, lineCount);
}

std::uint32_t calcFrameSize(const CapParam& param, std::uint32_t alignment) {
  return files::roughFrameSize(param, alignment);
}

// The pointers are the export's affair; the tests of them are about this function then.
std::int32_t calcFrameSizeEx(const CapParam* param, std::uint32_t* frameBytes, std::uint32_t* bytesPerUnit,
                             std::uint32_t* width, std::uint32_t* height, std::uint32_t alignment) {
  for (const void* pointer : {static_cast<const void*>(param), static_cast<const void*>(frameBytes),
                              static_cast<const void*>(bytesPerUnit), static_cast<const void*>(width),
                              static_cast<const void*>(height)}) {
    if (pointer == nullptr) return KVEXA_BAD_ARGUMENT;
  }
  const auto size = files::frameSize(*param, alignment);
  if (!size) return KVEXA_BAD_ARGUMENT;
  *frameBytes = size->bytes;
  *bytesPerUnit = size->bytesPerUnit;
  *width = size->width;
  *height = size->height;
  return KVEXA_OK;
}

}  // namespace kvexa::test::undertest
