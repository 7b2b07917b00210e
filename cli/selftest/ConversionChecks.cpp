// The conversions of every instruction set that this computer has, against the plain code: each in a copy of
// the library of its own, as the set is chosen when it is loaded.
#include <windows.h>

#include <kvexa.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "cli/selftest/Check.h"
#include "cli/selftest/Rig.h"

namespace cli::selftest {

namespace {

constexpr std::uint32_t width = 67;  // no multiple of any vector
constexpr std::uint32_t height = 38;
constexpr std::size_t pixels = std::size_t{width} * height;
constexpr std::size_t pixelBytes = 3;

void choose(const std::string& set) { _putenv(("KVEXA_INSTRUCTION_SET=" + set).c_str()); }

// The library once more, from a file of another name.
class Copy {
 public:
  explicit Copy(const std::string& set) {
    wchar_t original[1024];
    const DWORD length = GetModuleFileNameW(GetModuleHandleA("KVEXA_LIB.dll"), original, std::size(original));
    if (length == 0 || length == std::size(original)) throw LeftOut("the library's file is not found");
    file_ = std::filesystem::temp_directory_path() /
            ("kvexa-selftest-" + std::to_string(GetCurrentProcessId()) + "-" + set + ".dll");
    std::error_code error;
    std::filesystem::copy_file(original, file_, std::filesystem::copy_options::overwrite_existing, error);
    if (error) throw LeftOut("the library cannot be copied into the folder for temporary files");
    const char* const before = std::getenv("KVEXA_INSTRUCTION_SET");
    const std::string kept = before == nullptr ? "" : before;
    choose(set);
    module_ = LoadLibraryW(file_.c_str());
    choose(kept);
    if (module_ != nullptr) return;
    std::filesystem::remove(file_, error);
    throw LeftOut("the copy of the library cannot be loaded");
  }
  ~Copy() {
    FreeLibrary(module_);
    std::error_code error;
    std::filesystem::remove(file_, error);
  }
  Copy(const Copy&) = delete;
  Copy& operator=(const Copy&) = delete;

  // As the export table names it: stdcall with so many argument words.
  template <class Function>
  Function* find(const char* name, unsigned words) const {
    char decorated[64];
    std::snprintf(decorated, sizeof decorated, "_%s@%u", name, 4 * words);
    const FARPROC found = GetProcAddress(module_, decorated);
    if (found == nullptr) throw LeftOut(std::string("the library has no ") + decorated);
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(found));
  }

 private:
  std::filesystem::path file_;
  HMODULE module_ = nullptr;
};

// The same for every set.
struct Input {
  Input() {
    std::mt19937 random(20);
    for (auto& each : samples) each = static_cast<std::uint16_t>(random());
    for (auto& each : deep) each = static_cast<std::uint16_t>(random() & 0xFFF);
    for (auto& each : kernels) each = static_cast<double>(random() % 2000) / 1000.0 - 0.5;
    for (auto& each : matrix) each = static_cast<double>(random() % 3000) / 1000.0 - 1.0;
  }
  const std::uint8_t* bytes() const { return reinterpret_cast<const std::uint8_t*>(samples.data()); }

