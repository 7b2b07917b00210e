#include "cli/files/NumberFile.h"

#include <charconv>
#include <cmath>

#include "cli/base/Failure.h"
#include "cli/files/FileRemarks.h"

namespace cli {

namespace {

constexpr std::string_view separators = " \t\r,;";

void readLine(const std::string& path, const TextLine& line, std::vector<FileNumber>& numbers) {
  std::string_view rest = line.text.substr(0, line.text.find('#'));
  for (;;) {
    const std::size_t begin = rest.find_first_not_of(separators);
    if (begin == std::string_view::npos) return;
    rest.remove_prefix(begin);
    const std::string_view word = rest.substr(0, rest.find_first_of(separators));
    double value = 0;
    const auto [stopped, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error != std::errc() || stopped != word.data() + word.size() || !std::isfinite(value)) {
      throw Failure(path + ": line " + std::to_string(line.number) + ": " + quoted(word) + " is no number");
    }
    numbers.push_back({value, line.number});
    rest.remove_prefix(word.size());
  }
}

}  // namespace

std::vector<FileNumber> readNumbers(const std::string& path) {
  const std::string content = readTextFile(path);
  std::string_view text = content;
  if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
  std::vector<FileNumber> numbers;
  for (const TextLine& line : linesOf(text)) readLine(path, line, numbers);
  return numbers;
}

std::vector<double> readNumbers(const std::string& path, std::size_t count, const std::string& what) {
  std::vector<double> values;
  for (const FileNumber& number : readNumbers(path)) values.push_back(number.value);
  if (values.size() != count) {
    throw Failure(path + ": holds " + std::to_string(values.size()) + " numbers, and " + what + " needs " +
                  std::to_string(count));
  }
  return values;
}

}  // namespace cli
