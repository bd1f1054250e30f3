#pragma once

// For the small helpers of the kernel loops: with hundreds of kernels in one
// file the compiler's size heuristics would otherwise leave some of them as
// calls inside the vertex loop.
#if defined(__GNUC__)
#  define QUORVAN_INLINE inline __attribute__((always_inline))
#  define QUORVAN_NOINLINE __attribute__((noinline))
#else
#  define QUORVAN_INLINE inline
#  define QUORVAN_NOINLINE
#endif
