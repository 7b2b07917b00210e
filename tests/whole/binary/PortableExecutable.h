// The file of a 32-bit DLL, read without loading it.
#pragma once

#include <windows.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace kvexa::test {

// The path of a file in the folder of this program.
inline std::string besideThisProgram(const std::string& name) {
  char path[MAX_PATH];
  GetModuleFileNameA(nullptr, path, MAX_PATH);
  const std::string folder = path;
  return folder.substr(0, folder.find_last_of("\\/") + 1) + name;
}

class PortableExecutable {
 public:
  explicit PortableExecutable(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(file), {});
    const auto dos = at<IMAGE_DOS_HEADER>(0);
    headers_ = at<IMAGE_NT_HEADERS32>(static_cast<DWORD>(dos.e_lfanew));
    const DWORD first = static_cast<DWORD>(dos.e_lfanew) + sizeof(DWORD) + sizeof(IMAGE_FILE_HEADER) +
                        headers_.FileHeader.SizeOfOptionalHeader;
    for (DWORD i = 0; i < headers_.FileHeader.NumberOfSections; ++i)
      sections_.push_back(at<IMAGE_SECTION_HEADER>(first + i * sizeof(IMAGE_SECTION_HEADER)));
  }

  const std::vector<char>& bytes() const { return bytes_; }
  const IMAGE_NT_HEADERS32& headers() const { return headers_; }
  const std::vector<IMAGE_SECTION_HEADER>& sections() const { return sections_; }

  const IMAGE_DATA_DIRECTORY& directory(unsigned index) const {
    return headers_.OptionalHeader.DataDirectory[index];
  }

  // Reads a record by its address in the loaded image.
  template <typename Record>
  Record in(DWORD address) const {
    return at<Record>(offsetOf(address));
  }

  std::string text(DWORD address) const {
    std::string result;
    for (DWORD i = offsetOf(address); bytes_.at(i) != '\0'; ++i) result += bytes_[i];
    return result;
  }

 private:
  template <typename Record>
  Record at(DWORD offset) const {
    Record record;
    if (offset > bytes_.size() || bytes_.size() - offset < sizeof record)
      throw std::out_of_range("the file ends early");
    std::memcpy(&record, bytes_.data() + offset, sizeof record);
    return record;
  }

  DWORD offsetOf(DWORD address) const {
    for (const auto& section : sections_) {
      if (address >= section.VirtualAddress && address - section.VirtualAddress < section.SizeOfRawData)
        return address - section.VirtualAddress + section.PointerToRawData;
    }
    throw std::out_of_range("an address in no section");
  }

  std::vector<char> bytes_;
  IMAGE_NT_HEADERS32 headers_{};
  std::vector<IMAGE_SECTION_HEADER> sections_;
};

}  // namespace kvexa::test
