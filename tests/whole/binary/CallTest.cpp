// Every export as callers built by other compilers enter it: with the stack at any multiple of 4, and control
// words of their own. It must work, give back what belongs to the caller, and refuse what it should.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "kvexa.h"
#include "sim/attach/Attachment.h"
#include "sim/machine/Machine.h"

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
  std::uint32_t x87Control;  // both control words as the caller has them
  std::uint32_t sseControl;
  std::uint32_t sseAfter;
  std::uint32_t flagsAfter;
  std::uint32_t x87After[7];  // control, status, tag and more, as fnstenv stores them
  std::uint32_t ownSse;
  double real;  // what stood on top of the x87 stack, when wantsReal is set
  std::uint32_t wantsReal;
  std::uint32_t x87State[27];
};
CallFrame callFrame;
void callWithStackOffset();
}

static_assert(offsetof(CallFrame, x87Control) == 48 && offsetof(CallFrame, x87After) == 64 &&
              offsetof(CallFrame, ownSse) == 92 && offsetof(CallFrame, real) == 96 &&
              offsetof(CallFrame, wantsReal) == 104 && offsetof(CallFrame, x87State) == 108);

// The test's own x87 and SSE state is put aside around the call.
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
    fnsave _callFrame+108
    stmxcsr _callFrame+92
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
    fldcw _callFrame+48
    ldmxcsr _callFrame+52
    call  *_callFrame
    stmxcsr _callFrame+56
    fnstenv _callFrame+64
    pushfl
    popl  _callFrame+60
    cld
    movl  %esp, _callFrame+20
    movl  %ebx, _callFrame+24
    movl  %esi, _callFrame+28
    movl  %edi, _callFrame+32
    movl  %ebp, _callFrame+36
    movl  %eax, _callFrame+40
    movl  _callFrame+44, %ebp
    leal  -12(%ebp), %esp
    cmpl  $0, _callFrame+104
    je    3f
    fstpl _callFrame+96
3:  ldmxcsr _callFrame+92
    frstor _callFrame+108
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

const std::vector<Export> exportTable = {
#define EXPORT(name, convention, words) {#name, #convention[0] == 'C', words},
#define EXPORT_ALIAS(name, function, words) {#name, false, words},
#include "src/api/exports.inc"
#undef EXPORT_ALIAS
#undef EXPORT
};

using Words = std::vector<std::uint32_t>;
using Names = std::set<std::string>;

constexpr std::uint32_t offsets[] = {0, 4, 8, 12};
// Control words as hosts have them: as Windows starts a thread; 53 bits of precision; 24 bits and rounding
// up; rounding down and denormals as zeros.
struct Host {
  std::uint32_t x87;
  std::uint32_t sse;
};
constexpr Host hosts[] = {{0x037F, 0x1F80}, {0x027F, 0x1F80}, {0x087F, 0x5F80}, {0x047F, 0xBFC0}};

constexpr std::uint32_t types[] = {KVEXA_BOARD_USB, KVEXA_BOARD_PCIE, 2};

// What the dispatch rule says beyond "a board of both types".
const Names onlyPcie = {"kVexaSetWaitIntervalParam", "kVexaWaitInterval", "kVexaCancelInterval",
                        "kVexaSetWaitAckTimes",      "kVexaLockMemory",   "kVexaUnlockMemory",
                        "kDBGLutDataWrite",          "kDBGLutDataRead"};
const Names onlyUsb = {"kVexaMultiShotCaptureArratEx", "kVexaMultiShotStorage",      "kVexaSetBufSize",
                       "kVexaMultiShotCapArrayStart",  "kVexaMultiShotCapArrayStop", "kVexaFrmDropStop"};
const Names nothingOnPcie = {"kVexaLocalReset",
                             "kVexaEp2Flash",
                             "kVexaWaitVSync",
                             "kVexaStatusClear",
                             "kVexaStatusRead",
                             "kVexaRecovery",
                             "kVexaI2cRecovery",
                             "kVexaGetUsbStatus",
                             "kVexaManyRegWrite",
                             "kVexaIsDropFrame",
                             "kVexaSetHV",
                             "kVexaBayerToRgbEnable",
                             "kVexaBayerToRgbDisable",
                             "kVexaBayerToRgbPatternSelect"};
