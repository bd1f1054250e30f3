#pragma once

// The test instruction of each feature, as assembler text. They touch only the
// first MMX or XMM register; the MMX ones leave the unit with emms so the x87
// stack is usable again. The frame is built for plain x87 code, where the
// compiler neither knows nor uses these registers, so they are declared
// clobbered only where the compiler could be holding a value in them.

#define QUORVAN_PROBE_CPUID "cpuid"
#define QUORVAN_PROBE_MMX "pxor %%mm0, %%mm0\n\temms"
#define QUORVAN_PROBE_SSE "xorps %%xmm0, %%xmm0"
#define QUORVAN_PROBE_SSE2 "xorpd %%xmm0, %%xmm0"
#define QUORVAN_PROBE_3DNOW "pfrcp %%mm0, %%mm0\n\temms"

#if defined(__SSE__)
#  define QUORVAN_PROBE_XMM_CLOBBER "xmm0",
#else
#  define QUORVAN_PROBE_XMM_CLOBBER
#endif
#if defined(__MMX__)
#  define QUORVAN_PROBE_MMX_CLOBBER "mm0",
#else
#  define QUORVAN_PROBE_MMX_CLOBBER
#endif
