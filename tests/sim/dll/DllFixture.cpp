#include "tests/sim/dll/DllFixture.h"

#include <utility>

namespace kvexa::test {

std::string programFolder() {
  char path[MAX_PATH];
  GetModuleFileNameA(nullptr, path, MAX_PATH);
  const std::string whole = path;
  return whole.substr(0, whole.find_last_of('\\') + 1);
}

std::string lastError() {
  char text[1000];
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimLastError(text, sizeof text));
  return text;
}

LoadedLibrary::LoadedLibrary(const std::string& path) : module_(LoadLibraryA(path.c_str())) {
  EXPECT_NE(nullptr, module_) << path;
}

void LoadedLibrary::unload() {
  if (module_ != nullptr) FreeLibrary(std::exchange(module_, nullptr));
}

std::int32_t LoadedLibrary::count(std::uint32_t type) const {
  std::uint32_t counts[2] = {99, 99};
  const std::int32_t sum = function<decltype(kVexaDevNum)>("_kVexaDevNum@8")(&counts[0], &counts[1]);
  EXPECT_EQ(sum, static_cast<std::int32_t>(counts[0] + counts[1]));
  return static_cast<std::int32_t>(counts[type]);
}

std::int32_t LoadedLibrary::open(std::uint32_t type, std::uint32_t index, BoardHandle& board) const {
  return function<decltype(kVexaDevOpen)>("_kVexaDevOpen@12")(type, index, &board);
}

std::int32_t LoadedLibrary::close(BoardHandle& board) const {
  return function<decltype(kVexaDevClose)>("_kVexaDevClose@4")(&board);
}

std::int32_t LoadedLibrary::turn(const char* name, const BoardHandle& board) const {
  return function<decltype(kVexaPowerV1On)>(name)(&board);
}

std::int32_t LoadedLibrary::writeRegister(const BoardHandle& board, std::uint32_t address,
                                          std::uint32_t value) const {
  return function<decltype(kVexaFpgaWrite)>("_kVexaFpgaWrite@16")(&board, address, 2, &value);
}

std::int32_t LoadedLibrary::readRegister(const BoardHandle& board, std::uint32_t address,
                                         std::uint32_t& value) const {
  return function<decltype(kVexaFpgaRead)>("_kVexaFpgaRead@16")(&board, address, 2, &value);
}
void LoadedLibrary::bringUp(const BoardHandle& board) const {
  for (const char* name : {"_kVexaPowerSwControlOn@4", "_kVexaPowerV1On@4", "_kVexaPowerV2On@4",
                           "_kVexaClockOn@4", "_kVexaI2cOn@4", "_kVexaResetOff@4"}) {
    EXPECT_EQ(KVEXA_OK, turn(name, board)) << name;
  }
}

CopyFolder::CopyFolder() {
  char folder[MAX_PATH];
  GetTempPathA(MAX_PATH, folder);
  path_ = std::string(folder) + "kvexa-copies-" + std::to_string(GetCurrentProcessId());
  CreateDirectoryA(path_.c_str(), nullptr);
}

CopyFolder::~CopyFolder() {
  for (const std::string& folder : made_) {
    DeleteFileA((folder + "\\KVEXA_LIB.dll").c_str());
    RemoveDirectoryA(folder.c_str());
  }
  RemoveDirectoryA(path_.c_str());
}

std::string CopyFolder::copy() {
  const std::string folder = path_ + "\\" + std::to_string(made_.size());
  CreateDirectoryA(folder.c_str(), nullptr);
  made_.push_back(folder);
  const std::string file = folder + "\\KVEXA_LIB.dll";
  EXPECT_TRUE(CopyFileA((programFolder() + "KVEXA_LIB.dll").c_str(), file.c_str(), TRUE)) << file;
  return file;
}

DllTest::DllTest() { EXPECT_EQ(KVEXA_SIM_NOT_RUNNING, kvexaSimStop()); }

DllTest::~DllTest() { kvexaSimStop(); }

void DllTest::start(const std::string& text) {
  ASSERT_EQ(KVEXA_SIM_OK, kvexaSimStartText(text.c_str())) << lastError();
}

std::string streamingBoards(const std::string& time) {
  const std::string sensor =
      "[board.sensor]\nwidth = 64\nheight = 64\nframes_per_second = 1000\nregisters = {\"0x0100\" = 1}\n";
  return "time = \"" + time + "\"\n[[board]]\ntype = \"usb\"\n" + sensor + "[[board]]\ntype = \"pcie\"\n" +
         sensor;
}

}  // namespace kvexa::test
