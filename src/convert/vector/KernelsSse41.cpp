#include "convert/vector/Vocabulary128.h"
// The vocabulary comes first: the loops are written in it.
#include "convert/vector/KernelTable.h"

namespace kvexa::convert {

constinit const RowKernels sse41RowKernels = makeRowKernels();

}  // namespace kvexa::convert
