// Lines as people read them.
#pragma once

#include <string>

#include "sim/record/format/Line.h"

namespace sim::record {

// "usb0 pipe3 out 1000ms [01 36 12 01 00 34]", as traces show requests; other calls by their names.
std::string described(const Line& line);

}  // namespace sim::record
