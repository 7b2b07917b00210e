// Answers calls as a recording says.
#pragma once

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "sim/base/NativeLock.h"
#include "sim/record/format/CallBytes.h"
#include "sim/record/replay/ReplayPlatform.h"
#include "sim/record/replay/ReplayedCompletions.h"

namespace sim::record {

// Handles are the recording's numbers, in the ranges that simulated boards use too.
constexpr std::uintptr_t firstSet = 0xFFFF0004;
constexpr std::uintptr_t firstFile = 0xFFFF8004;

inline HANDLE handleOf(std::uintptr_t first, std::uint32_t number) {
  return reinterpret_cast<HANDLE>(first + std::uintptr_t{4} * handleSlot(number));
}

// 0 for handles of somebody else.
inline std::uint32_t numberOf(std::uintptr_t first, const void* handle) {
  const std::uintptr_t distance = reinterpret_cast<std::uintptr_t>(handle) - first;
  return distance / 4 <= handleSlots ? static_cast<std::uint32_t>(distance / 4) : 0;
}

constexpr DWORD noAnswer = ERROR_GEN_FAILURE;

class ReplayPlatform : public Platform {
 public:
  explicit ReplayPlatform(std::shared_ptr<Replay> replay);
  ReplayPlatform(const ReplayPlatform&) = delete;
  ReplayPlatform& operator=(const ReplayPlatform&) = delete;
  ~ReplayPlatform() override;

  // ReplayedRequests.cpp: boards that are opened, and what is asked of them.
  HANDLE createFile(const char* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                    DWORD disposition, DWORD flags, HANDLE templateFile) override;
  BOOL closeHandle(HANDLE handle) override;
  BOOL deviceIoControl(HANDLE file, DWORD code, void* in, DWORD inLength, void* out, DWORD outLength,
                       DWORD* returned, OVERLAPPED* overlapped) override;

  // ReplayedDevices.cpp: lists of boards, and the restart of PCI functions.
  HDEVINFO getClassDevs(const GUID* interfaceClass, const char* enumerator, HWND owner, DWORD flags) override;
  BOOL enumDeviceInterfaces(HDEVINFO set, SP_DEVINFO_DATA* device, const GUID* interfaceClass, DWORD index,
                            SP_DEVICE_INTERFACE_DATA* data) override;
  BOOL getDeviceInterfaceDetail(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* data,
                                SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD size, DWORD* requiredSize,
                                SP_DEVINFO_DATA* device) override;
  BOOL destroyDeviceInfoList(HDEVINFO set) override;
  BOOL enumDeviceInfo(HDEVINFO set, DWORD index, SP_DEVINFO_DATA* data) override;
  BOOL getDeviceProperty(HDEVINFO set, SP_DEVINFO_DATA* data, DWORD property, DWORD* type, BYTE* buffer,
                         DWORD size, DWORD* requiredSize) override;
  BOOL setClassInstallParams(HDEVINFO set, SP_DEVINFO_DATA* data, SP_CLASSINSTALL_HEADER* header,
                             DWORD size) override;
  BOOL callClassInstaller(DI_FUNCTION function, HDEVINFO set, SP_DEVINFO_DATA* data) override;
  BOOL getDeviceInstallParams(HDEVINFO, SP_DEVINFO_DATA*, SP_DEVINSTALL_PARAMS_A* parameters) override;
  CONFIGRET connectMachine(const char*, HMACHINE* machine) override;
  CONFIGRET locateDevNode(DEVINST* node, char*, ULONG, HMACHINE) override;
  CONFIGRET reenumerateDevNode(DEVINST, ULONG, HMACHINE) override;
  CONFIGRET disconnectMachine(HMACHINE) override;

  // ReplayPlatform.cpp: versions, threads, memory.
  void sleep(DWORD milliseconds) override;
  UINT getWindowsDirectory(char* path, UINT size) override;
  DWORD getFileVersionInfoSize(const char* path, DWORD* unused) override;
  BOOL getFileVersionInfo(const char* path, DWORD, DWORD size, void*) override;
  // What is found stays as long as the platform: programs keep pointers to it.
  BOOL verQueryValue(const void*, const char* name, void** value, UINT* length) override;
  BOOL setEvent(HANDLE event) override;
  // Whoever sets something aside for another thread, and then waits for it, has done so by now.
  DWORD waitForSingleObject(HANDLE object, DWORD milliseconds) override;
  DWORD waitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL all, DWORD milliseconds) override;
  std::uintptr_t beginThread(void* security, unsigned stack, unsigned(__stdcall* start)(void*),
                             void* argument, unsigned flags, unsigned* identifier) override;
  HGLOBAL globalFree(HGLOBAL memory) override;
  void freeMemory(void* block) override;

 private:
  struct Buffers {
    void* in;
    std::uint32_t inLength;
    std::uint8_t* out;
    std::uint32_t outLength;
    DWORD* returned;
    OVERLAPPED* overlapped;
  };
  struct RunningCapture {
    std::uint8_t* buffer = nullptr;
    std::uint32_t bytes = 0;
  };

  void mark(Call call);

  static Line question(Call call, std::uint32_t handle = 0) {
    Line line;
    line.call = call;
    line.handle = handle;
    return line;
  }

  static void copy(const Bytes& from, void* to, std::size_t room) {
    const std::size_t count = std::min<std::size_t>(from.size, room);
    if (count != 0) std::memcpy(to, from.data, count);
  }

  // Gives the recorded result and last error; `fill` takes what came out. A success of other calls than
  // requests leaves the last error alone.
  template <class Fill>
  BOOL answer(Line& asked, Fill fill) {
    const DWORD before = GetLastError();
    const std::unique_ptr<Reply> reply = replay_->take(asked);
    if (reply == nullptr) {
      SetLastError(noAnswer);
      return FALSE;
    }
    const Line& recorded = reply->line;
    fill(recorded);
    replay_->finish(*reply);
    const bool isRequest = asked.call == Call::request;
    SetLastError(recorded.pending                   ? DWORD{ERROR_IO_PENDING}
                 : recorded.error != 0 || isRequest ? recorded.error
                                                    : before);
    return static_cast<BOOL>(recorded.result);
  }

  BOOL answer(Line& asked);
  CONFIGRET configured(Call call, DEVINST* node = nullptr);
  BOOL pipe(Line& line, const Buffers& buffers);
  BOOL plain(Line& line, const Buffers& buffers);
  void pend(const Reply& reply, const Buffers& buffers);
  static void completeAtOnce(const Line& recorded, OVERLAPPED& overlapped);
  void noteCapture(const Line& line);
  static void clear(std::uint8_t* to, std::uint32_t bytes);
  void fillImage(const Line& line, std::uint8_t* to, std::uint32_t bytes);
  std::optional<BoardName> boardOf(const void* handle);
  void noteOpened(const Line& recorded);

  const std::shared_ptr<Replay> replay_;
  const HANDLE frames_;
  NativeLock lock_;  // of what follows
  std::map<std::uint32_t, BoardName> files_;
  std::map<std::uint32_t, RunningCapture> captures_;
  std::vector<std::vector<std::uint8_t>> values_;
  ReplayedCompletions completions_{*replay_, [this](const Line& line, std::uint8_t* to, std::uint32_t bytes) {
                                     fillImage(line, to, bytes);
                                   }};
};

}  // namespace sim::record
