#include "cli/base/Options.h"

#include <CLI/CLI.hpp>
#include <charconv>

#include "cli/base/Failure.h"

namespace cli {

std::uint32_t parseNumber(std::string_view text, std::string_view what, std::uint32_t least,
                          std::uint32_t most) {
  const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
  const std::string_view digits = isHexadecimal ? text.substr(2) : text;
  std::uint32_t value = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stopped, error] = std::from_chars(digits.data(), end, value, isHexadecimal ? 16 : 10);
  const bool isNumber = !digits.empty() && stopped == end;
  if (!isNumber || error != std::errc() || value < least || value > most) {
    const bool fits = !isNumber || error == std::errc::invalid_argument;
    throw UsageFailure(std::string(what) + ": '" + std::string(text) + "' is " +
                       (fits ? "no whole number (decimal, or hexadecimal as 0x1F)"
                             : "not from " + std::to_string(least) + " to " + std::to_string(most)));
  }
  return value;
}

Options& Options::flag(const char* name, bool& value, const char* help) {
  last_ = app_.add_flag(name, value, help);
  return *this;
}

Options& Options::text(const char* name, std::string& value, const char* help) {
  last_ = app_.add_option(name, value, help)->type_name("TEXT");
  return *this;
}

Options& Options::texts(const char* name, std::vector<std::string>& values, const char* help) {
  last_ = app_.add_option(name, values, help)->type_name("TEXT");
  return *this;
}

Options& Options::number(const char* name, std::uint32_t& value, std::uint32_t least, std::uint32_t most,
                         const char* help) {
  const auto take = [&value, name = std::string(name), least, most](const std::string& text) {
    value = parseNumber(text, name, least, most);
  };
  last_ = app_.add_option_function<std::string>(name, take, help)->type_name("NUMBER");
  last_->default_str(std::to_string(value));
  return *this;
}

Options& Options::number(const char* name, std::optional<std::uint32_t>& value, std::uint32_t least,
                         std::uint32_t most, const char* help) {
  const auto take = [&value, name = std::string(name), least, most](const std::string& text) {
    value = parseNumber(text, name, least, most);
  };
  last_ = app_.add_option_function<std::string>(name, take, help)->type_name("NUMBER");
  return *this;
}

Options& Options::choice(const char* name, std::uint32_t& value, std::span<const Choice> choices,
                         const char* help) {
  std::string names;
  std::string standard;
  for (const Choice& choice : choices) {
    names += (names.empty() ? "" : "|") + std::string(choice.name);
    if (choice.value == value && standard.empty()) standard = choice.name;
  }
  const auto take = [&value, choices, names, name = std::string(name)](const std::string& text) {
    const std::string lower = CLI::detail::to_lower(text);
    for (const Choice& choice : choices) {
      if (choice.name == lower) {
        value = choice.value;
        return;
      }
    }
    throw UsageFailure(name + ": '" + text + "' is none of " + names);
  };
  last_ = app_.add_option_function<std::string>(name, take, help)->type_name(names);
  last_->default_str(standard);
  return *this;
}

Options& Options::required() {
  last_->required();
  return *this;
}

}  // namespace cli
