#pragma once

#include <stddef.h>

extern "C" {
void* memcpy(void* dst, const void* src, size_t bytes);
void* memmove(void* dst, const void* src, size_t bytes);
void* memset(void* dst, int value, size_t bytes);
int memcmp(const void* a, const void* b, size_t bytes);
size_t strlen(const char* text);
int strncmp(const char* a, const char* b, size_t count);
}
