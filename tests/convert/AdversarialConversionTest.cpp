// Conversions of weights, samples and states of the floating-point unit that are made to go wrong: thousands
// of every family, ten million when KVEXA_LONG_TESTS is set.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "ConversionCase.h"
#include "ConversionInputs.h"
#include "kvexa.h"

namespace kvexa::test {
namespace {

struct ConverterFamily {
  const char* name;
  Family family;
  std::size_t sampleBytes;
};

void PrintTo(const ConverterFamily& family, std::ostream* output) { *output << family.name; }

constexpr ConverterFamily families[] = {
    {"Filter8", Family::filtered, 1},       {"Filter16", Family::filtered, 2},
    {"YuyvDouble8", Family::yuyv, 1},       {"YuyvDouble16", Family::yuyv, 2},
    {"YuyvMatrix8", Family::yuyvMatrix, 1}, {"YuyvMatrix16", Family::yuyvMatrix, 2}};

// Small numbers fast: a case takes hundreds of them.
class FastRandom {
 public:
  // Each set's process has numbers of its own.
  FastRandom() {
    RandomSource seeds;
    a_ = seeds.word();
    b_ = seeds.word();
    const char* set = std::getenv("KVEXA_INSTRUCTION_SET");
    for (; set != nullptr && *set != 0; ++set) c_ = c_ * 31 + static_cast<unsigned char>(*set);
    for (int i = 0; i < 12; ++i) next();
  }

  std::uint32_t below(std::uint32_t limit) {
    return static_cast<std::uint32_t>((std::uint64_t{next()} * limit) >> 32);
  }

 private:
  std::uint32_t next() {
    const std::uint32_t result = a_ + b_ + count_++;
    a_ = b_ ^ b_ >> 9;
    b_ = c_ + (c_ << 3);
    c_ = (c_ << 21 | c_ >> 11) + result;
    return result;
  }

  std::uint32_t a_, b_, c_ = 0, count_ = 1;
};

class AdversarialConversion : public testing::TestWithParam<ConverterFamily> {
 protected:
  AdversarialConversion() {
    converters_ = convertersThat([](const Converter& converter) {
      return converter.family == GetParam().family && converter.sampleBytes == GetParam().sampleBytes &&
             (converter.takesMethod || converter.family != Family::yuyv || converter.fixedMethod % 2 != 0);
    });
  }

  // In the long run the processes of the sets, each with cases of its own, make ten million even where the
  // machine lacks one.
  static unsigned cases() { return std::getenv("KVEXA_LONG_TESTS") != nullptr ? 2'500'000 : 20'000; }

  const Converter& chooseCase() {
    const std::size_t which = random_.below(static_cast<std::uint32_t>(converters_.size()));
    const Converter& converter = allConverters()[converters_[which]];
    case_.converter = converter.name;
    chooseSize(converter);
    case_.pattern = random_.below(4);
    case_.bits = converter.sampleBytes == 2 ? 9 + random_.below(8) : 8;
    case_.method = 1 + 2 * random_.below(2);
    case_.order = random_.below(2);
    case_.format = 10 + random_.below(3);
    case_.host = adversary_.hostState();
    case_.samples.resize(converter.sourceBytes(case_.width, case_.height) / converter.sampleBytes);
    Aim aim = adversary_.samples(
        case_.samples.size(), converter.sampleBytes, case_.bits,
        [this](std::size_t i, std::uint32_t value) { case_.samples[i] = static_cast<std::uint16_t>(value); });
    if (converter.family == Family::filtered) chooseKernels(converter, aim);
    if (converter.family == Family::yuyvMatrix) chooseMatrix(aim);
    return converter;
  }

  FastRandom random_;
  Adversary<FastRandom> adversary_{random_};
  ConversionCase case_{};
  CaseRunner runner_;

 private:
  // Small, but with whole vectors of every set; seldom with several stripes or chunks.
  void chooseSize(const Converter& converter) {
    const bool isLong = random_.below(2000) == 0;
    if (converter.isYuyv()) {
      case_.width = isLong ? 4200 : random_.below(8) == 0 ? 2 + random_.below(80) : 32 + random_.below(3);
      case_.height = 1;
    } else {
      case_.width = isLong ? 1100 : random_.below(8) == 0 ? 4 + random_.below(80) : 34 + random_.below(3);
      case_.height = converter.interiorOnly && random_.below(8) != 0 ? 3 : 4;
    }
  }

  void chooseKernels(const Converter& converter, Aim aim) {
    const Options options;
    const bool words = converter.format(options) == KVEXA_FORMAT_RGB565;
    aim.mostSum = converter.sampleBytes == 1 ? 32000.0 : 0x1p30;
    aim.step = converter.sampleBytes == 1 ? (words ? 8.0 : 1.0)
                                          : std::ldexp(1.0, static_cast<int>(case_.bits) - (words ? 5 : 8));
    case_.weights.resize(108);
    adversary_.weights(case_.weights.data(), 12, 9, aim);
    equaliseChannels(random_, case_.weights.data());
  }

  // The constant is a fourth weight; its sample is 1, times the scale.
  void chooseMatrix(Aim aim) {
    const double deep = std::ldexp(1.0, static_cast<int>(case_.bits) - 8);
    aim.mostSum = 32000.0 * deep;
    aim.step = deep;
    case_.weights.resize(13);
    adversary_.weights(case_.weights.data(), 3, 4, aim);
    const double ofConstant = random_.below(2) != 0 ? aim.sample : aim.largest;
    const double scale = random_.below(4) == 0 ? 1.0 + random_.below(300) : 1.0;
    for (std::size_t i = 3; i < 12; i += 4) {
      case_.weights[i] *= (ofConstant == 0.0 ? 1.0 : ofConstant) / deep / scale;
    }
    case_.weights[12] = random_.below(40) == 0 ? adversary_.number() : scale;
  }

  std::vector<std::size_t> converters_;
};

TEST_P(AdversarialConversion, givesTheBytesOfTheEquationsAndLeavesTheStateAlone) {
  for (unsigned i = 0; i < cases(); ++i) {
    const Converter& converter = chooseCase();
    ASSERT_TRUE(runner_.run(converter, case_)) << "case " << i;
  }
}

INSTANTIATE_TEST_SUITE_P(Families, AdversarialConversion, testing::ValuesIn(families),
                         [](const auto& chosen) { return std::string(chosen.param.name); });

}  // namespace
}  // namespace kvexa::test
