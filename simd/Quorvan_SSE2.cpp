// The SSE2 skinning path. Its arithmetic is SSE single precision throughout;
// the file is built for SSE2 processors all the same, so the compiler may
// choose SSE2 moves. Palette rows are stored lane-reversed, (0, z, y, x), and
// a blended result is put back in (x, y, z) order only when it is stored.

#include "Quorvan_SSE2.h"

#include <xmmintrin.h>

#include <cstring>
#include <iterator>

#include "../Cross/Quorvan/FloatSettings.h"
#include "../Cross/Quorvan/Report.h"
#include "../Cross/Quorvan/VertexCursor.h"
#include "../Cross/Quorvan/VertexLayout.h"
#include "shared/Vector4.h"

namespace Quorvan_SSE2 {

BonePalette s_palette;
SkinningJob s_job;

namespace {

// This file as the host's reports name it.
constexpr const char* kSourceFile = "./Quorvan_SSE2.cpp";

// A bone index byte of this value ends the vertex's influences before it.
constexpr uint8_t kEndOfInfluences = 255;

template <int Lane>
inline __m128 Broadcast(__m128 v) {
    return _mm_shuffle_ps(v, v, _MM_SHUFFLE(Lane, Lane, Lane, Lane));
}

// The float at `p`, which need not be aligned, in all four lanes.
inline __m128 Broadcast(const uint8_t* p) {
    float value;
    std::memcpy(&value, p, sizeof value);
    return _mm_set1_ps(value);
}

// The byte times 1/255 rounded to a float, in all four lanes.
inline __m128 Weight(uint8_t byte) {
    const __m128 w = _mm_mul_ss(_mm_cvtsi32_ss(_mm_setzero_ps(), byte), _mm_set_ss(1.0f / 255.0f));
    return Broadcast<0>(w);
}

// One palette entry, each row loaded as stored.
struct BoneRows {
    __m128 r0, r1, r2, r3;

    explicit BoneRows(const float (&rows)[4][4])
        : r0(_mm_load_ps(rows[0])), r1(_mm_load_ps(rows[1])), r2(_mm_load_ps(rows[2])), r3(_mm_load_ps(rows[3])) {}

    // (y * row1 + z * row2) + x * row0, for the three floats at `v`.
    __m128 Rotate(const uint8_t* v) const {
        return _mm_add_ps(_mm_add_ps(_mm_mul_ps(Broadcast(v + 4), r1), _mm_mul_ps(Broadcast(v + 8), r2)),
                          _mm_mul_ps(Broadcast(v), r0));
    }
    __m128 Transform(const uint8_t* p) const { return _mm_add_ps(Rotate(p), r3); }
};

// From the palette's (0, z, y, x) back to (x, y, z, 0).
inline __m128 InPlainOrder(__m128 v) { return _mm_shuffle_ps(v, v, _MM_SHUFFLE(0, 1, 2, 3)); }

// The direction scaled by the estimate of 1 / |direction|, unrefined.
inline __m128 Normalised(__m128 d) {
    const __m128 squares = _mm_mul_ps(d, d);
    const __m128 length2 = _mm_add_ss(_mm_add_ss(squares, Broadcast<1>(squares)), Broadcast<2>(squares));
    return _mm_mul_ps(d, Broadcast<0>(_mm_rsqrt_ss(length2)));
}

// Lanes 0-2 as three floats; the fourth lane is not written.
inline void StoreXYZ(uint8_t* out, __m128 v) {
    float lanes[4];
    _mm_storeu_ps(lanes, v);
    std::memcpy(out, lanes, 12);
}

// One influence per loop step, like the interface's vector kernels, but the
// weights are read in plain byte order and an index byte of 255, not a zero
// weight, ends a vertex.
template <uint32_t ExtraSize, bool Normal>
QUORVAN_NOINLINE void Skin() {
    using namespace VertexLayout;
    const SkinningJob& job = s_job;
    VertexCursor cursor(job);
    __m128 position = _mm_setzero_ps();
    __m128 normal = _mm_setzero_ps();

    unsigned i = 0;
    do {
        const uint8_t* src = cursor.src;
        const BoneRows bone(s_palette.rows[src[kSrcBones + i]]);
        const __m128 w = Weight(src[kSrcWeights + i]);
        position = _mm_add_ps(position, _mm_mul_ps(bone.Transform(src + kSrcPosition), w));
        if constexpr (Normal) normal = _mm_add_ps(normal, _mm_mul_ps(bone.Rotate(src + kSrcNormal), w));
        if (i != 3 && src[kSrcBones + i + 1] != kEndOfInfluences) {
            ++i;
            continue;
        }

        __m128 point = InPlainOrder(position);
        __m128 direction = Normal ? Normalised(InPlainOrder(normal)) : point;
        QuietNaNs(point, direction);
        StoreXYZ(cursor.dst + kDstPosition, point);
        if constexpr (Normal) StoreXYZ(cursor.dst + kDstNormal, direction);
        cursor.FinishVertex<ExtraSize, false>(job);
        position = _mm_setzero_ps();
        normal = _mm_setzero_ps();
        i = 0;
    } while (cursor.count != 0);

    cursor.StoreInto(s_job);
}

template <uint32_t ExtraSize, bool Normal>
void SkinKernel() {
    const VectorFloatSettings settings;
    Skin<ExtraSize, Normal>();
}

using Kernel = void (*)();

struct SizeCase {
    Kernel withoutNormal, withNormal;
};

template <uint32_t ExtraSize>
constexpr SizeCase Kernels() {
    return {&SkinKernel<ExtraSize, false>, &SkinKernel<ExtraSize, true>};
}

// By extraSize / 4; the sizes this path has no kernels for are empty.
constexpr SizeCase kKernels[] = {{}, {}, Kernels<8>(), Kernels<12>(), {}, Kernels<20>(), Kernels<24>()};

}  // namespace

void SetSkinningMatrix(uint32_t bone, const float* m) {
    const __m128 zero = _mm_setzero_ps();
    for (unsigned row = 0; row < 4; ++row) {
        const float* axis = m + 3 * row;
        const __m128 zeroZ = _mm_unpacklo_ps(zero, _mm_load_ss(axis + 2));
        const __m128 yx = _mm_unpacklo_ps(_mm_load_ss(axis + 1), _mm_load_ss(axis));
        _mm_store_ps(s_palette.rows[bone][row], _mm_movelh_ps(zeroZ, yx));
    }
}

void SkinningFull(const SkinningJob& job) {
    s_job = job;
    const uint32_t size = s_job.extraSize;
    const SizeCase* kernels = size % 4 == 0 && size / 4 < std::size(kKernels) ? &kKernels[size / 4] : nullptr;
    if (!kernels || !kernels->withoutNormal) {
        ReportFatal(kSourceFile, 441, "Unsupported 'extraSize'=%d in SkinningFull()", static_cast<int>(size));
        return;
    }
    (s_job.hasNormal ? kernels->withNormal : kernels->withoutNormal)();
}

}  // namespace Quorvan_SSE2
