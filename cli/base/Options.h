// The options of one command, added one by one to what reads the command line.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace cli {

// A word of the command line and the number that it means.
struct Choice {
  std::string_view name;
  std::uint32_t value;
};

// A whole number, decimal or hexadecimal (0x). Throws UsageFailure.
std::uint32_t parseNumber(std::string_view text, std::string_view what, std::uint32_t least,
                          std::uint32_t most);

class Options {
 public:
  explicit Options(CLI::App& app) : app_(app) {}

  // Each stores into the value, which must live until the command line is read; what stands in it before is
  // what it is without the option.
  Options& flag(const char* name, bool& value, const char* help);
  Options& text(const char* name, std::string& value, const char* help);
  Options& number(const char* name, std::uint32_t& value, std::uint32_t least, std::uint32_t most,
                  const char* help);
  // One that need not be given.
  Options& number(const char* name, std::optional<std::uint32_t>& value, std::uint32_t least,
                  std::uint32_t most, const char* help);
  Options& choice(const char* name, std::uint32_t& value, std::span<const Choice> choices, const char* help);
  // Several in one command line.
  Options& texts(const char* name, std::vector<std::string>& values, const char* help);

  // The last option must be there.
  Options& required();

 private:
  CLI::App& app_;
  CLI::Option* last_ = nullptr;
};

}  // namespace cli
