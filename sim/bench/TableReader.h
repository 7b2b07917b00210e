// Reads the values of one TOML table, and says where the one is that is wrong.
#pragma once

// Without these the library formats numbers with streams, whose locales would double the size of a program.
#define TOML_FLOAT_CHARCONV 1
#define TOML_INT_CHARCONV 1
#define TOML_ENABLE_FORMATTERS 0
#include <toml++/toml.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

// A word of the description and the number that it means.
struct NamedValue {
  std::string_view name;
  std::uint32_t value;
};

class TableReader {
 public:
  // `file` is what errors call the text; `title` is what they call the table.
  TableReader(const toml::table& table, std::string_view file, std::string title)
      : table_(table), file_(file), title_(std::move(title)) {}

  // Each of these returns nothing when the key is not there, and throws DescriptionError when its value is
  // wrong.
  std::optional<std::string> text(std::string_view key);
  std::optional<bool> boolean(std::string_view key);
  std::optional<std::int64_t> integer(std::string_view key, std::int64_t least, std::int64_t most);
  std::optional<double> number(std::string_view key, double least, double most);
  std::optional<std::uint32_t> word(std::string_view key, std::span<const NamedValue> words);
  // A list of words; empty when the key is not there.
  std::vector<std::uint32_t> words(std::string_view key, std::span<const NamedValue> words);
  std::optional<TableReader> table(std::string_view key);
  std::vector<TableReader> tables(std::string_view key);

  // Every entry of a table that maps addresses to values: "0x0102" = 3.
  using Entry = std::function<void(std::uint32_t address, std::uint32_t value)>;
  void addresses(std::string_view key, std::uint32_t mostAddress, std::uint32_t mostValue,
                 const Entry& entry);

  bool has(std::string_view key) const { return table_.contains(key); }

  // "boards.toml:3:5", of a value or of the table.
  std::string place(std::string_view key = {}) const;
  [[noreturn]] void fail(std::string_view key, const std::string& reason) const;

  // Throws when the table has a key that nobody has asked for.
  void finish() const;

 private:
  const toml::node* find(std::string_view key);
  [[noreturn]] void failAt(const toml::source_region& region, const std::string& reason) const;

  const toml::table& table_;
  std::string_view file_;
  std::string title_;
  std::vector<std::string> known_;
};

}  // namespace sim
