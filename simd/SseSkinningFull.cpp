// SkinningFull of the vector implementation: up to four bone influences per
// vertex, blended with SSE single-precision arithmetic.
//
// The loop runs over influence steps rather than vertices. Influence i of a
// vertex is its last when the weight byte that follows it in plain order
// (byte 17 + i) is zero, or when it is the fourth; the weight itself is read
// through kWeightOrder, so after influence 1 the end test looks at the
// weight of influence 0. That pairing is what stored meshes were built
// against and is kept as it is.

#include <xmmintrin.h>

#include "../Cross/Quorvan/ForceInline.h"
#include "../Cross/Quorvan/VertexCursor.h"
#include "../Cross/Quorvan/VertexLayout.h"
#include "SseBonePalette.h"
#include "SseSkinning.h"
#include "SseVector.h"

namespace {

constexpr unsigned kWeightOrder[4] = {2, 1, 0, 3};

// byte / 255 in single precision: the byte times 1/255 rounded to a float,
// the product rounded once more.
QUORVAN_INLINE __m128 Weight(uint8_t byte) {
    const __m128 w = _mm_mul_ss(_mm_cvtsi32_ss(_mm_setzero_ps(), byte), _mm_set_ss(1.0f / 255.0f));
    return _mm_shuffle_ps(w, w, 0);
}

// A direction skinned in packed form: three signed integer sums.
struct PackedSum {
    int32_t x = 0, y = 0, z = 0;

    // The direction's bytes in excess-128 form (x in byte 2, z in byte 0),
    // rotated by the quantised bone and weighted by the raw weight byte.
    QUORVAN_INLINE void Add(const int8_t* q, const uint8_t* packed, int32_t weight) {
        const int32_t a = packed[2] - 128, b = packed[1] - 128, c = packed[0] - 128;
        x += (q[0] * a + q[3] * b + q[6] * c) * weight;
        y += (q[1] * a + q[4] * b + q[7] * c) * weight;
        z += (q[2] * a + q[5] * b + q[8] * c) * weight;
    }

    // Back to excess-128 bytes. The offset 128 * 32768 - 129 sets the zero
    // point; nothing clamps, so out-of-range sums wrap. Byte 3 is 0.
    QUORVAN_INLINE void Store(uint8_t* out) const {
        constexpr int32_t kOffset = 4194175;
        const uint32_t bytes = (static_cast<uint32_t>((z + kOffset) >> 15) & 0xFF) |
                               (static_cast<uint32_t>((y + kOffset) >> 15) & 0xFF) << 8 |
                               (static_cast<uint32_t>((x + kOffset) >> 15) & 0xFF) << 16;
        std::memcpy(out, &bytes, 4);
    }
};

// One direction of the vertex, in the form the kernel's flags choose, with
// its source and destination offsets.
template <bool Packed, uint32_t Src, uint32_t Dst>
struct Direction {
    __m128 sum = _mm_setzero_ps();
    PackedSum packed;

    QUORVAN_INLINE void Add(const uint8_t* src, const BoneRows& rows, const int8_t* q, __m128 w, uint8_t weight) {
        if constexpr (Packed)
            packed.Add(q, src + Src, weight);
        else
            sum = _mm_add_ps(_mm_mul_ps(rows.Rotate(_mm_loadu_ps(reinterpret_cast<const float*>(src + Src))), w),
                             sum);
    }
    QUORVAN_INLINE void Store(uint8_t* dst) const {
        if constexpr (Packed)
            packed.Store(dst + Dst);
        else
            StoreXYZ(dst + Dst, sum);
    }
    // Multiplied by zero rather than cleared: a NaN or an infinity stays
    // NaN for the rest of the call.
    QUORVAN_INLINE void Restart() {
        sum = _mm_mul_ps(sum, _mm_setzero_ps());
        packed = PackedSum();
    }
};

}  // namespace

template <uint32_t ExtraSize, unsigned Features>
void SseFullFamily::Run() {
    using F = KernelFeatures<Features>;

    const SkinningJob& job = s_sseJob;
    VertexCursor cursor(job);
    __m128 position = _mm_setzero_ps();
    using namespace VertexLayout;
    Direction<F::kPacked, kSrcNormal, kDstNormal> normal;
    Direction<F::kPacked, SrcTangent(F::kPacked), DstTangent(F::kPacked)> tangent;
    Direction<F::kPacked, SrcBinormal(F::kPacked), DstBinormal(F::kPacked)> binormal;

    unsigned i = 0;
    do {
        const uint8_t* src = cursor.src;
        const bool last = i == 3 || src[kSrcWeights + 1 + i] == 0;
        const unsigned bone = src[kSrcBones + i];
        const BoneRows rows(s_ssePalette.rows[bone]);
        const int8_t* q = s_ssePalette.quantised[bone];
        const uint8_t weightByte = src[kSrcWeights + kWeightOrder[i]];
        const __m128 w = Weight(weightByte);

        position = _mm_add_ps(_mm_mul_ps(rows.Transform(_mm_loadu_ps(reinterpret_cast<const float*>(src))), w),
                              position);
        if constexpr (F::kNormal) normal.Add(src, rows, q, w, weightByte);
        if constexpr (F::kTangents) {
            tangent.Add(src, rows, q, w, weightByte);
            binormal.Add(src, rows, q, w, weightByte);
        }
        if (!last) {
            ++i;
            continue;
        }

        StoreXYZ(cursor.dst, position);
        if constexpr (F::kNormal) normal.Store(cursor.dst);
        if constexpr (F::kTangents) {
            tangent.Store(cursor.dst);
            binormal.Store(cursor.dst);
        }
        cursor.FinishVertex<ExtraSize, F::kAux>(job);

        position = _mm_mul_ps(position, _mm_setzero_ps());
        normal.Restart();
        tangent.Restart();
        binormal.Restart();
        i = 0;
    } while (cursor.count != 0);

    cursor.StoreInto(s_sseJob);
}

const SkinningDispatch<SseFullFamily>::Table kSseFullKernels = SkinningDispatch<SseFullFamily>::Build();
