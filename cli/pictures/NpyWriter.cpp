// NPY, version 1.0: a header that NumPy reads as a dictionary, then the samples.
#include "cli/pictures/Picture.h"

namespace pictures {

Bytes npyOf(const Picture& picture) {
  check(picture);
  const std::string type = picture.bytesPerSample == 1 ? "|u1" : "<u2";
  const std::string depth = picture.channels == 3 ? ", 3" : "";
  std::string header = "{'descr': '" + type + "', 'fortran_order': False, 'shape': (" +
                       std::to_string(picture.height) + ", " + std::to_string(picture.width) + depth + "), }";
  // Magic, version and length are ten bytes, a line feed ends it, and samples start at a multiple of 64.
  constexpr std::size_t before = 10;
  constexpr std::size_t multiple = 64;
  header.append((multiple - (before + header.size() + 1) % multiple) % multiple, ' ');
  header += '\n';
  Bytes file{0x93, 'N', 'U', 'M', 'P', 'Y', 1, 0};
  file.reserve(before + header.size() + picture.samples.size());
  appendLittle<2>(file, static_cast<std::uint32_t>(header.size()));
  append(file, header);
  file.insert(file.end(), picture.samples.begin(), picture.samples.end());
  return file;
}

}  // namespace pictures
