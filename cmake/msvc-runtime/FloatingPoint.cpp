// The compiler marks every object that uses floating point with a reference
// to _fltused; the Microsoft C runtime answers it, and so must this one.

#include <cfloat>

extern "C" const int _fltused = 0x9875;

// The library computes in long double where it needs the x87 unit's 64-bit
// mantissa. This ABI's long double is a plain double unless the compiler is
// told otherwise (-mlong-double-80), and an older clang ignores that flag
// without a word.
static_assert(LDBL_MANT_DIG == 64, "long double must be the x87 extended format");
