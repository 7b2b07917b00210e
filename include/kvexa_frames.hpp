// kvexa_frames.hpp - the part of kvexa.hpp that needs no board: result codes in words, file names, images and
// frames.
#ifndef KVEXA_FRAMES_HPP
#define KVEXA_FRAMES_HPP

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "kvexa.h"

namespace kvexa {

// ---- Result codes ----

struct ResultText {
  std::int32_t result;
  const char* name;    // "KVEXA_NO_ACKNOWLEDGE"
  const char* text;    // what it means, for people
  const char* advice;  // what to do
};

inline constexpr ResultText resultTexts[] = {
#define KVEXA_RESULT(name, value, text, advice) {name, #name, text, advice},
#include "kvexa_results.inc"
#undef KVEXA_RESULT
};

#define KVEXA_RESULT(name, value, text, advice) \
  static_assert((name) == (value), "kvexa.h and kvexa_results.inc differ in " #name);
#include "kvexa_results.inc"
#undef KVEXA_RESULT

// Null for a number that is no code, such as several codes in one by bitwise OR.
inline const ResultText* findResult(std::int32_t result) {
  for (const ResultText& candidate : resultTexts) {
    if (candidate.result == result) return &candidate;
  }
  return nullptr;
}

// "-57 (the device on the sensor bus did not acknowledge; ...)"
inline std::string describe(std::int32_t result) {
  const ResultText* const found = findResult(result);
  return found == nullptr ? std::to_string(result) : std::to_string(result) + " (" + found->text + ")";
}

// "kVexaDevOpen returned -50 (no such board, or its driver would not open it)", with the file that it is
// about, if any, before.
class Error : public std::runtime_error {
 public:
  Error(const std::string& call, std::int32_t result, const std::string& subject = "")
      : std::runtime_error((subject.empty() ? "" : subject + ": ") + call + " returned " + describe(result)),
        result_(result) {}

  std::int32_t result() const { return result_; }

  // What to do about it; empty for a number that is no code.
  const char* advice() const {
    const ResultText* const found = findResult(result_);
    return found == nullptr ? "" : found->advice;
  }

 private:
  std::int32_t result_;
};

// Throws Error for a negative result, and gives any other one back.
inline std::int32_t require(const std::string& call, std::int32_t result, const std::string& subject = "") {
  if (result < 0) throw Error(call, result, subject);
  return result;
}

// ---- File names ----

// A file's name in the ANSI code page, in which the library takes names. A name that it cannot hold is
// refused with std::invalid_argument: with a similar letter in its place it would be another file.
inline std::string ansi(const std::wstring& name) {
  const bool isUtf8 = GetACP() == CP_UTF8;
  const DWORD flags = isUtf8 ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS;
  const int length = static_cast<int>(name.size());
  BOOL replaced = FALSE;
  BOOL* const tells = isUtf8 ? nullptr : &replaced;  // Windows takes none for UTF-8
  const int bytes = WideCharToMultiByte(CP_ACP, flags, name.data(), length, nullptr, 0, nullptr, tells);
  if (bytes <= 0 || replaced != FALSE || name.find(L'\0') != std::wstring::npos) {
    throw std::invalid_argument("the name of a file is not in this computer's ANSI code page");
  }
  std::string result(static_cast<std::size_t>(bytes), '\0');
  WideCharToMultiByte(CP_ACP, flags, name.data(), length, result.data(), bytes, nullptr, nullptr);
  return result;
}

// ---- Images ----

// A picture of 24 bits a pixel (KVEXA_FORMAT_BGR24): top row first, rows not padded.
class Image {
 public:
  Image(std::uint32_t width, std::uint32_t height) { resize(width, height); }

  // Keeps the memory when it suffices: one image serves a whole stream.
  void resize(std::uint32_t width, std::uint32_t height) {
    const std::uint64_t bytes = std::uint64_t{3} * width * height;
    if (std::uint64_t{width} * height > SIZE_MAX / 3) throw std::bad_alloc();
    pixels_.resize(static_cast<std::size_t>(bytes));
    width_ = width;
    height_ = height;
  }

  std::uint32_t width() const { return width_; }
  std::uint32_t height() const { return height_; }
  std::uint8_t* pixels() { return pixels_.data(); }
  const std::uint8_t* pixels() const { return pixels_.data(); }

  // The conversions of kvexa.h that a capture ends in; the frame has the image's size.
  std::int32_t fromBayer8(const std::uint8_t* frame, std::uint32_t pattern) {
    return kVexaRaw8ToRgb888(frame, pixels(), width_, height_, pattern);
  }
  std::int32_t fromBayer16(const std::uint16_t* frame, std::uint32_t pattern, std::uint32_t bits) {
    return kVexaRaw16ToRgb888(frame, pixels(), width_, height_, pattern, bits);
  }
  std::int32_t fromYuyv8(const std::uint8_t* frame, std::uint32_t method, std::uint32_t order) {
    return kVexaYuyv8ToRgbT2(frame, pixels(), width_, height_, method, order, KVEXA_FORMAT_BGR24);
  }

  // A Windows bitmap; see kVexaSaveBmpFile about widths that are no multiple of 4.
  std::int32_t saveBmp(const std::string& path) const {
    const SaveRect all{0, 0, width_, height_};
    return kVexaSaveBmpFile(path.c_str(), pixels(), width_, height_, &all, KVEXA_FORMAT_BGR24,
                            KVEXA_BMP_24_BITS);
  }

  // A JPEG file when the name ends in jpg or jpeg, else a bitmap. Throws what goes wrong.
  void save(const std::string& path, std::uint32_t quality = 90) const {
    if (ends(path, ".jpg") || ends(path, ".jpeg")) {
      require("kVexaSaveJpegFile", saveJpeg(path, quality), path);
    } else {
      require("kVexaSaveBmpFile", saveBmp(path), path);
    }
  }

  // A baseline JPEG file of quality 0 to 100.
  std::int32_t saveJpeg(const std::string& path, std::uint32_t quality) const {
    const SaveRect all{0, 0, width_, height_};
    return kVexaSaveJpegFile(path.c_str(), pixels(), width_, height_, &all, KVEXA_FORMAT_BGR24, quality);
  }

 private:
  static bool ends(const std::string& path, const char* ending) {
    const std::size_t length = std::char_traits<char>::length(ending);
    return path.size() > length && lstrcmpiA(path.c_str() + path.size() - length, ending) == 0;
  }

  std::vector<std::uint8_t> pixels_;
  std::uint32_t width_ = 0;
  std::uint32_t height_ = 0;
};

// ---- Frames ----

// Values that something else owns. It is a contiguous range, so std::span takes it.
template <class T>
class Span {
 public:
  Span() = default;
  Span(const T* data, std::size_t size) : data_(data), size_(size) {}

  const T* data() const { return data_; }
  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  const T* begin() const { return data_; }
  const T* end() const { return data_ + size_; }
  const T& operator[](std::size_t index) const { return data_[index]; }

 private:
  const T* data_ = nullptr;
  std::size_t size_ = 0;
};

// The size of a frame.
struct FrameLayout {
  std::uint32_t bytes = 0;  // of a whole frame, as it is transferred
  std::uint32_t unit = 0;   // bytes of one unit of a row
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t bits = 0;  // of a sample
};

// A capture-parameter file. Needs no board.
inline CapParam readParameters(const std::string& path) {
  CapParam parameters{};
  require("kVexaGetCapFileParam", kVexaGetCapFileParam(path.c_str(), &parameters), path);
  return parameters;
}

inline FrameLayout layoutOf(const CapParam& parameters) {
  FrameLayout layout;
  layout.bits = parameters.BITWIDTH;
  require("kVexaCalcFrameSizeEx", kVexaCalcFrameSizeEx(&parameters, &layout.bytes, &layout.unit,
                                                       &layout.width, &layout.height, KVEXA_ALIGN_512));
  return layout;
}

// A frame in the memory of something else, such as a buffer of a capture.
class FrameView {
 public:
  FrameView() = default;
  FrameView(const std::uint8_t* memory, const FrameLayout& layout) : memory_(memory), layout_(layout) {}

  const FrameLayout& layout() const { return layout_; }
  std::uint32_t width() const { return layout_.width; }
  std::uint32_t height() const { return layout_.height; }

  // All bytes as they were transferred.
  Span<std::uint8_t> data() const { return {memory_, layout_.bytes}; }

  // The samples without what fills the transfer up, row after row. Throws std::logic_error when a unit has
  // another size, or when they are packed.
  Span<std::uint8_t> samples8() const { return {memory_, samples(1)}; }
  Span<std::uint16_t> samples16() const {
    return {static_cast<const std::uint16_t*>(static_cast<const void*>(memory_)), samples(2)};
  }

  // The picture of a Bayer frame of one or two bytes a sample.
  Image bayerImage(std::uint32_t pattern) const {
    Image image(layout_.width, layout_.height);
    if (layout_.unit == 2) {
      require("kVexaRaw16ToRgb888", image.fromBayer16(samples16().data(), pattern, layout_.bits));
    } else {
      require("kVexaRaw8ToRgb888", image.fromBayer8(samples8().data(), pattern));
    }
    return image;
  }

 private:
  std::size_t samples(std::uint32_t unit) const {
    const std::uint64_t count = std::uint64_t{layout_.width} * layout_.height;
    if (layout_.unit != unit) throw std::logic_error("the samples of this frame have another size");
    if (count * unit > layout_.bytes) throw std::logic_error("the samples of this frame are packed");
    return static_cast<std::size_t>(count);
  }

  const std::uint8_t* memory_ = nullptr;
  FrameLayout layout_;
};

// A frame in memory of its own.
class Frame {
 public:
  explicit Frame(const FrameLayout& layout, std::uint8_t fill = 0)
      : memory_(layout.bytes, fill), layout_(layout) {}

  // Keeps what a capture is about to overwrite.
  explicit Frame(const FrameView& view)
      : memory_(view.data().begin(), view.data().end()), layout_(view.layout()) {}

  FrameView view() const { return {memory_.data(), layout_}; }
  std::uint32_t width() const { return layout_.width; }
  std::uint32_t height() const { return layout_.height; }
  std::uint8_t* memory() { return memory_.data(); }
  Span<std::uint8_t> data() const { return view().data(); }
  Span<std::uint8_t> samples8() const { return view().samples8(); }
  Span<std::uint16_t> samples16() const { return view().samples16(); }
  Image bayerImage(std::uint32_t pattern) const { return view().bayerImage(pattern); }

 private:
  std::vector<std::uint8_t> memory_;
  FrameLayout layout_;
};

}  // namespace kvexa

#endif  // KVEXA_FRAMES_HPP
