#include "sim/bench/TableReader.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "sim/bench/Description.h"

namespace sim {

namespace {

// In one line whatever the text holds.
std::string quoted(std::string_view text) {
  std::string made = "\"";
  for (const char each : text) {
    if (static_cast<unsigned char>(each) >= ' ') {
      made += each;
      continue;
    }
    char escaped[8];
    std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(each));
    made += escaped;
  }
  return made + '"';
}

// "a", "b" or "c".
template <class Words>
std::string listOf(const Words& words) {
  std::string text;
  std::size_t index = 0;
  for (const auto& word : words) {
    if (index != 0) text += index + 1 == words.size() ? " or " : ", ";
    text += quoted(word);
    ++index;
  }
  return text;
}

std::string hexadecimal(std::uint32_t value) {
  char digits[8];
  const auto end = std::to_chars(digits, digits + sizeof digits, value, 16).ptr;
  return "0x" + std::string(digits, end);
}

// A number as C spells it: decimal, or hexadecimal after 0x.
std::optional<std::uint32_t> parseAddress(std::string_view text) {
  const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (isHexadecimal) text.remove_prefix(2);
  std::uint32_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, value, isHexadecimal ? 16 : 10);
  if (error != std::errc{} || last != end) return std::nullopt;
  return value;
}

}  // namespace

const toml::node* TableReader::find(std::string_view key) {
  known_.emplace_back(key);
  return table_.get(key);
}

std::string TableReader::place(std::string_view key) const {
  const toml::node* const node = key.empty() ? nullptr : table_.get(key);
  const toml::source_position& begin = (node != nullptr ? *node : table_).source().begin;
  return std::string(file_) + ":" + std::to_string(begin.line) + ":" + std::to_string(begin.column);
}

void TableReader::failAt(const toml::source_region& region, const std::string& reason) const {
  throw DescriptionError(std::string(file_) + ":" + std::to_string(region.begin.line) + ":" +
                         std::to_string(region.begin.column) + ": " + reason);
}

void TableReader::fail(std::string_view key, const std::string& reason) const {
  throw DescriptionError(place(key) + ": " + reason);
}

std::optional<std::string> TableReader::text(std::string_view key) {
  const toml::node* const node = find(key);
  if (node == nullptr) return std::nullopt;
  if (!node->is_string()) fail(key, quoted(key) + " must be a text in quotes");
  return node->as_string()->get();
}

std::optional<bool> TableReader::boolean(std::string_view key) {
  const toml::node* const node = find(key);
  if (node == nullptr) return std::nullopt;
  if (!node->is_boolean()) fail(key, quoted(key) + " must be true or false");
  return node->as_boolean()->get();
}

std::optional<std::int64_t> TableReader::integer(std::string_view key, std::int64_t least,
                                                 std::int64_t most) {
  const toml::node* const node = find(key);
  if (node == nullptr) return std::nullopt;
  const auto* const value = node->as_integer();
  if (value == nullptr || value->get() < least || value->get() > most) {
    fail(key, quoted(key) + " must be a whole number from " + std::to_string(least) + " to " +
                  std::to_string(most));
  }
  return value->get();
}

std::optional<double> TableReader::number(std::string_view key, double least, double most) {
  const toml::node* const node = find(key);
  if (node == nullptr) return std::nullopt;
  const std::optional<double> value = node->is_number() ? node->value<double>() : std::nullopt;
  // In this form it is false for a value that is no number.
  if (!value || !(*value >= least && *value <= most)) {
    char limits[80];
    std::snprintf(limits, sizeof limits, "%.9g to %.9g", least, most);
    fail(key, quoted(key) + " must be a number from " + limits);
  }
  return value;
}

std::optional<std::uint32_t> TableReader::word(std::string_view key, std::span<const NamedValue> words) {
  const auto name = text(key);
  if (!name) return std::nullopt;
  const auto found = std::ranges::find(words, *name, &NamedValue::name);
  if (found != words.end()) return found->value;
  std::vector<std::string_view> names;
  for (const NamedValue& each : words) names.push_back(each.name);
  fail(key, quoted(key) + " must be " + listOf(names) + ", not " + quoted(*name));
}

std::vector<std::uint32_t> TableReader::words(std::string_view key, std::span<const NamedValue> words) {
  const toml::node* const node = find(key);
  if (node == nullptr) return {};
  if (!node->is_array()) fail(key, quoted(key) + " must be a list of words");
  std::vector<std::uint32_t> values;
  for (const toml::node& each : *node->as_array()) {
    const auto* const name = each.as_string();
    if (name == nullptr) failAt(each.source(), quoted(key) + " must be a list of words");
    const auto found = std::ranges::find(words, std::string_view(name->get()), &NamedValue::name);
    if (found == words.end()) {
      std::vector<std::string_view> names;
      for (const NamedValue& known : words) names.push_back(known.name);
      failAt(each.source(), quoted(key) + " must be of " + listOf(names) + ", not " + quoted(name->get()));
    }
    values.push_back(found->value);
  }
  return values;
}

std::optional<TableReader> TableReader::table(std::string_view key) {
  const toml::node* const node = find(key);
  if (node == nullptr) return std::nullopt;
  if (!node->is_table()) fail(key, quoted(key) + " must be a table");
  return TableReader(*node->as_table(), file_, std::string("[").append(key).append("]"));
}

std::vector<TableReader> TableReader::tables(std::string_view key) {
  const toml::node* const node = find(key);
  std::vector<TableReader> found;
  if (node == nullptr) return found;
  const auto* const array = node->as_array();
  if (array == nullptr || !array->is_homogeneous(toml::node_type::table)) {
    fail(key, quoted(key) + " must be tables, each after a line [[" + std::string(key) + "]]");
  }
  for (const toml::node& each : *array) {
    found.emplace_back(*each.as_table(), file_, std::string("[[").append(key).append("]]"));
  }
  return found;
}

void TableReader::addresses(std::string_view key, std::uint32_t mostAddress, std::uint32_t mostValue,
                            const Entry& entry) {
  const auto found = table(key);
  if (!found) return;
  for (const auto& [name, node] : found->table_) {
    const auto address = parseAddress(name.str());
    if (!address || *address > mostAddress) {
      failAt(name.source(), quoted(name.str()) + " must be an address up to " + hexadecimal(mostAddress));
    }
    const auto* const value = node.as_integer();
    if (value == nullptr || value->get() < 0 || value->get() > mostValue) {
      failAt(node.source(), "the value of register " + quoted(name.str()) + " must be a whole number up to " +
                                hexadecimal(mostValue));
    }
    entry(*address, static_cast<std::uint32_t>(value->get()));
  }
}

void TableReader::finish() const {
  for (const auto& [name, node] : table_) {
    if (std::ranges::find(known_, name.str()) != known_.end()) continue;
    failAt(name.source(), quoted(name.str()) + " is unknown in " + title_ + ", which has " + listOf(known_));
  }
}

}  // namespace sim
