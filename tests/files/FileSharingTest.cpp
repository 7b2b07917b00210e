// Image files and the other programs on the machine: what these may do with a file while it is written, and
// what is done with a file that they hold.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/files/ImageWriters.h"
#include "tests/files/LibraryWrites.h"
#include "tests/files/TemporaryFolder.h"
#include "tests/support/BoardFixture.h"

namespace kvexa::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr DWORD shareNothing = 0;
constexpr DWORD shareRead = FILE_SHARE_READ;
constexpr DWORD shareWrite = FILE_SHARE_WRITE;
constexpr DWORD shareBoth = FILE_SHARE_READ | FILE_SHARE_WRITE;
constexpr DWORD shareAll = shareBoth | FILE_SHARE_DELETE;

// Another program's handle of a file.
class Holder {
 public:
  Holder(const std::string& path, DWORD access, DWORD share)
      : file_(CreateFileA(path.c_str(), access, share, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                          nullptr)) {}
  ~Holder() {
    if (holds()) CloseHandle(file_);
  }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;

  bool holds() const { return file_ != INVALID_HANDLE_VALUE; }

 private:
  HANDLE file_;
};

class FileSharing : public MachineTest, public testing::WithParamInterface<ImageWriter> {
 protected:
  std::int32_t save() { return GetParam().save(path_.c_str(), image_.data(), 40, 30, {1, 2, 30, 20}); }

  // The file that is saved when nobody else is there.
  Bytes saved() {
    EXPECT_EQ(KVEXA_OK, save());
    return folder_.read(name);
  }

  static constexpr const char* name = "image";
  const TemporaryFolder folder_;
  const std::string path_ = folder_.path(name);
  const Bytes image_ = Bytes(std::size_t{40} * 30 * 3, 0x5A);
};

TEST_P(FileSharing, OthersReadAndWriteWhileItIsWritten) {
  struct Row {
    DWORD access;
    DWORD share;
    bool opens;
  };
  const Row rows[] = {{GENERIC_READ, shareBoth, true},   {GENERIC_READ, shareAll, true},
                      {GENERIC_READ, shareWrite, true},  {GENERIC_WRITE, shareBoth, true},
                      {GENERIC_WRITE, shareWrite, true}, {GENERIC_READ | GENERIC_WRITE, shareBoth, true},
                      {GENERIC_READ, shareRead, false},  {GENERIC_READ, shareNothing, false},
                      {GENERIC_WRITE, shareRead, false}, {GENERIC_WRITE, shareNothing, false},
                      {DELETE, shareAll, false}};
  LibraryWrites writes;
  writes.onWrite = [&](unsigned, std::size_t bytes) {
    for (const Row& row : rows) {
      const Holder other(path_, row.access, row.share);
      EXPECT_EQ(row.opens, other.holds()) << row.access << ", " << row.share;
    }
    EXPECT_EQ(FALSE, DeleteFileA(path_.c_str()));
    return bytes;
  };
  EXPECT_EQ(KVEXA_OK, save());
  EXPECT_LT(0U, writes.count());
  const Holder alone(path_, GENERIC_READ | GENERIC_WRITE | DELETE, shareNothing);
  EXPECT_TRUE(alone.holds()) << "the library holds the file still";
}

TEST_P(FileSharing, FileThatSomebodyHolds) {
  struct Row {
    DWORD access;
    DWORD share;
    bool isSaved;
  };
  const Row rows[] = {{GENERIC_READ, shareBoth, true},
                      {GENERIC_READ, shareAll, true},
                      {GENERIC_READ, shareWrite, true},
                      {GENERIC_WRITE, shareBoth, true},
                      {GENERIC_WRITE, shareWrite, true},
                      {GENERIC_READ, shareRead, false},
                      {GENERIC_READ, shareNothing, false},
                      {GENERIC_WRITE, shareRead, false},
                      {GENERIC_WRITE, shareNothing, false},
                      {DELETE, shareAll, false},
                      {GENERIC_READ, shareRead | FILE_SHARE_DELETE, false}};
  const Bytes good = saved();
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << row.access << ", " << row.share);
    folder_.write(name, "kept");
    {
      const Holder other(path_, row.access, row.share);
      ASSERT_TRUE(other.holds());
      EXPECT_EQ(row.isSaved ? KVEXA_OK : GetParam().cannotWrite, save());
    }
    EXPECT_EQ(row.isSaved ? good : (Bytes{'k', 'e', 'p', 't'}), folder_.read(name));
  }
}

// Windows opens no read-only file for writing. Wine does when root runs it, so the rule is kept here too.
class ReadOnlyRule {
 public:
  ReadOnlyRule() {
    patch("CreateFileA", reinterpret_cast<void*>(&createFile), reinterpret_cast<void**>(&openFile));
    patch("fopen", reinterpret_cast<void*>(&openText), reinterpret_cast<void**>(&openStream));
  }

