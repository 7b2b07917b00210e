// What a request says, taken member by member. What is wrong is a Problem that names its place.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/serve/http/Problem.h"

namespace cli::serve {

// Malformed text: 400. Nested more than 16 deep: 400.
Json parseJson(std::string_view text);

// The members of an object.
class Members {
 public:
  // The place is that of the object, empty for the whole body.
  explicit Members(const Json& object, std::string place = {});

  std::optional<bool> flag(const std::string& name);
  std::optional<std::uint64_t> number(const std::string& name, std::uint64_t least, std::uint64_t most);
  std::optional<std::string> text(const std::string& name, std::size_t longest);
  std::optional<std::string> word(const std::string& name, std::span<const std::string_view> words);
  std::optional<std::vector<std::uint32_t>> numbers(const std::string& name, std::size_t most);
  // Null where it is not there.
  const Json* any(const std::string& name);
  const Json& object() const { return object_; }

  // Every member must have been asked for by now.
  void end() const;

  std::string placeOf(const std::string& name) const;

 private:
  const Json& object_;
  std::string place_;
  std::set<std::string> known_;
};

// The value, or the problem that it is not there.
template <class T>
T needed(const std::optional<T>& value, const std::string& name) {
  if (!value) throw Problem(422, "missing", "is needed: " + name, name);
  return *value;
}

// "?after=3&wait=100".
class Query {
 public:
  explicit Query(std::string_view text);

  std::optional<std::uint64_t> number(const std::string& name, std::uint64_t least, std::uint64_t most);
  std::optional<std::string> word(const std::string& name, std::span<const std::string_view> words);
  std::optional<bool> flag(const std::string& name);  // true, false, 1, 0
  void end() const;

 private:
  std::optional<std::string> take(const std::string& name);

  std::map<std::string, std::string> values_;
  std::set<std::string> known_;
};

}  // namespace cli::serve
