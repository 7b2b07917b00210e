// The loops of one instruction set. CMake compiles this once for every entry of sets.inc, and defines
// the header of its vocabulary and the name of its table.
#include KVEXA_VOCABULARY
// The vocabulary comes first: its contract is checked, and then the loops are written in it.
#include "convert/vector/Vocabulary.h"

#include "convert/vector/LoopTable.h"

namespace kvexa::convert {

constinit const RowLoops KVEXA_ROW_LOOPS = makeRowLoops();

}  // namespace kvexa::convert
