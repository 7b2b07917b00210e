#include "sim/record/ReplayPlatform.h"

#include <malloc.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "sim/bench/Files.h"
#include "sim/machine/BoardClass.h"
#include "sim/pcie/Protocol.h"
#include "sim/record/LineText.h"
#include "sim/record/ReplayedCompletions.h"
#include "sim/record/RequestBytes.h"
#include "sim/usb/Protocol.h"

namespace sim::record {

namespace {

Bytes bytesOf(const void* data, std::size_t size) {
  return {static_cast<const std::uint8_t*>(data),
          data != nullptr ? static_cast<std::uint32_t>(std::min<std::size_t>(size, mostPayload)) : 0};
}

Bytes bytesOf(const char* text) { return bytesOf(text, text != nullptr ? strnlen(text, mostText) : 0); }

// Handles are the recording's numbers, in the ranges that simulated boards use too.
constexpr std::uintptr_t firstSet = 0xFFFF0004;
constexpr std::uintptr_t firstFile = 0xFFFF8004;

HANDLE handleOf(std::uintptr_t first, std::uint32_t number) {
  return reinterpret_cast<HANDLE>(first + std::uintptr_t{4} * handleSlot(number));
}

// 0 for handles of somebody else.
std::uint32_t numberOf(std::uintptr_t first, const void* handle) {
  const std::uintptr_t distance = reinterpret_cast<std::uintptr_t>(handle) - first;
  return distance / 4 <= handleSlots ? static_cast<std::uint32_t>(distance / 4) : 0;
}

constexpr DWORD noAnswer = ERROR_GEN_FAILURE;

class ReplayPlatform : public Platform {
 public:
  explicit ReplayPlatform(std::shared_ptr<Replay> replay)
      : replay_(std::move(replay)),
        frames_(CreateFileW(wideText(replay_->script().path() + ".frames").c_str(), GENERIC_READ,
                            FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                            nullptr)) {}

  ReplayPlatform(const ReplayPlatform&) = delete;
  ReplayPlatform& operator=(const ReplayPlatform&) = delete;

  ~ReplayPlatform() override {
    if (frames_ != INVALID_HANDLE_VALUE) CloseHandle(frames_);
  }

  HANDLE createFile(const char* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                    DWORD disposition, DWORD flags, HANDLE templateFile) override {
    if (!replay_->script().isBoardPath(path)) {
      return Platform::createFile(path, access, share, security, disposition, flags, templateFile);
    }
    Line line = question(Call::open);
    line.text = bytesOf(path);
    line.a = access;
    line.b = flags;
    line.board = replay_->script().boardAt(path);
    HANDLE file = INVALID_HANDLE_VALUE;
    answer(line, [&](const Line& recorded) {
      if (recorded.result == 0) return;
      file = handleOf(firstFile, recorded.handle);
      noteOpened(recorded);
    });
    return file;
  }

  BOOL closeHandle(HANDLE handle) override {
    const std::optional<BoardName> board = boardOf(handle);
    if (!board) return Platform::closeHandle(handle);
    Line line = question(Call::close, numberOf(firstFile, handle));
    line.board = *board;
    const BOOL closed = answer(line);
    const std::lock_guard lock(lock_);
    if (closed != FALSE) files_.erase(line.handle);
    return closed;
  }

  BOOL deviceIoControl(HANDLE file, DWORD code, void* in, DWORD inLength, void* out, DWORD outLength,
                       DWORD* returned, OVERLAPPED* overlapped) override {
    const std::optional<BoardName> board = boardOf(file);
    if (!board)
      return Platform::deviceIoControl(file, code, in, inLength, out, outLength, returned, overlapped);
    if (overlapped != nullptr) completions_.beforeReuse(overlapped, sizeof *overlapped);
    Line line = question(Call::request, numberOf(firstFile, file));
    line.board = *board;
    line.code = code;
    const Buffers buffers{
        in, inLength, static_cast<std::uint8_t*>(out), out != nullptr ? outLength : 0, returned, overlapped};
    return code == usb::Control::pipeTransfer && in != nullptr && inLength == sizeof(usb::Control::PipeRecord)
               ? pipe(line, buffers)
               : plain(line, buffers);
  }

  HDEVINFO getClassDevs(const GUID* interfaceClass, const char* enumerator, HWND owner,
                        DWORD flags) override {
    const BoardClass* const boardClass = findBoardClass(interfaceClass);
    const bool isPci =
        interfaceClass == nullptr && enumerator != nullptr && std::strcmp(enumerator, "PCI") == 0;
    if (boardClass == nullptr && !isPci)
      return Platform::getClassDevs(interfaceClass, enumerator, owner, flags);
    Line line = question(Call::list);
    line.text = bytesOf(isPci ? "pci" : boardClass->tracePrefix);
    HDEVINFO set = INVALID_HANDLE_VALUE;
    answer(line, [&](const Line& recorded) {
      if (recorded.result != 0) set = handleOf(firstSet, recorded.handle);
    });
    return set;
  }

