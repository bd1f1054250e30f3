// SkinningFull of the vector implementation, on each vector path the
// processor runs, against three loops skinning the same vertices: the one an
// engine writes in plain C++ (blend the bone matrices, then transform, see
// EngineSkinning.h), the same by hand with SSE2, four vertices at a time, and
// one repeating the library's arithmetic influence by influence. 1 or 4
// influences; positions only, float normal, tangent and binormal, or the same
// directions packed; a cache-resident and a memory-bound mesh. Every loop
// reads its own copy of the vertices and writes its own destination, all
// placed alike (PageBuffer.h).

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "../simd/Quorvan_SSE.h"
#include "Compare.h"
#include "EngineSkinning.h"
#include "PageBuffer.h"
#include "VertexCheck.h"

namespace {

// Position, bone bytes, weight bytes, float normal, tangent and binormal.
constexpr uint32_t kSrcStride = 56, kDstStride = 48;
constexpr unsigned kBones = 64;

enum Form { kPositions, kFloatDirections, kPackedDirections };

struct Mesh {
    LoopBuffers library, engine, engineSse2, perInfluence;
    float bones[kBones][12];

    Mesh(uint32_t vertices, int influences)
        : library(vertices, kSrcStride, kDstStride), engine(vertices, kSrcStride, kDstStride),
          engineSse2(vertices, kSrcStride, kDstStride), perInfluence(vertices, kSrcStride, kDstStride) {
        std::mt19937 random(7);
        std::uniform_real_distribution<float> unit(-1, 1);
        for (auto& bone : bones)
            for (float& e : bone) e = unit(random);
        for (uint32_t v = 0; v < vertices; ++v) {
            uint8_t* p = library.src.data() + size_t{v} * kSrcStride;
            float floats[15];
            for (float& f : floats) f = unit(random) * 10;
            std::memcpy(p, floats, 12);
            std::memcpy(p + 20, floats + 3, 12);  // float normal; bytes 20-31 also hold the packed ones
            std::memcpy(p + 32, floats + 6, 24);
            for (int i = 0; i < 4; ++i) p[12 + i] = static_cast<uint8_t>(random() % kBones);
            const uint8_t weights[2][4] = {{0, 0, 255, 0}, {64, 64, 64, 63}};
            std::memcpy(p + 16, weights[influences == 4], 4);
        }
        for (LoopBuffers* copy : {&engine, &engineSse2, &perInfluence}) copy->src.CopyFrom(library.src);
    }
};

// The library's own arithmetic in plain C++: each influence transforms the
// vertex, and the results are summed by weight, as fractions of 255.
void BaselineBlend(const uint8_t* src, uint8_t* dst, const float (&bones)[kBones][12], uint32_t vertices, Form form) {
    static const unsigned kOrder[4] = {2, 1, 0, 3};
    for (uint32_t v = 0; v < vertices; ++v) {
        const uint8_t* s = src + size_t{v} * kSrcStride;
        uint8_t* d = dst + size_t{v} * kDstStride;
        float p[3], dirs[3][3];
        std::memcpy(p, s, 12);
        std::memcpy(dirs, s + 20, 12);
        std::memcpy(dirs[1], s + 32, 24);
        float outP[3] = {}, outD[3][3] = {};
        int32_t packed[3][3] = {};
        for (int i = 0; i < 4; ++i) {
            const float* m = bones[s[12 + i]];
            const uint8_t weightByte = s[16 + kOrder[i]];
            const float w = weightByte / 255.0f;
            for (int c = 0; c < 3; ++c) outP[c] += (p[0] * m[c] + p[1] * m[3 + c] + p[2] * m[6 + c] + m[9 + c]) * w;
            if (form == kFloatDirections)
                for (int k = 0; k < 3; ++k)
                    for (int c = 0; c < 3; ++c)
                        outD[k][c] += (dirs[k][0] * m[c] + dirs[k][1] * m[3 + c] + dirs[k][2] * m[6 + c]) * w;
            if (form == kPackedDirections)
                for (int k = 0; k < 3; ++k) {
                    const uint8_t* b = s + 20 + 4 * k;
                    for (int c = 0; c < 3; ++c)
                        packed[k][c] += static_cast<int32_t>(((b[2] - 128) * m[c] + (b[1] - 128) * m[3 + c] +
                                                              (b[0] - 128) * m[6 + c]) * 127) * weightByte;
                }
            if (i == 3 || s[17 + i] == 0) break;
        }
        std::memcpy(d, outP, 12);
        if (form == kFloatDirections) std::memcpy(d + 12, outD, 36);
        if (form == kPackedDirections)
            for (int k = 0; k < 3; ++k)
                for (int c = 0; c < 3; ++c) d[12 + 4 * k + 2 - c] = static_cast<uint8_t>((packed[k][c] + 4194175) >> 15);
    }
}

void SkinningFull(benchmark::State& state, VectorPath path) {
    const uint32_t vertices = static_cast<uint32_t>(state.range(0));
    const int influences = static_cast<int>(state.range(1));
    const Form form = static_cast<Form>(state.range(2));
    Mesh mesh(vertices, influences);
    std::unique_ptr<Quorvan_SSE> sse(new Quorvan_SSE(path));
    for (unsigned b = 0; b < kBones; ++b) sse->SetSkinningMatrix(b, mesh.bones[b]);

    SkinningJob job{};
    job.srcVertex = mesh.library.src.data();
    job.srcStride = kSrcStride;
    job.dstVertex = mesh.library.dst.data();
    job.dstStride = kDstStride;
    job.vertexCount = vertices;
    job.hasNormal = job.hasTangents = form != kPositions;
    job.packedDirections = form == kPackedDirections;

    static const EngineDirections kEngineDirections[] = {EngineDirections::None, EngineDirections::Float,
                                                         EngineDirections::Packed};
    const auto engine = [&] {
        EngineSkinVertices(mesh.engine.src.data(), kSrcStride, mesh.engine.dst.data(), kDstStride, vertices,
                           &mesh.bones[0][0], kEngineDirections[form]);
    };
    const auto engineSse2 = [&] {
        EngineSkinVerticesSse2(mesh.engineSse2.src.data(), kSrcStride, mesh.engineSse2.dst.data(), kDstStride,
                               vertices, &mesh.bones[0][0], kEngineDirections[form]);
    };
    const auto perInfluence = [&] {
        BaselineBlend(mesh.perInfluence.src.data(), mesh.perInfluence.dst.data(), mesh.bones, vertices, form);
    };

    // All four do the same work: the same positions and directions, up to
    // rounding (packed directions round differently in each).
    sse->SkinningFull(&job);
    engine();
    engineSse2();
    perInfluence();
    const std::pair<const char*, const LoopBuffers*> baselines[] = {
        {"matrix blend", &mesh.engine}, {"SSE2 matrix blend", &mesh.engineSse2}, {"per-influence loop", &mesh.perInfluence}};
    for (const auto& [name, buffers] : baselines) {
        const int64_t v = FirstDifferentVertex(mesh.library.src.data(), kSrcStride, mesh.library.dst.data(),
                                               buffers->dst.data(), kDstStride, vertices, form == kFloatDirections, 1);
        if (v >= 0) {
            state.SkipWithError(("vertex " + std::to_string(v) + " differs from the " + name).c_str());
            return;
        }
    }

    CompareWithBaselines(state, vertices, "vertex", [&] { sse->SkinningFull(&job); },
                         {{"matrix_blend", engine}, {"sse2_blend", engineSse2}, {"per_influence", perInfluence}});
    static const char* const kForms[] = {"positions", "float directions", "packed directions"};
    state.SetLabel(std::to_string(influences) + " influence(s), " + kForms[form]);
}

// One set of cases per vector path the processor runs, named after it.
const bool kRegistered = [] {
    for (VectorPath path : {VectorPath::Sse, VectorPath::Avx2, VectorPath::Avx512}) {
        if (!ProcessorRunsVectorPath(path)) continue;
        benchmark::RegisterBenchmark((std::string("SkinningFull/") + VectorPathName(path)).c_str(), SkinningFull,
                                     path)
            ->ArgNames({"vertices", "influences", "form"})
            ->ArgsProduct({{4096, 1000000}, {1, 4}, {kPositions, kFloatDirections, kPackedDirections}})
            ->UseManualTime()
            ->Unit(benchmark::kMicrosecond);
    }
    return true;
}();

}  // namespace
