// Every export as callers built by other compilers enter it: with the stack at any multiple of 4. It
// must work, and give back the stack pointer and the registers that belong to the caller.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "kvexa.h"
#include "sim/Attachment.h"
#include "sim/Machine.h"

extern "C" {
// What the assembly below reads and writes.
struct CallFrame {
  const void* function;
  const std::uint32_t* words;
  std::uint32_t wordCount;
  std::uint32_t offset;  // stack pointer modulo 16 at the call
  std::uint32_t stackBefore;
  std::uint32_t stackAfter;
  std::uint32_t ebx;
  std::uint32_t esi;
  std::uint32_t edi;
  std::uint32_t ebp;
  std::uint32_t result;
  std::uint32_t ownFrame;
  std::uint32_t x87State[27];
};
CallFrame callFrame;
void callWithStackOffset();
}

// The x87 registers are put aside around the call: some exports leave their result there.
asm(R"(
    .text
    .globl _callWithStackOffset
_callWithStackOffset:
    pushl %ebp
    movl  %esp, %ebp
    pushl %ebx
    pushl %esi
    pushl %edi
    movl  %ebp, _callFrame+44
    fnsave _callFrame+48
    frstor _callFrame+48
    movl  _callFrame+4, %esi
    movl  _callFrame+8, %ecx
    leal  0(,%ecx,4), %eax
    movl  %esp, %edx
    subl  %eax, %edx
    andl  $-16, %edx
    subl  $16, %edx
    addl  _callFrame+12, %edx
    leal  (%edx,%eax), %esp
1:  testl %ecx, %ecx
    jz    2f
    decl  %ecx
    pushl (%esi,%ecx,4)
    jmp   1b
2:  movl  %esp, _callFrame+16
    movl  $0x11111111, %ebx
    movl  $0x22222222, %esi
    movl  $0x33333333, %edi
    movl  $0x44444444, %ebp
    call  *_callFrame
    movl  %esp, _callFrame+20
    movl  %ebx, _callFrame+24
    movl  %esi, _callFrame+28
    movl  %edi, _callFrame+32
    movl  %ebp, _callFrame+36
    movl  %eax, _callFrame+40
    movl  _callFrame+44, %ebp
    leal  -12(%ebp), %esp
    frstor _callFrame+48
    popl  %edi
    popl  %esi
    popl  %ebx
    popl  %ebp
    ret
)");

namespace kvexa::test {
namespace {

struct Export {
  std::string name;
  bool isCdecl;
  std::uint32_t words;
};

const Export exportTable[] = {
#define EXPORT(name, convention, words) {#name, #convention[0] == 'C', words},
#define EXPORT_ALIAS(name, function, words) {#name, false, words},
#include "src/frame/exports.inc"
#undef EXPORT_ALIAS
#undef EXPORT
};

using Words = std::vector<std::uint32_t>;

template <typename Pointee>
std::uint32_t word(Pointee* pointer) {
  return reinterpret_cast<std::uint32_t>(pointer);
}

class Calls : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(nullptr, module_);
    machine_.addUsbBoard();
    param_.HCNT = param_.VCNT = 16;
    param_.BITWIDTH = 8;
  }

  void TearDown() override { FreeLibrary(module_); }

  // Calls one export and checks what it gave back.
  std::int32_t call(const Export& function, const Words& words, std::uint32_t offset) {
    const std::string name =
        function.isCdecl ? function.name : "_" + function.name + "@" + std::to_string(4 * function.words);
    const auto address = reinterpret_cast<const void*>(GetProcAddress(module_, name.c_str()));
    EXPECT_NE(nullptr, address);
    EXPECT_EQ(function.words, words.size());
    if (address == nullptr || function.words != words.size()) return KVEXA_FAILED;
    callFrame.function = address;
    callFrame.words = words.data();
    callFrame.wordCount = function.words;
    callFrame.offset = offset;
    callWithStackOffset();
    EXPECT_EQ(offset, callFrame.stackBefore % 16) << "the test's own call is wrong";
    EXPECT_EQ(callFrame.stackBefore + (function.isCdecl ? 0 : 4 * function.words), callFrame.stackAfter);
    EXPECT_EQ(0x11111111U, callFrame.ebx);
    EXPECT_EQ(0x22222222U, callFrame.esi);
    EXPECT_EQ(0x33333333U, callFrame.edi);
    EXPECT_EQ(0x44444444U, callFrame.ebp);
    return static_cast<std::int32_t>(callFrame.result);
  }

  std::int32_t callByName(const std::string& name, const Words& words, std::uint32_t offset) {
    for (const auto& function : exportTable) {
      if (function.name == name) return call(function, words, offset);
    }
    ADD_FAILURE() << name << " is no export";
    return KVEXA_FAILED;
  }

