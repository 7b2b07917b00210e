#include "sim/record/RecordingPlatform.h"

#include <malloc.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "sim/machine/BoardClass.h"
#include "sim/pcie/Protocol.h"
#include "sim/record/ImageHash.h"
#include "sim/record/LineText.h"
#include "sim/record/PendedRequests.h"
#include "sim/record/RequestBytes.h"
#include "sim/record/ThreadNumbers.h"
#include "sim/usb/Protocol.h"

namespace sim::record {

namespace {

using ByteSpan = std::span<const std::uint8_t>;

Bytes bytesOf(const void* data, std::size_t size) {
  return {static_cast<const std::uint8_t*>(data),
          data != nullptr ? static_cast<std::uint32_t>(std::min<std::size_t>(size, mostPayload)) : 0};
}

Bytes bytesOf(const char* text) { return bytesOf(text, text != nullptr ? strnlen(text, mostText) : 0); }

// A handle that was given out, by its number.
struct Known {
  std::uint32_t number = 0;
  BoardName board;
};

class KnownHandles {
 public:
  std::uint32_t add(const void* handle, BoardName board) {
    const std::lock_guard lock(lock_);
    known_[handle] = {++last_, board};
    return last_;
  }
  std::optional<Known> find(const void* handle) {
    const std::lock_guard lock(lock_);
    const auto found = known_.find(handle);
    return found == known_.end() ? std::nullopt : std::optional(found->second);
  }
  void forget(const void* handle) {
    const std::lock_guard lock(lock_);
    known_.erase(handle);
  }

 private:
  NativeLock lock_;
  std::map<const void*, Known> known_;
  std::uint32_t last_ = 0;
};

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

  HANDLE createFile(const char* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                    DWORD disposition, DWORD flags, HANDLE templateFile) override {
    const std::optional<BoardName> board = boardAt(path);
    if (!board) return inner_->createFile(path, access, share, security, disposition, flags, templateFile);
    Line line = begin(Call::open, *board);
    const HANDLE file = inner_->createFile(path, access, share, security, disposition, flags, templateFile);
    const DWORD error = GetLastError();
    line.text = bytesOf(path);
    line.a = access;
    line.b = flags;
    line.result = file != INVALID_HANDLE_VALUE ? 1 : 0;
    if (line.result != 0) line.handle = files_.add(file, *board);
    return end(line, file, error);
  }

  BOOL closeHandle(HANDLE handle) override {
    const std::optional<Known> file = files_.find(handle);
    if (!file) return inner_->closeHandle(handle);
    Line line = begin(Call::close, file->board);
    line.handle = file->number;
    files_.forget(handle);
    return endOf(line, inner_->closeHandle(handle));
  }

  BOOL deviceIoControl(HANDLE file, DWORD code, void* in, DWORD inLength, void* out, DWORD outLength,
                       DWORD* returned, OVERLAPPED* overlapped) override {
    const std::optional<Known> known = files_.find(file);
    if (!known) {
      return inner_->deviceIoControl(file, code, in, inLength, out, outLength, returned, overlapped);
    }
    if (overlapped != nullptr) pended_.beforeReuse(overlapped, sizeof *overlapped);
    const ControlRequest request{code, in, inLength, out, outLength, overlapped};
    const auto send = [&] {
      return inner_->deviceIoControl(file, code, in, inLength, out, outLength, returned, overlapped);
    };
    return code == usb::Control::pipeTransfer && in != nullptr && inLength == sizeof(usb::Control::PipeRecord)
               ? pipe(*known, request, returned, send)
               : plain(*known, request, returned, send);
  }

  HDEVINFO getClassDevs(const GUID* interfaceClass, const char* enumerator, HWND owner,
                        DWORD flags) override {
    const BoardClass* const boardClass = findBoardClass(interfaceClass);
    const bool isPci =
        interfaceClass == nullptr && enumerator != nullptr && std::strcmp(enumerator, "PCI") == 0;
    if (boardClass == nullptr && !isPci)
      return inner_->getClassDevs(interfaceClass, enumerator, owner, flags);
    Line line = begin(Call::list);
    const HDEVINFO set = inner_->getClassDevs(interfaceClass, enumerator, owner, flags);
    const DWORD error = GetLastError();
    line.text = bytesOf(isPci ? "pci" : boardClass->tracePrefix);
    line.result = set != INVALID_HANDLE_VALUE ? 1 : 0;
    const std::uint32_t type = isPci ? BoardName::none : boardClass->type;
    if (line.result != 0) line.handle = sets_.add(set, {type, 0});
    return end(line, set, error);
  }

