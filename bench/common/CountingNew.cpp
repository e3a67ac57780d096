// Replaces operator new for the whole program so that a benchmark can show a path allocates
// nothing.

#include "BenchSupport.h"

#include <cstdlib>
#include <new>

namespace {
std::atomic<long> gAllocations{0};
}  // namespace

long benchsupport::allocations() {
    return gAllocations.load(std::memory_order_relaxed);
}

// The replaced operators pair malloc with free; the compiler only sees the new/free half.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

void* operator new(std::size_t size) {
    gAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
    std::abort();
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
