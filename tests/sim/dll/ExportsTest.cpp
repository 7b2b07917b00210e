// Every function of kvexa_sim.h with good and with bad arguments, and the sentence that it leaves.
#include <cstring>
#include <functional>
#include <limits>
#include <thread>

#include "tests/sim/dll/DllFixture.h"

namespace kvexa::test {
namespace {

constexpr std::uint32_t usb = KVEXA_BOARD_USB;
constexpr std::uint32_t pcie = KVEXA_BOARD_PCIE;
constexpr char twoBoards[] = "time = \"simulated\"\n[[board]]\ntype = \"usb\"\n[[board]]\ntype = \"pcie\"\n";

// A file in the folder for temporary files.
class TextFile {
 public:
  explicit TextFile(const std::wstring& name, const std::string& content = {}) {
    wchar_t folder[MAX_PATH];
    GetTempPathW(MAX_PATH, folder);
    path_ = folder + std::to_wstring(GetCurrentProcessId()) + name;
    const HANDLE file =
        CreateFileW(path_.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr));
    CloseHandle(file);
  }
  ~TextFile() { DeleteFileW(path_.c_str()); }
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;

  std::string path() const {
    char utf8[4 * MAX_PATH];
    WideCharToMultiByte(CP_UTF8, 0, path_.c_str(), -1, utf8, sizeof utf8, nullptr, nullptr);
    return utf8;
  }

