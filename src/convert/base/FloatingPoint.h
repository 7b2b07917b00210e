// The state of the floating-point unit that the conversions compute in: what a caller left in MXCSR changes
// no pixel, and nothing that is computed raises an exception that the caller has unmasked.
#pragma once

#include <xmmintrin.h>

namespace kvexa::convert {

// To nearest, every exception masked, denormals kept; no flag is set.
constexpr unsigned defaultMxcsr = 0x1F80;

// Sets the default state for its lifetime, then restores the caller's control word with its flags.
class DefaultFloatingPoint {
 public:
  DefaultFloatingPoint() : callers_(_mm_getcsr()) {
    // Loading is slow, and most callers differ in flags alone, which change no result.
    if ((callers_ & ~flags) != defaultMxcsr) _mm_setcsr(defaultMxcsr);
  }
  ~DefaultFloatingPoint() {
    if (_mm_getcsr() != callers_) _mm_setcsr(callers_);
  }
  DefaultFloatingPoint(const DefaultFloatingPoint&) = delete;
  DefaultFloatingPoint& operator=(const DefaultFloatingPoint&) = delete;

 private:
  static constexpr unsigned flags = 0x3F;

  unsigned callers_;
};

// The C library's own computes in the x87 unit, where a denormal or a signalling number raises an exception
// too.
inline double magnitudeOf(double value) { return __builtin_fabs(value); }

template <typename Work>
[[gnu::noinline]] void runApart(const Work& work) {
  work();
}

// A function of its own, since the compiler may move computations, but not calls, past the change of the
// state.
template <typename Work>
void inDefaultFloatingPoint(const Work& work) {
  const DefaultFloatingPoint state;
  runApart(work);
}

}  // namespace kvexa::convert
