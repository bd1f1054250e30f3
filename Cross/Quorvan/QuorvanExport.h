#pragma once

// Export and calling-convention decoration of the public surface.
//
// The library is consumed three ways: as a shared object or DLL (the default),
// statically linked (QUORVAN_STATIC, set by the Quorvan::QuorvanStatic target),
// and while building the library itself (QUORVAN_BUILDING).

#if defined(_WIN32)
#  if defined(QUORVAN_STATIC)
#    define QUORVAN_API
#  elif defined(QUORVAN_BUILDING)
#    define QUORVAN_API __declspec(dllexport)
#  else
#    define QUORVAN_API __declspec(dllimport)
#  endif
#else
#  define QUORVAN_API __attribute__((visibility("default")))
#endif

// The host calls the static entry points with the standard calling convention,
// which only 32-bit Windows distinguishes from the default one.
#if defined(_WIN32) && !defined(_WIN64)
#  define QUORVAN_STDCALL __stdcall
#else
#  define QUORVAN_STDCALL
#endif
