#include "convert/vector/Vocabulary128.h"
// The vocabulary comes first: the loops are written in it.
#include "convert/vector/LoopTable.h"

namespace kvexa::convert {

constinit const RowLoops sse2RowLoops = makeRowLoops();

}  // namespace kvexa::convert
