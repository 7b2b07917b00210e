#include "InstructionTrace.h"

#include <windows.h>

#include <cstdint>

namespace kvexa::test {
namespace {

struct Module {
  std::uintptr_t start = 0, end = 0;

  explicit Module(const char* name) {
    const auto* image = reinterpret_cast<const std::uint8_t*>(GetModuleHandleA(name));
    const auto* header = reinterpret_cast<const IMAGE_DOS_HEADER*>(image);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(image + header->e_lfanew);
    start = reinterpret_cast<std::uintptr_t>(image);
    end = start + headers->OptionalHeader.SizeOfImage;
  }
};

struct Encoding {
  unsigned prefix = 0;  // 0, 1, 2, 3: none, 66, F3, F2
  unsigned map = 0;     // 0, 1, 2, 3: one byte, 0F, 0F 38, 0F 3A
  unsigned opcode = 0;
  bool isAvx = false, isAvx512 = false;
};

// In 32-bit code these first bytes are other instructions where the next two bits are not both set.
bool isWide(const std::uint8_t* code) { return code[1] >= 0xC0; }

Encoding encodingOf(const std::uint8_t* code) {
  if (code[0] == 0x62 && isWide(code)) return {code[2] & 3U, code[1] & 3U, code[4], false, true};
  if (code[0] == 0xC4 && isWide(code)) return {code[2] & 3U, code[1] & 31U, code[3], true, false};
  if (code[0] == 0xC5 && isWide(code)) return {code[1] & 3U, 1, code[2], true, false};
  Encoding encoding;
  for (bool more = true; more;) {
    switch (*code) {
      case 0x66: encoding.prefix = 1; break;
      case 0xF3: encoding.prefix = 2; break;
      case 0xF2: encoding.prefix = 3; break;
      case 0x2E:
      case 0x3E:
      case 0x64:
      case 0x65: break;
      default: more = false; continue;
    }
    ++code;
  }
  if (code[0] != 0x0F) return encoding;
  encoding.map = code[1] == 0x38 ? 2 : code[1] == 0x3A ? 3 : 1;
  encoding.opcode = code[encoding.map == 1 ? 1 : 2];
  return encoding;
}

void count(const std::uint8_t* code, InstructionCounts& counts) {
  const Encoding encoding = encodingOf(code);
  ++counts.all;
  counts.ofAvx512 += encoding.isAvx512 ? 1 : 0;
  counts.ofAvx += encoding.isAvx ? 1 : 0;
  counts.ofSse41 += !encoding.isAvx && !encoding.isAvx512 && encoding.map >= 2 ? 1 : 0;
  if (encoding.map != 1) return;
  counts.truncatedSingles += encoding.prefix == 2 && encoding.opcode == 0x5B ? 1 : 0;
  counts.truncatedDoubles += encoding.prefix == 1 && encoding.opcode == 0xE6 ? 1 : 0;
  counts.truncatedOnes += encoding.prefix == 3 && encoding.opcode == 0x2C ? 1 : 0;
}

constexpr DWORD trapFlag = 0x100;

const Module* traced = nullptr;
// Null ends the steps. The compiler does not know that a step looks at it.
InstructionCounts* volatile counted = nullptr;

LONG CALLBACK onStep(EXCEPTION_POINTERS* exception) {
  if (exception->ExceptionRecord->ExceptionCode != static_cast<DWORD>(EXCEPTION_SINGLE_STEP)) {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  CONTEXT& context = *exception->ContextRecord;
  InstructionCounts* const counts = counted;
  if (counts == nullptr) {
    context.EFlags &= ~trapFlag;
    return EXCEPTION_CONTINUE_EXECUTION;
  }
  if (context.Eip >= traced->start && context.Eip < traced->end) {
    count(reinterpret_cast<const std::uint8_t*>(context.Eip), *counts);
  }
  context.EFlags |= trapFlag;
  return EXCEPTION_CONTINUE_EXECUTION;
}

}  // namespace

InstructionCounts countInstructions(const std::function<void()>& call) {
  const Module library("KVEXA_LIB.dll");
  InstructionCounts counts;
  traced = &library;
  counted = &counts;
  void* handler = AddVectoredExceptionHandler(1, onStep);
  asm volatile("pushfl\norl $0x100, (%%esp)\npopfl" : : : "memory", "cc");
  call();
  counted = nullptr;  // the next step is the last
  asm volatile("nop" : : : "memory");
  RemoveVectoredExceptionHandler(handler);
  traced = nullptr;
  return counts;
}

}  // namespace kvexa::test
