// The library taken away, or the process ended, while captures run. Each case is a process of its own
// (unload_child), so that one that hangs or crashes shows.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>

namespace kvexa::test {
namespace {

// Far beyond what any of them takes: it only ends those that hang.
constexpr DWORD hanging = 240000;

std::string childPath() {
  char path[MAX_PATH];
  GetModuleFileNameA(nullptr, path, MAX_PATH);
  std::string folder = path;
  return folder.substr(0, folder.find_last_of("\\/") + 1) + "unload_child.exe";
}

// The exit code of the child; STILL_ACTIVE when it hangs.
DWORD run(const std::string& way) {
  const std::string path = childPath();
  std::string commandLine = "\"" + path + "\" " + way;
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (CreateProcessA(path.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                     &process) == FALSE) {
    return GetLastError();
  }
  DWORD code = STILL_ACTIVE;
  if (WaitForSingleObject(process.hProcess, hanging) == WAIT_OBJECT_0) {
    GetExitCodeProcess(process.hProcess, &code);
  } else {
    TerminateProcess(process.hProcess, 99);
  }
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return code;
}

TEST(Unload, WayThatIsNoneIsTold) { EXPECT_EQ(2U, run("sideways")); }

TEST(Unload, CaptureOfAUsbBoardGoesOnWithoutTheProgramsReference) { EXPECT_EQ(0U, run("free-usb")); }

TEST(Unload, CaptureOfAPcieBoardGoesOnWithoutTheProgramsReference) { EXPECT_EQ(0U, run("free-pcie")); }

TEST(Unload, LibraryGoesWhenItsLastCaptureEnds) { EXPECT_EQ(0U, run("free-ended")); }

TEST(Unload, ThousandRoundsOfLoadCaptureAbortUnload) { EXPECT_EQ(0U, run("rounds")); }

TEST(Unload, LibraryThatIsLoadedAnewCapturesWithAHandleFromBeforeButDoesNotAbort) {
  EXPECT_EQ(0U, run("reload-kept"));
}

TEST(Unload, LibraryThatIsLoadedAnewAbortsOnceTheBoardIsOpenedAgain) { EXPECT_EQ(0U, run("reload-opened")); }

TEST(ProcessExit, WhileAUsbBoardCaptures) {
  for (int i = 0; i < 5; ++i) EXPECT_EQ(0U, run("exit-usb"));
}

TEST(ProcessExit, WhileAPcieBoardCaptures) {
  for (int i = 0; i < 5; ++i) EXPECT_EQ(0U, run("exit-pcie"));
}

TEST(ProcessExit, WhileAnArrayCaptureRuns) {
  for (int i = 0; i < 5; ++i) EXPECT_EQ(0U, run("exit-array"));
}

}  // namespace
}  // namespace kvexa::test
