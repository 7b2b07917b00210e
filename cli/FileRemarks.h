// What is wrong or suspicious in a file, for people.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cli {

// One line of a file as its readers see it.
struct TextLine {
  unsigned number = 0;    // from 1
  std::string_view text;  // without its line feed
  bool isEnded = true;    // a line feed follows it
};

// Throws Failure when the file cannot be read, or is larger than any such file.
std::string readTextFile(const std::string& path);

std::vector<TextLine> linesOf(std::string_view content);

// In quotation marks, what cannot be printed as a question mark.
std::string quoted(std::string_view text);

class Remarks {
 public:
  // A line of 0 is the whole file; the subject may be empty.
  void add(unsigned line, std::string_view subject, const std::string& reason);

  // One line each, those of the file as a whole last.
  void print() const;

 private:
  std::vector<std::string> ofLines_;
  std::vector<std::string> ofFile_;
};

}  // namespace cli
