#include "DoublePeak.h"

#include <immintrin.h>

namespace bench {

void runDoubles(std::uint64_t operations) {
  // Ten chains: enough to keep two units of four cycles' latency busy.
  __m256d a = _mm256_set1_pd(1.0), b = a, c = a, d = a, e = a;
  __m256d f = a, g = a, h = a, i = a, j = a;
  const __m256d factor = _mm256_set1_pd(0.999999), term = _mm256_set1_pd(1e-3);
  for (std::uint64_t done = 0; done < operations; done += 40) {
    a = _mm256_mul_pd(a, factor);
    f = _mm256_add_pd(f, term);
    b = _mm256_mul_pd(b, factor);
    g = _mm256_add_pd(g, term);
    c = _mm256_mul_pd(c, factor);
    h = _mm256_add_pd(h, term);
    d = _mm256_mul_pd(d, factor);
    i = _mm256_add_pd(i, term);
    e = _mm256_mul_pd(e, factor);
    j = _mm256_add_pd(j, term);
    // All ten are needed, and none can be worked out beforehand.
    asm volatile(""
                 : "+x"(a), "+x"(b), "+x"(c), "+x"(d), "+x"(e), "+x"(f), "+x"(g), "+x"(h), "+x"(i), "+x"(j));
  }
}

}  // namespace bench
