#include "files/RegisterSettingReader.h"

#include <algorithm>
#include <iterator>

#include "files/File.h"
#include "files/HexNumber.h"

namespace kvexa::files {

namespace {

void store(const RegisterSettingLine& line, RegisterTableEntry& entry) {
  entry.number = line.number;
  entry.valueCount = line.valueCount;
  std::transform(line.values.begin(), line.values.begin() + line.valueCount, std::begin(entry.values),
                 [](std::uint32_t value) { return static_cast<std::uint16_t>(value); });
}

}  // namespace

// A carriage return before a line feed belongs to the line's end, and a text ends at its end mark wherever it
// is, as the run-time library reads text.
int RegisterSettingReader::nextByte() {
  if (isEnded_) return EOF;
  const int byte = std::getc(file_);
  if (byte == textEndMark) {
    isEnded_ = true;
    return EOF;
  }
  if (byte != '\r') return byte;
  const int next = std::getc(file_);
  if (next == '\n') return next;
  if (next != EOF) std::ungetc(next, file_);
  return byte;
}

RegisterSettingReader::Outcome RegisterSettingReader::next(RegisterSettingLine& line) {
  int byte = nextByte();
  if (byte == EOF) return Outcome::endOfFile;

  line.number = 0;
  line.valueCount = 0;
  bool isFirstField = true;
  HexNumber field;
  // A line without a comma has no number: only a comma makes the first field the line's number.
  const auto endField = [&] {
    if (isFirstField) return true;
    if (line.valueCount == largestValueCount) return false;
    line.values[line.valueCount++] = field.value();
    return true;
  };
  for (; byte != EOF && byte != '\n'; byte = nextByte()) {
    if (byte != ',') {
      field.put(static_cast<char>(byte));
      continue;
    }
    if (!endField()) return Outcome::tooManyValues;
    if (isFirstField) line.number = field.value();
    isFirstField = false;
    field = HexNumber();
  }
  return endField() ? Outcome::line : Outcome::tooManyValues;
}

std::int32_t readRegisterTable(std::FILE* file, RegisterTableEntry* table, std::uint32_t& lineCount) {
  const std::int32_t read = readRegisterSettings(
      file, [table](const RegisterSettingLine& line, std::uint32_t index) { store(line, table[index]); });
  if (read < 0) return read;
  lineCount = static_cast<std::uint32_t>(read);
  return KVEXA_OK;
}

std::int32_t readRegisterTableFile(const char* path, RegisterTableEntry* table, std::uint32_t* lineCount) {
  if (path == nullptr || table == nullptr || lineCount == nullptr) return KVEXA_BAD_ARGUMENT;
  const File file = openForReading(path);
  return file ? readRegisterTable(file.get(), table, *lineCount) : KVEXA_FILE_NOT_OPENED;
}

}  // namespace kvexa::files
