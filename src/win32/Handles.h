// Owners for what Windows hands out. Closing keeps GetLastError, so that an error path may read it
// after its owners are gone.
#pragma once

#include <windows.h>

#include <setupapi.h>

#include <utility>

namespace kvexa::win32 {

class LastErrorKeeper {
 public:
  LastErrorKeeper() : error_(GetLastError()) {}
  ~LastErrorKeeper() { SetLastError(error_); }
  LastErrorKeeper(const LastErrorKeeper&) = delete;
  LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

 private:
  DWORD error_;
};

template <class Kind>
class UniqueHandle {
 public:
  using Value = decltype(Kind::none());

  UniqueHandle() = default;
  explicit UniqueHandle(Value value) : value_(value) {}
  UniqueHandle(const UniqueHandle&) = delete;
  UniqueHandle& operator=(const UniqueHandle&) = delete;
  UniqueHandle(UniqueHandle&& other) noexcept : value_(other.release()) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ~UniqueHandle() { reset(); }

  explicit operator bool() const { return value_ != Kind::none(); }
  Value get() const { return value_; }
  Value release() { return std::exchange(value_, Kind::none()); }

  void reset(Value value = Kind::none()) {
    const Value old = std::exchange(value_, value);
    if (old == Kind::none()) return;
    const LastErrorKeeper keeper;
    Kind::close(old);
  }

 private:
  Value value_ = Kind::none();
};

// Files and devices: CreateFile answers INVALID_HANDLE_VALUE when it fails.
struct FileKind {
  static HANDLE none() { return INVALID_HANDLE_VALUE; }
  static void close(HANDLE handle) { CloseHandle(handle); }
};

// Events, mutexes and threads: their functions answer 0 when they fail.
struct ObjectKind {
  static HANDLE none() { return nullptr; }
  static void close(HANDLE handle) { CloseHandle(handle); }
};

struct DeviceSetKind {
  static HDEVINFO none() { return INVALID_HANDLE_VALUE; }
  static void close(HDEVINFO set) { SetupDiDestroyDeviceInfoList(set); }
};

using UniqueFile = UniqueHandle<FileKind>;
using UniqueObject = UniqueHandle<ObjectKind>;
using UniqueDeviceSet = UniqueHandle<DeviceSetKind>;

}  // namespace kvexa::win32
