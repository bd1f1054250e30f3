#include "DemoHost.h"

#include <cstdarg>
#include <cstdio>

#include <host/Debug.h>

namespace {
std::string& Trace() {
    static std::string line;
    return line;
}
int reports = 0;
}  // namespace

const std::string& DemoHost::TraceLine() { return Trace(); }
int DemoHost::Reports() { return reports; }

extern "C" {

void dbLineAux(const char* file, int line) { std::fprintf(stderr, "quorvan: %s:%d: ", file, line); }

void dbFatalfAux(const char* format, ...) {
    ++reports;
    std::va_list args;
    va_start(args, format);
    std::vfprintf(stderr, format, args);
    va_end(args);
    std::fputc('\n', stderr);
}

void dbTimeStampedTracefAux(const char* format, ...) {
    char text[256];
    std::va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    Trace() = text;
}

}
