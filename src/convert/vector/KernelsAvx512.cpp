#include "convert/vector/Vocabulary512.h"
// The vocabulary comes first: the loops are written in it.
#include "convert/vector/KernelTable.h"

namespace kvexa::convert {

constinit const RowKernels avx512RowKernels = makeRowKernels();

}  // namespace kvexa::convert
