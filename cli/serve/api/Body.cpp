#include "cli/serve/api/Body.h"

#include <algorithm>
#include <charconv>

namespace cli::serve {

namespace {

constexpr unsigned deepest = 16;

[[noreturn]] void wrong(const std::string& place, const std::string& what) {
  throw Problem(422, "bad-value", place + " must be " + what, place);
}

std::string between(std::uint64_t least, std::uint64_t most) {
  return "a whole number from " + std::to_string(least) + " to " + std::to_string(most);
}

std::string oneOf(std::span<const std::string_view> words) {
  std::string all = "one of";
  for (const std::string_view each : words) all.append(1, ' ').append(each);
  return all;
}

// A text counts as well where it is wrong elsewhere: depth is looked at before anything is built.
void checkDepth(std::string_view text) {
  unsigned depth = 0;
  bool isInText = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char each = text[i];
    if (isInText) {
      if (each == '\\') ++i;
      if (each == '"') isInText = false;
    } else if (each == '"') {
      isInText = true;
    } else if (each == '{' || each == '[') {
      if (++depth > deepest) throw Problem(400, "too-deep", "JSON is nested 16 deep at most");
    } else if ((each == '}' || each == ']') && depth > 0) {
      --depth;
    }
  }
}

std::string decoded(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      result += text[i] == '+' ? ' ' : text[i];
      continue;
    }
    unsigned code = 0;
    const char* const first = text.data() + i + 1;
    const bool isWhole = i + 2 < text.size() && std::from_chars(first, first + 2, code, 16).ptr == first + 2;
    if (!isWhole) throw Problem(400, "bad-query", "the query has a % without two hexadecimal digits");
    result += static_cast<char>(code);
    i += 2;
  }
  return result;
}

}  // namespace

Json parseJson(std::string_view text) {
  checkDepth(text);
  try {
    return Json::parse(text);
  } catch (const Json::parse_error& error) {
    throw Problem(400, "bad-json", "the body is no JSON, from byte " + std::to_string(error.byte) + " on",
                  "body");
  }
}

Members::Members(const Json& object, std::string place) : object_(object), place_(std::move(place)) {
  if (!object.is_object()) wrong(place_.empty() ? "body" : place_, "an object");
}

std::string Members::placeOf(const std::string& name) const {
  return place_.empty() ? name : place_ + "/" + name;
}

const Json* Members::any(const std::string& name) {
  known_.insert(name);
  const auto found = object_.find(name);
  return found == object_.end() ? nullptr : &*found;
}

std::optional<bool> Members::flag(const std::string& name) {
  const Json* const value = any(name);
  if (value == nullptr) return std::nullopt;
  if (!value->is_boolean()) wrong(placeOf(name), "true or false");
  return value->get<bool>();
}

std::optional<std::uint64_t> Members::number(const std::string& name, std::uint64_t least,
                                             std::uint64_t most) {
  const Json* const value = any(name);
  if (value == nullptr) return std::nullopt;
  if (!value->is_number_unsigned() || value->get<std::uint64_t>() < least ||
      value->get<std::uint64_t>() > most) {
    wrong(placeOf(name), between(least, most));
  }
  return value->get<std::uint64_t>();
}

std::optional<std::string> Members::text(const std::string& name, std::size_t longest) {
  const Json* const value = any(name);
  if (value == nullptr) return std::nullopt;
  if (!value->is_string() || value->get_ref<const std::string&>().size() > longest) {
    wrong(placeOf(name), "a text of up to " + std::to_string(longest) + " bytes");
  }
  return value->get<std::string>();
}

std::optional<std::string> Members::word(const std::string& name, std::span<const std::string_view> words) {
  const Json* const value = any(name);
  if (value == nullptr) return std::nullopt;
  if (!value->is_string() || std::ranges::find(words, value->get_ref<const std::string&>()) == words.end()) {
    wrong(placeOf(name), oneOf(words));
  }
  return value->get<std::string>();
}

std::optional<std::vector<std::uint32_t>> Members::numbers(const std::string& name, std::size_t most) {
  const Json* const value = any(name);
  if (value == nullptr) return std::nullopt;
  if (!value->is_array() || value->empty() || value->size() > most) {
    wrong(placeOf(name), "a list of 1 to " + std::to_string(most) + " whole numbers");
  }
  std::vector<std::uint32_t> all;
  for (const Json& each : *value) {
    if (!each.is_number_unsigned() || each.get<std::uint64_t>() > UINT32_MAX) {
      wrong(placeOf(name) + "/" + std::to_string(all.size()), between(0, UINT32_MAX));
    }
    all.push_back(each.get<std::uint32_t>());
  }
  return all;
}

void Members::end() const {
  for (const auto& [name, unused] : object_.items()) {
    if (!known_.contains(name))
      throw Problem(422, "unknown-field", "is not known: " + placeOf(name), placeOf(name));
  }
}

Query::Query(std::string_view text) {
  while (!text.empty()) {
    const std::string_view each = text.substr(0, text.find('&'));
    text.remove_prefix(std::min(text.size(), each.size() + 1));
    if (each.empty()) continue;
    const std::size_t sign = each.find('=');
    const std::string name = decoded(each.substr(0, sign));
    const std::string value = sign == std::string_view::npos ? "" : decoded(each.substr(sign + 1));
    if (!values_.emplace(name, value).second)
      throw Problem(422, "bad-value", "stands there twice: " + name, name);
  }
}

std::optional<std::string> Query::take(const std::string& name) {
  known_.insert(name);
  const auto found = values_.find(name);
  return found == values_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::uint64_t> Query::number(const std::string& name, std::uint64_t least, std::uint64_t most) {
  const auto text = take(name);
  if (!text) return std::nullopt;
  std::uint64_t value = 0;
  const char* const end = text->data() + text->size();
  const auto [last, error] = std::from_chars(text->data(), end, value);
  if (error != std::errc{} || last != end || value < least || value > most) wrong(name, between(least, most));
  return value;
}

std::optional<std::string> Query::word(const std::string& name, std::span<const std::string_view> words) {
  auto text = take(name);
  if (text && std::ranges::find(words, *text) == words.end()) wrong(name, oneOf(words));
  return text;
}

std::optional<bool> Query::flag(const std::string& name) {
  static constexpr std::string_view words[] = {"true", "false", "1", "0"};
  const auto text = word(name, words);
  if (!text) return std::nullopt;
  return *text == "true" || *text == "1";
}

void Query::end() const {
  for (const auto& [name, value] : values_) {
    if (!known_.contains(name)) throw Problem(422, "unknown-field", "is not known: " + name, name);
  }
}

}  // namespace cli::serve