const Names nothingOnUsb = {"kVexaMultiShotCapture2"};
const Names withoutBoard = {
    "kVexaDevNum",        "kVexaDevOpen",         "kVexaDevClose",         "kVexaGetCapFileParam",
    "kVexaCalcFrameSize", "kVexaCalcFrameSizeEx", "kVexaReloadPcieDevice", "kVexaReloadPcieDeviceEx",
    "kUsbExCmd",          "kUsbIniFileToBuf",     "kUsbBufToReg",          "kUsbGetData"};
const Names realResults = {"kVexaGetFrameRate", "kVexaSetHV"};

bool takesBoard(const std::string& name) {
  for (const char* family : {"kVexaRaw", "kVexaYuyv", "kVexaSave"}) {
    if (name.starts_with(family)) return false;
  }
  return !withoutBoard.contains(name);
}

std::size_t boardPosition(const std::string& name) { return name == "kVexaSetI2cFile" ? 1 : 0; }

// The fixed result on a board type that does not have the function.
std::optional<std::int32_t> fixedResult(const std::string& name, std::uint32_t type) {
  if (type == KVEXA_BOARD_USB) {
    if (onlyPcie.contains(name)) return KVEXA_NOT_ON_USB;
    if (nothingOnUsb.contains(name)) return KVEXA_OK;
  } else {
    if (onlyUsb.contains(name)) return KVEXA_NOT_ON_PCIE;
    if (nothingOnPcie.contains(name)) return KVEXA_OK;
  }
  return std::nullopt;
}

template <typename Pointee>
std::uint32_t word(Pointee* pointer) {
  return reinterpret_cast<std::uint32_t>(pointer);
}

std::uint32_t highWord(double value) {
  std::uint64_t bits = 0;
  static_assert(sizeof bits == sizeof value);
  memcpy(&bits, &value, sizeof bits);
  return static_cast<std::uint32_t>(bits >> 32);
}

class Calls : public ::testing::Test {
 protected:
  static constexpr std::uint32_t side = 64;
  static constexpr std::uint32_t frameBytes = side * side;

  void SetUp() override {
    ASSERT_NE(nullptr, module_);
    machine_.addUsbBoard();
    machine_.addPcieBoard();
    machine_.pciBus().addBoard();
    param_.HCNT = param_.VCNT = side;
    param_.BITWIDTH = 8;
    param_.PORTMSBBIT = 7;
    param_.INPUTFORMAT = 1;
    for (auto& event : events_) event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    for (auto& buffer : buffers_) buffer = image_.data();
    overlapped_.hEvent = events_[0];
    batchEntry_ = {0x10, area_, 2};
    batch_ = {0x36, 1, &batchEntry_, 1};
  }

  void TearDown() override {
    for (const HANDLE event : events_) CloseHandle(event);
    FreeLibrary(module_);
  }

  // Calls one export and checks what it gave back. A double comes back truncated.
  std::int32_t call(const Export& function, const Words& words, std::uint32_t offset) {
    const std::string name =
        function.isCdecl ? function.name : "_" + function.name + "@" + std::to_string(4 * function.words);
    const auto address = reinterpret_cast<const void*>(GetProcAddress(module_, name.c_str()));
    EXPECT_NE(nullptr, address);
    EXPECT_EQ(function.words, words.size());
    if (address == nullptr || function.words != words.size()) return KVEXA_FAILED;
    const bool isReal = realResults.contains(function.name);
    callFrame.function = address;
    callFrame.words = words.data();
    callFrame.wordCount = function.words;
    callFrame.offset = offset;
    callFrame.x87Control = x87Control_;
    callFrame.sseControl = sseControl_;
    callFrame.wantsReal = isReal ? 1 : 0;
    callWithStackOffset();
    EXPECT_EQ(offset, callFrame.stackBefore % 16) << "the test's own call is wrong";
    EXPECT_EQ(callFrame.stackBefore + (function.isCdecl ? 0 : 4 * function.words), callFrame.stackAfter);
    EXPECT_EQ(0x11111111U, callFrame.ebx);
    EXPECT_EQ(0x22222222U, callFrame.esi);
    EXPECT_EQ(0x33333333U, callFrame.edi);
    EXPECT_EQ(0x44444444U, callFrame.ebp);
    EXPECT_EQ(x87Control_, callFrame.x87After[0] & 0xFFFF);
    // Nothing is left on the x87 stack but a double that is the result.
    EXPECT_EQ(isReal ? 1U : 0U, usedX87Registers());
    constexpr std::uint32_t sticky = 0x3F;  // what happened, which calls may add to
    EXPECT_EQ(sseControl_ & ~sticky, callFrame.sseAfter & ~sticky);
    constexpr std::uint32_t directionFlag = 0x400;
    EXPECT_EQ(0U, callFrame.flagsAfter & directionFlag);
    return isReal ? static_cast<std::int32_t>(callFrame.real) : static_cast<std::int32_t>(callFrame.result);
  }

