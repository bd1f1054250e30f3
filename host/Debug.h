#pragma once

// The host's debug service. Quorvan reports misuse with dbLineAux (where)
// followed by dbFatalfAux (what), and writes its one start-up line with
// dbTimeStampedTracefAux. Whether dbFatalfAux returns is the host's choice;
// the library copes with both.

#include "HostExport.h"

#if defined(__GNUC__)
#  define QUORVAN_PRINTF(fmt, args) __attribute__((format(printf, fmt, args)))
#else
#  define QUORVAN_PRINTF(fmt, args)
#endif

extern "C" {
QUORVAN_HOST_API void dbLineAux(const char* file, int line);
QUORVAN_HOST_API void dbFatalfAux(const char* format, ...) QUORVAN_PRINTF(1, 2);
QUORVAN_HOST_API void dbTimeStampedTracefAux(const char* format, ...) QUORVAN_PRINTF(1, 2);
}
