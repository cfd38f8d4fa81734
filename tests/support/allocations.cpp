// Allocations that fail where a test asks for it.
#include <cstdlib>
#include <new>

#include "tests/support/harness.h"

namespace test {

thread_local int allocationsLeft = -1;

}  // namespace test

void* operator new(std::size_t size) {
    if (test::allocationsLeft >= 0 && test::allocationsLeft-- == 0) throw std::bad_alloc();
    if (void* const memory = std::malloc(size > 0 ? size : 1)) return memory;
    throw std::bad_alloc();
}
// AddressSanitizer has one of its own, which would not go with these.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return std::malloc(size > 0 ? size : 1); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
