// How requests stay pending and complete, and what the machine notices of the program's side.
#include <cstring>
#include <thread>

#include "tests/sim/attach/AttachedFixture.h"
#include "tests/sim/pcie/BoardFixture.h"

namespace {

using FaultKind = sim::Fault::Kind;
using sim::pcie::Wait;

class PcieOverlappedTest : public PcieFixture {};

TEST_F(PcieOverlappedTest, RecordAndEventTellTheState) {
  Overlapped measurement(Words{0, 0, 0, 0});
  SetEvent(measurement.overlapped.hEvent);
  measurement.overlapped.Internal = 1;
  measurement.overlapped.InternalHigh = 1;
  start(Request::autoActual, measurement);
  EXPECT_TRUE(measurement.isPending());
  EXPECT_FALSE(measurement.isSignalled());
  EXPECT_EQ(board.pending(), 1U);
  stream(64, 64);
  measurement.wait();
  EXPECT_EQ(measurement.overlapped.Internal, 0U);
  EXPECT_EQ(measurement.overlapped.InternalHigh, 16U);
  EXPECT_EQ(board.pending(), 0U);
}

TEST_F(PcieOverlappedTest, EventIsNotNeeded) {
  Words words = {0, 0, 0, 0};
  OVERLAPPED overlapped{};
  EXPECT_EQ(send(Request::autoActual, words, &overlapped).error, 997U);
  EXPECT_TRUE(board.complete(Wait::measurement, 5));
  EXPECT_EQ(overlapped.Internal, 0U);
  EXPECT_EQ(words[0], 5U);
}

TEST_F(PcieOverlappedTest, EventOutlivesTheProgramsHandle) {
  Overlapped measurement(Words{0, 0, 0, 0});
  start(Request::autoActual, measurement);
  CloseHandle(std::exchange(measurement.overlapped.hEvent, nullptr));
  EXPECT_TRUE(board.complete(Wait::measurement, 0));
  EXPECT_FALSE(measurement.isPending());
}

TEST_F(PcieOverlappedTest, EventThatIsNoneIsRefused) {
  Words words = {0, 0, 0, 0};
  OVERLAPPED overlapped{};
  overlapped.hEvent = reinterpret_cast<HANDLE>(std::uintptr_t{0x7FFFFFF0});
  EXPECT_EQ(send(Request::autoActual, words, &overlapped).error, std::uint32_t{ERROR_INVALID_HANDLE});
  EXPECT_EQ(board.pending(), 0U);
}

TEST_F(PcieOverlappedTest, StatusAtOnceAndLater) {
  stream(64, 64);
  board.faults().at(1, {FaultKind::answer, 0x3000});
  Overlapped atOnce(Words{0, 0, 0, 0});
  EXPECT_EQ(send(Request::autoActual, atOnce.words, &atOnce.overlapped).error, 0U);
  EXPECT_EQ(atOnce.words, (Words{0x3000, 0, 0, 0}));
  EXPECT_TRUE(atOnce.isSignalled());
  board.faults().at(1, {FaultKind::answerLater, 0x3001});
  Overlapped later(Words{0, 0, 0, 0});
  start(Request::autoActual, later);
  later.wait();
  EXPECT_EQ(later.words[0], 0x3001U);
  EXPECT_EQ(later.words[1], 64U);
}

TEST_F(PcieOverlappedTest, OtherFaults) {
  Words words = {0, 0x504, 5};
  board.faults().at(1, {FaultKind::refuse, 31});
  EXPECT_EQ(send(Request::writeRegister, words).error, 31U);
  EXPECT_EQ(board.boardRegister(0x504), 0U);
  words = {0x77, 0x504, 5};
  board.faults().at(1, {FaultKind::keepStatus});
  EXPECT_EQ(send(Request::writeRegister, words).error, 0U);
  EXPECT_EQ(words[0], 0x77U);
  words = {0x77, 0x504, 0xEE};
  board.faults().at(1, {FaultKind::shorten, 4});
  EXPECT_EQ(send(Request::readRegister, words).bytes, 4U);
  EXPECT_EQ(words, (Words{0, 0x504, 0xEE}));
  words = {0x77, 0x504, 0xEE};
  board.faults().at(1, {FaultKind::answer, 0x1234});
  EXPECT_EQ(send(Request::readRegister, words).error, 0U);
  EXPECT_EQ(words, (Words{0x1234, 0x504, 5}));
  board.faults().at(1, {FaultKind::unplug});
  EXPECT_EQ(send(Request::readRegister, words).error, 1167U);
  EXPECT_FALSE(board.isPlugged());
}

// What is pending when the computer goes leaves the program's memory alone.
TEST(PcieMachine, EndsWithRequestsPending) {
  for (int i = 0; i < 100; ++i) {
    Overlapped measurement(std::vector<std::uint32_t>{9, 9, 9, 9});
    {
      sim::Machine machine;
      sim::pcie::Board& board = machine.addPcieBoard();
      const sim::pcie::Shape* shape = sim::pcie::findShape(0x800020C8);
      EXPECT_EQ(board
                    .control(*shape, {0x800020C8, measurement.words.data(), 16, measurement.words.data(), 16,
                                      &measurement.overlapped})
                    .error,
                997U);
    }
    EXPECT_TRUE(measurement.isPending());
    EXPECT_EQ(measurement.words[0], 9U);
  }
}

TEST_F(PcieOverlappedTest, BoardsAreIndependent) {
  sim::pcie::Board& other = machine.addPcieBoard();
  EXPECT_EQ(&other, &machine.pcieBoard(1));
  EXPECT_EQ(other.name(), "pcie1");
  EXPECT_THROW(machine.pcieBoard(2), std::out_of_range);
  Overlapped mine(Words{0, 0, 0, 0});
  Overlapped theirs(Words{0, 0, 0, 0});
  start(Request::autoActual, mine);
  EXPECT_EQ(sendTo(other, Request::autoActual, theirs.words, &theirs.overlapped).error, 997U);
  Words stop = {0};
  sendTo(other, Request::stop, stop);
  EXPECT_FALSE(theirs.isPending());
  EXPECT_TRUE(mine.isPending());
}

// ---- Through a module ----

class PcieClient : public AttachedTest {
 protected:
  DWORD measure(Overlapped& measurement) {
    DWORD moved = 0;
    const BOOL done =
        client.calls().deviceIoControl(file, 0x800020C8, measurement.words.data(), 16,
                                       measurement.words.data(), 16, &moved, &measurement.overlapped);
    return done != FALSE ? 0 : GetLastError();
  }

