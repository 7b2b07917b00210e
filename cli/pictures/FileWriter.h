// Pictures on disk: each whole or not there.
#pragma once

#include <filesystem>

#include "cli/pictures/Bytes.h"

namespace pictures {

// Creates or replaces the file. When it cannot be written to its end, throws PictureError and removes what
// was written.
void writeFile(const std::filesystem::path& path, const Bytes& bytes);

}  // namespace pictures
