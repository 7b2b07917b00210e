// The few thread functions that the C++ run-time of this DLL needs, on Windows' own primitives. The
// compiler's thread library is not linked: it takes two event handles and a thread-local slot at every load
// and never gives them back, so a process that loads and unloads the library often would run out of them.
// Should the run-time come to need more of these functions, the link fails.
#include <windows.h>

#include <pthread.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <utility>

namespace {

static_assert(sizeof(pthread_mutex_t) == sizeof(SRWLOCK));
static_assert(sizeof(pthread_once_t) == sizeof(LONG));

using Destroy = void (*)(void*);

struct Key {
  DWORD slot = FLS_OUT_OF_INDEXES;
  Destroy destroy = nullptr;
};

constexpr std::size_t keyLimit = 8;

// Windows calls a slot's destructor without saying which slot it is: each gets one of its own.
template <std::size_t index>
void WINAPI destroyValue(void* value);

template <std::size_t... indices>
constexpr auto destructors(std::index_sequence<indices...> /*indices*/) {
  return std::array<PFLS_CALLBACK_FUNCTION, sizeof...(indices)>{destroyValue<indices>...};
}

// Slots taken by the run-time, given back when the library is unloaded: later than every other static
// object of the library, since their destructors may still throw and catch.
class Keys {
 public:
  constexpr Keys() = default;
  Keys(const Keys&) = delete;
  Keys& operator=(const Keys&) = delete;
  ~Keys() {
    for (std::size_t i = 0; i < used_.load() && i < keyLimit; ++i) FlsFree(keys_[i].slot);
  }

  bool create(pthread_key_t& slot, Destroy destructor) {
    const std::size_t index = used_.fetch_add(1);
    if (index >= keyLimit) return false;
    keys_[index].destroy = destructor;
    keys_[index].slot = FlsAlloc(destructors(std::make_index_sequence<keyLimit>())[index]);
    slot = keys_[index].slot;
    return keys_[index].slot != FLS_OUT_OF_INDEXES;
  }

  void destroyValueOf(std::size_t index, void* value) const {
    if (keys_[index].destroy != nullptr && value != nullptr) keys_[index].destroy(value);
  }

 private:
  std::array<Key, keyLimit> keys_{};
  std::atomic<std::size_t> used_{0};
};

constinit Keys keys __attribute__((init_priority(101)));

template <std::size_t index>
void WINAPI destroyValue(void* value) {
  keys.destroyValueOf(index, value);
}

SRWLOCK& lockOf(pthread_mutex_t* mutex) { return *reinterpret_cast<SRWLOCK*>(mutex); }

}  // namespace

extern "C" {

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* /*attributes*/) {
  lockOf(mutex) = SRWLOCK_INIT;
  return 0;
}

int pthread_mutex_destroy(pthread_mutex_t* /*mutex*/) { return 0; }

int pthread_mutex_lock(pthread_mutex_t* mutex) {
  // A mutex that was initialised statically still holds its mark.
  auto* const value = reinterpret_cast<void* volatile*>(mutex);
  InterlockedCompareExchangePointer(value, nullptr, reinterpret_cast<void*>(PTHREAD_MUTEX_INITIALIZER));
  AcquireSRWLockExclusive(&lockOf(mutex));
  return 0;
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) {
  ReleaseSRWLockExclusive(&lockOf(mutex));
  return 0;
}

int pthread_once(pthread_once_t* once, void (*function)()) {
  static SRWLOCK lock = SRWLOCK_INIT;
  const std::atomic_ref done(*once);
  if (done.load() == 1) return 0;
  AcquireSRWLockExclusive(&lock);
  if (done.load() != 1) {
    function();
    done.store(1);
  }
  ReleaseSRWLockExclusive(&lock);
  return 0;
}

int pthread_key_create(pthread_key_t* key, void (*destroy)(void*)) {
  return keys.create(*key, destroy) ? 0 : ENOMEM;
}

int pthread_key_delete(pthread_key_t /*key*/) { return 0; }  // given back with all others at unload

void* pthread_getspecific(pthread_key_t key) { return FlsGetValue(key); }

int pthread_setspecific(pthread_key_t key, const void* value) {
  auto* const stored = const_cast<void*>(value);  // NOLINT(cppcoreguidelines-pro-type-const-cast)
  return FlsSetValue(key, stored) != FALSE ? 0 : EINVAL;
}

}  // extern "C"
