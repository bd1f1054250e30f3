#include "RandomSkinningJob.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace {

bool Meet(int64_t low, int64_t high, int64_t otherLow, int64_t otherHigh) { return low < otherHigh && otherLow < high; }

// NaNs, infinities and zeros of both signs: the first NaN is the one the
// processor makes of an invalid operation, the later ones come only with
// `anyNaN`.
float Sometimes(std::mt19937& random, unsigned rarity, bool anyNaN, float usual) {
    static const uint32_t kSpecials[] = {0xFFC00000, 0x7F800000, 0xFF800000, 0x80000000, 0x00000000,
                                         0x7FC00000, 0x7FC0BEEF, 0xFF8A0001, 0x7F800001, 0xFFFFFFFF};
    if (rarity == 0 || random() % rarity != 0) return usual;
    float f;
    std::memcpy(&f, &kSpecials[random() % (anyNaN ? 10 : 5)], 4);
    return f;
}

}  // namespace

float RandomFloat(std::mt19937& random, int low, int high) {
    const uint32_t exponent = static_cast<uint32_t>(127 + low + static_cast<int>(random() % (high - low)));
    const uint32_t bits = (random() & 0x807FFFFFu) | exponent << 23;
    float f;
    std::memcpy(&f, &bits, 4);
    return f;
}

SkinningJob ArenaJob::On(std::vector<uint8_t>& copy) const {
    SkinningJob moved = job;
    moved.srcVertex = copy.data() + (job.srcVertex - arena.data());
    moved.dstVertex = copy.data() + (job.dstVertex - arena.data());
    if (job.hasAux) moved.auxBase = copy.data() + (job.auxBase - arena.data());
    return moved;
}

