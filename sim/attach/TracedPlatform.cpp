// The real computer, with the requests to its boards written down.
#include <cstdio>
#include <cstring>
#include <vector>

#include "sim/attach/Platforms.h"
#include "sim/base/Trace.h"
#include "sim/machine/BoardClass.h"
#include "sim/pcie/RequestText.h"
#include "sim/usb/Protocol.h"
#include "sim/usb/RequestText.h"

namespace sim {

namespace {

class TracedPlatform : public Platform {
 public:
  explicit TracedPlatform(Trace& trace) : trace_(trace) {}

  HANDLE createFile(const char* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                    DWORD disposition, DWORD flags, HANDLE templateFile) override {
    HANDLE file = originals().createFile(path, access, share, security, disposition, flags, templateFile);
    const DWORD error = GetLastError();
    if (path != nullptr) noteOpened(path, file, error);
    SetLastError(error);
    return file;
  }

  BOOL closeHandle(HANDLE handle) override {
    const std::string name = forget(handle);
    const BOOL closed = originals().closeHandle(handle);
    const DWORD error = GetLastError();
    if (!name.empty()) trace_.add(name + " close" + outcome(closed != FALSE ? 0 : error, true));
    SetLastError(error);
    return closed;
  }

  BOOL deviceIoControl(HANDLE file, DWORD code, void* in, DWORD inLength, void* out, DWORD outLength,
                       DWORD* returned, OVERLAPPED* overlapped) override {
    const std::string name = nameOf(file);
    if (name.empty()) {
      return originals().deviceIoControl(file, code, in, inLength, out, outLength, returned, overlapped);
    }
    // The request may overwrite its own record: the status word can be anywhere.
    usb::Control::PipeRecord record{};
    const bool isPipe = code == usb::Control::pipeTransfer && in != nullptr && inLength == sizeof record;
    if (isPipe) std::memcpy(&record, in, sizeof record);
    const std::string pcieLine = pcieText(name, code, in, inLength, outLength);
    const BOOL accepted =
        originals().deviceIoControl(file, code, in, inLength, out, outLength, returned, overlapped);
    const DWORD error = GetLastError();
    const Outcome outcome{accepted != FALSE ? 0 : error, returned != nullptr ? *returned : 0};
    if (isPipe) {
      notePipe(name, record, {static_cast<const std::uint8_t*>(out), out != nullptr ? outLength : 0},
               outcome);
    } else if (!pcieLine.empty()) {
      notePcie(pcieLine, code, out, outcome);
    } else {
      noteControl(name, code, outLength, outcome);
    }
    SetLastError(error);
    return accepted;
  }

  HDEVINFO getClassDevs(const GUID* interfaceClass, const char* enumerator, HWND owner,
                        DWORD flags) override {
    return originals().getClassDevs(interfaceClass, enumerator, owner, flags);
  }

  BOOL enumDeviceInterfaces(HDEVINFO set, SP_DEVINFO_DATA* device, const GUID* interfaceClass, DWORD index,
                            SP_DEVICE_INTERFACE_DATA* data) override {
    const BOOL found = originals().enumDeviceInterfaces(set, device, interfaceClass, index, data);
    const DWORD error = GetLastError();
    if (found != FALSE) noteListed(*data, index);
    SetLastError(error);
    return found;
  }

  BOOL getDeviceInterfaceDetail(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* data,
                                SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD size, DWORD* requiredSize,
                                SP_DEVINFO_DATA* device) override {
    const BOOL found = originals().getDeviceInterfaceDetail(set, data, detail, size, requiredSize, device);
    const DWORD error = GetLastError();
    if (found != FALSE && data != nullptr && detail != nullptr) notePath(*data, detail->DevicePath);
    SetLastError(error);
    return found;
  }

  BOOL destroyDeviceInfoList(HDEVINFO set) override { return originals().destroyDeviceInfoList(set); }

  void sleep(DWORD milliseconds) override {
    trace_.add("sleep " + std::to_string(milliseconds));
    originals().sleep(milliseconds);
  }

 private:
  struct Outcome {
    std::uint32_t error;
    std::uint32_t bytes;
  };