  std::string content() const {
    const HANDLE file = CreateFileW(path_.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    std::string text(65536, '\0');
    DWORD read = 0;
    EXPECT_TRUE(ReadFile(file, text.data(), static_cast<DWORD>(text.size()), &read, nullptr));
    CloseHandle(file);
    text.resize(read);
    return text;
  }

 private:
  std::wstring path_;
};

class Exports : public DllTest {
 protected:
  static void refuses(std::int32_t code, const std::string& sentence, std::int32_t result) {
    EXPECT_EQ(code, result) << sentence;
    EXPECT_EQ(sentence, lastError());
  }
};

// Every function that needs a simulation.
TEST_F(Exports, EverythingNeedsASimulation) {
  std::uint32_t value = 7;
  std::uint64_t time = 7;
  const std::function<std::int32_t()> calls[] = {
      [] { return kvexaSimStop(); },
      [] { return kvexaSimBoardCount(usb); },
      [] { return kvexaSimSetScene(usb, 0, "chart"); },
      [&] { return kvexaSimReadBoardRegister(usb, 0, 0, &value); },
      [] { return kvexaSimWriteBoardRegister(usb, 0, 0, 0); },
      [&] { return kvexaSimReadSensorRegister(usb, 0, 0, &value); },
      [] { return kvexaSimWriteSensorRegister(usb, 0, 0, 0); },
      [] { return kvexaSimSetFault(usb, 0, 1, 0, KVEXA_SIM_FAULT_REFUSE, 5); },
      [] { return kvexaSimSetConditions(usb, 0, 1, 1); },
      [] { return kvexaSimClearFaults(usb, 0); },
      [] { return kvexaSimPlug(usb, 0, 1); },
      [&] { return kvexaSimGetTime(&time); },
      [] { return kvexaSimAdvanceTime(1); },
      [] { return kvexaSimTrace(nullptr); },
  };
  for (const auto& call : calls) refuses(KVEXA_SIM_NOT_RUNNING, "no simulation runs", call());
  EXPECT_EQ(7U, value);
  EXPECT_EQ(7U, time);
}

TEST_F(Exports, EverythingNeedsABoard) {
  start(twoBoards);
  std::uint32_t value = 7;
  const std::function<std::int32_t(std::uint32_t, std::uint32_t)> calls[] = {
      [](auto type, auto index) { return kvexaSimSetScene(type, index, "chart"); },
      [&](auto type, auto index) { return kvexaSimReadBoardRegister(type, index, 0, &value); },
      [](auto type, auto index) { return kvexaSimWriteBoardRegister(type, index, 0, 0); },
      [&](auto type, auto index) { return kvexaSimReadSensorRegister(type, index, 0, &value); },
      [](auto type, auto index) { return kvexaSimWriteSensorRegister(type, index, 0, 0); },
      [](auto type, auto index) { return kvexaSimSetFault(type, index, 1, 0, KVEXA_SIM_FAULT_REFUSE, 5); },
      [](auto type, auto index) { return kvexaSimSetConditions(type, index, 1, 1); },
      [](auto type, auto index) { return kvexaSimClearFaults(type, index); },
      [](auto type, auto index) { return kvexaSimPlug(type, index, 1); },
  };
  for (const auto& call : calls) {
    refuses(KVEXA_SIM_NO_BOARD, "the simulation has no board of type 0 and index 1", call(usb, 1));
    refuses(KVEXA_SIM_NO_BOARD, "the simulation has no board of type 1 and index 4294967295",
            call(pcie, 0xFFFFFFFF));
    refuses(KVEXA_SIM_NO_BOARD, "the simulation has no board of type 2 and index 0", call(2, 0));
  }
  EXPECT_EQ(7U, value);
}

TEST_F(Exports, StartTextRefusesNullAndAWrongText) {
  refuses(KVEXA_SIM_BAD_ARGUMENT, "the text is null", kvexaSimStartText(nullptr));
  refuses(KVEXA_SIM_BAD_DESCRIPTION, "description:2:8: \"type\" must be \"usb\" or \"pcie\", not \"isa\"",
          kvexaSimStartText("[[board]]\ntype = \"isa\"\n"));
  refuses(KVEXA_SIM_NOT_RUNNING, "no simulation runs", kvexaSimStop());
}

TEST_F(Exports, StartTextRefusesWhatIsNoUtf8) {
  EXPECT_EQ(KVEXA_SIM_BAD_DESCRIPTION, kvexaSimStartText("trace = \"\xFF\xFE\"\n"));
  EXPECT_EQ(0U, lastError().rfind("description:1:", 0)) << lastError();
  EXPECT_EQ(std::string::npos, lastError().find_first_of("\r\n")) << lastError();
}

TEST_F(Exports, AnEmptyTextStartsAComputerWithoutBoards) {
  start("");
  EXPECT_EQ(0, kvexaSimBoardCount(usb));
  EXPECT_EQ(0, kvexaSimBoardCount(pcie));
  const LoadedLibrary library;
  EXPECT_EQ(0, library.count(usb));
}

TEST_F(Exports, StartFileRefusesNullAndAMissingFile) {
  refuses(KVEXA_SIM_BAD_ARGUMENT, "the path is null", kvexaSimStartFile(nullptr));
  refuses(KVEXA_SIM_BAD_DESCRIPTION,
          "Z:\\nowhere\\boards.toml: cannot be read, or is no text of at most 1 MiB",
          kvexaSimStartFile("Z:\\nowhere\\boards.toml"));
}

TEST_F(Exports, StartFileNamesTheFileAndThePlace) {
  const TextFile file(L"wrong.toml", "time = \"later\"\n");
  refuses(KVEXA_SIM_BAD_DESCRIPTION,
          file.path() + ":1:8: \"time\" must be \"real\" or \"simulated\", not \"later\"",
          kvexaSimStartFile(file.path().c_str()));
}

TEST_F(Exports, StartFileTakesAnyNameOfWindows) {
  const TextFile file(L"\x30ab\x30e1\x30e9 \x0416.toml", twoBoards);
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimStartFile(file.path().c_str())) << lastError();
  EXPECT_EQ(1, kvexaSimBoardCount(pcie));
}

TEST_F(Exports, StartThatCannotWriteItsTraceStartsNothing) {
  refuses(KVEXA_SIM_BAD_FILE, "Z:\\nowhere\\trace.txt: cannot be written",
          kvexaSimStartText("trace = 'Z:\\nowhere\\trace.txt'"));
  EXPECT_EQ(KVEXA_SIM_NOT_RUNNING, kvexaSimBoardCount(usb));
}

TEST_F(Exports, StartThatCannotSeeItsSceneStartsNothing) {
  refuses(KVEXA_SIM_BAD_DESCRIPTION,
          "description:3:9: Z:\\nowhere\\scene.bmp: cannot be read, or is larger than 256 MiB",
          kvexaSimStartText("[[board]]\ntype = \"usb\"\nscene = 'Z:\\nowhere\\scene.bmp'\n"));
  EXPECT_EQ(KVEXA_SIM_NOT_RUNNING, kvexaSimBoardCount(usb));
}

TEST_F(Exports, OneSimulationRunsAtATime) {
  start(twoBoards);
  refuses(KVEXA_SIM_RUNNING, "a simulation runs already", kvexaSimStartText(""));
  EXPECT_EQ(1, kvexaSimBoardCount(usb));
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimStop());
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimStartText(""));
  EXPECT_EQ(0, kvexaSimBoardCount(usb));
}

