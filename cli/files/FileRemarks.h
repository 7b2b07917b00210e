// What is wrong or suspicious in a file, for people.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/base/Output.h"

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
  struct Remark {
    unsigned line;  // 0: the whole file
    std::string subject;
    std::string reason;
  };
  const std::vector<Remark>& all() const { return remarks_; }

  // A line of 0 is the whole file; the subject may be empty.
  void add(unsigned line, std::string_view subject, const std::string& reason);

  // The same for what makes the file useless, not only suspicious.
  void addFault(unsigned line, std::string_view subject, const std::string& reason);

  // The first fault: "line 3: ends in a carriage return"; empty when there is none.
  const std::string& fault() const { return fault_; }

  // One line each, those of the file as a whole last; in JSON the list "remarks".
  void tell(Output& output) const;

  // The list alone, at another place of the object.
  void put(Output& output, const std::string& list) const;

 private:
  static std::string textOf(const Remark& remark);

  std::vector<Remark> remarks_;
  std::string fault_;
};

// What editors put before UTF-8; the library reads it as letters of the first line.
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

}  // namespace cli