  BOOL enumDeviceInterfaces(HDEVINFO set, SP_DEVINFO_DATA* device, const GUID* interfaceClass, DWORD index,
                            SP_DEVICE_INTERFACE_DATA* data) override {
    const std::optional<Known> known = sets_.find(set);
    if (!known) return inner_->enumDeviceInterfaces(set, device, interfaceClass, index, data);
    Line line = begin(Call::interface, {}, known->number);
    line.a = index;
    const BOOL found = inner_->enumDeviceInterfaces(set, device, interfaceClass, index, data);
    if (found != FALSE && data != nullptr) noteInterface(*known, *data, index);
    return endOf(line, found);
  }

  BOOL getDeviceInterfaceDetail(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* data,
                                SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD size, DWORD* requiredSize,
                                SP_DEVINFO_DATA* device) override {
    const std::optional<Known> known = sets_.find(set);
    if (!known || data == nullptr) {
      return inner_->getDeviceInterfaceDetail(set, data, detail, size, requiredSize, device);
    }
    Line line = begin(Call::path, {}, known->number);
    const BoardName board = boardOf(*known, *data);
    line.board = board;
    line.a = board.index;
    line.size = size;
    DWORD needed = 0;
    const BOOL found = inner_->getDeviceInterfaceDetail(
        set, data, detail, size, requiredSize != nullptr ? requiredSize : &needed, device);
    const DWORD error = GetLastError();
    line.moved = requiredSize != nullptr ? *requiredSize : needed;
    if (found != FALSE && detail != nullptr) {
      line.text = bytesOf(&detail->DevicePath[0]);
      notePath(&detail->DevicePath[0], board);
    }
    SetLastError(error);
    return endOf(line, found);
  }

  BOOL destroyDeviceInfoList(HDEVINFO set) override {
    const std::optional<Known> known = sets_.find(set);
    if (!known) return inner_->destroyDeviceInfoList(set);
    Line line = begin(Call::endList, {}, known->number);
    sets_.forget(set);
    return endOf(line, inner_->destroyDeviceInfoList(set));
  }

  // Giving way to other threads is no wait.
  void sleep(DWORD milliseconds) override {
    if (milliseconds == 0) return inner_->sleep(0);
    Line line = begin(Call::sleep);
    line.a = milliseconds;
    inner_->sleep(milliseconds);
    finish(line, 0);
  }

  BOOL enumDeviceInfo(HDEVINFO set, DWORD index, SP_DEVINFO_DATA* data) override {
    const std::optional<Known> known = sets_.find(set);
    if (!known) return inner_->enumDeviceInfo(set, index, data);
    Line line = begin(Call::deviceInfo, {}, known->number);
    line.a = index;
    return endOf(line, inner_->enumDeviceInfo(set, index, data));
  }

  BOOL getDeviceProperty(HDEVINFO set, SP_DEVINFO_DATA* data, DWORD property, DWORD* type, BYTE* buffer,
                         DWORD size, DWORD* requiredSize) override {
    const std::optional<Known> known = sets_.find(set);
    if (!known) return inner_->getDeviceProperty(set, data, property, type, buffer, size, requiredSize);
    Line line = begin(Call::property, {}, known->number);
    line.a = property;
    line.size = size;
    DWORD needed = 0;
    const BOOL got = inner_->getDeviceProperty(set, data, property, type, buffer, size,
                                               requiredSize != nullptr ? requiredSize : &needed);
    line.moved = requiredSize != nullptr ? *requiredSize : needed;
    if (got != FALSE) line.out = bytesOf(buffer, std::min<DWORD>(size, line.moved));
    return endOf(line, got);
  }

  BOOL setClassInstallParams(HDEVINFO set, SP_DEVINFO_DATA* data, SP_CLASSINSTALL_HEADER* header,
                             DWORD size) override {
    const std::optional<Known> known = sets_.find(set);
    if (!known) return inner_->setClassInstallParams(set, data, header, size);
    Line line = begin(Call::parameters, {}, known->number);
    line.in = bytesOf(header, size);
    return endOf(line, inner_->setClassInstallParams(set, data, header, size));
  }

