// The numbers of a frame, or of a rectangle of it, as the text of a JSON object.
#pragma once

#include <memory>
#include <vector>

#include "cli/serve/picture/FrameWorker.h"

namespace cli::serve {

std::shared_ptr<const std::vector<std::uint8_t>> analyse(const FramePointer& frame, const Making& making);

}  // namespace cli::serve
