// The replaceable allocation functions over msvcrt.dll's heap.

#include <stdlib.h>

#include <new>

const std::nothrow_t std::nothrow{};

// Built without exceptions, a failed allocation that cannot answer null ends
// the process, as an uncaught std::bad_alloc would.
void* operator new(std::size_t bytes) {
    if (void* block = malloc(bytes ? bytes : 1)) return block;
    abort();
}

void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept { return malloc(bytes ? bytes : 1); }

void operator delete(void* block) noexcept { free(block); }
