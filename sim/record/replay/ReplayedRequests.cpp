// Answers to what is asked of boards.
#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>

#include "sim/pcie/Protocol.h"
#include "sim/record/format/RequestBytes.h"
#include "sim/record/replay/ReplayCalls.h"
#include "sim/usb/Protocol.h"

namespace sim::record {

HANDLE ReplayPlatform::createFile(const char* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                                  DWORD disposition, DWORD flags, HANDLE templateFile) {
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

BOOL ReplayPlatform::closeHandle(HANDLE handle) {
  const std::optional<BoardName> board = boardOf(handle);
  if (!board) return Platform::closeHandle(handle);
  Line line = question(Call::close, numberOf(firstFile, handle));
  line.board = *board;
  const BOOL closed = answer(line);
  const std::lock_guard lock(lock_);
  if (closed != FALSE) files_.erase(line.handle);
  return closed;
}

BOOL ReplayPlatform::deviceIoControl(HANDLE file, DWORD code, void* in, DWORD inLength, void* out,
                                     DWORD outLength, DWORD* returned, OVERLAPPED* overlapped) {
  const std::optional<BoardName> board = boardOf(file);
  if (!board)
    return Platform::deviceIoControl(file, code, in, inLength, out, outLength, returned, overlapped);
  if (overlapped != nullptr) completions_.beforeReuse(overlapped, sizeof *overlapped);
  Line line = question(Call::request, numberOf(firstFile, file));
  line.board = *board;
  line.code = code;
  const Buffers buffers{in,       inLength,  static_cast<std::uint8_t*>(out), out != nullptr ? outLength : 0,
                        returned, overlapped};
  return code == usb::Control::pipeTransfer && in != nullptr && inLength == sizeof(usb::Control::PipeRecord)
             ? pipe(line, buffers)
             : plain(line, buffers);
}

BOOL ReplayPlatform::pipe(Line& line, const Buffers& buffers) {
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

BOOL ReplayPlatform::plain(Line& line, const Buffers& buffers) {
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

void ReplayPlatform::pend(const Reply& reply, const Buffers& buffers) {
  const Step& step = replay_->script().steps()[reply.step];
  OpenRequest request;
  request.overlapped = buffers.overlapped;
  request.record = buffers.out;
  request.bytes = buffers.outLength;
  if (step.completion == 0 || reply.isRepeated) {  // it was never completed, or one that is there no more was
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

void ReplayPlatform::completeAtOnce(const Line& recorded, OVERLAPPED& overlapped) {
  overlapped.Internal = 0;
  overlapped.InternalHigh = recorded.moved;
  if (overlapped.hEvent != nullptr) SetEvent(overlapped.hEvent);
}

void ReplayPlatform::noteCapture(const Line& line) {
  if (line.code != static_cast<std::uint32_t>(pcie::Request::capture)) return;
  std::uint32_t words[3] = {};
  std::memcpy(words, line.in.data, std::min<std::size_t>(sizeof words, line.in.size));
  const std::lock_guard lock(lock_);
  captures_[line.board.index] = {
      reinterpret_cast<std::uint8_t*>(std::uintptr_t{words[pcie::Word::captureBuffer]}),
      words[pcie::Word::captureLength]};
}

// A program that has waited long enough for its driver may have given the memory back.
void ReplayPlatform::clear(std::uint8_t* to, std::uint32_t bytes) {
  constexpr std::size_t blockBytes = 0x1000;
  static constexpr std::array<std::uint8_t, blockBytes> zeros{};
  for (std::uint32_t done = 0; done < bytes;) {
    const auto count = std::min<std::size_t>(bytes - done, blockBytes);
    if (WriteProcessMemory(GetCurrentProcess(), to + done, zeros.data(), count, nullptr) == FALSE) return;
    done += static_cast<std::uint32_t>(count);
  }
}

void ReplayPlatform::fillImage(const Line& line, std::uint8_t* to, std::uint32_t bytes) {
  if (to == nullptr) return;
  if (!line.image.isKept || frames_ == INVALID_HANDLE_VALUE) {
    return clear(to, bytes);
  }
  OVERLAPPED place{};
  place.Offset = static_cast<DWORD>(line.image.at);
  place.OffsetHigh = static_cast<DWORD>(line.image.at >> 32);
  DWORD read = 0;
  ReadFile(frames_, to, bytes, &read, &place);
  if (read < bytes) clear(to + read, bytes - read);
}

std::optional<BoardName> ReplayPlatform::boardOf(const void* handle) {
  const std::uint32_t number = numberOf(firstFile, handle);
  if (number == 0) return std::nullopt;
  const std::lock_guard lock(lock_);
  const auto found = files_.find(number);
  return found == files_.end() ? std::nullopt : std::optional(found->second);
}

void ReplayPlatform::noteOpened(const Line& recorded) {
  const std::lock_guard lock(lock_);
  files_[handleSlot(recorded.handle)] = recorded.board;
}

}  // namespace sim::record
