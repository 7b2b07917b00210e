#include "sim/record/replay/ReplayPlatform.h"

#include <malloc.h>

#include <cstring>
#include <mutex>
#include <utility>

#include "sim/bench/Files.h"
#include "sim/record/replay/ReplayCalls.h"

namespace sim::record {

ReplayPlatform::ReplayPlatform(std::shared_ptr<Replay> replay)
    : replay_(std::move(replay)),
      frames_(CreateFileW(wideText(replay_->script().path() + ".frames").c_str(), GENERIC_READ,
                          FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                          nullptr)) {}

ReplayPlatform::~ReplayPlatform() {
  if (frames_ != INVALID_HANDLE_VALUE) CloseHandle(frames_);
}

void ReplayPlatform::sleep(DWORD milliseconds) {
  if (milliseconds == 0) return Platform::sleep(0);
  Line line = question(Call::sleep);
  line.a = milliseconds;
  answer(line);
}

UINT ReplayPlatform::getWindowsDirectory(char* path, UINT size) {
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

DWORD ReplayPlatform::getFileVersionInfoSize(const char* path, DWORD* unused) {
  if (unused != nullptr) *unused = 0;
  Line line = question(Call::versionSize);
  line.text = bytesOf(path);
  return static_cast<DWORD>(answer(line));
}

BOOL ReplayPlatform::getFileVersionInfo(const char* path, DWORD, DWORD size, void*) {
  Line line = question(Call::version);
  line.text = bytesOf(path);
  line.size = size;
  return answer(line);
}

BOOL ReplayPlatform::verQueryValue(const void*, const char* name, void** value, UINT* length) {
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

BOOL ReplayPlatform::setEvent(HANDLE event) {
  const Step* const step = replay_->beginMark(Call::signal);
  const BOOL set = Platform::setEvent(event);
  const DWORD error = GetLastError();
  replay_->endMark(step);
  SetLastError(error);
  return set;
}

DWORD ReplayPlatform::waitForSingleObject(HANDLE object, DWORD milliseconds) {
  if (milliseconds != 0) mark(Call::wait);
  return Platform::waitForSingleObject(object, milliseconds);
}

DWORD ReplayPlatform::waitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL all,
                                             DWORD milliseconds) {
  if (milliseconds != 0) mark(Call::wait);
  return Platform::waitForMultipleObjects(count, objects, all, milliseconds);
}

std::uintptr_t ReplayPlatform::beginThread(void* security, unsigned stack, unsigned(__stdcall* start)(void*),
                                           void* argument, unsigned flags, unsigned* identifier) {
  mark(Call::thread);
  return Platform::beginThread(security, stack, start, argument, flags, identifier);
}

HGLOBAL ReplayPlatform::globalFree(HGLOBAL memory) {
  if (memory != nullptr) completions_.beforeReuse(memory, GlobalSize(memory));
  return Platform::globalFree(memory);
}

void ReplayPlatform::freeMemory(void* block) {
  if (block != nullptr) completions_.beforeReuse(block, _msize(block));
  Platform::freeMemory(block);
}

void ReplayPlatform::mark(Call call) { replay_->endMark(replay_->beginMark(call)); }

BOOL ReplayPlatform::answer(Line& asked) {
  return answer(asked, [](const Line&) {});
}

std::shared_ptr<Platform> makeReplayPlatform(std::shared_ptr<Replay> replay) {
  return std::make_shared<ReplayPlatform>(std::move(replay));
}

}  // namespace sim::record
