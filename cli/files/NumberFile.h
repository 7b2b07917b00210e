// Numbers in a text file, as kernels, matrices and power sequences come: blanks, commas and line ends between
// them, comments from '#' to the end of a line.
#pragma once

#include <string>
#include <vector>

namespace cli {

struct FileNumber {
  double value;
  unsigned line;
};

// Throws Failure that names file and line for what is no number.
std::vector<FileNumber> readNumbers(const std::string& path);

// The same where so many are wanted, for what the numbers are.
std::vector<double> readNumbers(const std::string& path, std::size_t count, const std::string& what);

}  // namespace cli