TEST_F(Exports, LastErrorBelongsToTheThread) {
  EXPECT_EQ(KVEXA_SIM_BAD_ARGUMENT, kvexaSimStartText(nullptr));
  std::string before = "unset";
  std::string after;
  std::thread([&] {
    before = lastError();
    kvexaSimStartFile(nullptr);
    after = lastError();
  }).join();
  EXPECT_EQ("", before);
  EXPECT_EQ("the path is null", after);
  EXPECT_EQ("the text is null", lastError());
}

TEST_F(Exports, LastErrorStaysOverSuccesses) {
  kvexaSimStartText(nullptr);
  start(twoBoards);
  EXPECT_EQ(1, kvexaSimBoardCount(usb));
  EXPECT_EQ("the text is null", lastError());
}

TEST_F(Exports, LastErrorIsCutToTheBuffer) {
  kvexaSimStartText(nullptr);  // "the text is null"
  char text[20];
  std::memset(text, '#', sizeof text);
  EXPECT_EQ(KVEXA_SIM_BAD_ARGUMENT, kvexaSimLastError(nullptr, 20));
  EXPECT_EQ(KVEXA_SIM_BAD_ARGUMENT, kvexaSimLastError(text, 0));
  EXPECT_EQ('#', text[0]);
  EXPECT_EQ(KVEXA_SIM_TOO_SMALL, kvexaSimLastError(text, 1));
  EXPECT_EQ(std::string("\0#", 2), std::string(text, 2));
  EXPECT_EQ(KVEXA_SIM_TOO_SMALL, kvexaSimLastError(text, 16));
  EXPECT_STREQ("the text is nul", text);
  EXPECT_EQ('#', text[16]);
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimLastError(text, 17));
  EXPECT_STREQ("the text is null", text);
  EXPECT_EQ('#', text[17]);
}

TEST_F(Exports, BoardCountTellsBoardsOfATypePluggedOrNot) {
  start("[[board]]\ntype = \"usb\"\ncount = 3\nplugged = false\n[[board]]\ntype = \"pcie\"\ncount = 2\n");
  EXPECT_EQ(3, kvexaSimBoardCount(usb));
  EXPECT_EQ(2, kvexaSimBoardCount(pcie));
  refuses(KVEXA_SIM_BAD_ARGUMENT, "there is no such board type", kvexaSimBoardCount(2));
}

TEST_F(Exports, SetSceneTakesChartsColoursAndPictures) {
  start(twoBoards);
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimSetScene(usb, 0, "#8090a0"));
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimSetScene(pcie, 0, "chart"));
  refuses(KVEXA_SIM_BAD_ARGUMENT, "the scene is null", kvexaSimSetScene(usb, 0, nullptr));
  refuses(KVEXA_SIM_BAD_FILE, "#8090a: is no colour; six hexadecimal digits after # are",
          kvexaSimSetScene(usb, 0, "#8090a"));
  refuses(KVEXA_SIM_BAD_FILE, "#8090a0b: is no colour; six hexadecimal digits after # are",
          kvexaSimSetScene(usb, 0, "#8090a0b"));
  refuses(KVEXA_SIM_BAD_FILE, "#-090a0: is no colour; six hexadecimal digits after # are",
          kvexaSimSetScene(usb, 0, "#-090a0"));
  refuses(KVEXA_SIM_BAD_FILE, "Z:\\nowhere.bmp: cannot be read, or is larger than 256 MiB",
          kvexaSimSetScene(usb, 0, "Z:\\nowhere.bmp"));
  const TextFile text(L"scene.bmp", "no picture");
  EXPECT_EQ(KVEXA_SIM_BAD_FILE, kvexaSimSetScene(usb, 0, text.path().c_str()));
  EXPECT_EQ(0U, lastError().rfind(text.path() + ": ", 0)) << lastError();
}

