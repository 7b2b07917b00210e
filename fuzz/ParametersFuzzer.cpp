// The capture-parameter reader: any bytes give a documented result, fields that no line names stay, and the
// frame sizes of whatever was read are computed without a fault.
#include <cstdlib>
#include <cstring>
#include <memory>

#include "MemoryFile.h"
#include "files/CapParamReader.h"
#include "files/FrameSize.h"

using namespace kvexa;

namespace {

constexpr unsigned char untouched = 0xA5;

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // On the heap, where the sanitizer watches both ends.
  const auto param = std::make_unique<CapParam>();
  std::memset(param.get(), untouched, sizeof *param);
  const fuzz::MemoryFile file = fuzz::openMemory(data, size);
  const std::int32_t result = files::readCapParam(file.get(), *param);
  require(result == KVEXA_OK || result == KVEXA_BAD_FILE || result == KVEXA_BAD_ARGUMENT);
  const std::string_view content(reinterpret_cast<const char*>(data), size);
  for (const auto& key : files::capParamKeys) {
    const bool isNamed = content.find(key.name) != std::string_view::npos;
    require(isNamed || (*param).*key.field == untouched * 0x101);
    require(isNamed || result != KVEXA_OK);
  }
  for (std::uint32_t alignment = 0; alignment < 3; ++alignment) {
    const auto frame = files::frameSize(*param, alignment);
    require(!frame || (alignment < 2 && frame->bytes != 0 && frame->bytes % (alignment == 0 ? 512 : 4) == 0));
    static_cast<void>(files::roughFrameSize(*param, alignment));
  }
  return 0;
}
