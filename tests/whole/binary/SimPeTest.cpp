// kvexa_sim.dll as a file: its size, what it exports and imports, and how hardened it is.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <string_view>

#include "tests/whole/binary/PortableExecutable.h"

namespace kvexa::test {
namespace {

// In the order of their ordinals.
const char* const exported[] = {
#define EXPORT(name, words) #name,
#include "sim/dll/exports.inc"
#undef EXPORT
};

class SimulationFile : public ::testing::Test {
 protected:
  bool has(DWORD characteristic) const {
    return (file.headers().OptionalHeader.DllCharacteristics & characteristic) != 0;
  }

  IMAGE_EXPORT_DIRECTORY exports() const {
    return file.in<IMAGE_EXPORT_DIRECTORY>(file.directory(IMAGE_DIRECTORY_ENTRY_EXPORT).VirtualAddress);
  }

  const PortableExecutable file{besideThisProgram("kvexa_sim.dll")};
};

TEST_F(SimulationFile, IsA32BitDllUnderOneMebibyte) {
  EXPECT_EQ(IMAGE_FILE_MACHINE_I386, file.headers().FileHeader.Machine);
  EXPECT_NE(0, file.headers().FileHeader.Characteristics & IMAGE_FILE_DLL);
  EXPECT_LT(file.bytes().size(), std::size_t{1} << 20);
}

TEST_F(SimulationFile, ExportsItsTableInTheOrderOfTheOrdinals) {
  const auto directory = exports();
  EXPECT_EQ("kvexa_sim.dll", file.text(directory.Name));
  EXPECT_EQ(1U, directory.Base);
  ASSERT_EQ(std::size(exported), directory.NumberOfNames);
  ASSERT_EQ(std::size(exported), directory.NumberOfFunctions);
  std::set<unsigned> seen;
  for (DWORD i = 0; i < directory.NumberOfNames; ++i) {
    const auto index = file.in<WORD>(directory.AddressOfNameOrdinals + 2 * i);
    ASSERT_LT(index, std::size(exported));
    EXPECT_EQ(exported[index], file.text(file.in<DWORD>(directory.AddressOfNames + 4 * i)));
    seen.insert(index);
  }
  EXPECT_EQ(std::size(exported), seen.size());
}

// Programs are given the library by its first ordinal.
TEST_F(SimulationFile, FirstOrdinalStaysWhereItIs) { EXPECT_STREQ("kvexaSimStop", exported[0]); }

TEST_F(SimulationFile, EveryExportLiesInCode) {
  const auto directory = exports();
  for (DWORD i = 0; i < directory.NumberOfFunctions; ++i) {
    const auto at = file.in<DWORD>(directory.AddressOfFunctions + 4 * i);
    const auto section = std::ranges::find_if(file.sections(), [at](const auto& each) {
      return at >= each.VirtualAddress && at - each.VirtualAddress < each.Misc.VirtualSize;
    });
    ASSERT_NE(file.sections().end(), section) << exported[i];
    EXPECT_NE(0U, section->Characteristics & IMAGE_SCN_MEM_EXECUTE) << exported[i];
  }
}

TEST_F(SimulationFile, ImportsFromSystemLibrariesOnly) {
  const std::set<std::string> system = {"kernel32.dll", "user32.dll",   "advapi32.dll",
                                        "setupapi.dll", "cfgmgr32.dll", "version.dll",
                                        "msvcrt.dll",   "ntdll.dll",    "winmm.dll"};
  DWORD at = file.directory(IMAGE_DIRECTORY_ENTRY_IMPORT).VirtualAddress;
  unsigned count = 0;
  for (;; at += sizeof(IMAGE_IMPORT_DESCRIPTOR), ++count) {
    const auto entry = file.in<IMAGE_IMPORT_DESCRIPTOR>(at);
    if (entry.Name == 0) break;
    std::string name = file.text(entry.Name);
    std::ranges::transform(name, name.begin(),
                           [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    EXPECT_TRUE(system.contains(name)) << name;
  }
  EXPECT_GT(count, 0U);
}

TEST_F(SimulationFile, CanBeMovedAndDoesNotExecuteData) {
  EXPECT_TRUE(has(IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE));
  EXPECT_TRUE(has(IMAGE_DLLCHARACTERISTICS_NX_COMPAT));
  EXPECT_EQ(0, file.headers().FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED);
  EXPECT_GT(file.directory(IMAGE_DIRECTORY_ENTRY_BASERELOC).Size, 8U);
}

TEST_F(SimulationFile, NoSectionIsBothWritableAndExecutable) {
  constexpr DWORD both = IMAGE_SCN_MEM_WRITE | IMAGE_SCN_MEM_EXECUTE;
  ASSERT_FALSE(file.sections().empty());
  for (const auto& section : file.sections()) EXPECT_NE(both, section.Characteristics & both);
}

TEST_F(SimulationFile, CarriesNoPathAndNoTimeOfTheMachineThatBuiltIt) {
  const std::string_view content(file.bytes().data(), file.bytes().size());
  const std::string folder = KVEXA_SOURCE_FOLDER;
  ASSERT_GT(folder.size(), 3U);
  EXPECT_EQ(std::string_view::npos, content.find(folder));
  EXPECT_EQ(0U, file.headers().FileHeader.TimeDateStamp);
  EXPECT_EQ(0U, exports().TimeDateStamp);
  EXPECT_EQ(0U, file.headers().FileHeader.NumberOfSymbols);
}

}  // namespace
}  // namespace kvexa::test
