// All of the C++ run-time library that this DLL needs. The library itself is not linked: it takes handles at
// every load and never gives them back, and on a thread that throws for the first time it needs memory, and
// ends the process when there is none. Without it nothing here can throw; should the code come to need more
// of it, the link fails.
#include <cstddef>
#include <cstdlib>
#include <new>

namespace std {
const nothrow_t nothrow{};
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return std::malloc(size != 0 ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }

void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t /*size*/) noexcept { std::free(block); }

// Where the tables of abstract classes point to; never called. The name is the compiler's own.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" void __cxa_pure_virtual() { std::abort(); }