TEST_F(Exports, BoardRegistersHoldTheBitsOfTheirBoard) {
  start(twoBoards);
  std::uint32_t value = 0;
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimWriteBoardRegister(usb, 0, 0xFFFF, 0xFFFF));
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimReadBoardRegister(usb, 0, 0xFFFF, &value));
  EXPECT_EQ(0xFFFFU, value);
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimWriteBoardRegister(pcie, 0, 0x1000, 0xFFFFFFFF));
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimReadBoardRegister(pcie, 0, 0x1000, &value));
  EXPECT_EQ(0xFFFFFFFFU, value);
  value = 7;
  refuses(KVEXA_SIM_BAD_ARGUMENT, "a USB board has registers up to 0xffff",
          kvexaSimReadBoardRegister(usb, 0, 0x10000, &value));
  refuses(KVEXA_SIM_BAD_ARGUMENT, "a USB board has registers up to 0xffff",
          kvexaSimWriteBoardRegister(usb, 0, 0x10000, 0));
  refuses(KVEXA_SIM_BAD_ARGUMENT, "registers of a USB board have 16 bits",
          kvexaSimWriteBoardRegister(usb, 0, 0, 0x10000));
  refuses(KVEXA_SIM_BAD_ARGUMENT, "the value is null", kvexaSimReadBoardRegister(usb, 0, 0, nullptr));
  EXPECT_EQ(7U, value);
}

TEST_F(Exports, WrittenRegisterIsWhatTheLibraryReads) {
  start(twoBoards);
  const LoadedLibrary library;
  for (const std::uint32_t type : {usb, pcie}) {
    BoardHandle board{};
    ASSERT_EQ(KVEXA_OK, library.open(type, 0, board));
    std::uint32_t value = 0;
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimWriteBoardRegister(type, 0, 0x1230, 0x55AA));
    EXPECT_EQ(KVEXA_OK, library.readRegister(board, 0x1230, value));
    EXPECT_EQ(0x55AAU, value);
    EXPECT_EQ(KVEXA_OK, library.writeRegister(board, 0x1230, 0x1234));
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimReadBoardRegister(type, 0, 0x1230, &value));
    EXPECT_EQ(0x1234U, value);
    EXPECT_EQ(KVEXA_OK, library.close(board));
  }
}

TEST_F(Exports, SensorRegistersHoldEightBits) {
  start(twoBoards);
  std::uint32_t value = 0;
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimReadSensorRegister(usb, 0, 0, &value));
  EXPECT_EQ(0x4BU, value);
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimWriteSensorRegister(pcie, 0, 0xFFFF, 0xFF));
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimReadSensorRegister(pcie, 0, 0xFFFF, &value));
  EXPECT_EQ(0xFFU, value);
  value = 7;
  refuses(KVEXA_SIM_BAD_ARGUMENT, "the sensor has registers up to 0xffff",
          kvexaSimReadSensorRegister(usb, 0, 0x10000, &value));
  refuses(KVEXA_SIM_BAD_ARGUMENT, "the value is null", kvexaSimReadSensorRegister(usb, 0, 0, nullptr));
  refuses(KVEXA_SIM_BAD_ARGUMENT, "the sensor has registers of 8 bits up to 0xffff",
          kvexaSimWriteSensorRegister(usb, 0, 0x10000, 0));
  refuses(KVEXA_SIM_BAD_ARGUMENT, "the sensor has registers of 8 bits up to 0xffff",
          kvexaSimWriteSensorRegister(usb, 0, 0, 0x100));
  EXPECT_EQ(7U, value);
}

TEST_F(Exports, SetFaultRefusesWhatCannotBe) {
  start(twoBoards);
  const auto set = [](std::uint32_t type, std::uint32_t request, std::uint32_t after, std::uint32_t fault,
                      std::uint32_t value) {
    return kvexaSimSetFault(type, 0, request, after, fault, value);
  };
  refuses(KVEXA_SIM_BAD_ARGUMENT, "requests are counted from 1", set(usb, 0, 0, 0, 5));
  refuses(KVEXA_SIM_BAD_ARGUMENT, "\"andAfter\" is 0 or 1", set(usb, 1, 2, 0, 5));
  refuses(KVEXA_SIM_BAD_ARGUMENT, "there is no such fault", set(usb, 1, 0, 7, 5));
  refuses(KVEXA_SIM_BAD_ARGUMENT, "boards of this type do not have the fault",
          set(pcie, 1, 0, KVEXA_SIM_FAULT_CORRUPT, 1));
  refuses(KVEXA_SIM_BAD_ARGUMENT, "boards of this type do not have the fault",
          set(usb, 1, 0, KVEXA_SIM_FAULT_ANSWER, 1));
  refuses(KVEXA_SIM_BAD_ARGUMENT, "boards of this type do not have the fault",
          set(usb, 1, 0, KVEXA_SIM_FAULT_ANSWER_LATER, 1));
  refuses(KVEXA_SIM_BAD_ARGUMENT, "the value is too large for the fault",
          set(usb, 1, 0, KVEXA_SIM_FAULT_CORRUPT, 256));
}