  // Interfaces are distinguished by the word that Windows keeps in their record.
  void noteListed(const SP_DEVICE_INTERFACE_DATA& data, DWORD index) {
    const BoardClass* boardClass = findBoardClass(&data.InterfaceClassGuid);
    if (boardClass == nullptr) return;
    const std::lock_guard lock(mutex_);
    listed_[data.Reserved] = boardClass->tracePrefix + std::to_string(index);
  }

  void notePath(const SP_DEVICE_INTERFACE_DATA& data, const char* path) {
    const std::lock_guard lock(mutex_);
    const auto found = listed_.find(data.Reserved);
    if (found != listed_.end() && findBoardClass(&data.InterfaceClassGuid) != nullptr) {
      names_[path] = found->second;
    }
  }

  void noteOpened(const char* path, HANDLE file, DWORD error) {
    const std::lock_guard lock(mutex_);
    const auto found = names_.find(path);
    if (found == names_.end()) return;
    const bool opened = file != INVALID_HANDLE_VALUE;
    if (opened) files_[file] = found->second;
    trace_.add(found->second + " open" + outcome(opened ? 0 : error, true));
  }

  std::string nameOf(HANDLE file) {
    const std::lock_guard lock(mutex_);
    const auto found = files_.find(file);
    return found == files_.end() ? std::string() : found->second;
  }

  std::string forget(HANDLE file) {
    const std::lock_guard lock(mutex_);
    const auto found = files_.extract(file);
    return found ? found.mapped() : std::string();
  }

  void notePipe(const std::string& name, const usb::Control::PipeRecord& record,
                std::span<const std::uint8_t> data, const Outcome& outcome) {
    std::uint32_t status = 0;
    if (outcome.error == 0 && record.statusAddress != 0) {
      std::memcpy(&status, reinterpret_cast<const void*>(static_cast<std::uintptr_t>(record.statusAddress)),
                  sizeof status);
    }
    trace_.add(usb::requestText(
        name, {record.pipe, record.timeout, data, outcome.bytes, outcome.error, status == 0}));
  }

  // Empty when it is no request to a PCIe board with a record of the right length.
  static std::string pcieText(const std::string& name, DWORD code, const void* in, DWORD inLength,
                              DWORD outLength) {
    const pcie::Shape* const shape = pcie::findShape(code);
    const bool isRecord = shape != nullptr && in != nullptr && inLength == outLength &&
                          inLength == shape->words * sizeof(std::uint32_t);
    return isRecord ? pcie::requestText(name, *shape, recordAt(*shape, in)) : std::string();
  }

  static std::vector<std::uint32_t> recordAt(const pcie::Shape& shape, const void* memory) {
    std::vector<std::uint32_t> words(shape.words);
    std::memcpy(words.data(), memory, words.size() * sizeof words[0]);
    return words;
  }

  // What becomes of a request that stays pending is not seen here.
  void notePcie(const std::string& line, DWORD code, const void* out, const Outcome& outcome) {
    if (outcome.error == ERROR_IO_PENDING) return trace_.add(line + " pending");
    if (outcome.error != 0 || out == nullptr) return trace_.add(line + sim::outcome(outcome.error, true));
    const pcie::Shape& shape = *pcie::findShape(code);
    trace_.add(line + " -> " + pcie::answerText(shape, recordAt(shape, out)));
  }

  void noteControl(const std::string& name, DWORD code, DWORD asked, const Outcome& outcome) {
    char request[40] = "descriptor";
    if (code != usb::Control::deviceDescriptor) {
      std::snprintf(request, sizeof request, "request %08lx", static_cast<unsigned long>(code));
    }
    trace_.add(name + " " + request + " " + std::to_string(outcome.bytes) + "/" + std::to_string(asked) +
               sim::outcome(outcome.error, true));
  }

  Trace& trace_;
  std::mutex mutex_;
  std::map<ULONG_PTR, std::string> listed_;
  std::map<std::string, std::string> names_;  // by device path
  std::map<HANDLE, std::string> files_;
};

}  // namespace

std::shared_ptr<Platform> makeTracedPlatform(Trace& trace) { return std::make_shared<TracedPlatform>(trace); }

}  // namespace sim
