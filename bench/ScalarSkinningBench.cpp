// SkinningFull and SkinningSingle of the scalar implementation beside the
// vector one, each against a plain C++ loop that skins the same vertices by
// the same bones, in ns per vertex: the position alone, with a float normal
// and with a packed normal, on a mesh that stays in the caches and on one
// that streams from memory. Every vertex carries a texture coordinate pair
// as its two extra words; SkinningFull vertices have one to four influences.
//
// Positions are also timed against the engine's SSE2 loops (EngineSkinning.h):
// the matrix-blend loop for SkinningFull, the rigid loop for SkinningSingle.
// The blend loop reads the weight bytes in the vector implementation's order
// where Quorvan_std and the plain loop read them in theirs; all end a
// vertex's influences at the same byte, so all blend as many. It leaves the
// pair alone, a load and a store per vertex fewer than the others. The
// normal cases have no SSE2 counterpart: the engine loops transform a normal
// only with a tangent and binormal and pack it in excess-128 form, where
// these cases transform a lone normal, pack it as Quorvan_std does and, in
// SkinningFull, renormalise it.

#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "../Cross/Quorvan/Quorvan_std.h"
#include "../simd/Quorvan_SSE.h"
#include "Compare.h"
#include "EngineSkinning.h"
#include "VertexCheck.h"

namespace {

constexpr uint32_t kSrcStride = 40, kSrcExtra = 32;
constexpr uint32_t kDstStride = 32, kDstExtra = 24;
constexpr uint32_t kExtraSize = 8;
constexpr unsigned kBones = 64;

enum Form { kPositions, kFloatNormal, kPackedNormal };

struct Mesh {
    std::vector<uint8_t> src, dst, baselineDst, sse2Dst;
    float bones[kBones][12];

