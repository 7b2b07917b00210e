#include "cli/run/CommandTail.h"

namespace cli {

namespace {

bool isBlank(wchar_t character) { return character == L' ' || character == L'\t'; }

std::size_t skipBlanks(std::wstring_view line, std::size_t at) {
  while (at < line.size() && isBlank(line[at])) ++at;
  return at;
}

// The end of the argument that begins there, by the rules of the C run-time libraries: blanks in quotes do
// not end it, and a quote after an odd number of backslashes is an ordinary character. The first argument
// knows no backslashes.
std::size_t endOfArgument(std::wstring_view line, std::size_t at, bool isProgram) {
  bool isQuoted = false;
  std::size_t backslashes = 0;
  for (; at < line.size() && (isQuoted || !isBlank(line[at])); ++at) {
    if (line[at] == L'"' && (isProgram || backslashes % 2 == 0)) isQuoted = !isQuoted;
    backslashes = line[at] == L'\\' ? backslashes + 1 : 0;
  }
  return at;
}

}  // namespace

std::optional<std::wstring> tailAfterDashes(std::wstring_view commandLine) {
  std::size_t at = endOfArgument(commandLine, 0, true);
  for (;;) {
    at = skipBlanks(commandLine, at);
    if (at == commandLine.size()) return std::nullopt;
    const std::size_t end = endOfArgument(commandLine, at, false);
    const std::wstring_view argument = commandLine.substr(at, end - at);
    if (argument == L"--" || argument == L"\"--\"") {
      return std::wstring(commandLine.substr(skipBlanks(commandLine, end)));
    }
    at = end;
  }
}

std::wstring firstArgument(std::wstring_view commandLine) {
  std::wstring argument;
  for (const wchar_t character : commandLine.substr(0, endOfArgument(commandLine, 0, true))) {
    if (character != L'"') argument.push_back(character);
  }
  return argument;
}

}  // namespace cli
