// The 3DNow! skinning path: MMX moves and FEMMS, no SSE.

#include "Quorvan_3DNow.h"

#include <mm3dnow.h>
#include <mmintrin.h>

#include <cstring>
#include <iterator>

#include "../Cross/Quorvan/Report.h"
#include "../Cross/Quorvan/VertexCursor.h"

namespace Quorvan_3DNow {

BonePalette s_palette;
SkinningJob s_job;

namespace {

// This file as the host's reports name it.
constexpr const char* kSourceFile = "./Quorvan_3DNow.cpp";

// The bits of m[k], moved without passing through a floating-point register.
inline int Bits(const float* m, unsigned k) {
    int bits;
    std::memcpy(&bits, m + k, sizeof bits);
    return bits;
}

// m[first], then m[second] in memory.
inline __m64 Pair(const float* m, unsigned first, unsigned second) {
    return _mm_unpacklo_pi32(_mm_cvtsi32_si64(Bits(m, first)), _mm_cvtsi32_si64(Bits(m, second)));
}

// The hasNormal argument is always false and never read: the transform it
// would have chosen was never written.
template <uint32_t ExtraSize>
void CopyKernel(bool) {
    _m_femms();
    const SkinningJob& job = s_job;
    VertexCursor cursor(job);
    do cursor.FinishVertex<ExtraSize, false>(job);
    while (cursor.count != 0);
    cursor.StoreInto(s_job);
    _m_femms();
}

using Kernel = void (*)(bool hasNormal);

// By extraSize / 4; the sizes this path has no kernel for are null.
constexpr Kernel kKernels[] = {nullptr, nullptr, &CopyKernel<8>, nullptr, nullptr, &CopyKernel<20>, &CopyKernel<24>};

}  // namespace

void SetSkinningMatrix(uint32_t bone, const float* m) {
    __m64* out = reinterpret_cast<__m64*>(s_palette.pairs[bone]);
    out[0] = Pair(m, 3, 0);
    out[1] = Pair(m, 9, 6);
    out[2] = Pair(m, 4, 1);
    out[3] = Pair(m, 10, 7);
    out[4] = Pair(m, 5, 2);
    out[5] = Pair(m, 11, 8);
    out[6] = _mm_setzero_si64();
    out[7] = _mm_cvtsi32_si64(0x3F800000);  // 1.0, then 0.0
    _m_femms();
}

void SkinningSingle(const SkinningJob& job) {
    s_job = job;
    const uint32_t size = s_job.extraSize;
    const Kernel kernel = size % 4 == 0 && size / 4 < std::size(kKernels) ? kKernels[size / 4] : nullptr;
    if (!kernel) {
        ReportFatal(kSourceFile, 312, "Unsupported 'extraSize'=%d in SkinningSingle()", static_cast<int>(size));
        return;
    }
    kernel(false);
}

}  // namespace Quorvan_3DNow
