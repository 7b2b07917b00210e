// Pieces of a page: text, tables, data.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <vector>

namespace cli {

// What is known, in the order in which it was found.
using Json = nlohmann::ordered_json;

// For the text of a page and for attributes in quotation marks.
std::string escaped(const std::string& text);

// For a script element: nothing in it ends the element.
std::string inScript(std::string json);

std::string base64(std::span<const std::uint8_t> bytes);

// The member at a place such as "supplies/v1/on"; null where there is none.
const Json& memberOf(const Json& object, const std::string& place);

// A text or a number as it stands, yes and no, a dash for null. Not escaped.
std::string textOf(const Json& value);
std::string fixed(const Json& number, int digits);
std::string percent(const Json& share, int digits);
std::string hexadecimal(const Json& number, int digits);

// A list of numbers: "4B 56".
std::string hexadecimals(const Json& numbers, int digits);

class Table {
 public:
  // The first column names the rows.
  explicit Table(const std::vector<std::string>& heads, const std::string& cssClass = "");

  // Texts, which are escaped. A class may mark the row.
  Table& row(const std::vector<std::string>& cells, const std::string& cssClass = "");

  std::string html() const { return html_ + "</tbody></table></div>\n"; }

 private:
  std::string html_;
};

std::string paragraph(const std::string& text, const std::string& cssClass = "");

// A part of the page, with its heading.
std::string section(const std::string& id, const std::string& heading, const std::string& content);

}  // namespace cli