  BOOL callClassInstaller(DI_FUNCTION function, HDEVINFO set, SP_DEVINFO_DATA* data) override {
    const std::optional<Known> known = sets_.find(set);
    if (!known) return inner_->callClassInstaller(function, set, data);
    Line line = begin(Call::install, {}, known->number);
    line.a = function;
    return endOf(line, inner_->callClassInstaller(function, set, data));
  }

  // Whatever is given as the list: programs give other things too.
  BOOL getDeviceInstallParams(HDEVINFO set, SP_DEVINFO_DATA* data,
                              SP_DEVINSTALL_PARAMS_A* parameters) override {
    Line line = begin(Call::installState);
    const BOOL got = inner_->getDeviceInstallParams(set, data, parameters);
    if (got != FALSE && parameters != nullptr) line.out = bytesOf(parameters, sizeof *parameters);
    return endOf(line, got);
  }

  CONFIGRET connectMachine(const char* name, HMACHINE* machine) override {
    Line line = begin(Call::connect);
    return endOf(line, inner_->connectMachine(name, machine));
  }
  CONFIGRET locateDevNode(DEVINST* node, char* identifier, ULONG flags, HMACHINE machine) override {
    Line line = begin(Call::locate);
    const CONFIGRET result = inner_->locateDevNode(node, identifier, flags, machine);
    if (node != nullptr) line.a = *node;
    return endOf(line, result);
  }
  CONFIGRET reenumerateDevNode(DEVINST node, ULONG flags, HMACHINE machine) override {
    Line line = begin(Call::rescan);
    return endOf(line, inner_->reenumerateDevNode(node, flags, machine));
  }
  CONFIGRET disconnectMachine(HMACHINE machine) override {
    Line line = begin(Call::disconnect);
    return endOf(line, inner_->disconnectMachine(machine));
  }

  UINT getWindowsDirectory(char* path, UINT size) override {
    Line line = begin(Call::folder);
    const UINT length = inner_->getWindowsDirectory(path, size);
    if (path != nullptr && length < size) line.text = bytesOf(path, length);
    return endOf(line, length);
  }

  DWORD getFileVersionInfoSize(const char* path, DWORD* unused) override {
    Line line = begin(Call::versionSize);
    line.text = bytesOf(path);
    return endOf(line, inner_->getFileVersionInfoSize(path, unused));
  }

  BOOL getFileVersionInfo(const char* path, DWORD unused, DWORD size, void* block) override {
    Line line = begin(Call::version);
    line.text = bytesOf(path);
    line.size = size;
    return endOf(line, inner_->getFileVersionInfo(path, unused, size, block));
  }

  BOOL verQueryValue(const void* block, const char* name, void** value, UINT* length) override {
    Line line = begin(Call::versionValue);
    line.text = bytesOf(name);
    const BOOL found = inner_->verQueryValue(block, name, value, length);
    if (found != FALSE && value != nullptr && length != nullptr) line.out = bytesOf(*value, *length);
    return endOf(line, found);
  }

  // Whoever waits sees what the driver has completed.
  DWORD waitForSingleObject(HANDLE object, DWORD milliseconds) override {
    if (milliseconds != 0) mark(Call::wait);
    const DWORD waited = inner_->waitForSingleObject(object, milliseconds);
    look();
    return waited;
  }
  DWORD waitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL all, DWORD milliseconds) override {
    if (milliseconds != 0) mark(Call::wait);
    const DWORD waited = inner_->waitForMultipleObjects(count, objects, all, milliseconds);
    look();
    return waited;
  }

  BOOL setEvent(HANDLE event) override {
    look();
    mark(Call::signal);
    return inner_->setEvent(event);
  }

  std::uintptr_t beginThread(void* security, unsigned stack, unsigned(__stdcall* start)(void*),
                             void* argument, unsigned flags, unsigned* identifier) override {
    mark(Call::thread);
    return inner_->beginThread(security, stack, start, argument, flags, identifier);
  }

  HGLOBAL globalFree(HGLOBAL memory) override {
    if (memory != nullptr && pended_.any()) pended_.beforeReuse(memory, GlobalSize(memory));
    return inner_->globalFree(memory);
  }
  void freeMemory(void* block) override {
    if (block != nullptr && pended_.any()) pended_.beforeReuse(block, _msize(block));
    inner_->freeMemory(block);
  }

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
  struct ControlRequest {
    std::uint32_t code;
    void* in;
    std::uint32_t inLength;
    void* out;
    std::uint32_t outLength;
    OVERLAPPED* overlapped;
  };

