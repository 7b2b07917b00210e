#include "sim/record/recording/RecordingPlatform.h"

#include <malloc.h>

#include <utility>

#include "sim/record/recording/RecordingCalls.h"

namespace sim::record {

void RecordingPlatform::sleep(DWORD milliseconds) {
  if (milliseconds == 0) return inner_->sleep(0);
  Line line = begin(Call::sleep);
  line.a = milliseconds;
  inner_->sleep(milliseconds);
  finish(line, 0);
}

UINT RecordingPlatform::getWindowsDirectory(char* path, UINT size) {
  Line line = begin(Call::folder);
  const UINT length = inner_->getWindowsDirectory(path, size);
  if (path != nullptr && length < size) line.text = bytesOf(path, length);
  return endOf(line, length);
}

DWORD RecordingPlatform::getFileVersionInfoSize(const char* path, DWORD* unused) {
  Line line = begin(Call::versionSize);
  line.text = bytesOf(path);
  return endOf(line, inner_->getFileVersionInfoSize(path, unused));
}

BOOL RecordingPlatform::getFileVersionInfo(const char* path, DWORD unused, DWORD size, void* block) {
  Line line = begin(Call::version);
  line.text = bytesOf(path);
  line.size = size;
  return endOf(line, inner_->getFileVersionInfo(path, unused, size, block));
}

BOOL RecordingPlatform::verQueryValue(const void* block, const char* name, void** value, UINT* length) {
  Line line = begin(Call::versionValue);
  line.text = bytesOf(name);
  const BOOL found = inner_->verQueryValue(block, name, value, length);
  if (found != FALSE && value != nullptr && length != nullptr) line.out = bytesOf(*value, *length);
  return endOf(line, found);
}

DWORD RecordingPlatform::waitForSingleObject(HANDLE object, DWORD milliseconds) {
  if (milliseconds != 0) mark(Call::wait);
  const DWORD waited = inner_->waitForSingleObject(object, milliseconds);
  look();
  return waited;
}

DWORD RecordingPlatform::waitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL all,
                                                DWORD milliseconds) {
  if (milliseconds != 0) mark(Call::wait);
  const DWORD waited = inner_->waitForMultipleObjects(count, objects, all, milliseconds);
  look();
  return waited;
}

BOOL RecordingPlatform::setEvent(HANDLE event) {
  look();
  mark(Call::signal);
  return inner_->setEvent(event);
}

std::uintptr_t RecordingPlatform::beginThread(void* security, unsigned stack,
                                              unsigned(__stdcall* start)(void*), void* argument,
                                              unsigned flags, unsigned* identifier) {
  mark(Call::thread);
  return inner_->beginThread(security, stack, start, argument, flags, identifier);
}

HGLOBAL RecordingPlatform::globalFree(HGLOBAL memory) {
  if (memory != nullptr && pended_.any()) pended_.beforeReuse(memory, GlobalSize(memory));
  return inner_->globalFree(memory);
}

void RecordingPlatform::freeMemory(void* block) {
  if (block != nullptr && pended_.any()) pended_.beforeReuse(block, _msize(block));
  inner_->freeMemory(block);
}

Line RecordingPlatform::begin(Call call, BoardName board, std::uint32_t handle) {
  Line line;
  line.call = call;
  line.board = board;
  line.handle = handle;
  line.thread = threads_.current();
  line.n = recorder_->begin();
  line.t = clock_->now();
  return line;
}

void RecordingPlatform::finish(Line& line, std::uint32_t error, ByteSpan image) {
  line.d = clock_->now() - line.t;
  line.error = error;
  recorder_->add(line, image);
}

void RecordingPlatform::mark(Call call) {
  const DWORD error = GetLastError();
  Line line = begin(call);
  finish(line, 0);
  SetLastError(error);
}

void RecordingPlatform::look() {
  if (!pended_.any()) return;
  const DWORD error = GetLastError();
  pended_.look();
  SetLastError(error);
}

std::shared_ptr<Platform> makeRecordingPlatform(std::shared_ptr<Platform> inner,
                                                std::shared_ptr<Recorder> recorder,
                                                std::shared_ptr<const Clock> clock) {
  return std::make_shared<RecordingPlatform>(std::move(inner), std::move(recorder), std::move(clock));
}

}  // namespace sim::record