  // The tag word has two bits for each of the eight registers, both set for an empty one.
  static unsigned usedX87Registers() {
    unsigned used = 0;
    for (unsigned i = 0; i < 8; ++i) used += (callFrame.x87After[2] >> (2 * i) & 3) != 3 ? 1 : 0;
    return used;
  }

  std::int32_t callByName(const std::string& name, const Words& words, std::uint32_t offset) {
    for (const auto& function : exportTable) {
      if (function.name == name) return call(function, words, offset);
    }
    ADD_FAILURE() << name << " is no export";
    return KVEXA_FAILED;
  }

  void succeeds(const std::string& name, const Words& words, std::uint32_t offset) {
    EXPECT_EQ(KVEXA_OK, callByName(name, words, offset)) << name;
  }

  // Opens a board and lets its sensor stream, so that captures and measurements have something to do.
  void openStreaming(std::uint32_t type, std::uint32_t offset) {
    succeeds("kVexaDevOpen", {type, 0, word(&board_)}, offset);
    for (const char* turn : {"kVexaPowerSwControlOn", "kVexaPowerV1On", "kVexaPowerV2On", "kVexaClockOn",
                             "kVexaI2cOn", "kVexaResetOff"}) {
      succeeds(turn, {word(&board_)}, offset);
    }
    const std::uint32_t registers[] = {8, 0, side, 0, side, 1, 77};  // bits, width, height, period of 33.3 ms
    const std::uint32_t on[] = {1};
    succeeds("kVexaRegWrite", {word(&board_), 0x36, sim::SensorRegister::bits, 1, 7, word(registers)},
             offset);
    succeeds("kVexaRegWrite", {word(&board_), 0x36, sim::SensorRegister::streaming, 1, 1, word(on)}, offset);
    succeeds("kVexaSetCapParam", {word(&board_), word(&param_)}, offset);
  }

  void beOn(const Host& host) {
    x87Control_ = host.x87;
    sseControl_ = host.sse;
  }

  void reopen(std::uint32_t type, std::uint32_t offset) {
    succeeds("kVexaDevClose", {word(&board_)}, offset);
    openStreaming(type, offset);
  }

