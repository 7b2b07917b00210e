#include "ConversionFuzzer.h"
#include "convert/yuyv/YuyvToRgb.h"

using namespace kvexa::convert;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::uint32_t width = input.below(150), height = input.below(8);
  const std::uint32_t bits = 8 + input.below(10), format = 9 + input.below(5);
  const bool deep = input.byte() % 2 != 0;
  const YuyvOrder order = input.byte() % 2 != 0 ? YuyvOrder::chromaFirst : YuyvOrder::lumaFirst;
  const std::uint32_t method = input.below(5);
  const std::size_t pixels = std::size_t{width} * height;
  double matrix[13] = {};
  std::vector<std::uint8_t> source;
  kvexa::test::Adversary<fuzz::Input> adversary(input);
  const kvexa::test::HostState host = adversary.hostState();
  if (input.byte() % 2 != 0) {
    source.resize(pixels * (deep ? 4 : 2));
    kvexa::test::Aim aim = fuzz::chooseSamples(adversary, source, deep, bits);
    aim.mostSum = 32000.0;
    adversary.weights(matrix, 3, 4, aim);
    matrix[12] = input.byte() % 8 != 0 ? 1.0 : adversary.number();
  } else {
    if (method == yuyvMethodCount) {
      for (double& weight : matrix) weight = input.number();
    }
    source = input.content(pixels * (deep ? 4 : 2));
  }
  fuzz::compareAllSets(pixels * 3, host, [&](const RowLoops& loops, std::uint8_t* output) {
    if (method == yuyvMethodCount) {
      return deep ? yuyv16ToMtxRgb(source.data(), output, width, height, matrix, order, format, bits, loops)
                  : yuyv8ToMtxRgb(source.data(), output, width, height, matrix, order, format, loops);
    }
    const YuyvMethod chosen{method};
    return deep ? yuyv16ToRgb(source.data(), output, width, height, chosen, order, format, bits, loops)
                : yuyv8ToRgb(source.data(), output, width, height, chosen, order, format, loops);
  });
  return 0;
}
