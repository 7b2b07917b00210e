#include "sim/record/format/LineText.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "sim/record/format/LineFields.h"

namespace sim::record {

namespace {

constexpr char digits[] = "0123456789abcdef";

class Writer {
 public:
  explicit Writer(std::span<char> buffer)
      : begin_(buffer.data()), at_(begin_), end_(begin_ + buffer.size()) {}

  std::size_t length() const { return static_cast<std::size_t>(at_ - begin_); }

  void put(char character) { *at_++ = character; }
  void put(const char* text) {
    const std::size_t length = std::strlen(text);
    std::memcpy(at_, text, length);
    at_ += length;
  }

  void key(const char* name) {
    put(length() == 0 ? "{\"" : ",\"");
    put(name);
    put("\":");
  }

  void number(std::uint64_t value) { at_ = std::to_chars(at_, end_, value).ptr; }

  void byte(std::uint8_t value) {
    put(digits[value >> 4]);
    put(digits[value & 15]);
  }

  // Bytes outside of ASCII are written as characters of the same number.
  void text(const Bytes& bytes) {
    for (std::uint32_t i = 0; i < std::min(bytes.size, mostText); ++i) {
      const std::uint8_t each = bytes.data[i];
      if (each >= 0x20 && each < 0x7F) {
        if (each == '"' || each == '\\') put('\\');
        put(static_cast<char>(each));
        continue;
      }
      put("\\u00");
      byte(each);
    }
  }

  void hex(const Bytes& bytes) {
    for (std::uint32_t i = 0; i < std::min(bytes.size, mostPayload); ++i) byte(bytes.data[i]);
  }

 private:
  char* begin_;
  char* at_;
  char* end_;
};

template <class Member>
Member memberAt(const void* record, std::size_t offset) {
  Member member;
  std::memcpy(&member, static_cast<const std::uint8_t*>(record) + offset, sizeof member);
  return member;
}

void writeNumber(Writer& writer, const Field& field, std::uint64_t value) {
  if (value == 0) return;
  writer.key(field.key);
  writer.number(value);
}

void writeBytes(Writer& writer, const Field& field, const Bytes& bytes) {
  if (bytes.size == 0) return;
  writer.key(field.key);
  writer.put('"');
  field.kind == Field::Kind::hex ? writer.hex(bytes) : writer.text(bytes);
  writer.put('"');
}

void writeHash(Writer& writer, const Field& field, const std::array<std::uint32_t, 4>& hash) {
  if (hash == std::array<std::uint32_t, 4>{}) return;
  writer.key(field.key);
  writer.put('"');
  for (const std::uint32_t word : hash) {
    for (int shift = 24; shift >= 0; shift -= 8) writer.byte(static_cast<std::uint8_t>(word >> shift));
  }
  writer.put('"');
}

void writeName(Writer& writer, const Field& field, const char* name) {
  writer.key(field.key);
  writer.put('"');
  writer.put(name);
  writer.put('"');
}

void writeBoard(Writer& writer, const Field& field, const BoardName& board) {
  if (board.type == BoardName::none) return;
  writer.key(field.key);
  writer.put(board.type == 0 ? "\"usb" : "\"pcie");
  writer.number(board.index);
  writer.put('"');
}

void writeRequest(Writer& writer, const Field& field, std::uint32_t code) {
  if (code == 0) return;
  std::array<char, 16> name{};
  requestName(code, name);
  writeName(writer, field, std::string_view(name.data()).data());
}

void writeField(Writer& writer, const Field& field, const void* record) {
  using Kind = Field::Kind;
  switch (field.kind) {
    case Kind::number32: return writeNumber(writer, field, memberAt<std::uint32_t>(record, field.offset));
    case Kind::number64: return writeNumber(writer, field, memberAt<std::uint64_t>(record, field.offset));
    case Kind::flag:
      if (memberAt<bool>(record, field.offset)) {
        writer.key(field.key);
        writer.put("true");
      }
      return;
    case Kind::text:
    case Kind::hex: return writeBytes(writer, field, memberAt<Bytes>(record, field.offset));
    case Kind::hash:
      return writeHash(writer, field, memberAt<std::array<std::uint32_t, 4>>(record, field.offset));
    case Kind::board: return writeBoard(writer, field, memberAt<BoardName>(record, field.offset));
    case Kind::call: return writeName(writer, field, callName(memberAt<Call>(record, field.offset)));
    case Kind::request: return writeRequest(writer, field, memberAt<std::uint32_t>(record, field.offset));
  }
}

std::size_t write(std::span<const Field> fields, const void* record, std::span<char> buffer) {
  Writer writer(buffer);
  for (const Field& field : fields) writeField(writer, field, record);
  writer.put("}\n");
  return writer.length();
}

}  // namespace

std::size_t writeLine(const Line& line, std::span<char> buffer) { return write(lineFields(), &line, buffer); }

std::size_t writeHeader(const Header& header, std::span<char> buffer) {
  return write(headerFields(), &header, buffer);
}

}  // namespace sim::record
