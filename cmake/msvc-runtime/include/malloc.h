#pragma once

// Wanted by the compiler's <mm_malloc.h>, which <xmmintrin.h> includes.

#include <stddef.h>

extern "C" {
void* _aligned_malloc(size_t bytes, size_t alignment);
void _aligned_free(void* block);
}
