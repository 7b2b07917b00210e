// The library loaded, used and unloaded again and again by a program that does not link it.
#include <gtest/gtest.h>
#include <windows.h>

#include "kvexa.h"
#include "sim/attach/Attachment.h"
#include "sim/machine/Machine.h"
#include "tests/support/HandleCount.h"

namespace kvexa::test {
namespace {

constexpr char libraryName[] = "KVEXA_LIB.dll";

class LoadedLibrary {
 public:
  LoadedLibrary() : module_(LoadLibraryA(libraryName)) {}
  ~LoadedLibrary() {
    if (module_ != nullptr) FreeLibrary(module_);
  }
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;

  HMODULE module() const { return module_; }

  template <typename Function>
  Function* function(const char* name) const {
    const FARPROC address = GetProcAddress(module_, name);
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(address));
  }

 private:
  HMODULE module_;
};

using OpenFunction = std::int32_t KVEXA_CALL(std::uint32_t, std::uint32_t, BoardHandle*);
using CloseFunction = std::int32_t KVEXA_CALL(BoardHandle*);
using SwitchFunction = std::int32_t KVEXA_CALL(const BoardHandle*);

class Load : public ::testing::Test {
 protected:
  Load() { machine.addUsbBoard(); }

  void loadUseUnload() {
    {
      const LoadedLibrary library;
      ASSERT_NE(nullptr, library.module());
      const auto open = library.function<OpenFunction>("_kVexaDevOpen@12");
      const auto close = library.function<CloseFunction>("_kVexaDevClose@4");
      const auto powerOn = library.function<SwitchFunction>("_kVexaPowerV1On@4");
      ASSERT_TRUE(open != nullptr && close != nullptr && powerOn != nullptr);

      const sim::Attachment attachment(library.module(), machine);
      BoardHandle board{};
      EXPECT_EQ(KVEXA_OK, open(KVEXA_BOARD_USB, 0, &board));
      EXPECT_EQ(KVEXA_OK, powerOn(&board));
      EXPECT_EQ(1, machine.usbBoard(0).boardRegister(0x000A) & 1);
      EXPECT_EQ(KVEXA_OK, close(&board));
    }
    EXPECT_EQ(nullptr, GetModuleHandleA(libraryName));
    EXPECT_EQ(0U, machine.devices().openFiles());
    machine.trace().take();
  }

  sim::Machine machine;
};

TEST_F(Load, TheProgramDoesNotLinkTheLibrary) { EXPECT_EQ(nullptr, GetModuleHandleA(libraryName)); }

TEST_F(Load, AThousandTimesLeavesNoHandle) {
  loadUseUnload();
  const unsigned before = processHandleCount();
  for (int i = 0; i < 1000 && !HasFailure(); ++i) loadUseUnload();
  EXPECT_EQ(before, processHandleCount());
}

TEST_F(Load, AThousandTimesWithoutUseLeavesNoHandle) {
  { const LoadedLibrary once; }
  const unsigned before = processHandleCount();
  for (int i = 0; i < 1000; ++i) {
    const LoadedLibrary library;
    ASSERT_NE(nullptr, library.module());
  }
  EXPECT_EQ(before, processHandleCount());
  EXPECT_EQ(nullptr, GetModuleHandleA(libraryName));
}

TEST_F(Load, BoardLeftOpenStaysOpenWhenTheLibraryGoes) {
  {
    const LoadedLibrary library;
    const sim::Attachment attachment(library.module(), machine);
    BoardHandle board{};
    ASSERT_EQ(KVEXA_OK, library.function<OpenFunction>("_kVexaDevOpen@12")(KVEXA_BOARD_USB, 0, &board));
  }
  EXPECT_EQ(nullptr, GetModuleHandleA(libraryName));
  EXPECT_EQ(1U, machine.devices().openFiles());
}

}  // namespace
}  // namespace kvexa::test
