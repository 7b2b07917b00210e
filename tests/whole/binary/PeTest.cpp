// The built library as a file: what it exports and imports, and how hardened it is.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "tests/whole/binary/PortableExecutable.h"

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

  const PortableExecutable file{besideThisProgram("KVEXA_LIB.dll")};
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