  Line begin(Call call, BoardName board = {}, std::uint32_t handle = 0) {
    Line line;
    line.call = call;
    line.board = board;
    line.handle = handle;
    line.thread = threads_.current();
    line.n = recorder_->begin();
    line.t = clock_->now();
    return line;
  }

  void finish(Line& line, std::uint32_t error, ByteSpan image = {}) {
    line.d = clock_->now() - line.t;
    line.error = error;
    recorder_->add(line, image);
  }

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

  void mark(Call call) {
    const DWORD error = GetLastError();
    Line line = begin(call);
    finish(line, 0);
    SetLastError(error);
  }

  void look() {
    if (!pended_.any()) return;
    const DWORD error = GetLastError();
    pended_.look();
    SetLastError(error);
  }

  void noteInterface(const Known& list, const SP_DEVICE_INTERFACE_DATA& data, DWORD index) {
    const std::lock_guard lock(lock_);
    listed_[{list.number, data.Reserved}] = index;
  }

  // Interfaces are told apart by the word that Windows keeps in their record.
  BoardName boardOf(const Known& list, const SP_DEVICE_INTERFACE_DATA& data) {
    const std::lock_guard lock(lock_);
    const auto found = listed_.find({list.number, data.Reserved});
    return {list.board.type, found == listed_.end() ? 0U : static_cast<std::uint32_t>(found->second)};
  }

  void notePath(const char* path, BoardName board) {
    const std::lock_guard lock(lock_);
    paths_[path] = board;
  }

  std::optional<BoardName> boardAt(const char* path) {
    if (path == nullptr) return std::nullopt;
    const std::lock_guard lock(lock_);
    const auto found = paths_.find(path);
    return found == paths_.end() ? std::nullopt : std::optional(found->second);
  }

  template <class Send>
  BOOL pipe(const Known& known, const ControlRequest& request, const DWORD* returned, Send send) {
    // The status word may lie anywhere, so the record is read first.
    usb::Control::PipeRecord record{};
    std::memcpy(&record, request.in, sizeof record);
    Line line = begin(Call::request, known.board, known.number);
    line.code = request.code;
    line.a = record.pipe;
    line.b = record.timeout;
    const BOOL accepted = send();
    const DWORD error = GetLastError();
    line.result = accepted != FALSE ? 1 : 0;
    line.moved = returned != nullptr ? *returned : 0;
    ByteSpan image;
    if (usb::Pipe::isOutbound(record.pipe)) {
      line.in = bytesOf(request.out, request.outLength);
    } else {
      line.size = request.outLength;
      image =
          took(line, request.out, std::min(line.moved, request.outLength), record.pipe == usb::Pipe::image);
    }
    if (accepted != FALSE && record.statusAddress != 0) {
      std::uint32_t status = 0;
      std::memcpy(&status, reinterpret_cast<const void*>(static_cast<std::uintptr_t>(record.statusAddress)),
                  sizeof status);
      line.statusKept = status != 0;
    }
    return endRequest(line, accepted, error, image);
  }

  template <class Send>
  BOOL plain(const Known& known, const ControlRequest& request, const DWORD* returned, Send send) {
    Line line = begin(Call::request, known.board, known.number);
    line.code = request.code;
    const ByteSpan in(static_cast<const std::uint8_t*>(request.in),
                      request.in != nullptr ? request.inLength : 0);
    const std::vector<std::uint8_t> before(in.begin(), in.end());
    line.in = bytesOf(before.data(), bytesThatGoIn(request.code, before));
    line.size = request.outLength;
    const BOOL accepted = send();
    const DWORD error = GetLastError();
    line.result = accepted != FALSE ? 1 : 0;
    line.moved = returned != nullptr ? *returned : 0;
    line.pending = accepted == FALSE && error == ERROR_IO_PENDING && request.overlapped != nullptr;
    noteCapture(line);
    if (!line.pending) {
      const ByteSpan image = tookRecord(line, before, request);
      return endRequest(line, accepted, error, image);
    }
    const Line made = line;
    endRequest(line, accepted, error, {});
    pended_.add({made, request.overlapped, static_cast<const std::uint8_t*>(request.out), before});
    SetLastError(error);
    return accepted;
  }

