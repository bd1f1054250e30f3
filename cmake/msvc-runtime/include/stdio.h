#pragma once

// Standard output as msvcrt.dll provides it. Its printf family knows the
// conversions of C89 (%d, %u, %x, %s, %c, %p, %f, ...) but none of C99's
// length modifiers (%zu, %lld, %hhu): a format that needs them prints wrong.

#include <stdarg.h>
#include <stddef.h>
#include <stdlib.h>

extern "C" {

// msvcrt.dll's stream record; stdin, stdout and stderr are the first three
// entries of its stream table.
struct _iobuf {
    char* _ptr;
    int _cnt;
    char* _base;
    int _flag;
    int _file;
    int _charbuf;
    int _bufsiz;
    char* _tmpfname;
};
typedef struct _iobuf FILE;
FILE* __iob_func();
#define stdin (&__iob_func()[0])
#define stdout (&__iob_func()[1])
#define stderr (&__iob_func()[2])

int printf(const char* format, ...);
int fprintf(FILE* stream, const char* format, ...);
int sprintf(char* buffer, const char* format, ...);
int vprintf(const char* format, va_list args);
int vfprintf(FILE* stream, const char* format, va_list args);
int fputs(const char* text, FILE* stream);
int fputc(int c, FILE* stream);
int putchar(int c);
int fflush(FILE* stream);

// Unlike C99's vsnprintf, it leaves the buffer unterminated and answers -1
// when the text does not fit.
int _vsnprintf(char* buffer, size_t size, const char* format, va_list args);

// C99's vsnprintf, which msvcrt.dll lacks: always terminated, and answering
// with the length of the whole text even when it was cut.
inline int vsnprintf(char* buffer, size_t size, const char* format, va_list args) {
    va_list copy;
    if (size != 0) {
        va_copy(copy, args);
        const int written = _vsnprintf(buffer, size, format, copy);
        va_end(copy);
        if (written >= 0 && static_cast<size_t>(written) < size) return written;
        buffer[size - 1] = '\0';
    }
    // Cut short: only formatting into a buffer that is big enough tells the
    // length.
    for (size_t room = 2 * size + 64; room <= 0x10000000; room *= 2) {
        char* scratch = static_cast<char*>(malloc(room));
        if (!scratch) break;
        va_copy(copy, args);
        const int written = _vsnprintf(scratch, room, format, copy);
        va_end(copy);
        free(scratch);
        if (written >= 0 && static_cast<size_t>(written) < room) return written;
    }
    return -1;
}

inline int snprintf(char* buffer, size_t size, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int written = vsnprintf(buffer, size, format, args);
    va_end(args);
    return written;
}

}  // extern "C"
