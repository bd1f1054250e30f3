// Stand-in for the host's debug library: reports go to standard error, the
// trace line to standard output with a wall-clock stamp, and a fatal report
// returns to its caller.

#include "Debug.h"

#include <cstdarg>
#include <cstdio>
#include <ctime>

extern "C" {

void dbLineAux(const char* file, int line) {
    std::fprintf(stderr, "%s(%d): ", file, line);
}

void dbFatalfAux(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    std::fputs("FATAL: ", stderr);
    std::vfprintf(stderr, format, args);
    std::fputc('\n', stderr);
    va_end(args);
}

void dbTimeStampedTracefAux(const char* format, ...) {
    char stamp[32];
    std::time_t now = std::time(nullptr);
    std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", std::localtime(&now));
    std::va_list args;
    va_start(args, format);
    std::printf("[%s] ", stamp);
    std::vprintf(format, args);
    std::putchar('\n');
    std::fflush(stdout);
    va_end(args);
}

}