  sim::pcie::Board& board = machine.addPcieBoard();
  HANDLE file = host.open(host.path(pcieClass, 0));
};

TEST_F(PcieClient, LimitedWaitForARequestPassesInSimulatedTime) {
  Overlapped measurement(std::vector<std::uint32_t>(4));
  EXPECT_EQ(measure(measurement), DWORD{ERROR_IO_PENDING});
  EXPECT_EQ(client.calls().waitForSingleObject(measurement.overlapped.hEvent, 3600000), DWORD{WAIT_TIMEOUT});
  EXPECT_EQ(machine.clock().now(), sim::Microseconds{3600} * 1000000);
  EXPECT_TRUE(board.complete(Wait::measurement, 0));
  EXPECT_EQ(client.calls().waitForSingleObject(measurement.overlapped.hEvent, 10), DWORD{WAIT_OBJECT_0});
}

TEST_F(PcieClient, OtherWaitsAreWindowsOwn) {
  Overlapped other;
  EXPECT_EQ(client.calls().waitForSingleObject(other.overlapped.hEvent, 0), DWORD{WAIT_TIMEOUT});
  SetEvent(other.overlapped.hEvent);
  EXPECT_EQ(client.calls().waitForSingleObject(other.overlapped.hEvent, INFINITE), DWORD{WAIT_OBJECT_0});
  EXPECT_EQ(machine.clock().now(), 0U);
}

TEST_F(PcieClient, FreedMemoryOfAPendingRequestIsNoticedAndNotWritten) {
  auto* record = static_cast<std::uint32_t*>(client.calls().allocate(16));
  auto* overlapped = static_cast<OVERLAPPED*>(client.calls().globalAlloc(GPTR, sizeof(OVERLAPPED)));
  std::fill_n(record, 4, 0U);
  DWORD moved = 0;
  client.calls().deviceIoControl(file, 0x800020C8, record, 16, record, 16, &moved, overlapped);
  EXPECT_EQ(board.pending(), 1U);
  void* const stranger = client.calls().allocate(16);
  client.calls().release(stranger);
  EXPECT_EQ(machine.loans().lostLoans(), 0U);
  client.calls().release(record);
  EXPECT_EQ(machine.loans().lostLoans(), 1U);
  client.calls().globalFree(overlapped);
  EXPECT_EQ(machine.loans().lostLoans(), 1U);  // of the same request
  EXPECT_TRUE(board.complete(Wait::measurement, 0));
}

TEST_F(PcieClient, MemoryOfACompletedRequestMayBeFreed) {
  for (int i = 0; i < 1000; ++i) {
    auto* record = static_cast<std::uint32_t*>(client.calls().allocate(16));
    auto* overlapped = static_cast<OVERLAPPED*>(client.calls().globalAlloc(GPTR, sizeof(OVERLAPPED)));
    std::fill_n(record, 4, 0U);
    DWORD moved = 0;
    client.calls().deviceIoControl(file, 0x800020C8, record, 16, record, 16, &moved, overlapped);
    std::thread completing([&] { board.complete(Wait::measurement, 0); });
    while (static_cast<volatile OVERLAPPED*>(overlapped)->Internal == 0x103) SwitchToThread();
    client.calls().release(record);
    client.calls().globalFree(overlapped);
    completing.join();
  }
  EXPECT_EQ(machine.loans().lostLoans(), 0U);
}

TEST_F(PcieClient, ResourcesAreCountedAndRefused) {
  using Kind = sim::Resources::Kind;
  sim::Resources& resources = machine.resources();
  const HANDLE event = client.calls().createEvent(nullptr, TRUE, FALSE, nullptr);
  const HGLOBAL memory = client.calls().globalAlloc(0, 20);
  EXPECT_EQ(resources.open(Kind::event), 1U);
  EXPECT_EQ(resources.open(Kind::globalMemory), 1U);
  resources.fail(Kind::event, 2, 2);
  const HANDLE second = client.calls().createEvent(nullptr, TRUE, FALSE, nullptr);
  EXPECT_NE(second, nullptr);
  EXPECT_EQ(client.calls().createEvent(nullptr, TRUE, FALSE, nullptr), nullptr);
  EXPECT_EQ(client.calls().createEvent(nullptr, TRUE, FALSE, nullptr), nullptr);
  const HANDLE third = client.calls().createEvent(nullptr, TRUE, FALSE, nullptr);
  EXPECT_NE(third, nullptr);
  resources.fail(Kind::globalMemory, 1);
  EXPECT_EQ(client.calls().globalAlloc(0, 20), nullptr);
  resources.fail(Kind::thread, 1);
  EXPECT_EQ(client.calls().beginThread(), 0U);
  EXPECT_NE(client.calls().beginThread(), 0U);
  resources.failBlocksFrom(1000);
  EXPECT_EQ(client.calls().allocate(1000), nullptr);
  void* const small = client.calls().allocate(999);
  EXPECT_NE(small, nullptr);
  client.calls().release(small);
  for (const HANDLE each : {event, second, third}) EXPECT_TRUE(client.calls().closeHandle(each));
  EXPECT_EQ(client.calls().globalFree(memory), nullptr);
  EXPECT_EQ(resources.open(Kind::event), 0U);
  EXPECT_EQ(resources.open(Kind::globalMemory), 0U);
}

TEST_F(PcieClient, GuardedBlocksEndAtAPageWithoutAccess) {
  sim::GuardedBlocks& blocks = machine.resources().guardedBlocks();
  blocks.guardFrom(1000);
  client.calls().release(client.calls().allocate(999));
  EXPECT_EQ(blocks.count(), 0U);
  for (const std::size_t bytes : {1008U, 4096U, 20000U}) {
    auto* const block = static_cast<std::uint8_t*>(client.calls().allocate(bytes));
    ASSERT_NE(block, nullptr);
    std::memset(block, 0xFF, bytes);
    MEMORY_BASIC_INFORMATION behind{};
    ASSERT_NE(VirtualQuery(block + bytes, &behind, sizeof behind), 0U);
    EXPECT_EQ(behind.BaseAddress, block + bytes);
    EXPECT_EQ(behind.State, static_cast<DWORD>(MEM_RESERVE));
    client.calls().release(block);
    ASSERT_NE(VirtualQuery(block, &behind, sizeof behind), 0U);
    EXPECT_EQ(behind.State, static_cast<DWORD>(MEM_FREE));
  }
  EXPECT_EQ(blocks.count(), 3U);
}

}  // namespace