ArenaJob RandomJob(std::mt19937& random, const JobShape& shape) {
    const auto below = [&](uint32_t n) { return static_cast<int64_t>(random() % n); };
    const int64_t count = 1 + below(shape.maxVertices), extra = shape.extraSize;
    const bool aux = shape.features & kSkinAux, packed = shape.features & kSkinPacked;
    int64_t srcStride, dstStride, src0, dst0, auxAt, auxOffset, srcExtra, dstExtra, auxSize, end;
    bool aliased;
    do {
        // 0 and 1: apart; 2: the destination shifted into the source; 3: the
        // auxiliary stream inside the destination.
        const int layout = static_cast<int>(below(4));
        const bool shortSource = below(4) == 0;
        // Where stores land on bytes that are read, or source vertices
        // overlap, every word is written whole, so no float read is put
        // together from two.
        aliased = layout >= 2 || shortSource;
        const int64_t grid = aliased ? ~int64_t{3} : ~int64_t{0};
        srcExtra = below(65) & grid;
        auxSize = aux ? below(13) & grid : 0;
        dstExtra = (below(73) - 16) & grid;
        srcStride = (shortSource ? 4 + below(57) : 64 + extra + below(8)) & grid;
        dstStride =
            (below(4) == 0 ? 8 + below(45) : std::max<int64_t>(52, dstExtra + extra + auxSize) + below(8)) & grid;
        if (below(4) == 0) srcStride = -srcStride;
        if (below(4) == 0) dstStride = -dstStride;
        // Each vertex reads at most 160 bytes from its start and stores from
        // 16 bytes before it to 160 after.
        const auto first = [&](int64_t at, int64_t stride) { return at + (stride < 0 ? -stride * (count - 1) : 0); };
        const auto span = [&](int64_t stride) { return std::abs(stride) * (count - 1) + 176; };
        src0 = first(128, srcStride);
        if (layout == 2) {
            dstStride = srcStride;
            dst0 = src0 + (below(49) - 24) * 4;
        } else {
            dst0 = first(128 + span(srcStride) + 16 + (below(16) & grid), dstStride);
        }
        const int64_t dstEnd = std::max(128 + span(srcStride), dst0 - first(0, dstStride) + span(dstStride));
        auxOffset = below(16) & grid;
        auxAt = layout == 3 ? (dst0 - first(0, dstStride) + below(static_cast<uint32_t>(span(dstStride)))) & grid
                            : dstEnd + 16;
        end = std::max(dstEnd, auxAt + auxOffset + count * auxSize) + 64;
        // A palette of fewer than 256 bones keeps every store off the bone
        // bytes of the vertices after it.
        bool overlapping = false;
        for (int64_t v = 0; v < count; ++v) {
            const int64_t s = src0 + v * srcStride;
            for (int64_t u = 0; u < v && shape.bones < 256; ++u) {
                const int64_t store = dst0 + u * dstStride;
                overlapping |= Meet(store + std::min<int64_t>(0, dstExtra),
                                    store + std::max<int64_t>(52, dstExtra + extra + auxSize), s + 12, s + 16);
            }
        }
        if (!overlapping) break;
    } while (true);

    ArenaJob a;
    a.arena.resize(static_cast<std::size_t>(end));
    // Bytes that may be read as floats hold no NaN or infinity.
    const uint32_t top = aliased ? 127 : 256;
    for (uint8_t& b : a.arena) b = static_cast<uint8_t>(random() % top);
    // Floats first, then weights and packed directions, then bones, so that
    // where source vertices overlap every bone byte is one written as such.
    const auto vertex = [&](int64_t v) { return a.arena.data() + src0 + v * srcStride; };
    for (int64_t v = 0; v < count; ++v)
        for (uint32_t at : {0u, 20u, 32u, 44u})
            for (uint32_t k = 0; k < 12; k += 4) {
                const float f = Sometimes(random, shape.specialRarity, shape.anyNaN,
                                          at == 0 ? RandomFloat(random, -4, 6) : RandomFloat(random, -6, 1));
                std::memcpy(vertex(v) + at + k, &f, 4);
            }
    for (int64_t v = 0; v < count; ++v) {
        for (int k = 16; k < 20; ++k) vertex(v)[k] = random() % 4 == 0 ? 0 : static_cast<uint8_t>(random() % top);
        if (packed)
            for (int k = 20; k < 32; ++k) vertex(v)[k] = static_cast<uint8_t>(random() % (k % 4 == 3 ? top : 256));
    }
    for (int64_t v = 0; v < count; ++v)
        for (int k = 12; k < 16; ++k) vertex(v)[k] = static_cast<uint8_t>(random() % std::min(shape.bones, top));

    // Any non-zero flag byte counts as set; the feature bits are in the flags' order.
    uint8_t flags[4];
    for (unsigned k = 0; k < 4; ++k) flags[k] = shape.features >> k & 1 ? static_cast<uint8_t>(1 + random() % 255) : 0;
    // Without hasAux the auxiliary fields must not be read at all.
    a.job = {a.arena.data() + src0, uint32_t(srcStride), uint32_t(srcExtra), a.arena.data() + dst0, uint32_t(dstStride),
             uint32_t(dstExtra), aux ? uint32_t(auxOffset) : 0xBEEF0000u, aux ? uint32_t(auxSize) : 0xDEAD0000u,
             aux ? a.arena.data() + auxAt : nullptr, shape.extraSize, uint32_t(count), flags[0], flags[1], flags[2],
             flags[3]};
    return a;
}

std::array<float, 12> RandomMatrix(std::mt19937& random) {
    std::array<float, 12> m;
    for (int k = 0; k < 12; ++k) m[k] = k < 9 ? RandomFloat(random, -6, 1) : RandomFloat(random, -2, 6);
    return m;
}

bool EndsAt(const SkinningJob& copy, const SkinningJob& job) {
    SkinningJob end = job;
    end.srcVertex += static_cast<int32_t>(job.srcStride) * static_cast<int64_t>(job.vertexCount);
    end.dstVertex += static_cast<int32_t>(job.dstStride) * static_cast<int64_t>(job.vertexCount);
    if (job.hasAux) end.auxOffset += job.auxSize * job.vertexCount;
    end.vertexCount = 0;
    // Up to the last flag byte: the padding a 64-bit build adds is no field.
    return std::memcmp(&copy, &end, offsetof(SkinningJob, packedDirections) + 1) == 0;
}

std::string Difference(const std::vector<uint8_t>& got, const std::vector<uint8_t>& expected) {
    const auto at = std::mismatch(got.begin(), got.end(), expected.begin());
    if (at.first == got.end()) return "";
    return "byte " + std::to_string(at.first - got.begin()) + " of " + std::to_string(got.size()) + " is " +
           std::to_string(*at.first) + ", expected " + std::to_string(*at.second);
}
