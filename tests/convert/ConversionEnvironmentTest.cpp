// The caller's circumstances change no byte: other threads, the x87 control word, the stack's alignment.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <thread>

#include "ConversionInputs.h"
#include "kvexa.h"

namespace kvexa::test {
namespace {

class ConversionEnvironment : public testing::TestWithParam<std::size_t> {
 protected:
  static constexpr std::uint32_t width = 203, height = 12;

  ConversionEnvironment() {
    options_.kernels = kernels_.data();
    options_.matrix = matrix_.data();
    options_.method = 1;
    source_ = samplesOf(random_, converter().sourceBytes(width, height), converter().sampleBytes,
                        converter().bits(options_), Content::anything);
    expected_ = expectedPixels(converter(), source_, width, height, options_, 0);
  }

  const Converter& converter() const { return allConverters()[GetParam()]; }

  RandomSource random_;
  KernelBlock kernels_ = kernelsOf(random_, Weights::any);
  ColourMatrix matrix_ = matrixOf(random_, Weights::any);
  Options options_;
  std::vector<std::uint8_t> source_, expected_;
};

TEST_P(ConversionEnvironment, eightThreadsAtOnce) {
  std::vector<std::vector<std::uint8_t>> pixels(8, std::vector<std::uint8_t>(expected_.size()));
  std::vector<int> equalRounds(pixels.size(), 0);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 50; ++round) {
        std::fill(pixels[i].begin(), pixels[i].end(), std::uint8_t{0});
        converter().call(source_.data(), pixels[i].data(), width, height, options_);
        equalRounds[i] += pixels[i] == expected_ ? 1 : 0;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(std::vector<int>(8, 50), equalRounds);
}

#if defined(__i386__) || defined(__x86_64__)

std::uint16_t exchangeControlWord(std::uint16_t word) {
  std::uint16_t before = 0;
  asm volatile("fnstcw %0" : "=m"(before));
  asm volatile("fldcw %0" : : "m"(word));
  return before;
}

// Precision of 24, 53 and 64 bits, and rounding away from the nearest.
TEST_P(ConversionEnvironment, everyControlWordOfTheX87) {
  constexpr std::uint16_t controlWords[] = {0x007F, 0x027F, 0x037F, 0x0F7F, 0x047F};
  for (const std::uint16_t word : controlWords) {
    std::vector<std::uint8_t> pixels(expected_.size(), 0);
    const std::uint16_t before = exchangeControlWord(word);
    const std::int32_t result = converter().call(source_.data(), pixels.data(), width, height, options_);
    const std::uint16_t after = exchangeControlWord(before);
    EXPECT_EQ(KVEXA_OK, result);
    EXPECT_EQ(word, after) << "the caller's control word is left alone";
    EXPECT_TRUE(expected_ == pixels) << std::hex << word;
  }
}

#endif

#if defined(__i386__)

// Calls a stdcall function with the stack pointer so many bytes, and its arguments, below a multiple of 16.
std::int32_t callWithStackAt(unsigned below, const void* function,
                             const std::vector<std::uint32_t>& arguments) {
  std::uint32_t result = reinterpret_cast<std::uintptr_t>(function);
  std::uint32_t count = arguments.size();
  const std::uint32_t* words = arguments.data();
  asm volatile(
      "movl %%esp, %%esi\n"
      "andl $-16, %%esp\n"
      "subl %%edi, %%esp\n"
      "1: testl %%ecx, %%ecx\n"
      "jz 2f\n"
      "pushl -4(%%edx,%%ecx,4)\n"
      "decl %%ecx\n"
      "jmp 1b\n"
      "2: call *%%eax\n"
      "movl %%esi, %%esp\n"
      : "+a"(result), "+c"(count), "+d"(words)
      : "D"(below)
      : "esi", "memory", "cc", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7");
  return static_cast<std::int32_t>(result);
}

const void* functionOf(const std::string& name) {
#define ENTRY(function) \
  if (name == #function) return reinterpret_cast<const void*>(function)
  ENTRY(kVexaRaw8ToRgb565);
  ENTRY(kVexaRaw8ToRgb888);
  ENTRY(kVexaRaw16ToRgb565);
  ENTRY(kVexaRaw16ToRgb888);
  ENTRY(kVexaRaw8ToMtxRgb565);
  ENTRY(kVexaRaw8ToMtxRgb888);
  ENTRY(kVexaRaw8ToMtxRgb565Ex);
  ENTRY(kVexaRaw8ToMtxRgb888Ex);
  ENTRY(kVexaRaw16ToMtxRgb565);
  ENTRY(kVexaRaw16ToMtxRgb888);
  ENTRY(kVexaRaw16ToMtxRgb565Ex);
  ENTRY(kVexaRaw16ToMtxRgb888Ex);
  ENTRY(kVexaYuyvToRgb565);
  ENTRY(kVexaYuyvToRgb888);
  ENTRY(kVexaYuyvToRgb565Ex);
  ENTRY(kVexaYuyvToRgb888Ex);
  ENTRY(kVexaYuyvToMtxRgb565);
  ENTRY(kVexaYuyvToMtxRgb888);
  ENTRY(kVexaYuyv8ToRgbT2);
  ENTRY(kVexaYuyv16ToRgbT2);
  ENTRY(kVexaYuyv8ToMtxRgbT2);
  ENTRY(kVexaYuyv16ToMtxRgbT2);
#undef ENTRY
  return nullptr;
}

TEST_P(ConversionEnvironment, everyAlignmentOfTheStack) {
  const auto word = [](const void* pointer) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(pointer));
  };
  for (unsigned below = 0; below < 16; below += 4) {
    std::vector<std::uint8_t> pixels(expected_.size(), 0);
    std::vector<std::uint32_t> arguments = {word(source_.data()), word(pixels.data()), width, height};
    if (!converter().isYuyv()) arguments.push_back(options_.pattern);
    if (converter().family == Family::filtered) arguments.push_back(word(options_.kernels));
    if (converter().takesMethod) arguments.push_back(options_.method);
    if (converter().takesOrder) arguments.push_back(options_.order);
    if (converter().fixedFormat == 0) arguments.push_back(options_.format);
    if (converter().family == Family::yuyvMatrix) arguments.push_back(word(options_.matrix));
    if (converter().sampleBytes == 2) arguments.push_back(options_.bits);
    ASSERT_EQ(KVEXA_OK, callWithStackAt(below, functionOf(converter().name), arguments)) << below;
    ASSERT_TRUE(expected_ == pixels) << below;
  }
}

#endif

INSTANTIATE_TEST_SUITE_P(Converters, ConversionEnvironment, everyConverter(), nameOfConverter);

}  // namespace
}  // namespace kvexa::test