  // What a capture that was started leaves to do before the next call.
  void endCapture(const Export& function, std::uint32_t offset) {
    if (!function.name.starts_with("kVexaMultiShotC")) return;
    if (function.name == "kVexaMultiShotCapArrayStart") {
      succeeds("kVexaMultiShotCapArrayStop", {word(&board_)}, offset);
    } else {
      succeeds("kVexaAbortCapture", {word(&board_)}, offset);
    }
    if (function.name == "kVexaMultiShotCaptureArratEx" && board_.boardType == KVEXA_BOARD_USB) {
      EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(events_[2], longestWait));
    }
  }

  // Good arguments for every export. Where nothing is said here: the board, then room, then zeros.
  Words argumentsOf(const Export& function) {
    const std::uint32_t board = word(&board_);
    const std::uint32_t area = word(area_);
    const std::uint32_t image = word(image_.data());
    const std::uint32_t colour = word(colour_.data());
    const std::uint32_t driver = word(board_.driverHandle);
    const std::uint32_t buffers = word(buffers_);
    const std::uint32_t events = word(events_);
    const std::uint32_t doubles = word(doubles_);
    const std::uint32_t rect = word(&rect_);
    const auto event = [this](unsigned i) { return word(events_[i]); };
    const std::map<std::string, Words> special = {
        {"kDBGLutDataWrite", {board, 4, area}},
        {"kDBGLutDataRead", {board, 4, area}},
        {"kVexaSetWaitIntervalParam", {board, 4096}},
        {"kVexaWaitInterval", {board, word(&overlapped_)}},
        {"kVexaDevNum", {area, area + 4}},
        {"kVexaRegRead", {board, 0x36, sim::SensorRegister::bits, 1, 1, area}},
        {"kVexaRegWrite", {board, 0x36, 0x7000, 1, 1, area}},
        {"kVexaRegReadS", {board, 0x6D, sim::SensorRegister::bits, 1, 1, area}},
        {"kVexaRegWriteS", {board, 0x6C, 0x7000, 1, 1, area}},
        {"kVexaOneShotCapture", {board, frameBytes, image, 1000}},
        {"kVexaMultiShotCaptureEx",
         {board, frameBytes, 2, image, 1000, event(1), event(2), word(&resultWord_)}},
        {"kVexaMultiShotCapture2",
         {board, frameBytes, 2, 0, image, 1000, event(1), event(2), word(&resultWord_)}},
        {"kVexaMultiShotCaptureArratEx", {board, frameBytes, 2, buffers, 1000, events, word(&resultWord_)}},
        {"kVexaMultiShotStorage", {board, frameBytes, 2, image, 1000}},
        {"kVexaMultiShotCapArrayStart", {board, frameBytes, 2, buffers, 1000, events, word(&resultWord_)}},
        {"kVexaAutoActualEx", {board, area, 1000}},
        {"kVexaCscSet", {board, doubles}},
        {"kVexaGetCapFileParam", {word("no such file.dat"), area}},
        {"kVexaSetCapParam", {board, word(&param_)}},
        {"kVexaSetI2cFile", {word("no such file"), board}},
        {"kVexaFpgaRead", {board, 0x0A, 2, area}},
        {"kVexaFpgaWrite", {board, 0x0504, 2, area}},
        {"kVexaWaitVSync", {board, 1}},
        {"kVexaSetI2Cspeed", {board, 1}},
        {"kVexaSetWaitAckTimes", {board, 10}},
        {"kVexaBayerToRgbPatternSelect", {board, word(&one_)}},
        {"kVexaSetHV", {board, 0, side, 0, side}},
        {"kVexaManyRegWrite", {board, word(&batch_)}},
        {"kVexaCalcFrameSize", {word(&param_), 0}},
        {"kVexaCalcFrameSizeEx", {word(&param_), area, area + 4, area + 8, area + 12, 0}},
        {"kVexaPowerControl", {board, word(&sequence_)}},
        {"kVexaYuyvToRgb565", {image, colour, side, side}},
        {"kVexaYuyvToRgb888", {image, colour, side, side}},
        {"kVexaYuyvToRgb565Ex", {image, colour, side, side}},
        {"kVexaYuyvToRgb888Ex", {image, colour, side, side}},
        {"kVexaYuyvToMtxRgb565", {image, colour, side, side, doubles}},
        {"kVexaYuyvToMtxRgb888", {image, colour, side, side, doubles}},
        {"kVexaYuyv8ToRgbT2", {image, colour, side, side, KVEXA_YUYV_DOUBLE_FULL, 0, KVEXA_FORMAT_BGR24}},
        {"kVexaYuyv16ToRgbT2",
         {image, colour, side, side, KVEXA_YUYV_DOUBLE_STUDIO, 0, KVEXA_FORMAT_RGB555, 10}},
        {"kVexaYuyv8ToMtxRgbT2", {image, colour, side, side, 0, KVEXA_FORMAT_RGB565, doubles}},
        {"kVexaYuyv16ToMtxRgbT2", {image, colour, side, side, 0, KVEXA_FORMAT_BGR24, doubles, 10}},
        {"kVexaSaveBinFile", {0, image, side, side, rect, 1}},
        {"kVexaSaveBmpFile", {0, image, side, side, rect, KVEXA_FORMAT_GREY8, KVEXA_BMP_8_BITS}},
        {"kVexaSaveJpegFile", {0, image, side, side, rect, KVEXA_FORMAT_BGR24, 90}},
        {"kVexaGetVersion", {board, area, area + 4, area + 8, area + 12}},
        {"kVexaSetBufSize", {board, 0, highWord(1.0)}},
        {"kVexaFrmDropStop", {board, 0}},
        {"kVexaLockMemory", {board, image, 4096}},
        {"kVexaUnlockMemory", {board, image, 4096}},
        {"kUsbExCmd", {driver, area}},
        {"kUsbIniFileToBuf", {word("no such file"), area, area}},
        {"kUsbBufToReg", {driver, area, 1}},
        {"kUsbGetData", {driver, 64, area, image, 10}},
    };
    const auto found = special.find(function.name);
    if (found != special.end()) return found->second;
    if (function.name.starts_with("kVexaRaw")) return bayerArguments(function);
    Words words(function.words, 0);
    if (function.words > 0) words[0] = board;
    if (function.words == 2) words[1] = area;
    return words;
  }

  Words bayerArguments(const Export& function) {
    Words words = {word(image_.data()), word(colour_.data()), side, side, KVEXA_BAYER_RGGB};
    if (function.name.find("Mtx") != std::string::npos) words.push_back(word(doubles_));
    if (function.name.starts_with("kVexaRaw16")) words.push_back(10);
    return words;
  }

  // The same with another board.
  Words argumentsWith(const Export& function, const BoardHandle* board) {
    Words words = argumentsOf(function);
    words.at(boardPosition(function.name)) = word(board);
    return words;
  }

  static constexpr DWORD longestWait = 30000;
  const HMODULE module_ = LoadLibraryA("KVEXA_LIB.dll");
  sim::Machine machine_;
  const sim::Attachment attachment_{module_, machine_};
  std::uint32_t x87Control_ = hosts[0].x87;
  std::uint32_t sseControl_ = hosts[0].sse;
  BoardHandle board_{};
  CapParam param_{};
  SaveRect rect_{0, 0, side, side};
  PowerSequence sequence_{};
  RegisterBatchEntry batchEntry_{};
  RegisterBatch batch_{};
  OVERLAPPED overlapped_{};
  const std::uint32_t one_ = 1;
  std::int32_t resultWord_ = 0;
  double doubles_[108] = {1.0, 0.5, -1.0};
  std::uint32_t area_[1024] = {};
  void* buffers_[2] = {};
  HANDLE events_[3] = {};
  std::vector<std::uint8_t> image_ = std::vector<std::uint8_t>(4 * frameBytes, 0);
  std::vector<std::uint8_t> colour_ = std::vector<std::uint8_t>(4 * frameBytes, 0);
};

