#include "ConversionFuzzer.h"
#include "convert/filter/FilteredBayer.h"

using namespace kvexa::convert;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::uint32_t width = input.below(100), height = input.below(10), pattern = input.below(5);
  const std::uint32_t bits = 8 + input.below(10);
  const bool deep = input.byte() % 2 != 0;
  const Packing packing = input.byte() % 2 != 0 ? Packing::rgb888 : Packing::rgb565;
  const Extent extent = input.byte() % 2 != 0 ? Extent::interior : Extent::framed;
  const std::size_t pixels = std::size_t{width} * height;
  double weights[108];
  std::vector<std::uint8_t> source;
  kvexa::test::Adversary<fuzz::Input> adversary(input);
  const kvexa::test::HostState host = adversary.hostState();
  if (input.byte() % 2 != 0) {
    source.resize(pixels * (deep ? 2 : 1));
    kvexa::test::Aim aim = fuzz::chooseSamples(adversary, source, deep, bits);
    aim.mostSum = deep ? 0x1p30 : 32000.0;
    adversary.weights(weights, 12, 9, aim);
  } else {
    const bool alike = input.byte() % 2 != 0;  // all weights the same, or each its own
    for (double& weight : weights) weight = alike && &weight != weights ? weights[0] : input.number();
    source = input.content(pixels * (deep ? 2 : 1));
  }
  kvexa::test::equaliseChannels(input, weights);
  fuzz::compareAllSets(pixels * 3, host, [&](const RowLoops& loops, std::uint8_t* output) {
    if (!deep) {
      return filterRaw8(source.data(), output, width, height, pattern, weights, packing, extent, loops);
    }
    const auto* words = reinterpret_cast<const std::uint16_t*>(source.data());
    return filterRaw16(words, output, width, height, pattern, weights, bits, packing, extent, loops);
  });
  return 0;
}
