// What marks the functions that the loops are written in.
#pragma once

// A call would keep vectors in memory that belong in registers.
#define KVEXA_INLINE inline __attribute__((always_inline))