TEST_F(Exports, FaultMeetsTheRequestThatItNames) {
  start(twoBoards);
  const LoadedLibrary library;
  for (const std::uint32_t type : {usb, pcie}) {
    BoardHandle board{};
    ASSERT_EQ(KVEXA_OK, library.open(type, 0, board));
    if (type == pcie) {  // one request a register
      EXPECT_EQ(KVEXA_SIM_OK, kvexaSimSetFault(type, 0, 2, 0, KVEXA_SIM_FAULT_REFUSE, 31));
      EXPECT_EQ(KVEXA_OK, library.writeRegister(board, 0x1230, 1));
    } else {
      EXPECT_EQ(KVEXA_SIM_OK, kvexaSimSetFault(type, 0, 1, 0, KVEXA_SIM_FAULT_REFUSE, 31));
    }
    EXPECT_EQ(KVEXA_REQUEST_FAILED, library.writeRegister(board, 0x1230, 2));
    EXPECT_EQ(KVEXA_OK, library.writeRegister(board, 0x1230, 3));
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimSetFault(type, 0, 1, 1, KVEXA_SIM_FAULT_REFUSE, 31));
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(KVEXA_REQUEST_FAILED, library.writeRegister(board, 0x1230, 4));
    }
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimClearFaults(type, 0));
    EXPECT_EQ(KVEXA_OK, library.writeRegister(board, 0x1230, 5));
    EXPECT_EQ(KVEXA_OK, library.close(board));
  }
}

// A number of a request that is far away is not a near one.
TEST_F(Exports, FaultOfTheLastRequestOfAllDoesNotMeetTheNext) {
  start(twoBoards);
  const LoadedLibrary library;
  BoardHandle board{};
  ASSERT_EQ(KVEXA_OK, library.open(usb, 0, board));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(KVEXA_OK, library.writeRegister(board, 0x1230, 1));
  for (const std::uint32_t andAfter : {0U, 1U}) {
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimSetFault(usb, 0, 0xFFFFFFFF, andAfter, KVEXA_SIM_FAULT_REFUSE, 31));
    EXPECT_EQ(KVEXA_OK, library.writeRegister(board, 0x1230, 2));
  }
  EXPECT_EQ(KVEXA_OK, library.close(board));
}

TEST_F(Exports, ConditionsLastUntilTheyAreEnded) {
  start(streamingBoards("simulated"));
  const LoadedLibrary library;
  BoardHandle board{};
  ASSERT_EQ(KVEXA_OK, library.open(usb, 0, board));
  library.bringUp(board);
  const auto registerRead = library.function<decltype(kVexaRegRead)>("_kVexaRegRead@24");
  const auto readModel = [&] {
    std::uint32_t value = 0;
    return registerRead(&board, 0x36, 0, KVEXA_SLAVE7_SUB16, 1, &value);
  };
  EXPECT_EQ(KVEXA_OK, readModel());
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimSetConditions(usb, 0, 0, 1));
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, readModel());
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, readModel());
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimSetConditions(usb, 0, 1, 1));
  EXPECT_EQ(KVEXA_OK, readModel());
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimSetConditions(usb, 0, 0, 0));
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimClearFaults(usb, 0));
  EXPECT_EQ(KVEXA_OK, readModel());
  refuses(KVEXA_SIM_BAD_ARGUMENT, "conditions are 0 or 1", kvexaSimSetConditions(usb, 0, 2, 1));
  refuses(KVEXA_SIM_BAD_ARGUMENT, "conditions are 0 or 1", kvexaSimSetConditions(usb, 0, 1, 2));
  EXPECT_EQ(KVEXA_OK, library.close(board));
}

