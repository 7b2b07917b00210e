// The built library as a file: what it exports and imports, and how hardened it is.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace kvexa::test {
namespace {

std::string decorated(const std::string& name, const std::string& convention, unsigned words) {
  return convention == "CDECL" ? name : "_" + name + "@" + std::to_string(4 * words);
}

std::set<std::string> contract() {
  return {
#define EXPORT(name, convention, words) decorated(#name, #convention, words),
#define EXPORT_ALIAS(name, function, words) decorated(#name, "STDCALL", words),
#include "src/api/exports.inc"
#undef EXPORT_ALIAS
#undef EXPORT
  };
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

// The library stands beside this program.
std::string libraryPath() {
  char path[MAX_PATH];
  GetModuleFileNameA(nullptr, path, MAX_PATH);
  std::string folder = path;
  return folder.substr(0, folder.find_last_of("\\/") + 1) + "KVEXA_LIB.dll";
}

class Library : public ::testing::Test {
 protected:
  bool has(DWORD characteristic) const {
    return (file.headers().OptionalHeader.DllCharacteristics & characteristic) != 0;
  }

  IMAGE_EXPORT_DIRECTORY exportDirectory() const {
    return file.in<IMAGE_EXPORT_DIRECTORY>(file.directory(IMAGE_DIRECTORY_ENTRY_EXPORT).VirtualAddress);
  }

  std::map<std::string, DWORD> exportedAddresses() const {
    const auto exports = exportDirectory();
    std::map<std::string, DWORD> addresses;
    for (DWORD i = 0; i < exports.NumberOfNames; ++i) {
      const auto name = file.text(file.in<DWORD>(exports.AddressOfNames + 4 * i));
      const auto ordinal = file.in<WORD>(exports.AddressOfNameOrdinals + 2 * i);
      addresses[name] = file.in<DWORD>(exports.AddressOfFunctions + 4 * ordinal);
    }
    return addresses;
  }

  const PortableExecutable file{libraryPath()};
};

TEST_F(Library, IsA32BitDll) {
  EXPECT_EQ(IMAGE_NT_SIGNATURE, file.headers().Signature);
  EXPECT_EQ(IMAGE_FILE_MACHINE_I386, file.headers().FileHeader.Machine);
  EXPECT_NE(0, file.headers().FileHeader.Characteristics & IMAGE_FILE_DLL);
}

TEST_F(Library, ExportsExactlyTheContract) {
  std::set<std::string> names;
  for (const auto& [name, address] : exportedAddresses()) names.insert(name);
  EXPECT_EQ(contract(), names);
  EXPECT_EQ("KVEXA_LIB.dll", file.text(exportDirectory().Name));
}

TEST_F(Library, ExportsNothingWithoutAName) {
  EXPECT_EQ(contract().size(), exportDirectory().NumberOfFunctions);
}

TEST_F(Library, BothRecoveryNamesAreOneFunction) {
  const auto addresses = exportedAddresses();
  EXPECT_EQ(addresses.at("_kVexaRecovery@4"), addresses.at("_kVexaI2cRecovery@4"));
}

TEST_F(Library, ImportsFromSystemLibrariesOnly) {
  const std::set<std::string> system = {"kernel32.dll", "user32.dll",  "advapi32.dll", "setupapi.dll",
                                        "cfgmgr32.dll", "version.dll", "msvcrt.dll"};
  const DWORD first = file.directory(IMAGE_DIRECTORY_ENTRY_IMPORT).VirtualAddress;
  unsigned count = 0;
  for (;; ++count) {
    const auto entry =
        file.in<IMAGE_IMPORT_DESCRIPTOR>(first + count * static_cast<DWORD>(sizeof(IMAGE_IMPORT_DESCRIPTOR)));
    if (entry.Name == 0) break;
    std::string name = file.text(entry.Name);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    EXPECT_EQ(1U, system.count(name)) << name;
  }
  EXPECT_GT(count, 0U);
}

TEST_F(Library, CanBeMovedAndDoesNotExecuteData) {
  EXPECT_TRUE(has(IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE));
  EXPECT_TRUE(has(IMAGE_DLLCHARACTERISTICS_NX_COMPAT));
  EXPECT_EQ(0, file.headers().FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED);
  const auto& relocations = file.directory(IMAGE_DIRECTORY_ENTRY_BASERELOC);
  EXPECT_GT(relocations.Size, 0U);
  EXPECT_GT(file.in<IMAGE_BASE_RELOCATION>(relocations.VirtualAddress).SizeOfBlock, 8U);
}

TEST_F(Library, NoSectionIsBothWritableAndExecutable) {
  ASSERT_FALSE(file.sections().empty());
  constexpr DWORD both = IMAGE_SCN_MEM_WRITE | IMAGE_SCN_MEM_EXECUTE;
  for (const auto& section : file.sections()) {
    const auto name = reinterpret_cast<const char*>(section.Name);
    EXPECT_NE(both, section.Characteristics & both) << std::string(name, strnlen(name, sizeof section.Name));
  }
}

TEST_F(Library, EveryExportLiesInCode) {
  for (const auto& [name, address] : exportedAddresses()) {
    const auto section =
        std::find_if(file.sections().begin(), file.sections().end(), [at = address](const auto& candidate) {
          return at >= candidate.VirtualAddress && at - candidate.VirtualAddress < candidate.Misc.VirtualSize;
        });
    ASSERT_NE(file.sections().end(), section) << name;
    EXPECT_NE(0U, section->Characteristics & IMAGE_SCN_MEM_EXECUTE) << name;
  }
}

// Nobody shall see where the library was built, and it shall not depend on it.
TEST_F(Library, CarriesNoPathOfTheMachineThatBuiltIt) {
  const std::string_view content(file.bytes().data(), file.bytes().size());
  const std::string folder = KVEXA_SOURCE_FOLDER;
  ASSERT_GT(folder.size(), 3U);
  std::string windows = folder;
  std::replace(windows.begin(), windows.end(), '/', '\\');
  std::string flat = folder;
  std::replace(flat.begin(), flat.end(), '/', '_');
  for (const std::string& form : {folder, windows, flat}) {
    EXPECT_EQ(std::string_view::npos, content.find(form)) << form;
  }
  EXPECT_EQ(0U, file.directory(IMAGE_DIRECTORY_ENTRY_DEBUG).Size);
  EXPECT_EQ(0U, file.headers().FileHeader.NumberOfSymbols);
}

// The same sources shall give the same bytes.
TEST_F(Library, CarriesNoTimeOfBuilding) {
  EXPECT_EQ(0U, file.headers().FileHeader.TimeDateStamp);
  EXPECT_EQ(0U, exportDirectory().TimeDateStamp);
}

}  // namespace
}  // namespace kvexa::test
