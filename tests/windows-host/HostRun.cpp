// A host as an engine built with the Microsoft compiler writes it: it prints
// the processor record, every destination byte of a few skinned vertices and
// the vector unit of the thread-safe calls, and makes the library report a
// job it refuses; its Linux build of the same width must print and report
// alike. It checks the lifecycle, the thread-safe calls whole and cut into
// ranges, and that a refused job leaves the destination alone. Exit status 0
// when every check held.

#include <Quorvan/Quorvan.h>
#include <Quorvan/QuorvanSkinning.h>

#include <cstdio>
#include <cstring>

namespace {

int g_failures = 0;

void Check(bool held, const char* what) {
    if (held) return;
    std::printf("FAILED: %s\n", what);
    ++g_failures;
}

// Inputs come from integer arithmetic alone, so both builds start from the
// same bits whatever their compilers do with floating point.
struct Bytes {
    uint32_t state = 12345;
    uint32_t Next() { return (state = state * 1664525u + 1013904223u) >> 8; }
    // A float of moderate size, from its bit pattern: exponent 2^-6 to 2^3.
    float NextFloat() {
        const uint32_t r = Next(), bits = (r & 0x800000u) << 8 | (121u + (r >> 16) % 10) << 23 | (Next() & 0x7FFFFF);
        float value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
};

// Vertices of 64 bytes in and out, pass-through bytes at 56 in and 48 out.
constexpr unsigned kBones = 4, kVertices = 4, kStride = 64, kAuxSize = 4;
constexpr uint8_t kCanary = 0xCD;

struct Layout {
    const char* name;
    uint32_t extraSize;
    uint8_t hasNormal, hasTangents, hasAux, packedDirections;
};
constexpr Layout kLayouts[] = {
    {"position", 0, 0, 0, 0, 0},
    {"float-directions+aux", 8, 1, 1, 1, 0},
    {"packed-directions", 4, 1, 1, 0, 1},
};

// The bones of the thread-safe calls, loaded beside the interface's.
QuorvanSkinningPalette g_palette;

void LoadBones(Quorvan* q, Bytes& random) {
    QuorvanSkinningResetPalette(&g_palette);
    for (uint32_t bone = 0; bone < kBones; ++bone) {
        float m[12];
        for (float& element : m) element = random.NextFloat();
        q->SetSkinningMatrix(bone, m);
        QuorvanSkinningSetMatrix(&g_palette, bone, m);
    }
}

// The job in three ranges, run last first, then stitched.
void SkinInRanges(const SkinningJob& job, bool single) {
    QuorvanSkinningRange ranges[3];
    const uint32_t count = QuorvanSkinningSplit(&job, 3, ranges);
    Check(count == 3, "the job splits in three");
    for (uint32_t r = count; r-- > 0;)
        Check((single ? QuorvanSkinningSingle(&g_palette, &ranges[r].job)
                      : QuorvanSkinningFullRange(&g_palette, &ranges[r])) == QuorvanSkinningDone,
              "a range runs");
    if (!single) Check(QuorvanSkinningStitch(&g_palette, ranges, count) == QuorvanSkinningDone, "the stitch runs");
}

// Source vertices: random bytes, with floats where floats are read, bone
// indices that name loaded bones and weights with some zeros among them.
void FillSource(uint8_t* src, const Layout& layout, Bytes& random) {
    for (unsigned k = 0; k < kVertices * kStride; ++k) src[k] = static_cast<uint8_t>(random.Next());
    for (unsigned v = 0; v < kVertices; ++v) {
        uint8_t* vertex = src + v * kStride;
        const unsigned floatEnd = layout.packedDirections ? 12 : 56;
        for (unsigned offset = 0; offset < floatEnd; offset += 4) {
            if (offset == 12) offset = 20;  // bone indices and weights
            const float value = random.NextFloat();
            std::memcpy(vertex + offset, &value, 4);
        }
        for (unsigned k = 0; k < 4; ++k) {
            vertex[12 + k] = static_cast<uint8_t>(random.Next() % kBones);
            if (random.Next() % 3 == 0) vertex[16 + k] = 0;
        }
    }
}

// A job with two extra bytes a vertex, which no kernel takes: each call
// reports it (on standard error) and stores nothing.
void Refuse(Quorvan* q, bool vector) {
    uint8_t src[kVertices * kStride] = {}, dst[kVertices * kStride];
    std::memset(dst, kCanary, sizeof dst);
    const SkinningJob job = {src, kStride, 56, dst, kStride, 48, 0, 0, nullptr, 2, kVertices, 1, 0, 0, 0};
    q->SkinningFull(&job);
    q->SkinningSingle(&job);
    if (vector) {
        SkinningJob copy = job;
        Check(QuorvanSkinningFull(&g_palette, &copy) == QuorvanSkinningUnsupportedExtraSize,
              "the thread-safe call refuses two extra bytes");
    }
    bool untouched = true;
    for (uint8_t byte : dst) untouched = untouched && byte == kCanary;
    Check(untouched, "a refused job stores nothing");
}

void Skin(Quorvan* q, const char* implementation, bool vector) {
    Bytes random;
    LoadBones(q, random);
    for (const Layout& layout : kLayouts) {
        for (int single = 0; single < 2; ++single) {
            uint8_t src[kVertices * kStride], aux[kVertices * kAuxSize], dst[kVertices * kStride];
            FillSource(src, layout, random);
            for (uint8_t& byte : aux) byte = static_cast<uint8_t>(random.Next());
            std::memset(dst, kCanary, sizeof dst);
            const SkinningJob job = {src, kStride, 56, dst, kStride, 48, 0, kAuxSize, aux, layout.extraSize, kVertices,
                                     layout.hasNormal, layout.hasTangents, layout.hasAux, layout.packedDirections};
            single ? q->SkinningSingle(&job) : q->SkinningFull(&job);
            std::printf("%s %s %s:", implementation, single ? "SkinningSingle" : "SkinningFull", layout.name);
            for (unsigned k = 0; k < sizeof dst; ++k) std::printf("%s%02x", k % kStride ? "" : " ", dst[k]);
            std::printf("\n");

            if (!vector) continue;
            uint8_t interfaceBytes[sizeof dst];
            std::memcpy(interfaceBytes, dst, sizeof dst);
            std::memset(dst, kCanary, sizeof dst);
            SkinningJob whole = job;
            Check((single ? QuorvanSkinningSingle(&g_palette, &whole) : QuorvanSkinningFull(&g_palette, &whole)) ==
                      QuorvanSkinningDone,
                  "a whole call runs");
            Check(std::memcmp(dst, interfaceBytes, sizeof dst) == 0, "a whole call makes the interface's bytes");
            std::memset(dst, kCanary, sizeof dst);
            SkinInRanges(job, single);
            Check(std::memcmp(dst, interfaceBytes, sizeof dst) == 0, "ranges leave the interface's bytes");
        }
    }
    Refuse(q, vector);
}

// One whole use of the library: initialise, skin, shut down.
void Run(bool skipDetection, const char* implementation) {
    Check(Quorvan::Initialize(skipDetection, 6), "Initialize accepts version 6");
    Check(Quorvan::s_refCount == 1, "one user counted");
    Quorvan* q = Quorvan::i();
    Check(q != nullptr && q == Quorvan::s_pQuorvan, "i() is the exported instance");
    if (q) Skin(q, implementation, !skipDetection);
    Quorvan::Shutdown();
    Check(Quorvan::i() == nullptr && Quorvan::s_pQuorvan == nullptr && Quorvan::s_refCount == 0,
          "the last Shutdown deletes the instance");
}

}  // namespace

int main() {
    Check(!Quorvan::Initialize(false, 5), "Initialize refuses version 5");
    Check(Quorvan::s_refCount == 0 && Quorvan::s_pQuorvan == nullptr, "a refusal changes nothing");

    _processor_info info;
    const int reported = _cpuid(&info);
    Check(info.checkedFeatures == 15 && reported == info.cpuFeatures, "_cpuid fills the record");
    std::printf("processor \"%s\" \"%s\" family %d model %d stepping %d, features %d, running %d, checked %d\n",
                info.vendorId, info.cpuName, info.family, info.model, info.stepping, info.cpuFeatures,
                info.osFeatures, info.checkedFeatures);

    Run(true, "x87");
    if (info.osFeatures & FeatureSSE) Run(false, "SSE");
    const char* unit = QuorvanSkinningVectorUnit();
    std::printf("thread-safe calls on %s\n", unit ? unit : "no vector unit");

    std::printf("%s\n", g_failures ? "host checks FAILED" : "host checks passed");
    return g_failures ? 1 : 0;
}