TEST_F(Exports, BoardIsPulledOutAndPluggedIn) {
  start(twoBoards);
  const LoadedLibrary library;
  for (const std::uint32_t type : {usb, pcie}) {
    EXPECT_EQ(1, library.count(type));
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimPlug(type, 0, 0));
    EXPECT_EQ(0, library.count(type));
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimPlug(type, 0, 1));
    EXPECT_EQ(1, library.count(type));
  }
  refuses(KVEXA_SIM_BAD_ARGUMENT, "\"plugged\" is 0 or 1", kvexaSimPlug(usb, 0, 2));
}

TEST_F(Exports, SimulatedTimePassesWhenItIsTold) {
  start(twoBoards);
  std::uint64_t time = 7;
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimGetTime(&time));
  EXPECT_EQ(0U, time);
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimAdvanceTime(0));
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimAdvanceTime(5000000000));
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimGetTime(&time));
  EXPECT_EQ(5000000000U, time);
  refuses(KVEXA_SIM_BAD_ARGUMENT, "the place of the time is null", kvexaSimGetTime(nullptr));
}

TEST_F(Exports, SimulatedTimeDoesNotGoBack) {
  start(twoBoards);
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimAdvanceTime(1000));
  refuses(KVEXA_SIM_BAD_ARGUMENT, "that is more time than boards live for",
          kvexaSimAdvanceTime(std::numeric_limits<std::uint64_t>::max()));
  std::uint64_t time = 0;
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimGetTime(&time));
  EXPECT_EQ(1000U, time);
}

TEST_F(Exports, RealTimeIsNotAdvanced) {
  start("");
  refuses(KVEXA_SIM_BAD_ARGUMENT, "the boards live in real time, which passes by itself",
          kvexaSimAdvanceTime(1));
  std::uint64_t first = 0;
  std::uint64_t second = 0;
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimGetTime(&first));
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimGetTime(&second));
  EXPECT_LE(first, second);
}

// When the time has been told, what was due until then has happened.
TEST_F(Exports, EventsHappenBeforeTheAdvanceReturns) {
  start(std::string(twoBoards) +
        "[[board.event]]\nat = 1.5\ndo = \"unplug\"\n[[board.event]]\nat = 2\ndo = \"plug\"\n");
  const LoadedLibrary library;
  for (int round = 0; round < 1; ++round) {
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimAdvanceTime(1499999));
    EXPECT_EQ(1, library.count(pcie));
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimAdvanceTime(1));
    EXPECT_EQ(0, library.count(pcie));
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimAdvanceTime(1000000));
    EXPECT_EQ(1, library.count(pcie));
  }
}

TEST_F(Exports, TraceHoldsTheRequests) {
  const TextFile file(L"\x30ab-trace.txt", "before\r\n");
  start(twoBoards);
  const LoadedLibrary library;
  BoardHandle board{};
  ASSERT_EQ(KVEXA_OK, library.open(usb, 0, board));
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimTrace(file.path().c_str()));
  EXPECT_EQ(KVEXA_OK, library.close(board));
  EXPECT_EQ("before\r\nusb0 close\r\n", file.content());
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimTrace(nullptr));
  ASSERT_EQ(KVEXA_OK, library.open(usb, 0, board));
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimTrace(file.path().c_str()));
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimTrace(""));
  EXPECT_EQ(KVEXA_OK, library.close(board));
  EXPECT_EQ("before\r\nusb0 close\r\n", file.content());
  refuses(KVEXA_SIM_BAD_FILE, "Z:\\nowhere\\t.txt: cannot be written", kvexaSimTrace("Z:\\nowhere\\t.txt"));
}

// Each thread may change the trace while others write it.
TEST_F(Exports, TraceIsChangedByManyThreads) {
  const TextFile first(L"first.txt");
  const TextFile second(L"second.txt");
  start(twoBoards);
  const LoadedLibrary library;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 200; ++round) {
        EXPECT_EQ(KVEXA_SIM_OK, kvexaSimTrace((round % 2 == 0 ? first : second).path().c_str()));
      }
    });
  }
  BoardHandle board{};
  for (int i = 0; i < 200; ++i) {
    EXPECT_EQ(KVEXA_OK, library.open(usb, 0, board));
    EXPECT_EQ(KVEXA_OK, library.close(board));
  }
  for (std::thread& each : threads) each.join();
}

}  // namespace
}  // namespace kvexa::test