  BOOL enumDeviceInterfaces(HDEVINFO set, SP_DEVINFO_DATA* device, const GUID* interfaceClass, DWORD index,
                            SP_DEVICE_INTERFACE_DATA* data) override {
    const std::uint32_t number = numberOf(firstSet, set);
    if (number == 0) return Platform::enumDeviceInterfaces(set, device, interfaceClass, index, data);
    Line line = question(Call::interface, number);
    line.a = index;
    return answer(line, [&](const Line& recorded) {
      if (recorded.result == 0 || data == nullptr) return;
      if (interfaceClass != nullptr) data->InterfaceClassGuid = *interfaceClass;
      data->Flags = SPINT_ACTIVE;
      data->Reserved = index + 1;
    });
  }

  BOOL getDeviceInterfaceDetail(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* data,
                                SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD size, DWORD* requiredSize,
                                SP_DEVINFO_DATA* device) override {
    const std::uint32_t number = numberOf(firstSet, set);
    if (number == 0 || data == nullptr) {
      return Platform::getDeviceInterfaceDetail(set, data, detail, size, requiredSize, device);
    }
    Line line = question(Call::path, number);
    line.a = static_cast<std::uint32_t>(data->Reserved) - 1;
    line.size = size;
    return answer(line, [&](const Line& recorded) {
      if (requiredSize != nullptr) *requiredSize = recorded.moved;
      constexpr std::size_t pathAt = offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath);
      if (recorded.result == 0 || detail == nullptr || size < pathAt + recorded.text.size + 1) return;
      char* const path = &detail->DevicePath[0];
      std::memcpy(path, recorded.text.data, recorded.text.size);
      path[recorded.text.size] = '\0';
    });
  }

  BOOL destroyDeviceInfoList(HDEVINFO set) override {
    const std::uint32_t number = numberOf(firstSet, set);
    if (number == 0) return Platform::destroyDeviceInfoList(set);
    Line line = question(Call::endList, number);
    return answer(line);
  }

  void sleep(DWORD milliseconds) override {
    if (milliseconds == 0) return Platform::sleep(0);
    Line line = question(Call::sleep);
    line.a = milliseconds;
    answer(line);
  }

  BOOL enumDeviceInfo(HDEVINFO set, DWORD index, SP_DEVINFO_DATA* data) override {
    const std::uint32_t number = numberOf(firstSet, set);
    if (number == 0) return Platform::enumDeviceInfo(set, index, data);
    Line line = question(Call::deviceInfo, number);
    line.a = index;
    return answer(line);
  }

  BOOL getDeviceProperty(HDEVINFO set, SP_DEVINFO_DATA* data, DWORD property, DWORD* type, BYTE* buffer,
                         DWORD size, DWORD* requiredSize) override {
    const std::uint32_t number = numberOf(firstSet, set);
    if (number == 0)
      return Platform::getDeviceProperty(set, data, property, type, buffer, size, requiredSize);
    Line line = question(Call::property, number);
    line.a = property;
    line.size = size;
    return answer(line, [&](const Line& recorded) {
      if (requiredSize != nullptr) *requiredSize = recorded.moved;
      copy(recorded.out, buffer, buffer != nullptr ? size : 0);
    });
  }

  BOOL setClassInstallParams(HDEVINFO set, SP_DEVINFO_DATA* data, SP_CLASSINSTALL_HEADER* header,
                             DWORD size) override {
    const std::uint32_t number = numberOf(firstSet, set);
    if (number == 0) return Platform::setClassInstallParams(set, data, header, size);
    Line line = question(Call::parameters, number);
    line.in = bytesOf(header, size);
    return answer(line);
  }

  BOOL callClassInstaller(DI_FUNCTION function, HDEVINFO set, SP_DEVINFO_DATA* data) override {
    const std::uint32_t number = numberOf(firstSet, set);
    if (number == 0) return Platform::callClassInstaller(function, set, data);
    Line line = question(Call::install, number);
    line.a = function;
    return answer(line);
  }

  BOOL getDeviceInstallParams(HDEVINFO, SP_DEVINFO_DATA*, SP_DEVINSTALL_PARAMS_A* parameters) override {
    Line line = question(Call::installState);
    return answer(line, [&](const Line& recorded) {
      copy(recorded.out, parameters, parameters != nullptr ? sizeof *parameters : 0);
    });
  }

