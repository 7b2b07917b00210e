#include "sim/record/format/LineReader.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

#include "sim/record/format/LineFields.h"

namespace sim::record {

namespace {

[[noreturn]] void fail(const std::string& reason) { throw LineError(reason); }

[[noreturn]] void failAt(std::string_view key, const char* reason) { fail(std::string(key) + " " + reason); }

int hexDigit(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  const auto lower = static_cast<char>(digit | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// The bytes of the objects; what is decoded is never longer than what it is decoded from.
class Scanner {
 public:
  Scanner(std::string_view text, LineMemory& memory) : text_(text), memory_(memory) {
    memory_.clear();
    memory_.reserve(text.size());
  }

  void skipBlanks() {
    while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t' || text_[at_] == '\r')) ++at_;
  }
  bool isAtEnd() const { return at_ == text_.size(); }
  char peek() const { return isAtEnd() ? '\0' : text_[at_]; }

  bool take(char character) {
    skipBlanks();
    if (peek() != character) return false;
    ++at_;
    return true;
  }

  void expect(char character, const char* complaint) {
    if (!take(character)) fail(isAtEnd() ? "the line ends early" : complaint);
  }

  std::string_view string() {
    expect('"', "a text in quotes is missing");
    const std::size_t begin = memory_.size();
    for (takePlain(); peek() != '"'; takePlain()) memory_.push_back(character());
    ++at_;
    return {reinterpret_cast<const char*>(memory_.data()) + begin, memory_.size() - begin};
  }

  std::uint64_t number() {
    skipBlanks();
    std::uint64_t value = 0;
    const char* const begin = text_.data() + at_;
    const auto read = std::from_chars(begin, text_.data() + text_.size(), value);
    if (read.ec != std::errc()) fail("a number is missing or too large");
    at_ += static_cast<std::size_t>(read.ptr - begin);
    return value;
  }

  bool flag() {
    skipBlanks();
    for (const std::string_view word : {std::string_view("true"), std::string_view("false")}) {
      if (!text_.substr(at_).starts_with(word)) continue;
      at_ += word.size();
      return word.size() == 4;
    }
    fail("true or false is missing");
  }

  LineMemory& memory() { return memory_; }

 private:
  // The characters that mean themselves, in one go.
  void takePlain() {
    std::size_t end = at_;
    while (end < text_.size() && text_[end] >= 0x20 && text_[end] < 0x7F && text_[end] != '"' &&
           text_[end] != '\\')
      ++end;
    memory_.insert(memory_.end(), text_.data() + at_, text_.data() + end);
    at_ = end;
  }

  std::uint8_t character() {
    if (isAtEnd()) fail("the line ends in a text");
    const char plain = text_[at_++];
    if (plain < 0x20 || plain == 0x7F) fail("a text has a character that must be written as \\u00..");
    return plain == '\\' ? escaped() : static_cast<std::uint8_t>(plain);
  }

  std::uint8_t escaped() {
    if (isAtEnd()) fail("the line ends in a text");
    constexpr std::string_view names = "\"\\/bfnrt";
    constexpr std::string_view meanings = "\"\\/\b\f\n\r\t";
    const char name = text_[at_++];
    if (const std::size_t found = names.find(name); found != std::string_view::npos) {
      return static_cast<std::uint8_t>(meanings[found]);
    }
    if (name != 'u' || text_.substr(at_, 2) != "00" || text_.size() - at_ < 4) {
      fail("a text has an escape that means no byte");
    }
    const int high = hexDigit(text_[at_ + 2]);
    const int low = hexDigit(text_[at_ + 3]);
    if (high < 0 || low < 0) fail("a text has an escape that means no byte");
    at_ += 4;
    return static_cast<std::uint8_t>(high << 4 | low);
  }

  std::string_view text_;
  std::size_t at_ = 0;
  LineMemory& memory_;
};

template <class Member>
void store(void* record, std::size_t offset, const Member& member) {
  std::memcpy(static_cast<std::uint8_t*>(record) + offset, &member, sizeof member);
}

Bytes bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), static_cast<std::uint32_t>(text.size())};
}

// In the place of the digits.
Bytes unhexed(std::string_view key, std::string_view digits, LineMemory& memory) {
  if (digits.size() % 2 != 0 || digits.size() / 2 > mostPayload)
    failAt(key, "is not so many bytes in hexadecimal");
  std::uint8_t* const to = memory.data() + (memory.size() - digits.size());
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    const int high = hexDigit(digits[i]);
    const int low = hexDigit(digits[i + 1]);
    if (high < 0 || low < 0) failAt(key, "is not in hexadecimal");
    to[i / 2] = static_cast<std::uint8_t>(high << 4 | low);
  }
  return {to, static_cast<std::uint32_t>(digits.size() / 2)};
}

