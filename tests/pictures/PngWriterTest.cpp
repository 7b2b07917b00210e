#include <gtest/gtest.h>
#include <zlib.h>

#include <map>

#include "tests/pictures/Samples.h"

namespace {

using pictures::Bytes;

std::uint32_t bigAt(const Bytes& file, std::size_t place) {
  return std::uint32_t{file.at(place)} << 24 | std::uint32_t{file.at(place + 1)} << 16 |
         std::uint32_t{file.at(place + 2)} << 8 | file.at(place + 3);
}

// Chunks by name, their checksums compared; the order is kept in `names`.
std::map<std::string, Bytes> chunksOf(const Bytes& file, std::string& names) {
  EXPECT_EQ(Bytes(file.begin(), file.begin() + 8), (Bytes{0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A}));
  std::map<std::string, Bytes> chunks;
  for (std::size_t place = 8; place < file.size();) {
    const std::uint32_t length = bigAt(file, place);
    const std::string name(file.begin() + static_cast<std::ptrdiff_t>(place + 4),
                           file.begin() + static_cast<std::ptrdiff_t>(place + 8));
    EXPECT_EQ(bigAt(file, place + 8 + length), crc32(0, file.data() + place + 4, length + 4)) << name;
    chunks[name] = Bytes(file.begin() + static_cast<std::ptrdiff_t>(place + 8),
                         file.begin() + static_cast<std::ptrdiff_t>(place + 8 + length));
    names += name + " ";
    place += 12 + length;
  }
  return chunks;
}

// Undoes the filter of each row, which is the difference to the pixel before, and the byte order.
Bytes samplesOf(const Bytes& packed, const pictures::Picture& picture) {
  const std::size_t pixel = std::size_t{picture.channels} * picture.bytesPerSample;
  const std::size_t length = pixel * picture.width;
  Bytes rows((length + 1) * picture.height);
  uLongf size = static_cast<uLongf>(rows.size());
  EXPECT_EQ(uncompress(rows.data(), &size, packed.data(), static_cast<uLong>(packed.size())), Z_OK);
  EXPECT_EQ(size, rows.size());
  Bytes result;
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    std::uint8_t* row = rows.data() + y * (length + 1);
    EXPECT_EQ(row[0], 1);
    ++row;
    for (std::size_t i = pixel; i < length; ++i) row[i] = static_cast<std::uint8_t>(row[i] + row[i - pixel]);
    for (std::size_t i = 0; i < length; ++i) {
      result.push_back(picture.bytesPerSample == 1 ? row[i] : row[i ^ 1]);
    }
  }
  return result;
}

TEST(PngWriter, KeepsEverySample) {
  for (const std::uint32_t channels : {1U, 3U}) {
    for (const std::uint32_t size : {1U, 2U}) {
      for (const std::uint32_t width : {1U, 3U, 400U}) {
        const samples::Owned owned(width, 300, channels, size);
        std::string names;
        auto chunks = chunksOf(pictures::pngOf(owned.picture), names);
        EXPECT_EQ(names, "IHDR IDAT IEND ");
        EXPECT_EQ(samplesOf(chunks["IDAT"], owned.picture), owned.bytes);
        const auto colour = static_cast<std::uint8_t>(channels == 3 ? 2 : 0);
        const Bytes header = chunks["IHDR"];
        EXPECT_EQ(bigAt(header, 0), width);
        EXPECT_EQ(bigAt(header, 4), 300U);
        EXPECT_EQ(Bytes(header.begin() + 8, header.end()),
                  (Bytes{static_cast<std::uint8_t>(8 * size), colour, 0, 0, 0}));
      }
    }
  }
}

TEST(PngWriter, HasItsDescription) {
  const samples::Owned owned(4, 4, 1, 2, "10 bits, unscaled");
  std::string names;
  auto chunks = chunksOf(pictures::pngOf(owned.picture), names);
  EXPECT_EQ(names, "IHDR tEXt IDAT IEND ");
  const std::string text = std::string("Description") + '\0' + "10 bits, unscaled";
  EXPECT_EQ(std::string(chunks["tEXt"].begin(), chunks["tEXt"].end()), text);
}

}  // namespace
