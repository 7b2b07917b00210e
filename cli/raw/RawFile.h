// Frames in files without a header, as captures leave them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace cli {

enum class RawFormat : std::uint32_t { bayer, grey, yuyv, rgb565, bgr24 };

const char* nameOf(RawFormat format);

// What the file itself does not tell.
struct RawLayout {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  RawFormat format = RawFormat::bayer;
  std::uint32_t bits = 8;     // of a sample; more than 8 take two bytes
  std::uint32_t pattern = 0;  // KvexaBayerPattern

  std::uint32_t bytesPerSample() const { return bits > 8 ? 2 : 1; }
  std::uint32_t samplesPerPixel() const;
  std::uint64_t bytes() const;  // of a frame
  std::string text() const;     // "1280 x 960 bayer, 8 bits"
};

// Throws Failure when there is no such frame.
void checkLayout(const RawLayout& layout);

// A frame, with memory that serves for the next one too.
class RawFrame {
 public:
  // Throws Failure when the file cannot be read, or has not the size of a frame: exactly, or rounded up to a
  // multiple of 512 bytes as boards transfer it.
  void read(const std::filesystem::path& path, const RawLayout& layout);

  std::span<const std::uint8_t> bytes() const {
    return {reinterpret_cast<const std::uint8_t*>(words_.data()), static_cast<std::size_t>(size_)};
  }
  const std::uint16_t* words() const { return words_.data(); }

 private:
  std::vector<std::uint16_t> words_;  // so that samples of two bytes are where a processor wants them
  std::uint64_t size_ = 0;
};

}  // namespace cli
