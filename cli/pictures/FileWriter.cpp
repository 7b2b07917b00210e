#include "cli/pictures/FileWriter.h"

#include <fstream>
#include <system_error>

#include "cli/pictures/Picture.h"

namespace pictures {

void writeFile(const std::filesystem::path& path, const Bytes& bytes) {
  std::ofstream stream(path, std::ios::binary | std::ios::trunc);
  if (!stream) throw PictureError("cannot be created");
  stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  stream.close();
  if (stream) return;
  std::error_code ignored;
  if (std::filesystem::is_regular_file(path, ignored)) std::filesystem::remove(path, ignored);
  throw PictureError("cannot be written to its end; is the disk full?");
}

}  // namespace pictures