  std::vector<std::uint16_t> samples = std::vector<std::uint16_t>(2 * pixels);
  std::vector<std::uint16_t> deep = std::vector<std::uint16_t>(2 * pixels);  // of 12 bits
  std::array<double, 108> kernels{};
  std::array<double, 13> matrix{};
};

using Output = std::vector<std::uint8_t>;

struct Family {
  const char* name;
  Output (*convert)(const Copy& library, const Input& input);
};

template <class Call>
Output converted(const char* name, Call call) {
  Output output(pixels * pixelBytes, 0);
  expectOk(name, call(output.data()));
  return output;
}

#define KVEXA_FIND(library, name, words) (library).find<decltype(name)>(#name, words)

Output bayer8(const Copy& library, const Input& input) {
  return converted("kVexaRaw8ToRgb888", [&](std::uint8_t* out) {
    return KVEXA_FIND(library, kVexaRaw8ToRgb888, 5)(input.bytes(), out, width, height, KVEXA_BAYER_RGGB);
  });
}

Output bayer16(const Copy& library, const Input& input) {
  return converted("kVexaRaw16ToRgb888", [&](std::uint8_t* out) {
    return KVEXA_FIND(library, kVexaRaw16ToRgb888, 6)(input.deep.data(), out, width, height, KVEXA_BAYER_BGGR,
                                                      12);
  });
}

Output filter8(const Copy& library, const Input& input) {
  return converted("kVexaRaw8ToMtxRgb888", [&](std::uint8_t* out) {
    return KVEXA_FIND(library, kVexaRaw8ToMtxRgb888, 6)(input.bytes(), out, width, height, KVEXA_BAYER_GRBG,
                                                        input.kernels.data());
  });
}

Output filter16(const Copy& library, const Input& input) {
  return converted("kVexaRaw16ToMtxRgb888Ex", [&](std::uint8_t* out) {
    return KVEXA_FIND(library, kVexaRaw16ToMtxRgb888Ex, 7)(input.deep.data(), out, width, height,
                                                           KVEXA_BAYER_GBRG, input.kernels.data(), 12);
  });
}

template <std::uint32_t method>
Output yuyv8(const Copy& library, const Input& input) {
  return converted("kVexaYuyv8ToRgbT2", [&](std::uint8_t* out) {
    return KVEXA_FIND(library, kVexaYuyv8ToRgbT2, 7)(input.bytes(), out, width, height, method, 0,
                                                     KVEXA_FORMAT_BGR24);
  });
}

Output yuyv16(const Copy& library, const Input& input) {
  return converted("kVexaYuyv16ToRgbT2", [&](std::uint8_t* out) {
    return KVEXA_FIND(library, kVexaYuyv16ToRgbT2, 8)(input.deep.data(), out, width, height,
                                                      KVEXA_YUYV_INTEGER_STUDIO, 1, KVEXA_FORMAT_BGR24, 12);
  });
}

Output yuyvMatrix(const Copy& library, const Input& input) {
  return converted("kVexaYuyv8ToMtxRgbT2", [&](std::uint8_t* out) {
    return KVEXA_FIND(library, kVexaYuyv8ToMtxRgbT2, 7)(input.bytes(), out, width, height, 1,
                                                        KVEXA_FORMAT_BGR24, input.matrix.data());
  });
}

constexpr Family families[] = {
    {"kVexaRaw8ToRgb888", bayer8},
    {"kVexaRaw16ToRgb888", bayer16},
    {"kVexaRaw8ToMtxRgb888", filter8},
    {"kVexaRaw16ToMtxRgb888Ex", filter16},
    {"kVexaYuyv8ToRgbT2 by method 0", yuyv8<KVEXA_YUYV_INTEGER_STUDIO>},
    {"kVexaYuyv8ToRgbT2 by method 1", yuyv8<KVEXA_YUYV_DOUBLE_STUDIO>},
    {"kVexaYuyv8ToRgbT2 by method 2", yuyv8<KVEXA_YUYV_INTEGER_FULL>},
    {"kVexaYuyv8ToRgbT2 by method 3", yuyv8<KVEXA_YUYV_DOUBLE_FULL>},
    {"kVexaYuyv16ToRgbT2", yuyv16},
    {"kVexaYuyv8ToMtxRgbT2", yuyvMatrix},
};

void compare(const std::string& set) {
  const Input input;
  const Copy plain("scalar");
  const Copy vectorised(set);
  for (const Family& family : families) {
    const Output wanted = family.convert(plain, input);
    const Output found = family.convert(vectorised, input);
    for (std::size_t i = 0; i < wanted.size(); ++i) {
      expect(wanted[i] == found[i],
             std::string(family.name) + " to give byte " + std::to_string(i) + " as the plain code does, " +
                 hex(wanted[i], 2),
             hex(found[i], 2));
    }
  }
}

// Each set of the library's table has a check.
#define NEEDS(feature) (__builtin_cpu_supports(feature) != 0)
#define INSTRUCTION_SET(name, vocabulary, needs)                \
  void name##Conversions(Rig&) {                                \
    __builtin_cpu_init();                                       \
    if (!(needs)) throw LeftOut("this computer has no " #name); \
    compare(#name);                                             \
  }
#include "convert/vector/sets.inc"
#undef INSTRUCTION_SET
#undef NEEDS

constexpr Check checks[] = {
#define INSTRUCTION_SET(name, vocabulary, needs) \
  {"conversions-" #name, bothBoards, noBoard, name##Conversions},
#include "convert/vector/sets.inc"
#undef INSTRUCTION_SET
};

}  // namespace

std::span<const Check> conversionChecks() { return checks; }

}  // namespace cli::selftest