    explicit Mesh(uint32_t vertices)
        : src(vertices * kSrcStride), dst(vertices * kDstStride), baselineDst(dst.size()), sse2Dst(dst.size()) {
        std::mt19937 random(11);
        std::uniform_real_distribution<float> unit(-1, 1);
        for (auto& bone : bones)
            for (float& e : bone) e = unit(random);
        for (uint32_t v = 0; v < vertices; ++v) {
            uint8_t* p = src.data() + v * kSrcStride;
            float floats[5];
            for (float& f : floats) f = unit(random) * 10;
            std::memcpy(p, floats, 12);
            std::memcpy(p + 20, floats + 2, 12);  // a float normal; its first four bytes double as a packed one
            std::memcpy(p + kSrcExtra, floats, kExtraSize);
            for (int i = 0; i < 4; ++i) p[12 + i] = static_cast<uint8_t>(random() % kBones);
            // One to four influences whose weight bytes add up to 255.
            const uint8_t weights[4][4] = {{255, 0, 0, 0}, {128, 127, 0, 0}, {85, 85, 85, 0}, {64, 64, 64, 63}};
            std::memcpy(p + 16, weights[random() % 4], 4);
        }
    }
};

void Transform(const float* m, const float* in, float* out, bool translate) {
    for (int c = 0; c < 3; ++c)
        out[c] = in[0] * m[c] + in[1] * m[3 + c] + in[2] * m[6 + c] + (translate ? m[9 + c] : 0.0f);
}

void LoadNormal(const uint8_t* s, Form form, float* n) {
    if (form == kFloatNormal) std::memcpy(n, s + 20, 12);
    if (form == kPackedNormal)
        for (int c = 0; c < 3; ++c) n[c] = s[22 - c] / 127.5f - 1.0f;
}

void StoreNormal(uint8_t* d, Form form, const float* n) {
    if (form == kFloatNormal) std::memcpy(d + 12, n, 12);
    if (form == kPackedNormal) {
        for (int c = 0; c < 3; ++c)
            d[14 - c] = static_cast<uint8_t>(std::fmin(std::fmax((n[c] + 1.0f) * 127.5f, 0.0f), 255.0f));
        d[15] = 255;
    }
}

// What an engine would write without the library: one influence after
// another with the weight as a fraction, a square root to renormalise.
void BaselineFull(const Mesh& mesh, uint8_t* dst, uint32_t vertices, Form form) {
    for (uint32_t v = 0; v < vertices; ++v) {
        const uint8_t* s = mesh.src.data() + v * kSrcStride;
        uint8_t* d = dst + v * kDstStride;
        float p[3], n[3] = {}, outP[3] = {}, outN[3] = {};
        std::memcpy(p, s, 12);
        LoadNormal(s, form, n);
        for (int i = 0; i < 4; ++i) {
            const float* m = mesh.bones[s[12 + i]];
            const float w = s[16 + i] / 255.0f;
            float t[3];
            Transform(m, p, t, true);
            for (int c = 0; c < 3; ++c) outP[c] += t[c] * w;
            if (form != kPositions) {
                Transform(m, n, t, false);
                for (int c = 0; c < 3; ++c) outN[c] += t[c] * w;
            }
            if (i == 3 || s[17 + i] == 0) break;
        }
        std::memcpy(d, outP, 12);
        if (form != kPositions) {
            const float r = 1.0f / std::sqrt(outN[0] * outN[0] + outN[1] * outN[1] + outN[2] * outN[2]);
            for (float& c : outN) c *= r;
            StoreNormal(d, form, outN);
        }
        std::memcpy(d + kDstExtra, s + kSrcExtra, kExtraSize);
    }
}

void BaselineSingle(const Mesh& mesh, uint8_t* dst, uint32_t vertices, Form form) {
    for (uint32_t v = 0; v < vertices; ++v) {
        const uint8_t* s = mesh.src.data() + v * kSrcStride;
        uint8_t* d = dst + v * kDstStride;
        const float* m = mesh.bones[s[12]];
        float p[3], n[3] = {}, t[3];
        std::memcpy(p, s, 12);
        Transform(m, p, t, true);
        std::memcpy(d, t, 12);
        if (form != kPositions) {
            LoadNormal(s, form, n);
            Transform(m, n, t, false);
            StoreNormal(d, form, t);
        }
        std::memcpy(d + kDstExtra, s + kSrcExtra, kExtraSize);
    }
}

// An engine loop skinning the positions of `vertices`.
using PositionLoop = void (*)(const Mesh&, uint8_t*, uint32_t);

template <auto Loop>
void BlendPositions(const Mesh& mesh, uint8_t* dst, uint32_t vertices) {
    Loop(mesh.src.data(), kSrcStride, dst, kDstStride, vertices, &mesh.bones[0][0], EngineDirections::None);
}

template <auto Loop>
void RigidPositions(const Mesh& mesh, uint8_t* dst, uint32_t vertices) {
    static constexpr EngineRigidLayout kLayout{kSrcStride, kDstStride, kSrcExtra, kDstExtra};
    Loop(mesh.src.data(), dst, kLayout, vertices, &mesh.bones[0][0], nullptr, EngineDirections::None);
}

// The SSE2 loop for the positions case, its counters' name and the plain
// loop its positions are checked against.
struct Sse2Loop {
    const char* name;
    PositionLoop sse2, plain;
};

using Operation = void (Quorvan::*)(const SkinningJob*);
using PlainLoop = void (*)(const Mesh&, uint8_t*, uint32_t, Form);

void Skinning(benchmark::State& state, Operation operation, PlainLoop baseline, Sse2Loop engine) {
    const bool sse = state.range(0) != 0;
    const Form form = static_cast<Form>(state.range(1));
    const uint32_t vertices = static_cast<uint32_t>(state.range(2));
    Mesh mesh(vertices);
    std::unique_ptr<Quorvan> quorvan(sse ? static_cast<Quorvan*>(new Quorvan_SSE) : new Quorvan_std);
    for (unsigned b = 0; b < kBones; ++b) quorvan->SetSkinningMatrix(b, mesh.bones[b]);

    SkinningJob job{};
    job.srcVertex = mesh.src.data();
    job.srcStride = kSrcStride;
    job.srcExtraOffset = kSrcExtra;
    job.dstVertex = mesh.dst.data();
    job.dstStride = kDstStride;
    job.dstExtraOffset = kDstExtra;
    job.extraSize = kExtraSize;
    job.vertexCount = vertices;
    job.hasNormal = form != kPositions;
    job.packedDirections = form == kPackedNormal;

    std::vector<Baseline> baselines = {{"", [&] { baseline(mesh, mesh.baselineDst.data(), vertices, form); }}};
    if (form == kPositions) {
        std::vector<uint8_t> plain(mesh.dst.size());
        engine.plain(mesh, plain.data(), vertices);
        engine.sse2(mesh, mesh.sse2Dst.data(), vertices);
        const int64_t v = FirstDifferentVertex(mesh.src.data(), kSrcStride, mesh.sse2Dst.data(), plain.data(),
                                               kDstStride, vertices, false, 1);
        if (v >= 0) {
            state.SkipWithError(("vertex " + std::to_string(v) + " differs between the SSE2 and plain loops").c_str());
            return;
        }
        baselines.push_back({engine.name, [&] { engine.sse2(mesh, mesh.sse2Dst.data(), vertices); }});
    }
    CompareWithBaselines(state, vertices, "vertex", [&] { (quorvan.get()->*operation)(&job); }, baselines);
    static const char* const kForms[] = {"position", "float normal", "packed normal"};
    state.SetLabel(std::string(sse ? "SSE, " : "x87, ") + kForms[form]);
}

}  // namespace

BENCHMARK_CAPTURE(Skinning, Full, &Quorvan::SkinningFull, BaselineFull,
                  Sse2Loop{"sse2_blend", BlendPositions<EngineSkinVerticesSse2>, BlendPositions<EngineSkinVertices>})
    ->ArgNames({"sse", "form", "vertices"})
    ->ArgsProduct({{0, 1}, {kPositions, kFloatNormal, kPackedNormal}, {4096, 1000000}})
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(Skinning, Single, &Quorvan::SkinningSingle, BaselineSingle,
                  Sse2Loop{"sse2_rigid", RigidPositions<EngineSkinRigidSse2>, RigidPositions<EngineSkinRigid>})
    ->ArgNames({"sse", "form", "vertices"})
    ->ArgsProduct({{0, 1}, {kPositions, kFloatNormal, kPackedNormal}, {4096, 1000000}})
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
