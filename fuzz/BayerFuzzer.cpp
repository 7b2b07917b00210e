#include "ConversionFuzzer.h"
#include "convert/bayer/BayerToRgb.h"

using namespace kvexa::convert;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::uint32_t width = input.below(150), height = input.below(12), pattern = input.below(5);
  const std::uint32_t bits = 8 + input.below(10), kind = input.below(4);
  const std::size_t pixels = std::size_t{width} * height;
  const auto source = input.content(pixels * (kind < 2 ? 1 : 2));
  const auto* bytes = source.data();
  const auto* words = reinterpret_cast<const std::uint16_t*>(source.data());
  const kvexa::test::HostState host = kvexa::test::Adversary<fuzz::Input>(input).hostState();
  fuzz::compareAllSets(pixels * (kind % 2 == 0 ? 2 : 3), host,
                       [&](const RowLoops& loops, std::uint8_t* output) {
                         auto* outputWords = reinterpret_cast<std::uint16_t*>(output);
                         switch (kind) {
                           case 0: return raw8ToRgb565(bytes, outputWords, width, height, pattern, loops);
                           case 1: return raw8ToRgb888(bytes, output, width, height, pattern, loops);
                           case 2:
                             return raw16ToRgb565(words, outputWords, width, height, pattern, bits, loops);
                           default: return raw16ToRgb888(words, output, width, height, pattern, bits, loops);
                         }
                       });
  return 0;
}
