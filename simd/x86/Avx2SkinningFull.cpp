// SkinningFull built for AVX2: a vertex in two registers, position and
// normal in one, tangent and binormal in the other.

#include <immintrin.h>

#include "Avx2Width.h"
#include "FullLanes.h"
#include "SkinningTables.h"

namespace {

// With what FullLanes needs beyond the arithmetic.
struct Avx2FullWidth : Avx2Width {
    static constexpr unsigned kRegisters = 2;

    QUORVAN_INLINE static Vec Join(const __m128* slots) { return _mm256_set_m128(slots[1], slots[0]); }
    // The first two slots' worth of a rotation row of the bone's wide form.
    QUORVAN_INLINE static Vec Row(const float (&row)[16]) { return _mm256_load_ps(row); }
    QUORVAN_INLINE static Vec Broadcast(float f) { return _mm256_set1_ps(f); }

    // The components of each slot's source vector, each across its slot.
    template <class Slots, unsigned R>
    QUORVAN_INLINE static void Spread(const uint8_t* src, Vec (&x)[R], Vec (&y)[R], Vec (&z)[R]) {
        for (unsigned r = 0; r < R; ++r) {
            const Vec both = LoadSlots([&](unsigned k) { return src + Slots::kSrc[2 * r + k]; });
            x[r] = Splat<0>(both);
            y[r] = Splat<1>(both);
            z[r] = Splat<2>(both);
        }
    }

    // Lanes 0-2 of each skinned slot. Two slots whose vectors meet in the
    // destination go out as sixteen bytes and eight.
    template <class Slots, unsigned R, unsigned N>
    QUORVAN_INLINE static void Store(uint8_t* dst, const Vec (&sums)[N]) {
        for (unsigned r = 0; r < R; ++r) {
            const unsigned first = 2 * r, second = first + 1;
            uint8_t* at = dst + Slots::kDst[first];
            if (Slots::kPresent[second] && Slots::kDst[second] == Slots::kDst[first] + 12) {
                const Vec packed = _mm256_permutevar8x32_ps(sums[r], _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 6, 6));
                StoreXYZW(at, _mm256_castps256_ps128(packed));
                _mm_storel_pi(reinterpret_cast<__m64*>(at + 16), _mm256_extractf128_ps(packed, 1));
            } else {
                if (Slots::kPresent[first]) StoreXYZ(at, Slot(sums[r], 0));
                if (Slots::kPresent[second]) StoreXYZ(dst + Slots::kDst[second], Slot(sums[r], 1));
            }
        }
    }
};

}  // namespace

const SkinningKernelTable kAvx2FullKernels =
    BuildSkinningTable<FullSkinning::Family<FullSkinning::Lanes<Avx2FullWidth>>>();
