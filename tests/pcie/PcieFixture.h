// One simulated PCIe board, opened through the library under test.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/BoardFixture.h"

namespace kvexa::test {

class PcieFixture : public MachineTest {
 protected:
  void SetUp() override;

  // The test fails when something that the library took from Windows was not given back, or when it freed
  // what the driver still wrote to.
  void TearDown() override;

  // Lets the sensor stream frames of 8-bit samples, with the frame number drawn into them, and sets the
  // capture area to the sensor's whole image. The period counts in 100 microseconds.
  void stream(unsigned width, unsigned height, unsigned period = 100) {
    streamOn(handle, width, height, period);
  }
  void streamOn(const BoardHandle& onBoard, unsigned width, unsigned height, unsigned period = 100);

  // Refuses the k-th request from now as a driver does, or answers it with a status word.
  void refuse(unsigned k);
  void answer(unsigned k, std::uint32_t status);
  void answerLater(unsigned k, std::uint32_t status);

  sim::pcie::Board& board = machine.addPcieBoard();
  BoardHandle handle{};
};

// A start of a multi-shot capture with everything that it hands over.
class MultiShot {
 public:
  // Events that are not wanted stay null.
  enum class Events { both, endOnly, frameOnly };

  MultiShot(std::uint32_t frameBytes, std::uint32_t frameCount, Events events = Events::both);
  ~MultiShot();
  MultiShot(const MultiShot&) = delete;
  MultiShot& operator=(const MultiShot&) = delete;

  std::int32_t start(const BoardHandle& board, std::uint32_t timeout = 0);

  // Waits for the end event and gives the result word.
  std::int32_t result();

  bool frameIsSignalled() const { return WaitForSingleObject(frameEvent, 0) == WAIT_OBJECT_0; }
  bool endIsSignalled() const { return WaitForSingleObject(endEvent, 0) == WAIT_OBJECT_0; }
  void awaitFrame();

  const std::uint8_t* frame(std::size_t index) const { return buffer.data() + index * step; }

  static constexpr std::int32_t unset = 12345;

  std::uint32_t frameBytes;
  std::uint32_t frameCount;
  std::size_t step;  // frameBytes rounded up to whole words
  std::vector<std::uint8_t> buffer;
  HANDLE frameEvent = nullptr;
  HANDLE endEvent = nullptr;
  std::int32_t resultWord = unset;
};

// Expected lines. A word is eight hexadecimal digits.
std::string word(std::uint32_t value);
std::string addressWord(const void* pointer);

// "pcie0 NAME [WORDS]"
std::string request(const std::string& name, const std::vector<std::uint32_t>& words,
                    const std::string& board = "pcie0");

std::string readRegister(std::uint32_t address, std::uint32_t value);
std::string writeRegister(std::uint32_t address, std::uint32_t value);
std::string stopped();
std::string intervalsCancelled(const BoardHandle& board);

// The line with what stands behind the request.
std::string done(const std::string& request, std::uint32_t status = 0);
std::string pending(const std::string& request);
std::string complete(const std::string& name, std::uint32_t status = 0);

}  // namespace kvexa::test
