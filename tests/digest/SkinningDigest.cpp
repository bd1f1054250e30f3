// One number for every byte that a fixed set of random skinning jobs leaves
// behind. The thread-safe calls promise the same bytes on every processor,
// vector unit and build, so the number must be the same wherever this runs;
// any byte that differs, written or not meant to be written, changes it.
//
// Everything is made from integers: a float comes from its bit pattern, so
// the jobs do not depend on the compiler, the standard library or the
// processor that makes them.
//
//   SkinningDigestProgram [expected.txt]
//
// With a file, exits with 1 unless its first line is the digest line (or the
// digest alone).

#include <Quorvan/QuorvanSkinning.h>

#include <algorithm>
#include <cfenv>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>

namespace {

// The source vertex as the calls read it: three position floats, four bone
// bytes, four weight bytes, then the directions as floats (normal, tangent,
// binormal, 12 bytes each) or packed (4 bytes each). Nothing here needs the
// destination's layout: every byte of the buffers is hashed.
constexpr int64_t kSrcBones = 12, kSrcWeights = 16, kSrcDirections = 20;
constexpr int64_t kPackedDirectionsEnd = 32;

// Room around every region of an arena, for the stores a job may start
// before its first vertex, the lanes read past its last, and canaries.
constexpr int64_t kSlack = 48;
// Bytes a vertex may reach from its address: reads of pass-through bytes at
// offsets up to 64, stores up to 16 bytes before it and, with pass-through
// and auxiliary bytes behind the directions, 152 after it.
constexpr int64_t kSrcReach = 160, kDstReach = 168, kDstLead = 16;
constexpr int64_t kArenaBytes = 8192;

struct Random {  // splitmix64
    uint64_t state;
    uint64_t Next() {
        uint64_t z = (state += 0x9E3779B97F4A7C15u);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }
    uint32_t Below(uint32_t n) { return static_cast<uint32_t>(Next() % n); }
    bool OneIn(uint32_t n) { return Below(n) == 0; }
};

// A float of random sign and mantissa with magnitude in [2^low, 2^high).
uint32_t FloatBits(Random& r, int low, int high) {
    const uint32_t exponent = static_cast<uint32_t>(127 + low + static_cast<int>(r.Below(high - low)));
    return (static_cast<uint32_t>(r.Next()) & 0x807FFFFFu) | exponent << 23;
}

// NaNs of both signs, quiet and signalling, with payloads; infinities, the
// largest float, signed zeros, subnormals.
constexpr uint32_t kSpecials[] = {0x7FC00000, 0xFFC00000, 0x7FC0BEEF, 0xFF8A0001, 0x7F800001, 0xFFFFFFFF, 0x7F800000,
                                  0xFF800000, 0x7F7FFFFF, 0x80000000, 0x00000000, 0x00000001, 0x807FFFFF, 0x00400000};

void Put(uint8_t* at, uint32_t bits) { std::memcpy(at, &bits, 4); }

float AsFloat(uint32_t bits) {
    float f;
    std::memcpy(&f, &bits, 4);
    return f;
}

// Palette 0: every bone random, rotations up to 4 in magnitude, so that most
// quantise beyond a byte and wrap. Palette 1: the identity but for every
// eighth bone, and bone 255 of edge values (exactly 1 and -1, a product
// beyond 64 bits, the largest float, a subnormal, -0).
QuorvanSkinningPalette palettes[2];

bool LoadPalettes(Random& r) {
    bool done = true;
    for (QuorvanSkinningPalette& palette : palettes)
        done &= QuorvanSkinningResetPalette(&palette) == QuorvanSkinningDone;
    for (uint32_t bone = 0; bone < 256; ++bone)
        for (int p = 0; p < 2; ++p) {
            if (p == 1 && bone % 8 != 1) continue;
            float m[12];
            for (int k = 0; k < 12; ++k) m[k] = AsFloat(k < 9 ? FloatBits(r, -4, 2) : FloatBits(r, -2, 6));
            done &= QuorvanSkinningSetMatrix(&palettes[p], bone, m) == QuorvanSkinningDone;
        }
    const uint32_t edges[12] = {0x3F800000, 0xBF800000, 0x62800000, 0x80000001, 0x7F7FFFFF, 0x3F7FFFFF,
                                0xBF800001, 0x80000000, 0x3F000000, 0x80000000, 0x00000003, 0x40400000};
    float m[12];
    for (int k = 0; k < 12; ++k) m[k] = AsFloat(edges[k]);
    return done && QuorvanSkinningSetMatrix(&palettes[1], 255, m) == QuorvanSkinningDone;
}

// The first vertex of `count` that walk by `stride` from a region whose
// vertices start at `start`.
int64_t First(int64_t start, int64_t stride, int64_t count) { return start + (stride < 0 ? -stride * (count - 1) : 0); }

alignas(64) uint8_t arena[kArenaBytes];
alignas(64) uint8_t splitArena[kArenaBytes];

enum Layout { kApart, kInPlace, kAuxInDestination };

// A random job of one leaf (extraSize and the four flags) in `arena`: the
// source region, then the destination region, then the auxiliary one. Its
// destination lies apart, or over the source shifted by a few bytes, or
// holds the auxiliary stream, which later vertices then read after earlier
// ones stored there; a pass-through or auxiliary copy may then land on its
// own source.
struct Draw {
    QuorvanSkinningJob job;
    QuorvanSkinningCheckExtents extents;
    int64_t bytes;
};

Draw DrawJob(Random& r, uint32_t extra, unsigned flags, QuorvanSkinningCheckCall call, uint32_t& refused) {
    const bool aux = flags & 4, packed = flags & 8;
    for (uint32_t refusals = 0;;) {
        const int64_t n = r.OneIn(4) ? 1 : 2 + r.Below(5);
        const Layout layout = static_cast<Layout>(r.Below(aux ? 3 : 2));
        const int64_t srcExtra = r.Below(65), dstExtra = static_cast<int64_t>(r.Below(73)) - 16;
        const int64_t auxSize = aux ? r.Below(13) : 0, auxOffset = r.Below(16);
        // Short strides make source vertices share bytes, or destination
        // vertices store over each other.
        int64_t srcStride = r.OneIn(4) ? 4 + r.Below(57) : 64 + extra + r.Below(8);
        int64_t dstStride =
            r.OneIn(4) ? 8 + r.Below(45) : std::max<int64_t>(52, dstExtra + extra + auxSize) + r.Below(8);
        if (r.OneIn(4)) srcStride = -srcStride;
        if (r.OneIn(4)) dstStride = -dstStride;
        if (layout == kInPlace) dstStride = srcStride;

        const int64_t srcRegion = kSlack, srcBytes = 2 * kSlack + std::abs(srcStride) * (n - 1) + kSrcReach;
        const int64_t dstRegion = srcRegion + srcBytes + kSlack;
        const int64_t dstBytes = 2 * kSlack + kDstLead + std::abs(dstStride) * (n - 1) + kDstReach;
        const int64_t auxRegion = dstRegion + dstBytes + kSlack, auxStream = auxOffset + n * auxSize;
        const int64_t auxBytes = 2 * kSlack + auxStream, bytes = auxRegion + auxBytes + kSlack;
        const int64_t src0 = First(srcRegion + kSlack, srcStride, n);
        const int64_t dst0 = layout == kInPlace ? src0 + static_cast<int64_t>(r.Below(49)) - 24
                                                : First(dstRegion + kSlack + kDstLead, dstStride, n);
        const int64_t auxAt =
            layout == kAuxInDestination ? dstRegion + r.Below(dstBytes - auxStream) : auxRegion + kSlack;
        // Canaries everywhere, then random source and auxiliary bytes, then
        // the vertices' floats, packed directions, weights and bones.
        for (int64_t k = 0; k < bytes; ++k) arena[k] = static_cast<uint8_t>(0xA5 ^ (k * 0x3D));
        for (int64_t k = 0; k < srcBytes; ++k) arena[srcRegion + k] = static_cast<uint8_t>(r.Next());
        for (int64_t k = 0; k < auxBytes && layout != kAuxInDestination; ++k)
            arena[auxRegion + k] = static_cast<uint8_t>(r.Next());
        // Some jobs have special floats; some have every other vertex's
        // vectors of zeros, each of one sign, whose sums are -0 or +0 by the
        // signs of every product and of the carry the vertex before leaves.
        const uint32_t rarity = r.OneIn(3) ? 2 + r.Below(12) : 0;
        const bool zeros = r.OneIn(3);
        for (int64_t v = 0; v < n; ++v) {
            uint8_t* vertex = arena + src0 + v * srcStride;
            const bool zero = zeros && v % 2 == 1;
            for (int64_t at : {int64_t{0}, kSrcDirections, kSrcDirections + 12, kSrcDirections + 24}) {
                const uint32_t sign = r.OneIn(2) ? 0x80000000u : 0;
                for (int64_t k = at; k < at + 12; k += 4) {
                    const uint32_t usual = at == 0 ? FloatBits(r, -4, 6) : FloatBits(r, -6, 1);
                    const uint32_t special =
                        rarity && r.OneIn(rarity) ? kSpecials[r.Below(std::size(kSpecials))] : usual;
                    Put(vertex + k, zero ? sign : special);
                }
            }
            for (int64_t k = kSrcDirections; k < kPackedDirectionsEnd && packed; ++k)
                vertex[k] = static_cast<uint8_t>(r.Next());
            // A zero weight byte ends the influences early; about half the vertices
            // run all four.
            for (int64_t k = kSrcWeights; k < kSrcWeights + 4; ++k)
                vertex[k] = r.OneIn(5) ? 0 : static_cast<uint8_t>(r.Next());
            for (int64_t k = kSrcBones; k < kSrcBones + 4; ++k) vertex[k] = static_cast<uint8_t>(r.Next());
        }

        // Any non-zero flag byte counts as set. Without hasAux the auxiliary
        // fields are never read, so they hold nonsense.
        uint8_t flag[4];
        for (unsigned k = 0; k < 4; ++k) flag[k] = flags >> k & 1 ? static_cast<uint8_t>(1 + r.Below(255)) : 0;
        Draw d;
        d.job = {arena + src0, uint32_t(srcStride), uint32_t(srcExtra), arena + dst0, uint32_t(dstStride),
                 uint32_t(dstExtra), aux ? uint32_t(auxOffset) : 0xBEEF0000u, aux ? uint32_t(auxSize) : 0xDEAD0000u,
                 aux ? arena + auxAt : nullptr, extra, uint32_t(n), flag[0], flag[1], flag[2], flag[3]};
        const int64_t dstAt = layout == kInPlace ? srcRegion : dstRegion;
        d.extents = {arena + srcRegion, size_t(srcBytes), arena + dstAt,
                     size_t(layout == kInPlace ? srcBytes : dstBytes),
                     arena + (layout == kAuxInDestination ? dstRegion : auxRegion),
                     size_t(layout == kAuxInDestination ? dstBytes : auxBytes), 256};
        d.bytes = bytes;
        QuorvanSkinningCheckAnswer answer;
        if (QuorvanSkinningCheck(&d.job, call, &d.extents, &answer) == QuorvanSkinningCheckFine) return d;
        // A few refusals are the dice; many mean a checker that refuses
        // every job of this leaf.
        ++refused;
        if (++refusals == 64) {
            char text[160];
            QuorvanSkinningCheckText(&answer, text, sizeof text);
            std::fprintf(stderr, "extraSize %u, flags %u: the checker refuses job after job: %s\n", extra, flags, text);
            std::exit(1);
        }
    }
}

QuorvanSkinningJob Moved(const QuorvanSkinningJob& job, uint8_t* to) {
    QuorvanSkinningJob moved = job;
    moved.srcVertex = to + (job.srcVertex - arena);
    moved.dstVertex = to + (job.dstVertex - arena);
    if (job.hasAux) moved.auxBase = to + (job.auxBase - arena);
    return moved;
}

// The job again in `splitArena`, cut into ranges that run in a scrambled
// order (and are stitched, for SkinningFull). Returns how many ranges it made,
// 0 when a call failed.
uint32_t RunInRanges(Random& r, bool single, const QuorvanSkinningPalette& palette, const QuorvanSkinningJob& job) {
    constexpr uint32_t kParts[] = {2, 3, 7};
    QuorvanSkinningRange ranges[8];
    const QuorvanSkinningJob moved = Moved(job, splitArena);
    const uint32_t count = QuorvanSkinningSplit(&moved, kParts[r.Below(3)], ranges);
    uint32_t order[8];
    for (uint32_t i = 0; i < count; ++i) order[i] = i;
    for (uint32_t i = count; i > 1; --i) std::swap(order[i - 1], order[r.Below(i)]);
    bool ran = true;
    for (uint32_t i = 0; i < count; ++i)
        ran &= (single ? QuorvanSkinningSingle(&palette, &ranges[order[i]].job)
                       : QuorvanSkinningFullRange(&palette, &ranges[order[i]])) == QuorvanSkinningDone;
    if (!single) ran &= QuorvanSkinningStitch(&palette, ranges, count) == QuorvanSkinningDone;
    return ran ? count : 0;
}

struct Digest {  // FNV-1a, 64 bits
    uint64_t hash = 0xCBF29CE484222325u, bytes = 0;
    void Add(const uint8_t* p, int64_t n) {
        for (int64_t k = 0; k < n; ++k) hash = (hash ^ p[k]) * 0x100000001B3u;
        bytes += static_cast<uint64_t>(n);
    }
};

}  // namespace

