// Shared ownership without a block of its own for the count: one more owner cannot fail.
#pragma once

#include <atomic>
#include <cstdint>
#include <new>
#include <utility>

namespace kvexa::win32 {

class Counted {
 public:
  Counted() = default;
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  virtual ~Counted() = default;

 private:
  template <class Object>
  friend class Shared;

  std::atomic<std::uint32_t> owners_{0};
};

// An owner of an object that is Counted; the last one deletes it.
template <class Object>
class Shared {
 public:
  Shared() = default;
  explicit Shared(Object* object) : object_(object) {
    if (object_ != nullptr) object_->owners_.fetch_add(1);
  }
  Shared(const Shared& other) : Shared(other.object_) {}
  Shared(Shared&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <class Derived>
  Shared(const Shared<Derived>& other) : Shared(other.get()) {}  // NOLINT(google-explicit-constructor)
  Shared& operator=(const Shared& other) {
    if (this != &other) *this = Shared(other);
    return *this;
  }
  Shared& operator=(Shared&& other) noexcept {
    Shared taken(std::move(other));
    std::swap(object_, taken.object_);
    return *this;
  }
  ~Shared() {
    if (object_ != nullptr && object_->owners_.fetch_sub(1) == 1) delete object_;
  }

  explicit operator bool() const { return object_ != nullptr; }
  Object* get() const { return object_; }
  Object* operator->() const { return object_; }
  Object& operator*() const { return *object_; }

 private:
  Object* object_ = nullptr;
};

// Null when there is no memory for it.
template <class Object, class... Arguments>
Shared<Object> makeShared(Arguments&&... arguments) {
  return Shared<Object>(new (std::nothrow) Object(std::forward<Arguments>(arguments)...));
}

}  // namespace kvexa::win32