// Those that work as described with the arguments above, but do not return 0.
const std::map<std::string, std::int32_t> otherResults = {
    {"kVexaDevNum", 2},
    {"kVexaGetCapFileParam", KVEXA_FILE_NOT_OPENED},
    {"kVexaSetI2cFile", KVEXA_FILE_NOT_OPENED},
    {"kUsbIniFileToBuf", KVEXA_FILE_NOT_OPENED},
    {"kVexaGetFrameRate", 30},
    {"kVexaCalcFrameSize", 4096},
    {"kVexaIsDropFrame", 1},                // nobody took the frames that the captures left behind
    {"kUsbGetData", KVEXA_REQUEST_FAILED},  // no capture runs, so no data comes
    {"kVexaSaveBinFile", KVEXA_BAD_ARGUMENT},
    {"kVexaSaveBmpFile", KVEXA_BAD_ARGUMENT},
    {"kVexaSaveJpegFile", KVEXA_BAD_ARGUMENT},
};

TEST_F(Calls, EveryExportWorksAtEveryStackOffsetOnEveryBoard) {
  for (const std::uint32_t type : {KVEXA_BOARD_USB, KVEXA_BOARD_PCIE}) {
    for (const std::uint32_t offset : offsets) {
      SCOPED_TRACE(testing::Message() << "board type " << type << ", offset " << offset);
      beOn(hosts[offset / 4]);
      openStreaming(type, offset);
      for (const auto& function : exportTable) {
        if (function.name == "kVexaDevOpen" || function.name == "kVexaDevClose") continue;
        const bool isRawUsb = function.name.starts_with("kUsb") && function.name != "kUsbIniFileToBuf";
        if (isRawUsb && type != KVEXA_BOARD_USB) continue;  // they take the driver of a USB board
        SCOPED_TRACE(function.name);
        // Switches were turned on the way.
        if (function.name == "kVexaGetFrameRate") reopen(type, offset);
        const auto fixed = fixedResult(function.name, type);
        const auto other = otherResults.find(function.name);
        const std::int32_t expected = other == otherResults.end() ? KVEXA_OK : other->second;
        EXPECT_EQ(takesBoard(function.name) && fixed ? *fixed : expected,
                  call(function, argumentsOf(function), offset));
        if (!fixed) endCapture(function, offset);
      }
      succeeds("kVexaDevClose", {word(&board_)}, offset);
    }
  }
  EXPECT_EQ(0U, machine_.devices().openFiles());
}

