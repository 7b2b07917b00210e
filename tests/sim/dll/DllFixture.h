// A program that starts simulations through kvexa_sim.dll and loads copies of the library.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <utility>
#include <vector>

#include "kvexa.h"
#include "kvexa_sim.h"

namespace kvexa::test {

// The folder of this program, with a backslash at the end.
std::string programFolder();

// The sentence of this thread's last failure.
std::string lastError();

// A copy of the library in memory, loaded by its path.
class LoadedLibrary {
 public:
  explicit LoadedLibrary(const std::string& path = programFolder() + "KVEXA_LIB.dll");
  ~LoadedLibrary() { unload(); }
  LoadedLibrary(LoadedLibrary&& other) noexcept : module_(std::exchange(other.module_, nullptr)) {}
  LoadedLibrary& operator=(LoadedLibrary&&) = delete;
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;

  HMODULE module() const { return module_; }
  void unload();

  template <class Function>
  Function* function(const char* name) const {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
  }

  std::int32_t count(std::uint32_t type) const;
  std::int32_t open(std::uint32_t type, std::uint32_t index, BoardHandle& board) const;
  std::int32_t close(BoardHandle& board) const;
  std::int32_t turn(const char* name, const BoardHandle& board) const;
  std::int32_t writeRegister(const BoardHandle& board, std::uint32_t address, std::uint32_t value) const;
  std::int32_t readRegister(const BoardHandle& board, std::uint32_t address, std::uint32_t& value) const;

  // Supply, clock, bus and reset: the sensor then has its reset values.
  void bringUp(const BoardHandle& board) const;

 private:
  HMODULE module_;
};

// A folder of its own with copies of the library, until the test has ended.
class CopyFolder {
 public:
  CopyFolder();
  ~CopyFolder();
  CopyFolder(const CopyFolder&) = delete;
  CopyFolder& operator=(const CopyFolder&) = delete;

  // A new copy, in a folder of its own below, under the name that the library has.
  std::string copy();

 private:
  std::string path_;
  std::vector<std::string> made_;
};

// Stops the simulation that a test leaves.
class DllTest : public ::testing::Test {
 protected:
  DllTest();
  ~DllTest() override;

  void start(const std::string& text);
};

// Boards whose sensors stream small frames as soon as they are supplied: a thousand a second.
std::string streamingBoards(const std::string& time);

constexpr std::uint32_t streamSide = 64;
constexpr std::uint32_t streamBytes = streamSide * streamSide;

}  // namespace kvexa::test
