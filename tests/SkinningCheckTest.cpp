// QuorvanSkinningCheck and its text: wrong jobs with the answers worked out
// by hand, and random correct jobs whose real calls stay inside buffers cut
// exactly to what the check allows.

#include <gtest/gtest.h>

#include <Quorvan/QuorvanSkinning.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#ifdef __linux__
#include <sys/mman.h>
#include <unistd.h>
#endif

#include "Canary.h"
#include "InterfaceSkinning.h"

namespace {

constexpr QuorvanSkinningCheckCall kVF = QuorvanSkinningCheckVectorFull, kVS = QuorvanSkinningCheckVectorSingle,
                                   kSF = QuorvanSkinningCheckScalarFull, kSS = QuorvanSkinningCheckScalarSingle;

// Four vertices 64 bytes apart into 48-byte ones, each with one influence
// on bone 0 (byte 17 is 0): inside the buffers with every flag set.
struct Buffers {
    uint8_t src[512] = {}, dst[512] = {}, aux[64] = {};
    SkinningJob job{src, 64, 0, dst, 48, 0, 0, 0, nullptr, 0, 4, 0, 0, 0, 0};
    QuorvanSkinningCheckExtents extents{src, 256, dst, 192, aux, sizeof aux, 256};
};

struct WrongJob {
    const char* what;
    QuorvanSkinningCheckCall call;
    void (*change)(Buffers&);
    QuorvanSkinningCheckAnswer expected;  // problem, notes, vertex, access, influence, value, bytes
    const char* text;                     // or nullptr
};

enum : uint32_t {
    kFine = QuorvanSkinningCheckFine, kUnsupported = QuorvanSkinningCheckUnsupportedExtraSize,
    kNoVertices = QuorvanSkinningCheckNoVertices, kReadBefore = QuorvanSkinningCheckReadBeforeBuffer,
    kReadPast = QuorvanSkinningCheckReadPastBuffer, kStoreBefore = QuorvanSkinningCheckStoreBeforeBuffer,
    kStorePast = QuorvanSkinningCheckStorePastBuffer, kBone = QuorvanSkinningCheckUnloadedBone,
    kPosition = QuorvanSkinningCheckPosition, kInfluences = QuorvanSkinningCheckInfluences,
    kNormal = QuorvanSkinningCheckNormal, kTangent = QuorvanSkinningCheckTangent,
    kBinormal = QuorvanSkinningCheckBinormal, kPassThrough = QuorvanSkinningCheckPassThrough,
    kAuxiliary = QuorvanSkinningCheckAuxiliary, kOverSource = QuorvanSkinningCheckOverlapsSource,
    kOverAux = QuorvanSkinningCheckOverlapsAuxiliary
};

void Directions(Buffers& s) { s.job.hasNormal = s.job.hasTangents = 1; }
void ShortSource(Buffers& s) { s.job.srcStride = 24, s.extents.sourceBytes = 3 * 24 + 20; }
void PackedNormal(Buffers& s) { s.job.hasNormal = s.job.packedDirections = 0x80, s.extents.sourceBytes = 3 * 64 + 23; }
// Positions alone, four pass-through bytes just before each.
void ExtraWordBefore(Buffers& s) {
    s.job.extraSize = 4, s.job.srcExtraOffset = 20, s.job.dstExtraOffset = uint32_t(-4), s.job.dstStride = 16;
    s.job.dstVertex = s.dst + 4, s.extents.destinationBytes = 4 + 3 * 16 + 12;
}
void ThirdStep(Buffers& s) {
    s.extents.bonesLoaded = 14;
    for (int v = 0; v < 4; ++v) s.src[64 * v + 15] = 200;  // never used: byte 19 ends every vertex before
    uint8_t* v3 = s.src + 3 * 64;
    v3[12] = 1, v3[13] = 2, v3[14] = 14, v3[17] = 127, v3[18] = 128;
}
void Bone128At3(Buffers& s) { s.src[3 * 64 + 12] = 128; }
void Aux(Buffers& s) { s.job.hasAux = 1, s.job.auxBase = s.aux, s.job.dstExtraOffset = 12, s.job.auxSize = 4; }
void InPlace(Buffers& s) {
    s.job.dstVertex = s.src, s.job.dstStride = 64, s.extents.destination = s.src, s.extents.destinationBytes = 256;
}

const WrongJob kWrongJobs[] = {
    {"float binormal lane to byte 60", kVF, [](Buffers& s) { Directions(s), s.extents.sourceBytes = 3 * 64 + 56; },
     {kReadPast, 0, 3, kBinormal, 0, 0, 4}, "vertex 3: the binormal read ends 4 bytes past the source buffer"},
    {"scalar: no tangents", kSF, [](Buffers& s) { Directions(s), s.extents.sourceBytes = 3 * 64 + 56; }, {}, "fine"},
    {"backwards, the last vertex leaves", kVS,
     [](Buffers& s) { s.job.srcVertex = s.src + 192, s.job.srcStride = uint32_t(-64), s.extents.source = s.src + 4; },
     {kReadBefore, 0, 3, kPosition, 0, 0, 4}, "vertex 3: the position read starts 4 bytes before the source buffer"},
    {"end test byte after the weights", kVF, ShortSource,
     {kReadPast, 0, 3, kInfluences, 0, 0, 1}, "vertex 3: the bone and weight read ends 1 byte past the source buffer"},
    {"single: one bone byte", kVS, ShortSource, {}, nullptr},
    {"scalar packed normal's range byte", kSS, PackedNormal, {kReadPast, 0, 3, kNormal, 0, 0, 1}, nullptr},
    {"vector packed normal: three bytes", kVS, PackedNormal, {}, nullptr},
    {"single spill lane", kVS, ExtraWordBefore,
     {kStorePast, 0, 3, kPosition, 0, 0, 4}, "vertex 3: the position store ends 4 bytes past the destination buffer"},
    {"full: three floats", kVF, ExtraWordBefore, {}, nullptr},
    {"single tangent lane", kVS, [](Buffers& s) { Directions(s), s.extents.destinationBytes = 3 * 48 + 28; },
     {kStorePast, 0, 3, kTangent, 0, 0, 12}, "vertex 3: the tangent store ends 12 bytes past the destination buffer"},
    {"pass-through read", kSF,
     [](Buffers& s) { s.job.extraSize = 8, s.job.srcExtraOffset = 60, s.job.dstExtraOffset = 12; },
     {kReadPast, 0, 3, kPassThrough, 0, 0, 4}, nullptr},
    {"pass-through store", kVF,
     [](Buffers& s) { s.job.extraSize = 8, s.job.srcExtraOffset = 40, s.job.dstExtraOffset = uint32_t(-8); },
     {kStoreBefore, 0, 0, kPassThrough, 0, 0, 8}, nullptr},
    {"auxiliary read", kSS,
     [](Buffers& s) { Aux(s), s.job.auxSize = 6, s.job.auxOffset = 4, s.extents.auxiliaryBytes = 26; },
     {kReadPast, 0, 3, kAuxiliary, 0, 0, 2}, "vertex 3: the auxiliary read ends 2 bytes past the auxiliary buffer"},
    {"auxiliary store", kVS, [](Buffers& s) { Aux(s), s.job.dstExtraOffset = 44, s.job.auxSize = 8; },
     {kStorePast, 0, 3, kAuxiliary, 0, 0, 4}, "vertex 3: the auxiliary store ends 4 bytes past the destination buffer"},
    {"auxiliary offset past 2^31", kVF,
     [](Buffers& s) { Aux(s), s.job.auxOffset = 0x7FFFFFF0, s.job.auxSize = 8, s.extents.auxiliaryBytes = SIZE_MAX; },
     {kReadPast, 0, 2, kAuxiliary, 0, 0, 8}, nullptr},
    {"third step on bone byte 14", kVF, ThirdStep,
     {kBone, 0, 3, 0, 2, 14, 0}, "vertex 3: influence 2 uses bone 14, which is not loaded"},
    {"scalar third step", kSF, ThirdStep, {kBone, 0, 3, 0, 2, 14, 0}, nullptr},
    {"single: bone byte 12", kVS, ThirdStep, {}, nullptr},
    {"scalar palette of 128 bones", kSS, Bone128At3, {kBone, 0, 3, 0, 0, 128, 0}, nullptr},
    {"vector palette of 256", kVS, Bone128At3, {}, nullptr},
    {"bones before stores", kSS, [](Buffers& s) { Bone128At3(s), s.extents.destinationBytes = 3 * 48 + 11; },
     {kBone, 0, 3, 0, 0, 128, 0}, nullptr},
    {"bones after skinned reads", kSS, [](Buffers& s) { Bone128At3(s), s.extents.sourceBytes = 3 * 64 + 11; },
     {kReadPast, 0, 3, kPosition, 0, 0, 1}, nullptr},
    {"extraSize 6", kVF, [](Buffers& s) { s.job.extraSize = 6; },
     {kUnsupported, 0, 0, 0, 0, 6, 0}, "extraSize 6 is not one of 0, 4, ..., 84"},
    {"no vertices", kVS, [](Buffers& s) { s.job.vertexCount = 0; },
     {kNoVertices, 0, 0, 0, 0, 0, 0}, "vertexCount is 0"},
    {"stride -2^31, 2^32 - 1 vertices", kVF,
     [](Buffers& s) { s.job.srcStride = 0x80000000, s.job.vertexCount = 0xFFFFFFFF; },
     {kReadBefore, 0, 1, kPosition, 0, 0, 0x80000000},
     "vertex 1: the position read starts 2147483648 bytes before the source buffer"},
    {"in place", kVF, [](Buffers& s) { InPlace(s), s.extents.destinationBytes = 3 * 64 + 11; },
     {kStorePast, kOverSource, 3, kPosition, 0, 0, 1},
     "vertex 3: the position store ends 1 byte past the destination buffer; note: the destination overlaps the source"},
    {"auxiliary stream in the destination", kVS,
     [](Buffers& s) { Aux(s), s.job.auxBase = s.dst + 100, s.extents = {s.src, 256, s.dst, 192, s.dst, 192, 256}; },
     {kFine, kOverAux, 0, 0, 0, 0, 0}, "fine; note: the destination overlaps the auxiliary stream"},
    {"in place, the auxiliary stream in the source", kSF,
     [](Buffers& s) { InPlace(s), Aux(s), s.job.auxBase = s.src + 100, s.extents.auxiliary = s.src + 100; },
     {kFine, kOverSource | kOverAux, 0, 0, 0, 0, 0},
     "fine; note: the destination overlaps the source and the auxiliary stream"},
};

TEST(SkinningCheckTest, EachKindOfWrongJobGetsItsExactAnswer) {
    for (const WrongJob& w : kWrongJobs) {
        Buffers s;
        w.change(s);
        QuorvanSkinningCheckAnswer got;
        std::memset(&got, 0xCD, sizeof got);
        const QuorvanSkinningCheckAnswer& e = w.expected;
        EXPECT_EQ(QuorvanSkinningCheck(&s.job, w.call, &s.extents, &got), e.problem) << w.what;
        EXPECT_EQ(QuorvanSkinningCheck(&s.job, w.call, &s.extents, nullptr), e.problem) << w.what;
        EXPECT_TRUE(got.problem == e.problem && got.notes == e.notes && got.vertex == e.vertex &&
                    got.access == e.access && got.influence == e.influence && got.value == e.value &&
                    got.bytes == e.bytes)
            << w.what << ": " << got.problem << " notes " << got.notes << " vertex " << got.vertex << " access "
            << got.access << " influence " << got.influence << " value " << got.value << " bytes " << got.bytes;
        if (!w.text) continue;
        char line[160];
        EXPECT_EQ(QuorvanSkinningCheckText(&got, line, sizeof line), std::strlen(w.text)) << w.what;
        EXPECT_STREQ(line, w.text);
    }
}

TEST(SkinningCheckTest, MissingArgumentsAndShortTextBuffers) {
    Buffers s;
    QuorvanSkinningCheckAnswer got{};
    const std::string nothing = "nothing to check: the job or the buffer extents are missing";
    EXPECT_EQ(QuorvanSkinningCheck(nullptr, kVF, &s.extents, &got), QuorvanSkinningCheckNothingToCheck);
    EXPECT_EQ(QuorvanSkinningCheck(&s.job, kVF, nullptr, nullptr), QuorvanSkinningCheckNothingToCheck);
    EXPECT_EQ(QuorvanSkinningCheckText(nullptr, nullptr, 0), nothing.size());

    // A 64-bit count, and a line cut to the capacity: the rest of the buffer keeps its canary.
    got = {kReadPast, 0, 5, kNormal, 0, 0, 0x123456789AB};
    const std::string line = "vertex 5: the normal read ends 1250999896491 bytes past the source buffer";
    for (uint32_t capacity : {0u, 1u, 8u, uint32_t(line.size()), uint32_t(line.size() + 1)}) {
        std::vector<char> text(line.size() + 8, char(kCanary));
        EXPECT_EQ(QuorvanSkinningCheckText(&got, text.data(), capacity), line.size());
        const std::size_t kept = capacity ? std::min<std::size_t>(capacity - 1, line.size()) : 0;
        for (std::size_t k = 0; k < text.size(); ++k)
            EXPECT_EQ(text[k], k < kept ? line[k] : k == kept && capacity ? '\0' : char(kCanary)) << capacity;
    }
}

// Where a vertex's skinned reads and stores end, counted from its byte 0:
// the test's own account, call by call.
struct Reach {
    int64_t reads, stores;
};

Reach SkinnedReach(QuorvanSkinningCheckCall call, const SkinningJob& job) {
    const bool vector = call == kVF || call == kVS, full = call == kVF || call == kSF;
    const bool normal = job.hasNormal, tangents = vector && job.hasTangents, packed = job.packedDirections;
    // Up to the byte after the weights, the position's lane, or the bone byte after its floats.
    int64_t reads = full ? 21 : vector ? 16 : 13;
    if (normal) reads = std::max<int64_t>(reads, packed ? (vector ? 23 : 24) : (vector ? 36 : 32));
    if (tangents) reads = std::max<int64_t>(reads, packed ? 31 : 60);
    if (vector && !full && !(packed && (normal || tangents))) {
        // The last float vector's lane spills when pass-through words follow it (more than one after a lone normal).
        const int64_t last = tangents ? 48 : normal ? 24 : 12;
        return {reads, last + (job.extraSize > (normal && !tangents ? 4u : 0u) ? 4 : 0)};
    }
    return {reads, tangents ? (packed ? 24 : 48) : normal ? (packed ? 16 : 24) : 12};
}

// Bytes whose first or last one lies next to an unreadable page (on
// Linux), so that a read beyond them faults.
struct FencedBytes {
    FencedBytes(std::size_t size, [[maybe_unused]] bool fenceAfter) {
#ifdef __linux__
        const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        length = (size + page - 1) / page * page + 2 * page;
        map = static_cast<uint8_t*>(mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        if (map == MAP_FAILED || mprotect(map, page, PROT_NONE) || mprotect(map + length - page, page, PROT_NONE))
            throw std::bad_alloc();
        data = fenceAfter ? map + length - page - size : map + page;
    }
    ~FencedBytes() { munmap(map, length); }
    uint8_t* map;
    std::size_t length;
#else
        storage.resize(size);
        data = storage.data();
    }
    std::vector<uint8_t> storage;
#endif
    uint8_t* data;
};

using Skin = std::function<void(const SkinningJob&)>;

// Each real call of a checked one, every bone the identity: the thread-safe
// call and the interface's vector paths, or its scalar implementation.
void RunRealCalls(QuorvanSkinningCheckCall call, const QuorvanSkinningPalette& palette,
                  const std::function<void(const char*, const Skin&)>& run) {
    const bool full = call == kVF || call == kSF, vector = call == kVF || call == kVS;
    for (const InterfaceImplementation& implementation : InterfaceImplementations())
        if (implementation.vector == vector) {
            const InterfaceSkinner skinner = implementation.make();
            run(implementation.name.c_str(), full ? skinner.full : skinner.single);
        }
    if (vector && QuorvanSkinningVectorUnit())
        run("thread-safe", [&](const SkinningJob& j) {
            EXPECT_EQ((full ? QuorvanSkinningFull : QuorvanSkinningSingle)(&palette, &j), QuorvanSkinningDone);
        });
}

TEST(SkinningCheckTest, RandomJobsTheCheckPassesStayInsideTightBuffers) {
    std::mt19937 random(0xC4EC);
    const auto below = [&](uint32_t n) { return static_cast<int64_t>(random() % n); };
    static QuorvanSkinningPalette palette;
    QuorvanSkinningResetPalette(&palette);

    for (int n = 0; n < 1200; ++n) {
        SCOPED_TRACE("job " + std::to_string(n));
        const auto call = static_cast<QuorvanSkinningCheckCall>(n % 4);
        SkinningJob job{};
        job.vertexCount = static_cast<uint32_t>(1 + below(6));
        job.extraSize = static_cast<uint32_t>(4 * below(22));
        job.srcStride = static_cast<uint32_t>(below(4) == 0 ? -below(120) : below(120));
        job.dstStride = static_cast<uint32_t>(below(4) == 0 ? -below(120) : below(120));
        job.srcExtraOffset = static_cast<uint32_t>(below(97) - 16);
        job.dstExtraOffset = static_cast<uint32_t>(below(81) - 16);
        for (uint8_t* flag = &job.hasNormal; flag <= &job.packedDirections; ++flag)
            *flag = static_cast<uint8_t>(below(2) * (1 + below(255)));
        // Without hasAux the auxiliary fields are not looked at.
        job.auxOffset = job.hasAux ? static_cast<uint32_t>(below(17)) : 0xBEEF0000u;
        job.auxSize = job.hasAux ? static_cast<uint32_t>(below(13)) : 0xDEAD0000u;

        // The buffers: every vertex's skinned bytes and, where there are
        // any, its pass-through and auxiliary ones, wherever they lie.
        const Reach reach = SkinnedReach(call, job);
        const int64_t extra = job.extraSize, aux = job.hasAux ? job.auxSize : 0;
        const auto extent = [&](int64_t skinned, uint32_t at, int64_t size, uint32_t stride, int64_t(&out)[2]) {
            const int64_t low = size ? std::min<int64_t>(0, int32_t(at)) : 0;
            const int64_t high = size ? std::max<int64_t>(skinned, int32_t(at) + size) : skinned;
            out[0] = INT64_MAX, out[1] = INT64_MIN;
            for (int64_t k = 0; k < job.vertexCount; ++k) {
                out[0] = std::min(out[0], k * int32_t(stride) + low);
                out[1] = std::max(out[1], k * int32_t(stride) + high);
            }
        };
        int64_t read[2], stored[2];
        extent(reach.reads, job.srcExtraOffset, extra, job.srcStride, read);
        extent(reach.stores, job.dstExtraOffset, extra + aux, job.dstStride, stored);
        const std::size_t srcBytes = std::size_t(read[1] - read[0]), dstBytes = std::size_t(stored[1] - stored[0]);
        FencedBytes src(srcBytes, n % 8 < 4);
        for (std::size_t k = 0; k < srcBytes; ++k) src.data[k] = static_cast<uint8_t>(random());
        job.srcVertex = src.data - read[0];
        for (int64_t v = 0; v < job.vertexCount; ++v)  // bones 0 to 7, in the bone bytes the call reads
            for (int64_t b = 12; b < std::min<int64_t>(16, reach.reads); ++b)
                src.data[v * int32_t(job.srcStride) - read[0] + b] = random() % 8;
        std::vector<uint8_t> auxBytes(std::size_t(16 + aux * job.vertexCount));
        if (job.hasAux) job.auxBase = auxBytes.data();
        const QuorvanSkinningCheckExtents extents{src.data, srcBytes, nullptr, dstBytes,
                                                  auxBytes.data() + (job.hasAux ? job.auxOffset : 0),
                                                  std::size_t(aux * job.vertexCount), 8};

        RunRealCalls(call, palette, [&](const char* name, const Skin& skin) {
            CanaryBuffer dst(dstBytes);
            SkinningJob j = job;
            j.dstVertex = dst.data() - stored[0];
            QuorvanSkinningCheckExtents e = extents;
            e.destination = dst.data();
            QuorvanSkinningCheckAnswer answer;
            ASSERT_EQ(QuorvanSkinningCheck(&j, call, &e, &answer), QuorvanSkinningCheckFine);
            EXPECT_EQ(answer.notes, 0u);
            skin(j);
            EXPECT_EQ(dst.FirstGuardHit(), -1) << name;

            // One byte less at either end of a buffer is a problem.
            using Extents = QuorvanSkinningCheckExtents;
            const auto shrunk = [&](const void* Extents::*start, std::size_t Extents::*bytes, bool first) {
                Extents less = e;
                if (first) less.*start = static_cast<const uint8_t*>(less.*start) + 1;
                --(less.*bytes);
                return QuorvanSkinningCheck(&j, call, &less, nullptr);
            };
            EXPECT_EQ(shrunk(&Extents::destination, &Extents::destinationBytes, true), kStoreBefore);
            EXPECT_EQ(shrunk(&Extents::destination, &Extents::destinationBytes, false), kStorePast);
            EXPECT_EQ(shrunk(&Extents::source, &Extents::sourceBytes, true), kReadBefore);
            EXPECT_EQ(shrunk(&Extents::source, &Extents::sourceBytes, false), kReadPast);
            if (aux == 0) return;
            EXPECT_EQ(shrunk(&Extents::auxiliary, &Extents::auxiliaryBytes, true), kReadBefore);
            EXPECT_EQ(shrunk(&Extents::auxiliary, &Extents::auxiliaryBytes, false), kReadPast);
        });
    }
}

}  // namespace
