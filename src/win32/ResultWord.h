// The word in which a capture reports its state to its caller.
#pragma once

#include <atomic>
#include <cstdint>

namespace kvexa::win32 {

// The caller reads the word at any time, so every change is one whole store. A null word takes nothing.
class ResultWord {
 public:
  explicit ResultWord(std::int32_t* word) : word_(word) {}

  void set(std::int32_t result) const {
    if (word_ != nullptr) std::atomic_ref(*word_).store(result);
  }

 private:
  std::int32_t* word_;
};

}  // namespace kvexa::win32
