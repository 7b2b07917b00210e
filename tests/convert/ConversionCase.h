// One conversion with all that it depends on, the state of the caller's floating-point unit included: run,
// and printed so that it can be pasted into a test.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <vector>

#include "Adversary.h"
#include "Converters.h"

namespace kvexa::test {

struct ConversionCase {
  const char* converter;
  std::uint32_t width, height;
  std::uint32_t pattern, bits, method, order, format;  // where the converter takes them
  HostState host;
  std::vector<double> weights;  // kernels or matrix
  std::vector<std::uint16_t> samples;
};

std::ostream& operator<<(std::ostream& output, const ConversionCase& conversion);

const Converter& converterNamed(const char* name);

// Runs cases one after the other in buffers that are kept.
class CaseRunner {
 public:
  CaseRunner();
  ~CaseRunner();
  CaseRunner(const CaseRunner&) = delete;
  CaseRunner& operator=(const CaseRunner&) = delete;

  // The pixels must be those of the equations, and the caller's state must come back: control words, flags
  // and all. A case that raises an exception ends the program after it was printed.
  testing::AssertionResult run(const Converter& converter, const ConversionCase& conversion);
  testing::AssertionResult run(const ConversionCase& conversion) {
    return run(converterNamed(conversion.converter), conversion);
  }

  const std::vector<std::uint8_t>& pixels() const { return pixels_; }

 private:
  std::vector<std::uint8_t> source_, pixels_, expected_;
  void* faultHandler_ = nullptr;
};

}  // namespace kvexa::test
