#include "cli/report/Html.h"

#include "cli/base/Output.h"

namespace cli {

namespace {

constexpr char unknown[] = "–";
constexpr double hundred = 100;

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

std::string withClass(const std::string& cssClass) {
  return cssClass.empty() ? "" : " class=\"" + cssClass + "\"";
}

}  // namespace

std::string escaped(const std::string& text) {
  std::string made;
  made.reserve(text.size());
  for (const char letter : text) {
    switch (letter) {
      case '&': made += "&amp;"; break;
      case '<': made += "&lt;"; break;
      case '>': made += "&gt;"; break;
      case '"': made += "&quot;"; break;
      default: made += letter;
    }
  }
  return made;
}

std::string inScript(std::string json) {
  replaceAll(json, "<", "\\u003c");
  replaceAll(json, "\u2028", "\\u2028");
  replaceAll(json, "\u2029", "\\u2029");
  return json;
}

std::string base64(std::span<const std::uint8_t> bytes) {
  constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string made;
  made.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k) group = group << 8 | (k < count ? bytes[i + k] : 0U);
    for (std::size_t k = 0; k < 4; ++k) made += k <= count ? digits[group >> (18 - 6 * k) & 0x3F] : '=';
  }
  return made;
}

const Json& memberOf(const Json& object, const std::string& place) {
  static const Json none;
  const Json::json_pointer pointer("/" + place);
  return object.contains(pointer) ? object.at(pointer) : none;
}

std::string textOf(const Json& value) {
  if (value.is_null()) return unknown;
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string fixed(const Json& number, int digits) {
  return number.is_number() ? format("%.*f", digits, number.get<double>()) : unknown;
}

std::string percent(const Json& share, int digits) {
  return share.is_number() ? format("%.*f %%", digits, hundred * share.get<double>()) : unknown;
}

std::string hexadecimal(const Json& number, int digits) {
  return number.is_number() ? format("%0*X", digits, number.get<unsigned>()) : unknown;
}

std::string hexadecimals(const Json& numbers, int digits) {
  if (!numbers.is_array()) return unknown;
  std::string text;
  for (const Json& number : numbers) {
    if (!text.empty()) text += ' ';
    text += hexadecimal(number, digits);
  }
  return text;
}

Table::Table(const std::vector<std::string>& heads, const std::string& cssClass)
    : html_("<div class=\"wide\"><table" + withClass(cssClass) + "><thead><tr>") {
  for (const std::string& head : heads) html_ += "<th scope=\"col\">" + escaped(head) + "</th>";
  html_ += "</tr></thead><tbody>\n";
}

Table& Table::row(const std::vector<std::string>& cells, const std::string& cssClass) {
  html_ += "<tr" + withClass(cssClass) + ">";
  for (std::size_t i = 0; i < cells.size(); ++i) {
    html_ +=
        i == 0 ? "<th scope=\"row\">" + escaped(cells[i]) + "</th>" : "<td>" + escaped(cells[i]) + "</td>";
  }
  html_ += "</tr>\n";
  return *this;
}

std::string paragraph(const std::string& text, const std::string& cssClass) {
  return "<p" + withClass(cssClass) + ">" + escaped(text) + "</p>\n";
}

std::string section(const std::string& id, const std::string& heading, const std::string& content) {
  return "<section id=\"" + id + "\" aria-labelledby=\"" + id + "-heading\">\n<h2 id=\"" + id +
         "-heading\">" + escaped(heading) + "</h2>\n" + content + "</section>\n";
}

}  // namespace cli