  CONFIGRET connectMachine(const char*, HMACHINE* machine) override {
    if (machine != nullptr) *machine = reinterpret_cast<HMACHINE>(firstSet);
    return configured(Call::connect);
  }
  CONFIGRET locateDevNode(DEVINST* node, char*, ULONG, HMACHINE) override {
    return configured(Call::locate, node);
  }
  CONFIGRET reenumerateDevNode(DEVINST, ULONG, HMACHINE) override { return configured(Call::rescan); }
  CONFIGRET disconnectMachine(HMACHINE) override { return configured(Call::disconnect); }

  UINT getWindowsDirectory(char* path, UINT size) override {
    Line line = question(Call::folder);
    UINT length = 0;
    answer(line, [&](const Line& recorded) {
      length = recorded.result;
      if (path == nullptr || recorded.text.size >= size) return;
      std::memcpy(path, recorded.text.data, recorded.text.size);
      path[recorded.text.size] = '\0';
    });
    return length;
  }

  DWORD getFileVersionInfoSize(const char* path, DWORD* unused) override {
    if (unused != nullptr) *unused = 0;
    Line line = question(Call::versionSize);
    line.text = bytesOf(path);
    return static_cast<DWORD>(answer(line));
  }

  BOOL getFileVersionInfo(const char* path, DWORD, DWORD size, void*) override {
    Line line = question(Call::version);
    line.text = bytesOf(path);
    line.size = size;
    return answer(line);
  }

  // What is found stays as long as the platform: programs keep pointers to it.
  BOOL verQueryValue(const void*, const char* name, void** value, UINT* length) override {
    Line line = question(Call::versionValue);
    line.text = bytesOf(name);
    return answer(line, [&](const Line& recorded) {
      if (recorded.result == 0 || value == nullptr || length == nullptr) return;
      const std::lock_guard lock(lock_);
      values_.push_back(std::vector<std::uint8_t>(recorded.out.data, recorded.out.data + recorded.out.size));
      *length = recorded.out.size;
      values_.back().push_back(0);
      *value = values_.back().data();
    });
  }

  BOOL setEvent(HANDLE event) override {
    const Step* const step = replay_->beginMark(Call::signal);
    const BOOL set = Platform::setEvent(event);
    const DWORD error = GetLastError();
    replay_->endMark(step);
    SetLastError(error);
    return set;
  }

  // Whoever sets something aside for another thread, and then waits for it, has done so by now.
  DWORD waitForSingleObject(HANDLE object, DWORD milliseconds) override {
    if (milliseconds != 0) mark(Call::wait);
    return Platform::waitForSingleObject(object, milliseconds);
  }
  DWORD waitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL all, DWORD milliseconds) override {
    if (milliseconds != 0) mark(Call::wait);
    return Platform::waitForMultipleObjects(count, objects, all, milliseconds);
  }

  std::uintptr_t beginThread(void* security, unsigned stack, unsigned(__stdcall* start)(void*),
                             void* argument, unsigned flags, unsigned* identifier) override {
    mark(Call::thread);
    return Platform::beginThread(security, stack, start, argument, flags, identifier);
  }

  HGLOBAL globalFree(HGLOBAL memory) override {
    if (memory != nullptr) completions_.beforeReuse(memory, GlobalSize(memory));
    return Platform::globalFree(memory);
  }
  void freeMemory(void* block) override {
    if (block != nullptr) completions_.beforeReuse(block, _msize(block));
    Platform::freeMemory(block);
  }

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

  void mark(Call call) { replay_->endMark(replay_->beginMark(call)); }

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

  BOOL answer(Line& asked) {
    return answer(asked, [](const Line&) {});
  }

  CONFIGRET configured(Call call, DEVINST* node = nullptr) {
    Line line = question(call);
    CONFIGRET result = CR_FAILURE;
    answer(line, [&](const Line& recorded) {
      if (node != nullptr) *node = recorded.a;
      result = recorded.result;
    });
    return result;
  }

  BOOL pipe(Line& line, const Buffers& buffers) {
    usb::Control::PipeRecord record{};
    std::memcpy(&record, buffers.in, sizeof record);
    line.a = record.pipe;
    line.b = record.timeout;
    if (usb::Pipe::isOutbound(record.pipe)) {
      line.in = bytesOf(buffers.out, buffers.outLength);
    } else {
      line.size = buffers.outLength;
    }
    return answer(line, [&](const Line& recorded) {
      if (recorded.image.bytes != 0)
        fillImage(recorded, buffers.out, std::min(recorded.image.bytes, buffers.outLength));
      copy(recorded.out, buffers.out, buffers.outLength);
      if (buffers.returned != nullptr) *buffers.returned = recorded.moved;
      if (recorded.result == 0 || recorded.statusKept || record.statusAddress == 0) return;
      constexpr std::uint32_t success = 0;
      std::memcpy(reinterpret_cast<void*>(static_cast<std::uintptr_t>(record.statusAddress)), &success,
                  sizeof success);
    });
  }