  BOOL endRequest(Line& line, BOOL accepted, DWORD error, ByteSpan image) {
    finish(line, accepted != FALSE || line.pending ? 0 : error, image);
    SetLastError(error);
    return accepted;
  }

  // Bytes that came: in the line, or by their hash.
  ByteSpan took(Line& line, const void* data, std::uint32_t bytes, bool isImage,
                std::uint32_t offset = 0) const {
    if (data == nullptr || bytes == 0) return {};
    if (!isImage && bytes <= mostPayload) {
      line.out = bytesOf(data, bytes);
      return {};
    }
    line.image.bytes = bytes;
    line.image.offset = offset;
    line.image.hash = imageHash(data, bytes);
    return recorder_->keepsFrames() ? ByteSpan(static_cast<const std::uint8_t*>(data), bytes) : ByteSpan();
  }

  // A record that is input and output at once is kept as far as it was changed.
  ByteSpan tookRecord(Line& line, const std::vector<std::uint8_t>& before,
                      const ControlRequest& request) const {
    const ByteSpan after(static_cast<const std::uint8_t*>(request.out),
                         request.out != nullptr ? request.outLength : 0);
    const bool isSame = request.in == request.out;
    return took(line, after.data(),
                isSame ? changedBytes(before, after)
                       : static_cast<std::uint32_t>(std::min<std::size_t>(line.moved, after.size())),
                false);
  }

  void noteCapture(const Line& line) {
    if (line.board.type != 1) return;
    const auto request = static_cast<pcie::Request>(line.code);
    const auto word = [&](std::size_t at) {
      std::uint32_t value = 0;
      if (line.in.size >= (at + 1) * sizeof value)
        std::memcpy(&value, line.in.data + at * sizeof value, sizeof value);
      return value;
    };
    const std::lock_guard lock(lock_);
    if (request == pcie::Request::capture) {
      captures_[line.board.index] = {
          reinterpret_cast<const std::uint8_t*>(std::uintptr_t{word(pcie::Word::captureBuffer)}),
          word(pcie::Word::captureLength), 0};
    } else if (request == pcie::Request::writeRegister &&
               word(pcie::Word::registerAddress) == intervalRegister) {
      frameBytes_[line.board.index] = word(pcie::Word::registerValue);
    }
  }

  void noteCompleted(const PendedRequest& request) {
    Line line = begin(Call::complete, request.line.board, request.line.handle);
    line.thread = request.line.thread;
    line.of = request.line.n;
    line.code = request.line.code;
    line.result = static_cast<std::uint32_t>(request.overlapped->Internal);
    line.moved = static_cast<std::uint32_t>(request.overlapped->InternalHigh);
    const ByteSpan after(request.record, request.before.size());
    line.out = bytesOf(after.data(), changedBytes(request.before, after));
    const ByteSpan image = imageOf(line);
    line.d = clock_->now() - line.t;
    recorder_->add(line, image);
  }

  // A capture ends with its whole buffer; an interval tells of the next frame in it.
  ByteSpan imageOf(Line& line) {
    const std::lock_guard lock(lock_);
    const auto found = captures_.find(line.board.index);
    if (found == captures_.end() || found->second.buffer == nullptr) return {};
    RunningCapture& capture = found->second;
    if (static_cast<pcie::Request>(line.code) == pcie::Request::capture) {
      const ByteSpan image = took(line, capture.buffer, capture.bytes, true);
      captures_.erase(found);
      return image;
    }
    const std::uint32_t bytes = frameBytes_[line.board.index];
    if (static_cast<pcie::Request>(line.code) != pcie::Request::interval || bytes == 0 ||
        bytes > capture.bytes) {
      return {};
    }
    const std::uint32_t offset = capture.frame++ % (capture.bytes / bytes) * bytes;
    return took(line, capture.buffer + offset, bytes, true, offset);
  }

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

}  // namespace

std::shared_ptr<Platform> makeRecordingPlatform(std::shared_ptr<Platform> inner,
                                                std::shared_ptr<Recorder> recorder,
                                                std::shared_ptr<const Clock> clock) {
  return std::make_shared<RecordingPlatform>(std::move(inner), std::move(recorder), std::move(clock));
}

}  // namespace sim::record