  // Arguments with which an export does real work. Where nothing is said here: the board, then a
  // zeroed area, then zeros.
  Words argumentsOf(const Export& function) {
    const std::uint32_t board = word(&board_);
    const std::uint32_t area = word(area_.data());
    const std::uint32_t image = word(image_.data());
    const std::map<std::string, Words> special = {
        {"kVexaDevNum", {area, area + 4}},
        {"kVexaRegRead", {board, 0x80, 2, 0, 2, area}},
        {"kVexaRegWrite", {board, 0x80, 2, 0, 2, area}},
        {"kVexaRegReadS", {board, 0x6D, 0, 1, 2, area}},
        {"kVexaRegWriteS", {board, 0x6C, 0, 1, 2, area}},
        {"kVexaFpgaRead", {board, 0x0A, 2, area}},
        {"kVexaFpgaWrite", {board, 0x0504, 2, area}},
        {"kVexaOneShotCapture", {board, 4096, image, 10}},
        {"kVexaWaitVSync", {board, 1}},
        {"kVexaSetI2Cspeed", {board, 1}},
        {"kVexaSetCapParam", {board, word(&param_)}},
        {"kVexaCalcFrameSize", {word(&param_), 0}},
        {"kVexaCalcFrameSizeEx", {word(&param_), area, area + 4, area + 8, area + 12, 0}},
        {"kVexaRaw8ToRgb888", {image, image + 4096, 16, 16, 0}},
        {"kVexaSaveBmpFile", {0, image, 16, 16, word(&rect_), KVEXA_FORMAT_GREY8, KVEXA_BMP_8_BITS}},
        {"kVexaGetCapFileParam", {word("no such file.dat"), area}},
        {"kVexaSetI2cFile", {word("no such file"), board}},
        {"kUsbIniFileToBuf", {word("no such file"), area, area}},
        {"kUsbBufToReg", {word(board_.driverHandle), area, 1}},
        {"kUsbExCmd", {word(board_.driverHandle), area}},
        {"kUsbGetData", {word(board_.driverHandle), 64, area, image, 10}},
    };
    const auto found = special.find(function.name);
    if (found != special.end()) return found->second;
    Words words(function.words, 0);
    if (function.words > 0) words[0] = board;
    if (function.words == 2) words[1] = area;
    return words;
  }

  const HMODULE module_ = LoadLibraryA("KVEXA_LIB.dll");
  sim::Machine machine_;
  const sim::Attachment attachment_{module_, machine_};
  BoardHandle board_{};
  CapParam param_{};
  SaveRect rect_{0, 0, 16, 16};
  std::vector<std::uint8_t> area_ = std::vector<std::uint8_t>(4096, 0);
  std::vector<std::uint8_t> image_ = std::vector<std::uint8_t>(16384, 0);
};

TEST_F(Calls, EveryExportWorksAtEveryStackOffset) {
  for (const std::uint32_t offset : {0U, 4U, 8U, 12U}) {
    SCOPED_TRACE(testing::Message() << "offset " << offset);
    ASSERT_EQ(KVEXA_OK, callByName("kVexaDevOpen", {KVEXA_BOARD_USB, 0, word(&board_)}, offset));
    for (const auto& function : exportTable) {
      if (function.name == "kVexaDevOpen" || function.name == "kVexaDevClose") continue;
      SCOPED_TRACE(function.name);
      area_.assign(area_.size(), 0);
      call(function, argumentsOf(function), offset);
    }
    EXPECT_EQ(KVEXA_OK, callByName("kVexaDevClose", {word(&board_)}, offset));
  }
  EXPECT_EQ(0U, machine_.openFiles());
}

TEST_F(Calls, ResultsDoNotDependOnTheStackOffset) {
  for (const std::uint32_t offset : {0U, 4U, 8U, 12U}) {
    SCOPED_TRACE(testing::Message() << "offset " << offset);
    ASSERT_EQ(KVEXA_OK, callByName("kVexaDevOpen", {KVEXA_BOARD_USB, 0, word(&board_)}, offset));
    double coefficients[13] = {1.0, 0.5, -1.0};
    EXPECT_EQ(KVEXA_OK, callByName("kVexaCscSet", {word(&board_), word(coefficients)}, offset));
    EXPECT_EQ(32, machine_.usbBoard(0).boardRegister(0x0202));
    EXPECT_EQ(0xFFE0, machine_.usbBoard(0).boardRegister(0x0206));
    EXPECT_EQ(512, callByName("kVexaCalcFrameSize", {word(&param_), 0}, offset));
    EXPECT_EQ(KVEXA_OK, callByName("kVexaRaw8ToRgb888",
                                   {word(image_.data()), word(image_.data() + 4096), 16, 16, 0}, offset));
    EXPECT_EQ(KVEXA_OK, callByName("kVexaDevClose", {word(&board_)}, offset));
  }
}

}  // namespace
}  // namespace kvexa::test
