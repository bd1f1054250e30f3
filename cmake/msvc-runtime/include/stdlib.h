#pragma once

#include <stddef.h>

extern "C" {
void* malloc(size_t bytes);
void free(void* block);
[[noreturn]] void abort();
[[noreturn]] void exit(int status);
}