int main(int argc, char** argv) {
    const char* expectedFile = argc > 1 ? argv[1] : nullptr;
    const char* unit = QuorvanSkinningVectorUnit();
    Random r{0x5EED0F5C1A2B3C4Du};
    if (unit == nullptr || !LoadPalettes(r)) {
        std::fprintf(stderr, "no vector unit to skin on\n");
        return 1;
    }

    Digest digest;
    uint32_t jobs = 0, failures = 0, refused = 0, split = 0, overlapping = 0;
    constexpr int kRoundings[] = {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO};
    for (int single = 0; single < 2; ++single)
        for (uint32_t extra = 0; extra <= 84; extra += 4)
            for (unsigned flags = 0; flags < 16; ++flags, ++jobs) {
                const auto fail = [&](const std::string& what) {
                    std::fprintf(stderr, "job %u (%s, extraSize %u, flags %u): %s\n", jobs, single ? "Single" : "Full",
                                 extra, flags, what.c_str());
                    ++failures;
                };
                const QuorvanSkinningCheckCall call =
                    single ? QuorvanSkinningCheckVectorSingle : QuorvanSkinningCheckVectorFull;
                const Draw d = DrawJob(r, extra, flags, call, refused);
                const QuorvanSkinningPalette& palette = palettes[r.Below(2)];
                QuorvanSkinningCheckAnswer answer;
                QuorvanSkinningCheck(&d.job, call, &d.extents, &answer);
                overlapping += answer.notes != 0;

                // No vertices means 2^32 of them to the calls: never run, but
                // refused by the checker and kept whole by the split.
                QuorvanSkinningJob none = d.job;
                none.vertexCount = 0;
                QuorvanSkinningRange whole[7];
                if (QuorvanSkinningCheck(&none, call, &d.extents, &answer) != QuorvanSkinningCheckNoVertices ||
                    QuorvanSkinningSplit(&none, 7, whole) != 1 || whole[0].job.vertexCount != 0)
                    fail("a job of no vertices is not refused and kept whole");

                // Whatever rounding the host runs with, the calls round to
                // nearest.
                std::fesetround(kRoundings[r.Below(4)]);
                std::memcpy(splitArena, arena, size_t(d.bytes));
                if ((single ? QuorvanSkinningSingle : QuorvanSkinningFull)(&palette, &d.job) != QuorvanSkinningDone)
                    fail("the call did not run");
                const uint32_t ranges = RunInRanges(r, single, palette, d.job);
                if (ranges == 0) fail("a range did not run");
                std::fesetround(FE_TONEAREST);
                split += ranges > 1;
                digest.Add(arena, d.bytes);
                digest.Add(splitArena, d.bytes);
            }

    char line[96];
    std::snprintf(line, sizeof line, "skinning digest: %016" PRIx64 " (%u jobs, %" PRIu64 " bytes)", digest.hash, jobs,
                  digest.bytes);
    std::printf("%s\n", line);
    std::printf("on %s: %u jobs over what they read, %u split, %u drawn again for the checker\n", unit, overlapping,
                split, refused);
    if (expectedFile != nullptr) {
        std::ifstream in(expectedFile);
        std::string expected;
        std::getline(in, expected);
        while (!expected.empty() && (expected.back() == '\r' || expected.back() == ' ')) expected.pop_back();
        if (expected != line && expected != std::string(line).substr(17, 16)) {
            std::fprintf(stderr, "expected: %s\n     got: %s\n", expected.c_str(), line);
            return 1;
        }
    }
    return failures != 0;
}
