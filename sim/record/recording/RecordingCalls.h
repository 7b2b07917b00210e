// Hands calls on to a platform, and records them.
#pragma once

#include <windows.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "sim/base/NativeLock.h"
#include "sim/record/format/CallBytes.h"
#include "sim/record/format/ThreadNumbers.h"
#include "sim/record/recording/KnownHandles.h"
#include "sim/record/recording/PendedRequests.h"
#include "sim/record/recording/RecordingPlatform.h"

namespace sim::record {

// Where the frames of a running capture go, for the moments at which the driver tells of one.
struct RunningCapture {
  const std::uint8_t* buffer = nullptr;
  std::uint32_t bytes = 0;
  std::uint32_t frame = 0;  // which one is next
};

class RecordingPlatform : public Platform {
 public:
  RecordingPlatform(std::shared_ptr<Platform> inner, std::shared_ptr<Recorder> recorder,
                    std::shared_ptr<const Clock> clock)
      : inner_(std::move(inner)), recorder_(std::move(recorder)), clock_(std::move(clock)) {}

  // RecordedRequests.cpp: boards that are opened, and what is asked of them.
  HANDLE createFile(const char* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                    DWORD disposition, DWORD flags, HANDLE templateFile) override;
  BOOL closeHandle(HANDLE handle) override;
  BOOL deviceIoControl(HANDLE file, DWORD code, void* in, DWORD inLength, void* out, DWORD outLength,
                       DWORD* returned, OVERLAPPED* overlapped) override;

  // RecordedDevices.cpp: lists of boards, and the restart of PCI functions.
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
  // Whatever is given as the list: programs give other things too.
  BOOL getDeviceInstallParams(HDEVINFO set, SP_DEVINFO_DATA* data,
                              SP_DEVINSTALL_PARAMS_A* parameters) override;
  CONFIGRET connectMachine(const char* name, HMACHINE* machine) override;
  CONFIGRET locateDevNode(DEVINST* node, char* identifier, ULONG flags, HMACHINE machine) override;
  CONFIGRET reenumerateDevNode(DEVINST node, ULONG flags, HMACHINE machine) override;
  CONFIGRET disconnectMachine(HMACHINE machine) override;

  // RecordingPlatform.cpp: versions, threads, memory.
  // Giving way to other threads is no wait.
  void sleep(DWORD milliseconds) override;
  UINT getWindowsDirectory(char* path, UINT size) override;
  DWORD getFileVersionInfoSize(const char* path, DWORD* unused) override;
  BOOL getFileVersionInfo(const char* path, DWORD unused, DWORD size, void* block) override;
  BOOL verQueryValue(const void* block, const char* name, void** value, UINT* length) override;
  // Whoever waits sees what the driver has completed.
  DWORD waitForSingleObject(HANDLE object, DWORD milliseconds) override;
  DWORD waitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL all, DWORD milliseconds) override;
  BOOL setEvent(HANDLE event) override;
  std::uintptr_t beginThread(void* security, unsigned stack, unsigned(__stdcall* start)(void*),
                             void* argument, unsigned flags, unsigned* identifier) override;
  HGLOBAL globalFree(HGLOBAL memory) override;
  void freeMemory(void* block) override;

  BOOL releaseMutex(HANDLE mutex) override { return inner_->releaseMutex(mutex); }
  HANDLE createEvent(SECURITY_ATTRIBUTES* security, BOOL manual, BOOL set, const char* name) override {
    return inner_->createEvent(security, manual, set, name);
  }
  HGLOBAL globalAlloc(UINT flags, SIZE_T bytes) override { return inner_->globalAlloc(flags, bytes); }
  void* allocateMemory(std::size_t bytes) override { return inner_->allocateMemory(bytes); }
  BOOL writeFile(HANDLE file, const void* bytes, DWORD count, DWORD* written,
                 OVERLAPPED* overlapped) override {
    return inner_->writeFile(file, bytes, count, written, overlapped);
  }

 private:
  using ByteSpan = std::span<const std::uint8_t>;
  struct ControlRequest {
    std::uint32_t code;
    void* in;
    std::uint32_t inLength;
    void* out;
    std::uint32_t outLength;
    OVERLAPPED* overlapped;
  };

  Line begin(Call call, BoardName board = {}, std::uint32_t handle = 0);
  void finish(Line& line, std::uint32_t error, ByteSpan image = {});

  template <class Result>
  Result end(Line& line, Result result, DWORD error) {
    finish(line, line.result == 0 ? error : 0);
    SetLastError(error);
    return result;
  }

  template <class Result>
  Result endOf(Line& line, Result result) {
    line.result = static_cast<std::uint32_t>(result);
    return end(line, result, GetLastError());
  }

  void mark(Call call);
  void look();
  void noteInterface(const Known& list, const SP_DEVICE_INTERFACE_DATA& data, DWORD index);
  // Interfaces are told apart by the word that Windows keeps in their record.
  BoardName boardOf(const Known& list, const SP_DEVICE_INTERFACE_DATA& data);
  void notePath(const char* path, BoardName board);
  std::optional<BoardName> boardAt(const char* path);

  template <class Send>
  BOOL pipe(const Known& known, const ControlRequest& request, const DWORD* returned, Send send);
  template <class Send>
  BOOL plain(const Known& known, const ControlRequest& request, const DWORD* returned, Send send);
  BOOL endRequest(Line& line, BOOL accepted, DWORD error, ByteSpan image);
  // Bytes that came: in the line, or by their hash.
  ByteSpan took(Line& line, const void* data, std::uint32_t bytes, bool isImage,
                std::uint32_t offset = 0) const;
  // A record that is input and output at once is kept as far as it was changed.
  ByteSpan tookRecord(Line& line, const std::vector<std::uint8_t>& before,
                      const ControlRequest& request) const;
  void noteCapture(const Line& line);
  void noteCompleted(const PendedRequest& request);
  // A capture ends with its whole buffer; an interval tells of the next frame in it.
  ByteSpan imageOf(Line& line);

  static constexpr std::uint32_t intervalRegister = 0x40;
  const std::shared_ptr<Platform> inner_;
  const std::shared_ptr<Recorder> recorder_;
  const std::shared_ptr<const Clock> clock_;
  ThreadNumbers threads_;
  KnownHandles files_;
  KnownHandles sets_;

  NativeLock lock_;  // of what follows
  std::map<std::pair<std::uint32_t, ULONG_PTR>, DWORD> listed_;
  std::map<std::string, BoardName> paths_;
  std::map<std::uint32_t, RunningCapture> captures_;
  std::map<std::uint32_t, std::uint32_t> frameBytes_;

  PendedRequests pended_{[this](const PendedRequest& request) { noteCompleted(request); }};
};

}  // namespace sim::record
