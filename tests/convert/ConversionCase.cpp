#include "ConversionCase.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "kvexa.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace kvexa::test {
namespace {

const ConversionCase* running = nullptr;

[[noreturn]] void endWithTheCase() {
  loadState(HostState{});
  std::cout << "raised a floating-point exception:\n" << *running << std::endl;
  std::_Exit(EXIT_FAILURE);
}

#ifdef _WIN32

LONG CALLBACK onException(EXCEPTION_POINTERS* exception) {
  const DWORD code = exception->ExceptionRecord->ExceptionCode;
  constexpr DWORD multipleFaults = 0xC00002B4, multipleTraps = 0xC00002B5;
  const bool ofFloatingPoint = code >= EXCEPTION_FLT_DENORMAL_OPERAND && code <= EXCEPTION_FLT_UNDERFLOW;
  if (running == nullptr || (!ofFloatingPoint && code != multipleFaults && code != multipleTraps)) {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  endWithTheCase();
}

#else

void onSignal(int) { endWithTheCase(); }

#endif

void printNumber(std::ostream& output, double number) {
  if (std::isnan(number)) {
    output << "NAN";
  } else if (std::isinf(number)) {
    output << (number < 0 ? "-INFINITY" : "INFINITY");
  } else {
    output << std::hexfloat << number << std::defaultfloat;
  }
}

}  // namespace

std::ostream& operator<<(std::ostream& output, const ConversionCase& conversion) {
  output << "{\"" << conversion.converter << "\", " << conversion.width << ", " << conversion.height << ", "
         << conversion.pattern << ", " << conversion.bits << ", " << conversion.method << ", "
         << conversion.order << ", " << conversion.format << ", {0x" << std::hex << conversion.host.mxcsr
         << ", 0x" << conversion.host.x87Control << std::dec << "},\n{";
  for (const double weight : conversion.weights) {
    printNumber(output, weight);
    output << ", ";
  }
  output << "},\n{";
  for (const std::uint16_t sample : conversion.samples) output << sample << ", ";
  return output << "}}";
}

const Converter& converterNamed(const char* name) {
  for (const Converter& converter : allConverters()) {
    if (std::string_view(converter.name) == name) return converter;
  }
  throw std::invalid_argument(name);
}

CaseRunner::CaseRunner() {
#ifdef _WIN32
  faultHandler_ = AddVectoredExceptionHandler(1, onException);
#else
  std::signal(SIGFPE, onSignal);
#endif
}

CaseRunner::~CaseRunner() {
#ifdef _WIN32
  RemoveVectoredExceptionHandler(faultHandler_);
#else
  std::signal(SIGFPE, SIG_DFL);
#endif
}

testing::AssertionResult CaseRunner::run(const Converter& converter, const ConversionCase& conversion) {
  Options options;
  options.pattern = conversion.pattern;
  options.bits = conversion.bits;
  options.method = conversion.method;
  options.order = conversion.order;
  options.format = conversion.format;
  options.kernels = options.matrix = conversion.weights.data();

  const std::size_t size = converter.sampleBytes;
  source_.resize(conversion.samples.size() * size);
  for (std::size_t i = 0; i < conversion.samples.size(); ++i) {
    std::memcpy(&source_[i * size], &conversion.samples[i], size);
  }
  const std::size_t bytes = converter.destinationBytes(conversion.width, conversion.height, options);
  expected_.assign(bytes, 0xA5);
  expectPixels(converter, source_.data(), conversion.width, conversion.height, options, expected_);
  pixels_.assign(bytes, 0xA5);

  running = &conversion;
  loadState(conversion.host);
  const std::int32_t result =
      converter.call(source_.data(), pixels_.data(), conversion.width, conversion.height, options);
  const StateAfter after = takeState();
  running = nullptr;

  if (result != KVEXA_OK) return testing::AssertionFailure() << "result " << result << ":\n" << conversion;
  if (pixels_ != expected_) {
    const auto at = std::mismatch(expected_.begin(), expected_.end(), pixels_.begin());
    return testing::AssertionFailure() << "byte " << at.first - expected_.begin() << ": expected "
                                       << unsigned{*at.first} << ", got " << unsigned{*at.second} << ":\n"
                                       << conversion;
  }
  if (after.isLeftAlone(conversion.host)) return testing::AssertionSuccess();
  std::ostringstream left;
  left << std::hex << "left MXCSR " << after.mxcsr << ", x87 control " << after.x87Control << ", status "
       << after.x87Status;
  return testing::AssertionFailure() << left.str() << ":\n" << conversion;
}

}  // namespace kvexa::test