TEST_F(Calls, ControlWordsOfTheHostStayAndDoNotChangeResults) {
  for (const Host& host : hosts) {
    beOn(host);
    for (const std::uint32_t offset : offsets) {
      openStreaming(KVEXA_BOARD_USB, offset);
      succeeds("kVexaCscSet", {word(&board_), word(doubles_)}, offset);
      EXPECT_EQ(32, machine_.usbBoard(0).boardRegister(0x0202));
      EXPECT_EQ(0xFFE0, machine_.usbBoard(0).boardRegister(0x0206));
      EXPECT_EQ(4096, callByName("kVexaCalcFrameSize", {word(&param_), 0}, offset));
      EXPECT_EQ(30, callByName("kVexaGetFrameRate", {word(&board_)}, offset));
      for (const auto& function : exportTable) {
        if (takesBoard(function.name) || !function.name.starts_with("kVexaRaw")) continue;
        succeeds(function.name, argumentsOf(function), offset);
      }
      succeeds("kVexaDevClose", {word(&board_)}, offset);
    }
  }
}

TEST_F(Calls, BoardThatIsNoneIsRefusedAtEveryStackOffset) {
  unsigned refused = 0;
  for (const std::uint32_t offset : offsets) {
    for (const auto& function : exportTable) {
      if (!takesBoard(function.name)) continue;
      SCOPED_TRACE(testing::Message() << function.name << ", offset " << offset);
      EXPECT_EQ(KVEXA_BAD_ARGUMENT, call(function, argumentsWith(function, nullptr), offset));
      for (const std::uint32_t type : types) {
        const BoardHandle closed{nullptr, type, 0};
        EXPECT_EQ(KVEXA_BAD_ARGUMENT, call(function, argumentsWith(function, &closed), offset)) << type;
      }
      for (const std::uint32_t type : {2U, 0xFFFFFFFFU}) {
        const BoardHandle strange{reinterpret_cast<void*>(0x1234), type, 0};
        EXPECT_EQ(KVEXA_BAD_ARGUMENT, call(function, argumentsWith(function, &strange), offset)) << type;
      }
      ++refused;
    }
  }
  EXPECT_GT(refused, 0U);
  EXPECT_TRUE(machine_.trace().take().empty());
}

TEST_F(Calls, FunctionsThatABoardDoesNotHaveTellSoAtEveryStackOffset) {
  for (const std::uint32_t type : {KVEXA_BOARD_USB, KVEXA_BOARD_PCIE}) {
    for (const std::uint32_t offset : offsets) {
      succeeds("kVexaDevOpen", {type, 0, word(&board_)}, offset);
      machine_.trace().take();
      for (const auto& function : exportTable) {
        const auto fixed = takesBoard(function.name) ? fixedResult(function.name, type) : std::nullopt;
        if (!fixed) continue;
        EXPECT_EQ(*fixed, call(function, argumentsOf(function), offset)) << function.name;
      }
      EXPECT_TRUE(machine_.trace().take().empty());
      succeeds("kVexaDevClose", {word(&board_)}, offset);
    }
  }
}

TEST_F(Calls, BoardTypeThatIsNoneIsNotOpened) {
  for (const std::uint32_t offset : offsets) {
    board_ = {nullptr, 9, 7};
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, callByName("kVexaDevOpen", {2, 0, word(&board_)}, offset));
    EXPECT_EQ(9U, board_.boardType);
    EXPECT_EQ(7U, board_.boardIndex);
    EXPECT_EQ(KVEXA_OPEN_FAILED, callByName("kVexaDevOpen", {KVEXA_BOARD_USB, 5, word(&board_)}, offset));
    EXPECT_EQ(9U, board_.boardType);
  }
}

}  // namespace
}  // namespace kvexa::test
