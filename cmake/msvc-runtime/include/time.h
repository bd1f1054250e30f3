#pragma once

// Wall-clock time from msvcrt.dll, whose time() and localtime() count
// seconds in 32 bits.

#include <stddef.h>

extern "C" {

typedef long time_t;

struct tm {
    int tm_sec;
    int tm_min;
    int tm_hour;
    int tm_mday;
    int tm_mon;
    int tm_year;
    int tm_wday;
    int tm_yday;
    int tm_isdst;
};

time_t time(time_t* now);
struct tm* localtime(const time_t* when);
size_t strftime(char* buffer, size_t size, const char* format, const struct tm* when);

}  // extern "C"
