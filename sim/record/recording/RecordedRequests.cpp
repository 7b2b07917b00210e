// What a recorded program asks of boards.
#include <algorithm>
#include <cstring>
#include <mutex>

#include "sim/pcie/Protocol.h"
#include "sim/record/format/ImageHash.h"
#include "sim/record/format/RequestBytes.h"
#include "sim/record/recording/RecordingCalls.h"
#include "sim/usb/Protocol.h"

namespace sim::record {

template <class Send>
BOOL RecordingPlatform::pipe(const Known& known, const ControlRequest& request, const DWORD* returned,
                             Send send) {
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
    image = took(line, request.out, std::min(line.moved, request.outLength), record.pipe == usb::Pipe::image);
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
BOOL RecordingPlatform::plain(const Known& known, const ControlRequest& request, const DWORD* returned,
                              Send send) {
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

HANDLE RecordingPlatform::createFile(const char* path, DWORD access, DWORD share,
                                     SECURITY_ATTRIBUTES* security, DWORD disposition, DWORD flags,
                                     HANDLE templateFile) {
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

BOOL RecordingPlatform::closeHandle(HANDLE handle) {
  const std::optional<Known> file = files_.find(handle);
  if (!file) return inner_->closeHandle(handle);
  Line line = begin(Call::close, file->board);
  line.handle = file->number;
  files_.forget(handle);
  return endOf(line, inner_->closeHandle(handle));
}

BOOL RecordingPlatform::deviceIoControl(HANDLE file, DWORD code, void* in, DWORD inLength, void* out,
                                        DWORD outLength, DWORD* returned, OVERLAPPED* overlapped) {
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

BOOL RecordingPlatform::endRequest(Line& line, BOOL accepted, DWORD error, ByteSpan image) {
  finish(line, accepted != FALSE || line.pending ? 0 : error, image);
  SetLastError(error);
  return accepted;
}

RecordingPlatform::ByteSpan RecordingPlatform::took(Line& line, const void* data, std::uint32_t bytes,
                                                    bool isImage, std::uint32_t offset) const {
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

RecordingPlatform::ByteSpan RecordingPlatform::tookRecord(Line& line, const std::vector<std::uint8_t>& before,
                                                          const ControlRequest& request) const {
  const ByteSpan after(static_cast<const std::uint8_t*>(request.out),
                       request.out != nullptr ? request.outLength : 0);
  const bool isSame = request.in == request.out;
  return took(line, after.data(),
              isSame ? changedBytes(before, after)
                     : static_cast<std::uint32_t>(std::min<std::size_t>(line.moved, after.size())),
              false);
}

void RecordingPlatform::noteCapture(const Line& line) {
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

void RecordingPlatform::noteCompleted(const PendedRequest& request) {
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

RecordingPlatform::ByteSpan RecordingPlatform::imageOf(Line& line) {
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

}  // namespace sim::record
