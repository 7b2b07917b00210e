#include "convert/vector/Vocabulary512.h"
// The vocabulary comes first: the loops are written in it.
#include "convert/vector/LoopTable.h"

namespace kvexa::convert {

constinit const RowLoops avx512RowLoops = makeRowLoops();

}  // namespace kvexa::convert