 private:
  static bool isReadOnly(const char* path) {
    const DWORD attributes = GetFileAttributesA(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0;
  }

  static HANDLE WINAPI createFile(LPCSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                                  DWORD disposition, DWORD flags, HANDLE templateFile) {
    if ((access & GENERIC_WRITE) == 0 || !isReadOnly(path)) {
      return openFile(path, access, share, security, disposition, flags, templateFile);
    }
    SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
  }

  static FILE* __cdecl openText(const char* path, const char* mode) {
    return *mode != 'r' && isReadOnly(path) ? nullptr : openStream(path, mode);
  }

  void patch(const char* name, void* replacement, void** original) {
    const auto entries = sim::findImports(libraryModule(), name);
    ASSERT_EQ(1U, entries.size()) << name;
    *original = *entries.front();
    patches_.emplace_back(entries.front(), replacement);
  }

  static inline decltype(&::CreateFileA) openFile = nullptr;
  static inline decltype(&std::fopen) openStream = nullptr;

  std::vector<sim::ImportPatch> patches_;
};

TEST_P(FileSharing, ReadOnlyFileIsKept) {
  const ReadOnlyRule rule;
  const Bytes good = saved();
  folder_.write(name, "kept");
  ASSERT_NE(FALSE, SetFileAttributesA(path_.c_str(), FILE_ATTRIBUTE_READONLY));
  EXPECT_EQ(GetParam().cannotWrite, save());
  EXPECT_EQ((Bytes{'k', 'e', 'p', 't'}), folder_.read(name));
  EXPECT_NE(0U, GetFileAttributesA(path_.c_str()) & FILE_ATTRIBUTE_READONLY);
  ASSERT_NE(FALSE, SetFileAttributesA(path_.c_str(), FILE_ATTRIBUTE_NORMAL));
  EXPECT_EQ(good, saved());
}

TEST_P(FileSharing, LongerFileIsCut) {
  const Bytes good = saved();
  folder_.write(name, std::string(100000, 'x'));
  EXPECT_EQ(good, saved());
}

// Two of them at once write into one file, as the sharing allows, and both are told that they have.
TEST_P(FileSharing, SecondWriterOfTheSameFileOpensIt) {
  const Bytes good = saved();
  LibraryWrites writes;
  std::int32_t second = 1;
  writes.onWrite = [&](unsigned k, std::size_t bytes) {
    if (k == 1) second = save();
    return bytes;
  };
  EXPECT_EQ(KVEXA_OK, save());
  EXPECT_EQ(KVEXA_OK, second);
  EXPECT_EQ(good, folder_.read(name));
}

// ---- Files that are read ----

// Calls the test before the library's first byte of a file.
class FirstByte {
 public:
  explicit FirstByte(std::function<void()> action) {
    const auto entries = sim::findImports(libraryModule(), "getc");
    EXPECT_EQ(1U, entries.size());
    onFirst = std::move(action);
    original = reinterpret_cast<decltype(original)>(*entries.front());
    patch_.emplace(entries.front(), reinterpret_cast<void*>(&getByte));
  }
  ~FirstByte() { patch_.reset(); }
  FirstByte(const FirstByte&) = delete;
  FirstByte& operator=(const FirstByte&) = delete;

  static bool hasCome() { return onFirst == nullptr; }

 private:
  static int __cdecl getByte(FILE* file) {
    if (const auto action = std::exchange(onFirst, nullptr)) action();
    return original(file);
  }

  static inline std::function<void()> onFirst;
  static inline int(__cdecl* original)(FILE*) = nullptr;

  std::optional<sim::ImportPatch> patch_;
};

// Others may read and write a file while it is read, and may not take it away.
TEST(FileThatIsRead, IsSharedForReadingAndWriting) {
  const TemporaryFolder folder;
  const std::string path = folder.write("sensor.dat", "30,0\n12,34\n");
  std::vector<RegisterTableEntry> table(KVEXA_REGISTER_TABLE_ENTRIES);
  std::uint32_t lines = 0;
  CapParam param{};
  const std::function<std::int32_t()> readers[] = {
      [&] { return kUsbIniFileToBuf(path.c_str(), table.data(), &lines); },
      [&] { return kVexaGetCapFileParam(path.c_str(), &param); }};
  const std::int32_t results[] = {KVEXA_OK, KVEXA_BAD_FILE};
  for (std::size_t i = 0; i < 2; ++i) {
    const auto look = [&] {
      struct Row {
        DWORD access;
        DWORD share;
        bool opens;
      };
      for (const Row& row : {Row{GENERIC_READ, shareBoth, true},
                             {GENERIC_READ, shareRead, true},
                             {GENERIC_WRITE, shareBoth, true},
                             {GENERIC_WRITE, shareRead, true},
                             {GENERIC_READ, shareWrite, false},
                             {GENERIC_READ, shareNothing, false},
                             {DELETE, shareAll, false}}) {
        const Holder other(path, row.access, row.share);
        EXPECT_EQ(row.opens, other.holds()) << row.access << ", " << row.share;
      }
    };
    const FirstByte first(look);
    EXPECT_EQ(results[i], readers[i]());
    EXPECT_TRUE(FirstByte::hasCome());
    const Holder alone(path, GENERIC_READ | GENERIC_WRITE | DELETE, shareNothing);
    EXPECT_TRUE(alone.holds()) << "the library holds the file still";
  }
}

INSTANTIATE_TEST_SUITE_P(Writers, FileSharing, testing::ValuesIn(imageWriters),
                         [](const auto& writer) { return std::string(writer.param.name); });

}  // namespace
}  // namespace kvexa::test
