// Reads the picture files that can be the scene of the simulated camera.
#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>

#include "sim/sensor/Scene.h"
#include "sim/sensor/StbImage.h"

namespace sim {

namespace {

constexpr std::size_t mostFileBytes = std::size_t{256} << 20;

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

struct FreePicture {
  void operator()(stbi_uc* pixels) const { stbi_image_free(pixels); }
};

[[noreturn]] void refuse(const std::string& path, const std::string& what) {
  throw SceneError(path + ": " + what);
}

[[noreturn]] void refuseContent(const std::string& path) {
  const char* reason = stbi_failure_reason();
  refuse(path,
         std::string("is not a BMP or JPEG picture (") + (reason != nullptr ? reason : "unknown") + ")");
}

std::vector<stbi_uc> readWhole(const std::string& path) {
  const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "rb"));
  if (!file) refuse(path, "cannot be opened");
  std::vector<stbi_uc> content;
  std::vector<stbi_uc> block(std::size_t{1} << 16);
  while (const std::size_t count = std::fread(block.data(), 1, block.size(), file.get())) {
    if (content.size() + count > mostFileBytes) refuse(path, "is too large (more than 256 MiB)");
    content.insert(content.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(count));
  }
  if (std::ferror(file.get()) != 0) refuse(path, "cannot be read");
  return content;
}

// Hands a file's content to the decoder and notices when it wants more than there is: it would fill the
// missing part of the picture with grey and say nothing.
class Content {
 public:
  explicit Content(std::vector<stbi_uc> bytes) : bytes_(std::move(bytes)) {}

  bool isEmpty() const { return bytes_.empty(); }
  bool ranOut() const { return ranOut_; }
  void rewind() { position_ = 0; }

  static constexpr stbi_io_callbacks callbacks() { return {read, skip, isAtEnd}; }

 private:
  static Content& of(void* user) { return *static_cast<Content*>(user); }

  static int read(void* user, char* data, int size) {
    Content& content = of(user);
    const std::size_t count =
        std::min(static_cast<std::size_t>(size), content.bytes_.size() - content.position_);
    if (count == 0) content.ranOut_ = true;
    std::copy_n(content.bytes_.begin() + static_cast<std::ptrdiff_t>(content.position_), count, data);
    content.position_ += count;
    return static_cast<int>(count);
  }

  static void skip(void* user, int size) {
    Content& content = of(user);
    const std::size_t left = content.bytes_.size() - content.position_;
    if (size > 0 && static_cast<std::size_t>(size) > left) content.ranOut_ = true;
    if (size > 0) content.position_ += std::min(static_cast<std::size_t>(size), left);
  }

  static int isAtEnd(void* user) {
    const Content& content = of(user);
    return content.position_ == content.bytes_.size() ? 1 : 0;
  }

  std::vector<stbi_uc> bytes_;
  std::size_t position_ = 0;
  bool ranOut_ = false;
};

std::shared_ptr<const Scene> decode(const std::string& path, std::vector<stbi_uc> file) {
  Content content(std::move(file));
  const stbi_io_callbacks callbacks = Content::callbacks();
  int width = 0;
  int height = 0;
  int channels = 0;
  if (content.isEmpty()) refuse(path, "is not a BMP or JPEG picture (empty file)");
  if (stbi_info_from_callbacks(&callbacks, &content, &width, &height, &channels) == 0) refuseContent(path);
  if (width <= 0 || height <= 0) refuse(path, "is not a BMP or JPEG picture (no pixels)");
  const std::uint64_t pixels = static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
  if (pixels > Scene::mostPixels) {
    refuse(path, "is too large a picture (" + std::to_string(width) + " x " + std::to_string(height) +
                     " pixels; 64 megapixels at most)");
  }
  content.rewind();
  const std::unique_ptr<stbi_uc, FreePicture> bytes(
      stbi_load_from_callbacks(&callbacks, &content, &width, &height, &channels, 3));
  if (content.ranOut()) refuse(path, "is a truncated picture");
  if (!bytes) refuseContent(path);

  std::vector<Colour> colours(static_cast<std::size_t>(pixels));
  const stbi_uc* in = bytes.get();
  for (Colour& colour : colours) {
    colour = {in[0], in[1], in[2]};
    in += 3;
  }
  return std::make_shared<const Scene>(static_cast<unsigned>(width), static_cast<unsigned>(height),
                                       std::move(colours));
}

}  // namespace

std::shared_ptr<const Scene> Scene::fromFile(const std::string& path) {
  return fromBytes(path, readWhole(path));
}

std::shared_ptr<const Scene> Scene::fromBytes(const std::string& name, std::vector<std::uint8_t> content) {
  try {
    return decode(name, std::move(content));
  } catch (const std::bad_alloc&) {
    refuse(name, "is too large a picture for the memory");
  }
}

}  // namespace sim
