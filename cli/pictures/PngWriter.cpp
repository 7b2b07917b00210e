// PNG, by its second edition: signature, and chunks IHDR, tEXt, IDAT and IEND. zlib compresses and sums.
#include <zlib.h>

#include <algorithm>

#include "cli/pictures/Picture.h"

namespace pictures {

namespace {

constexpr std::uint8_t differenceToTheLeft = 1;  // the row filter "Sub"

void appendChunk(Bytes& file, std::string_view type, std::span<const std::uint8_t> data) {
  appendBig<4>(file, static_cast<std::uint32_t>(data.size()));
  const std::size_t summed = file.size();
  append(file, type);
  file.insert(file.end(), data.begin(), data.end());
  const uLong sum = crc32(0, file.data() + summed, static_cast<uInt>(file.size() - summed));
  appendBig<4>(file, static_cast<std::uint32_t>(sum));
}

// The differences of one row, with the filter's number before them. 16-bit samples are stored high byte
// first.
void filterRow(const Picture& picture, std::uint32_t y, Bytes& row, Bytes& filtered) {
  const std::size_t pixel = std::size_t{picture.channels} * picture.bytesPerSample;
  const std::size_t length = pixel * picture.width;
  const std::uint8_t* from = picture.samples.data() + y * length;
  row.resize(length);
  if (picture.bytesPerSample == 1) {
    std::copy_n(from, length, row.begin());
  } else {
    for (std::size_t i = 0; i + 1 < length; i += 2) {
      row[i] = from[i + 1];
      row[i + 1] = from[i];
    }
  }
  filtered.resize(length + 1);
  filtered[0] = differenceToTheLeft;
  std::copy_n(row.begin(), pixel, filtered.begin() + 1);
  for (std::size_t i = pixel; i < length; ++i) {
    filtered[i + 1] = static_cast<std::uint8_t>(row[i] - row[i - pixel]);
  }
}

// Compresses row after row, so that no second copy of the picture is needed.
class Compressor {
 public:
  explicit Compressor(Bytes& output) : output_(output) {
    // The fastest level: a picture of 13 megapixels takes a fraction of a second, and more effort saves
    // little.
    if (deflateInit(&stream_, Z_BEST_SPEED) != Z_OK) throw PictureError("no memory to compress the picture");
  }
  ~Compressor() { deflateEnd(&stream_); }
  Compressor(const Compressor&) = delete;
  Compressor& operator=(const Compressor&) = delete;

  void add(Bytes& row, bool isLast) {
    stream_.next_in = row.data();
    stream_.avail_in = static_cast<uInt>(row.size());
    int state = Z_OK;
    do {
      const std::size_t old = output_.size();
      output_.resize(old + block);
      stream_.next_out = output_.data() + old;
      stream_.avail_out = static_cast<uInt>(block);
      state = deflate(&stream_, isLast ? Z_FINISH : Z_NO_FLUSH);
      output_.resize(old + block - stream_.avail_out);
      if (state == Z_STREAM_ERROR) throw PictureError("the picture could not be compressed");
    } while (isLast ? state != Z_STREAM_END : stream_.avail_in > 0);
  }

 private:
  static constexpr std::size_t block = std::size_t{1} << 18;

  z_stream stream_{};
  Bytes& output_;
};

Bytes header(const Picture& picture) {
  constexpr std::uint8_t grey = 0;
  constexpr std::uint8_t colour = 2;
  Bytes data;
  appendBig<4>(data, picture.width);
  appendBig<4>(data, picture.height);
  data.push_back(static_cast<std::uint8_t>(8 * picture.bytesPerSample));
  data.push_back(picture.channels == 3 ? colour : grey);
  data.insert(data.end(), {0, 0, 0});  // compression and filters: the only ones there are; not interlaced
  return data;
}

}  // namespace

Bytes pngOf(const Picture& picture) {
  check(picture);
  Bytes file{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  appendChunk(file, "IHDR", header(picture));
  if (!picture.description.empty()) {
    Bytes text;
    append(text, "Description");
    text.push_back(0);
    append(text, picture.description);
    appendChunk(file, "tEXt", text);
  }
  Bytes data;
  {
    Compressor compressor(data);
    Bytes row;
    Bytes filtered;
    for (std::uint32_t y = 0; y < picture.height; ++y) {
      filterRow(picture, y, row, filtered);
      compressor.add(filtered, y + 1 == picture.height);
    }
  }
  appendChunk(file, "IDAT", data);
  appendChunk(file, "IEND", {});
  return file;
}

}  // namespace pictures
