// SkinningFull of the vector implementation against a plain C++ blend of the
// same vertices: 1 or 4 influences; positions only, float normal, tangent and
// binormal, or the same directions packed; a cache-resident and a
// memory-bound mesh.

#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "../simd/Quorvan_SSE.h"
#include "Compare.h"

namespace {

constexpr uint32_t kSrcStride = 60, kDstStride = 48;
constexpr unsigned kBones = 64;

enum Form { kPositions, kFloatDirections, kPackedDirections };

struct Mesh {
    std::vector<uint8_t> src, dst, baselineDst;
    float bones[kBones][12];

    Mesh(uint32_t vertices, int influences) : src(vertices * kSrcStride + 16), dst(vertices * kDstStride), baselineDst(dst.size()) {
        std::mt19937 random(7);
        std::uniform_real_distribution<float> unit(-1, 1);
        for (auto& bone : bones)
            for (float& e : bone) e = unit(random);
        for (uint32_t v = 0; v < vertices; ++v) {
            uint8_t* p = src.data() + v * kSrcStride;
            float floats[15];
            for (float& f : floats) f = unit(random) * 10;
            std::memcpy(p, floats, 12);
            std::memcpy(p + 20, floats + 3, 12);  // float normal; bytes 20-31 also hold the packed ones
            std::memcpy(p + 32, floats + 6, 24);
            for (int i = 0; i < 4; ++i) p[12 + i] = static_cast<uint8_t>(random() % kBones);
            const uint8_t weights[2][4] = {{0, 0, 255, 0}, {64, 64, 64, 63}};
            std::memcpy(p + 16, weights[influences == 4], 4);
        }
    }
};

// What an engine would write without the library: the same blend, one
// influence after another, weights as fractions of 255.
void BaselineBlend(const Mesh& mesh, uint8_t* dst, uint32_t vertices, Form form) {
    static const unsigned kOrder[4] = {2, 1, 0, 3};
    for (uint32_t v = 0; v < vertices; ++v) {
        const uint8_t* s = mesh.src.data() + v * kSrcStride;
        uint8_t* d = dst + v * kDstStride;
        float p[3], dirs[3][3];
        std::memcpy(p, s, 12);
        std::memcpy(dirs, s + 20, 12);
        std::memcpy(dirs[1], s + 32, 24);
        float outP[3] = {}, outD[3][3] = {};
        int32_t packed[3][3] = {};
        for (int i = 0; i < 4; ++i) {
            const float* m = mesh.bones[s[12 + i]];
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

void SkinningFull(benchmark::State& state) {
    const uint32_t vertices = static_cast<uint32_t>(state.range(0));
    const int influences = static_cast<int>(state.range(1));
    const Form form = static_cast<Form>(state.range(2));
    Mesh mesh(vertices, influences);
    std::unique_ptr<Quorvan_SSE> sse(new Quorvan_SSE);
    for (unsigned b = 0; b < kBones; ++b) sse->SetSkinningMatrix(b, mesh.bones[b]);

    SkinningJob job{};
    job.srcVertex = mesh.src.data();
    job.srcStride = kSrcStride;
    job.dstVertex = mesh.dst.data();
    job.dstStride = kDstStride;
    job.vertexCount = vertices;
    job.hasNormal = job.hasTangents = form != kPositions;
    job.packedDirections = form == kPackedDirections;

    CompareWithBaseline(
        state, vertices, "vertex", [&] { sse->SkinningFull(&job); },
        [&] { BaselineBlend(mesh, mesh.baselineDst.data(), vertices, form); });
    static const char* const kForms[] = {"positions", "float directions", "packed directions"};
    state.SetLabel(std::to_string(influences) + " influence(s), " + kForms[form]);
}

}  // namespace

BENCHMARK(SkinningFull)
    ->ArgNames({"vertices", "influences", "form"})
    ->ArgsProduct({{4096, 1000000}, {1, 4}, {kPositions, kFloatDirections, kPackedDirections}})
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
