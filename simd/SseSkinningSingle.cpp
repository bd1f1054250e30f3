// SkinningSingle of the vector implementation: one bone per vertex, named by
// its first index byte, with an implied weight of one. The weights and the
// other three indices are never read.
//
// Each vector is transformed once and stored at its fixed slot in the order
// position, normal, tangent, binormal. Float vectors use the bone's float
// rows; packed ones its quantised rotation, in integers only.

#include <xmmintrin.h>

#include "../Cross/Quorvan/VertexCursor.h"
#include "../Cross/Quorvan/VertexLayout.h"
#include "SseBonePalette.h"
#include "SseSkinning.h"
#include "SseVector.h"

namespace {

enum class FloatVector { Position, Normal, Tangent, Binormal };

// Bytes written by the store of a float vector. A vector goes out as its
// whole four-lane result, the fourth float spilling into the four bytes
// behind it, which a later store of the same vertex may cover. Only the
// vertex's last vector with no extra words behind it is stored as its three
// floats; so is the normal as the only direction with one extra word, even
// though that word could have taken the spill.
constexpr unsigned StoreWidth(FloatVector vector, uint32_t extraSize, unsigned features) {
    const bool normal = features & kSkinNormal, tangents = features & kSkinTangents;
    const bool normalAlone = vector == FloatVector::Normal && !tangents;
    const bool last = vector == FloatVector::Binormal || normalAlone ||
                      (vector == FloatVector::Position && !normal && !tangents);
    return last && (extraSize == 0 || (normalAlone && extraSize == 4)) ? 12 : 16;
}

template <unsigned Width>
inline void StoreVector(uint8_t* out, __m128 v) {
    static_assert(Width == 12 || Width == 16);
    if constexpr (Width == 12)
        StoreXYZ(out, v);
    else
        StoreXYZW(out, v);
}

// The bone's quantised rotation, widened once per vertex: read before the
// first store, it need not be fetched again after each one.
struct PackedRotation {
    int32_t q[9];

    explicit PackedRotation(const int8_t* bytes) {
        for (int k = 0; k < 9; ++k) q[k] = bytes[k];
    }

    // A packed direction (excess-128 bytes, x in byte 2, z in byte 0) through
    // the rotation. The offset 127 * 128 - 1 puts the result's zero point at
    // about 127 rather than the input's 128; nothing clamps, so sums beyond a
    // byte wrap. Byte 3 is written as 0.
    [[gnu::always_inline]] void Skin(uint8_t* out, const uint8_t* in) const {
        const int32_t x = in[2] - 128, y = in[1] - 128, z = in[0] - 128;
        const auto byte = [](int32_t sum) { return static_cast<uint32_t>((sum + 16255) >> 7) & 0xFF; };
        const uint32_t bytes = byte(q[2] * x + q[5] * y + q[8] * z) |        //
                               byte(q[1] * x + q[4] * y + q[7] * z) << 8 |   //
                               byte(q[0] * x + q[3] * y + q[6] * z) << 16;
        std::memcpy(out, &bytes, 4);
    }
};

}  // namespace

template <uint32_t ExtraSize, unsigned Features>
void SseSingleFamily::Run() {
    using F = KernelFeatures<Features>;
    constexpr auto Width = [](FloatVector vector) { return StoreWidth(vector, ExtraSize, Features); };
    using namespace VertexLayout;

    const SkinningJob& job = s_sseJob;
    VertexCursor cursor(job);
    do {
        const uint8_t* src = cursor.src;
        uint8_t* dst = cursor.dst;
        const unsigned bone = src[kSrcBones];
        const BoneRows rows(s_ssePalette.rows[bone]);
        const PackedRotation rotation(s_ssePalette.quantised[bone]);

        StoreVector<Width(FloatVector::Position)>(dst + kDstPosition, rows.Transform(LoadVector(src + kSrcPosition)));
        if constexpr (F::kNormal) {
            if constexpr (F::kPacked)
                rotation.Skin(dst + kDstNormal, src + kSrcNormal);
            else
                StoreVector<Width(FloatVector::Normal)>(dst + kDstNormal, rows.Rotate(LoadVector(src + kSrcNormal)));
        }
        if constexpr (F::kTangents && F::kPacked) {
            rotation.Skin(dst + DstTangent(true), src + SrcTangent(true));
            rotation.Skin(dst + DstBinormal(true), src + SrcBinormal(true));
        } else if constexpr (F::kTangents) {
            // Both are fetched before either is stored: where the destination
            // overlaps the source, the tangent's store may reach the
            // binormal's source bytes.
            const __m128 tangent = LoadVector(src + SrcTangent(false));
            const __m128 binormal = LoadVector(src + SrcBinormal(false));
            StoreVector<Width(FloatVector::Tangent)>(dst + DstTangent(false), rows.Rotate(tangent));
            StoreVector<Width(FloatVector::Binormal)>(dst + DstBinormal(false), rows.Rotate(binormal));
        }
        cursor.FinishVertex<ExtraSize, F::kAux>(job);
    } while (cursor.count != 0);
    cursor.StoreInto(s_sseJob);
}

const SkinningDispatch<SseSingleFamily>::Table kSseSingleKernels = SkinningDispatch<SseSingleFamily>::Build();
