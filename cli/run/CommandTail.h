// The part of a command line that belongs to the program that is started.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace cli {

// What stands after the argument "--", exactly as it was typed: quoted again it would not always mean the
// same to the program. Nothing when there is no such argument.
std::optional<std::wstring> tailAfterDashes(std::wstring_view commandLine);

// The first argument of a command line, without its quotes.
std::wstring firstArgument(std::wstring_view commandLine);

}  // namespace cli