std::array<std::uint32_t, 4> hashOf(const Bytes& bytes) {
  std::array<std::uint32_t, 4> hash{};
  if (bytes.size != sizeof hash) fail("imageHash is not 16 bytes in hexadecimal");
  for (std::size_t i = 0; i < sizeof hash; ++i) hash[i / 4] = hash[i / 4] << 8 | bytes.data[i];
  return hash;
}

BoardName boardOf(std::string_view name) {
  const bool isUsb = name.starts_with("usb");
  if (!isUsb && !name.starts_with("pcie")) fail("board is neither usb nor pcie");
  BoardName board{isUsb ? 0U : 1U, 0};
  const char* const end = name.data() + name.size();
  const auto read = std::from_chars(name.data() + (isUsb ? 3 : 4), end, board.index);
  if (read.ec != std::errc() || read.ptr != end) fail("board has no number");
  return board;
}

void readField(const Field& field, Scanner& scanner, void* record) {
  using Kind = Field::Kind;
  switch (field.kind) {
    case Kind::number32: {
      const std::uint64_t value = scanner.number();
      if (value > std::numeric_limits<std::uint32_t>::max()) failAt(field.key, "is too large");
      return store(record, field.offset, static_cast<std::uint32_t>(value));
    }
    case Kind::number64: return store(record, field.offset, scanner.number());
    case Kind::flag: return store(record, field.offset, scanner.flag());
    case Kind::text: return store(record, field.offset, bytesOf(scanner.string()));
    case Kind::hex: {
      const std::string_view digits = scanner.string();
      return store(record, field.offset, unhexed(field.key, digits, scanner.memory()));
    }
    case Kind::hash: {
      const std::string_view digits = scanner.string();
      return store(record, field.offset, hashOf(unhexed(field.key, digits, scanner.memory())));
    }
    case Kind::board: return store(record, field.offset, boardOf(scanner.string()));
    case Kind::call: {
      Call call;
      if (!findCall(scanner.string(), call)) failAt(field.key, "is of an unknown kind");
      return store(record, field.offset, call);
    }
    case Kind::request: {
      std::uint32_t code = 0;
      if (!findRequest(scanner.string(), code)) failAt(field.key, "has an unknown name");
      return store(record, field.offset, code);
    }
  }
}

// Which of the fields were there, as bits.
std::uint32_t readObject(std::string_view text, LineMemory& memory, std::span<const Field> fields,
                         void* record) {
  Scanner scanner(text, memory);
  scanner.expect('{', "is no object of JSON");
  std::uint32_t seen = 0;
  while (!scanner.take('}')) {
    if (seen != 0) scanner.expect(',', "a comma is missing");
    const std::string_view key = scanner.string();
    scanner.expect(':', "a colon is missing");
    const auto field =
        std::ranges::find(fields, key, [](const Field& each) { return std::string_view(each.key); });
    if (field == fields.end()) fail("the key \"" + std::string(key) + "\" is unknown");
    const std::uint32_t bit = 1U << (field - fields.begin());
    if ((seen & bit) != 0) failAt(field->key, "is there twice");
    seen |= bit;
    readField(*field, scanner, record);
  }
  scanner.skipBlanks();
  if (!scanner.isAtEnd()) fail("something follows the object");
  return seen;
}

bool isOfAThread(Call call) { return call != Call::lost && call != Call::end; }

bool needsBoard(Call call) {
  return call == Call::open || call == Call::close || call == Call::request || call == Call::complete;
}

void check(const Line& line) {
  if (!isOfAThread(line.call)) return;
  if (line.thread == 0) fail("thread is missing");
  if (line.n == 0 || line.e <= line.n) fail("n and e are no begin and end");
  if (needsBoard(line.call) && line.board.type == BoardName::none) fail("board is missing");
  if (line.call == Call::request && line.code == 0) fail("request is missing");
  if (line.call == Call::complete && (line.of == 0 || line.of >= line.n)) fail("of names no earlier request");
}

}  // namespace

Line readLine(std::string_view text, LineMemory& memory) {
  Line line;
  const std::uint32_t seen = readObject(text, memory, lineFields(), &line);
  if ((seen & 1U) == 0) fail("call is missing");
  check(line);
  return line;
}

Header readHeader(std::string_view text, LineMemory& memory) {
  Header header;
  readObject(text, memory, headerFields(), &header);
  if (header.format == 0) fail("is no recording");
  return header;
}

}  // namespace sim::record
