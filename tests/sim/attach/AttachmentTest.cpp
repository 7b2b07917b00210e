#include "sim/attach/Attachment.h"

#include <atomic>
#include <optional>
#include <thread>

#include "sim/attach/ImportTable.h"
#include "tests/sim/attach/AttachedFixture.h"

namespace {

using sim::Attachment;
using sim::Machine;
using Lines = std::vector<std::string>;

TEST_F(AttachedTest, LetsSimulatedTimePassInSleep) {
  client.calls().sleep(4000000000U);
  client.calls().sleep(10);
  EXPECT_EQ(machine.clock().now(), 4000000010000U);
  EXPECT_EQ(machine.trace().take(), (Lines{"sleep 4000000000", "sleep 10"}));
}

TEST_F(AttachedTest, PassesOtherFilesOnToWindows) {
  const std::string path = testing::TempDir() + "attached.txt";
  const HANDLE file = client.calls().createFile(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                                FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  DWORD moved = 0;
  EXPECT_FALSE(client.calls().deviceIoControl(file, 0x0022204E, nullptr, 0, nullptr, 0, &moved, nullptr));
  EXPECT_TRUE(client.calls().closeHandle(file));
  EXPECT_NE(GetFileAttributesA(path.c_str()), INVALID_FILE_ATTRIBUTES);
  DeleteFileA(path.c_str());
  EXPECT_EQ(machine.devices().openFiles(), 0U);
  EXPECT_TRUE(machine.trace().take().empty());
}

TEST_F(AttachedTest, PassesOtherDevicesOnToWindows) {
  constexpr GUID other = {0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};
  const HDEVINFO set = host.list(other);
  ASSERT_NE(set, INVALID_HANDLE_VALUE);
  SP_DEVICE_INTERFACE_DATA data{};
  data.cbSize = sizeof data;
  EXPECT_FALSE(client.calls().enumDeviceInterfaces(set, nullptr, &other, 0, &data));
  EXPECT_TRUE(client.calls().destroyDeviceInfoList(set));
  EXPECT_EQ(machine.devices().openSets(), 0U);
}

TEST_F(AttachedTest, RefusesNullsWithoutFalling) {
  EXPECT_EQ(client.calls().createFile(nullptr, 0, 0, nullptr, OPEN_EXISTING, 0, nullptr),
            INVALID_HANDLE_VALUE);
  EXPECT_FALSE(client.calls().closeHandle(nullptr));
  machine.addUsbBoard();
  const HDEVINFO set = host.list(usbClass);
  EXPECT_FALSE(client.calls().enumDeviceInterfaces(set, nullptr, &usbClass, 0, nullptr));
  EXPECT_FALSE(client.calls().getDeviceInterfaceDetail(set, nullptr, nullptr, 0, nullptr, nullptr));
}

// The import entries as they are now.
std::vector<void*> imports(HMODULE module) {
  std::vector<void*> found;
  for (const char* name : {"CreateFileA", "CloseHandle", "DeviceIoControl", "SetupDiGetClassDevsA",
                           "SetupDiEnumDeviceInterfaces", "SetupDiGetDeviceInterfaceDetailA",
                           "SetupDiDestroyDeviceInfoList", "Sleep"}) {
    for (void** entry : sim::findImports(module, name)) found.push_back(*entry);
  }
  return found;
}

TEST(Attachment, RestoresTheImports) {
  const LoadedClient client;
  const std::vector<void*> before = imports(client.module());
  EXPECT_GE(before.size(), 8U);
  Machine machine;
  {
    const Attachment attachment(client.module(), machine);
    const std::vector<void*> during = imports(client.module());
    ASSERT_EQ(during.size(), before.size());
    for (std::size_t i = 0; i < during.size(); ++i) EXPECT_NE(during[i], before[i]);
  }
  EXPECT_EQ(imports(client.module()), before);
}

TEST(Attachment, LeavesOneMachineForAnother) {
  const LoadedClient client;
  Host host(client.calls());
  Machine first;
  first.addUsbBoard();
  Machine second;
  second.addPcieBoards(2);
  {
    const Attachment attachment(client.module(), first);
    EXPECT_EQ(host.count(usbClass), 1U);
  }
  const Attachment attachment(client.module(), second);
  EXPECT_EQ(host.count(usbClass), 0U);
  EXPECT_EQ(host.count(pcieClass), 2U);
}

TEST(Attachment, GivesEachModuleItsMachine) {
  const ClientCopy copy;
  const LoadedClient client;
  const LoadedClient other(copy.path());
  ASSERT_NE(client.module(), other.module());
  Machine first;
  Machine second;
  first.addUsbBoard();
  second.addPcieBoards(1);
  const Attachment firstAttachment(client.module(), first);
  const Attachment secondAttachment(other.module(), second);
  Host firstHost(client.calls());
  Host secondHost(other.calls());
  EXPECT_EQ(firstHost.count(usbClass), 1U);
  EXPECT_EQ(firstHost.count(pcieClass), 0U);
  EXPECT_EQ(secondHost.count(usbClass), 0U);
  EXPECT_EQ(secondHost.count(pcieClass), 1U);
}

TEST(Attachment, RefusesMoreModulesThanItHasFunctionsFor) {
  const LoadedClient client;
  const std::vector<void*> before = imports(client.module());
  Machine machine;
  {
    std::vector<std::unique_ptr<Attachment>> attachments;
    EXPECT_THROW(
        for (int i = 0; i < 100;
             ++i) { attachments.push_back(std::make_unique<Attachment>(client.module(), machine)); },
        std::length_error);
    EXPECT_EQ(attachments.size(), 8U);
    while (!attachments.empty()) attachments.pop_back();
  }
  EXPECT_EQ(imports(client.module()), before);
}

TEST(Attachment, ComesAndGoesWithTheModule) {
  for (int i = 0; i < 1000; ++i) {
    const LoadedClient client;
    Machine machine;
    machine.addUsbBoard();
    const Attachment attachment(client.module(), machine);
    Host host(client.calls());
    const HANDLE file = host.open(host.path(usbClass, 0));
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    ASSERT_TRUE(host.close(file));
  }
}

TEST_F(AttachedTest, NeverRunsOutOfHandles) {
  machine.addUsbBoard();
  const std::string path = host.path(usbClass, 0);
  for (int i = 0; i < 30000; ++i) {
    const HANDLE file = host.open(path);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    ASSERT_NE(file, nullptr);
    ASSERT_TRUE(host.close(file));
  }
}

// Calls the redirected function with the stack pointer at `offset` modulo 16, as callers from other
// compilers do.
void callSleepAt(void* function, std::uint32_t offset) {
  asm volatile(
      "movl %%esp, %%ebx\n\t"
      "andl $-16, %%esp\n\t"
      "subl $32, %%esp\n\t"
      "addl %1, %%esp\n\t"
      "pushl $10\n\t"
      "call *%0\n\t"
      "movl %%ebx, %%esp\n\t"
      :
      : "S"(function), "D"(offset)
      : "eax", "ebx", "ecx", "edx", "memory", "cc", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6",
        "xmm7");
}

TEST_F(AttachedTest, WorksAtEveryStackAlignment) {
  void* const function = *sim::findImports(client.module(), "Sleep").front();
  for (const std::uint32_t offset : {0, 4, 8, 12}) callSleepAt(function, offset);
  EXPECT_EQ(machine.clock().now(), 40000U);
}

TEST_F(AttachedTest, ServesManyThreads) {
  constexpr int threads = 4;
  constexpr int rounds = 200;
  for (int i = 0; i < threads; ++i) machine.addUsbBoard();
  std::atomic<int> good = 0;
  std::vector<kvexa::test::Thread> workers;
  for (DWORD i = 0; i < threads; ++i) {
    workers.emplace_back([&, i] {
      Host worker(client.calls());
      const HANDLE file = worker.open(worker.path(usbClass, i));
      for (int round = 0; round < rounds; ++round) {
        std::vector<std::uint8_t> packet = {1, 0x80, 7, 2, 0, static_cast<std::uint8_t>(round), 0};
        const bool sent = worker.transfer(file, 3, 1000, packet);
        client.calls().sleep(1);
        if (sent && machine.usbBoard(i).targetWord(7) == (round & 0xFF)) ++good;
      }
      worker.close(file);
    });
  }
  for (auto& worker : workers) worker.join();
  EXPECT_EQ(good, threads * rounds);
  EXPECT_EQ(machine.devices().openFiles(), 0U);
  // They sleep side by side.
  EXPECT_EQ(machine.clock().now(), sim::Microseconds{rounds} * 1000);
}

// The attachment for real boards, with a simulated computer beneath: what it passes on arrives there.
TEST(TracedAttachment, WritesDownWhatPasses) {
  const LoadedClient client;
  Host host(client.calls());
  Machine machine;
  machine.addUsbBoard();
  machine.addUsbBoard();
  machine.addPcieBoards(1);
  const Attachment beneath(client.module(), machine);
  sim::Trace trace;
  std::optional<Attachment> traced(std::in_place, client.module(), trace);

  const std::string path = host.path(usbClass, 1);
  const HANDLE file = host.open(path);
  EXPECT_EQ(host.open(path), INVALID_HANDLE_VALUE);
  EXPECT_EQ(host.lastError, DWORD{ERROR_ACCESS_DENIED});
  std::vector<std::uint8_t> packet = {1, 0x80, 7, 2, 0, 5, 0};
  EXPECT_TRUE(host.transfer(file, 3, 1000, packet));
  std::vector<std::uint8_t> answer(7);
  EXPECT_FALSE(host.transfer(file, 4, 500, answer));
  EXPECT_EQ(host.lastError, 121U);
  machine.usbBoard(1).faults().at(1, {sim::Fault::Kind::keepStatus});
  EXPECT_TRUE(host.transfer(file, 3, 1000, packet));
  std::vector<std::uint8_t> descriptor(18);
  std::uint8_t record[10] = {1, 1, 0, 0, 6, 0, 0x00, 0x01, 0, 0};
  EXPECT_TRUE(host.control(file, 0x00222059, record, 10, descriptor));
  EXPECT_TRUE(host.close(file));
  const HANDLE pcie = host.open(host.path(pcieClass, 0));
  EXPECT_FALSE(host.control(pcie, 0x80002008, record, 10, descriptor));
  client.calls().sleep(3);

  EXPECT_EQ(machine.usbBoard(1).targetWord(7), 5);
  EXPECT_EQ(trace.take(),
            (Lines{"usb1 open", "usb1 open -> error 5", "usb1 pipe3 out 1000ms [01 80 07 02 00 05 00]",
                   "usb1 pipe4 in 500ms 0/7 [] -> error 121",
                   "usb1 pipe3 out 1000ms [01 80 07 02 00 05 00] -> status kept", "usb1 descriptor 18/18",
                   "usb1 close", "pcie0 open", "pcie0 request 80002008 0/18 -> error 87", "sleep 3"}));
  traced.reset();
  client.calls().sleep(1);
  EXPECT_TRUE(trace.take().empty());
}

}  // namespace