  BOOL plain(Line& line, const Buffers& buffers) {
    const auto* const in = static_cast<const std::uint8_t*>(buffers.in);
    line.in = bytesOf(in, bytesThatGoIn(line.code, {in, in != nullptr ? buffers.inLength : 0}));
    line.size = buffers.outLength;
    noteCapture(line);
    // The answer may overwrite what went in.
    const std::vector<std::uint8_t> asked(line.in.data, line.in.data + line.in.size);
    line.in.data = asked.data();
    BOOL accepted = FALSE;
    DWORD error = 0;
    const std::unique_ptr<Reply> reply = replay_->take(line);
    if (reply == nullptr) {
      SetLastError(noAnswer);
      return FALSE;
    }
    const Line& recorded = reply->line;
    accepted = recorded.result != 0 ? TRUE : FALSE;
    error = recorded.pending ? DWORD{ERROR_IO_PENDING} : recorded.error;
    copy(recorded.out, buffers.out, buffers.outLength);
    if (buffers.returned != nullptr) *buffers.returned = recorded.moved;
    if (buffers.overlapped != nullptr) {
      if (recorded.pending) pend(*reply, buffers);
      if (accepted != FALSE) completeAtOnce(recorded, *buffers.overlapped);
    }
    replay_->finish(*reply);
    SetLastError(error);
    return accepted;
  }

  void pend(const Reply& reply, const Buffers& buffers) {
    const Step& step = replay_->script().steps()[reply.step];
    OpenRequest request;
    request.overlapped = buffers.overlapped;
    request.record = buffers.out;
    request.bytes = buffers.outLength;
    if (step.completion == 0 ||
        reply.isRepeated) {  // it was never completed, or one that is there no more was
      buffers.overlapped->Internal = static_cast<ULONG_PTR>(STATUS_PENDING);
      return;
    }
    request.step = step.completion - 1;
    const Step& completion = replay_->script().steps()[request.step];
    request.due = reply.asked + (completion.t - std::min(completion.t, step.t));
    {
      const std::lock_guard lock(lock_);
      const RunningCapture& capture = captures_[reply.line.board.index];
      request.buffer = capture.buffer;
      request.bufferBytes = capture.bytes;
    }
    completions_.add(request);
  }

  static void completeAtOnce(const Line& recorded, OVERLAPPED& overlapped) {
    overlapped.Internal = 0;
    overlapped.InternalHigh = recorded.moved;
    if (overlapped.hEvent != nullptr) SetEvent(overlapped.hEvent);
  }

  void noteCapture(const Line& line) {
    if (line.code != static_cast<std::uint32_t>(pcie::Request::capture)) return;
    std::uint32_t words[3] = {};
    std::memcpy(words, line.in.data, std::min<std::size_t>(sizeof words, line.in.size));
    const std::lock_guard lock(lock_);
    captures_[line.board.index] = {
        reinterpret_cast<std::uint8_t*>(std::uintptr_t{words[pcie::Word::captureBuffer]}),
        words[pcie::Word::captureLength]};
  }

  void fillImage(const Line& line, std::uint8_t* to, std::uint32_t bytes) {
    if (to == nullptr) return;
    if (!line.image.isKept || frames_ == INVALID_HANDLE_VALUE) {
      std::memset(to, 0, bytes);
      return;
    }
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(line.image.at);
    place.OffsetHigh = static_cast<DWORD>(line.image.at >> 32);
    DWORD read = 0;
    ReadFile(frames_, to, bytes, &read, &place);
    if (read < bytes) std::memset(to + read, 0, bytes - read);
  }

  std::optional<BoardName> boardOf(const void* handle) {
    const std::uint32_t number = numberOf(firstFile, handle);
    if (number == 0) return std::nullopt;
    const std::lock_guard lock(lock_);
    const auto found = files_.find(number);
    return found == files_.end() ? std::nullopt : std::optional(found->second);
  }

  void noteOpened(const Line& recorded) {
    const std::lock_guard lock(lock_);
    files_[handleSlot(recorded.handle)] = recorded.board;
  }

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

}  // namespace

std::shared_ptr<Platform> makeReplayPlatform(std::shared_ptr<Replay> replay) {
  return std::make_shared<ReplayPlatform>(std::move(replay));
}

}  // namespace sim::record
