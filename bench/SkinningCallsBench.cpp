// The thread-safe skinning calls against the loops an engine writes without
// the library (EngineSkinning.h), in ns per vertex, for builds without the
// interface (64-bit ARM). QuorvanSkinningFull on the workload of
// SkinningFullBench.cpp: 64 bones, 56-byte source and 48-byte destination
// vertices, 1 or 4 influences, positions, float or packed normal, tangent and
// binormal; against the matrix-blend loop. QuorvanSkinningSingle on the same
// vertices with two extra words each, against the rigid loop. Each loop
// works on its own copy of the vertices, checked against the other's first.

#include <Quorvan/QuorvanSkinning.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <string>

#include "Compare.h"
#include "EngineSkinning.h"
#include "PageBuffer.h"
#include "VertexCheck.h"

namespace {

constexpr unsigned kBones = 64;
// SkinningSingle's vertices carry two extra words behind SkinningFull's.
constexpr uint32_t kExtraSize = 8;
constexpr EngineRigidLayout kRigid = {64, 56, 56, 48};
constexpr uint32_t kBlendSrcStride = 56, kBlendDstStride = 48;

struct Skeleton {
    float matrices[kBones][12];
    int8_t quantised[kBones][9];  // as the library quantises, for the rigid loop's packed directions
    std::unique_ptr<QuorvanSkinningPalette> palette = std::make_unique<QuorvanSkinningPalette>();

    explicit Skeleton(std::mt19937& random) {
        std::uniform_real_distribution<float> unit(-1, 1);
        QuorvanSkinningResetPalette(palette.get());
        for (unsigned b = 0; b < kBones; ++b) {
            for (int k = 0; k < 12; ++k) matrices[b][k] = unit(random);
            for (int k = 0; k < 9; ++k) {
                const float m = matrices[b][k];
                quantised[b][k] = static_cast<int8_t>(std::trunc(double{m} * (m > 0 ? 127.0 : 128.0)));
            }
            QuorvanSkinningSetMatrix(palette.get(), b, matrices[b]);
        }
    }
};

// The same vertices for the library and the engine loop, each on pages of
// its own.
struct Mesh {
    LoopBuffers library, engine;

    Mesh(uint32_t vertices, uint32_t srcStride, uint32_t dstStride, int influences, std::mt19937& random)
        : library(vertices, srcStride, dstStride), engine(vertices, srcStride, dstStride) {
        std::uniform_real_distribution<float> unit(-1, 1);
        for (uint32_t v = 0; v < vertices; ++v) {
            uint8_t* p = library.src.data() + size_t{v} * srcStride;
            for (uint32_t k = 0; k < srcStride; ++k) p[k] = static_cast<uint8_t>(random());
            float floats[12];
            for (float& f : floats) f = unit(random) * 10;
            std::memcpy(p, floats, 12);
            std::memcpy(p + 20, floats + 3, 36);  // float directions; bytes 20-31 also hold the packed ones
            for (int i = 0; i < 4; ++i) p[12 + i] = static_cast<uint8_t>(random() % kBones);
            const uint8_t weights[2][4] = {{0, 0, 255, 0}, {64, 64, 64, 63}};
            std::memcpy(p + 16, weights[influences == 4], 4);
        }
        engine.src.CopyFrom(library.src);
    }
};

const EngineDirections kForms[] = {EngineDirections::None, EngineDirections::Float, EngineDirections::Packed};

const Skeleton& Bones() {
    static std::mt19937 random(7);
    static const Skeleton skeleton(random);
    return skeleton;
}

// Runs both once and compares their vertices, then times them.
template <class Library, class Engine>
void Compare(benchmark::State& state, const Mesh& mesh, uint32_t vertices, uint32_t srcStride, uint32_t dstStride,
             EngineDirections form, Library library, Engine engine) {
    library();
    engine();
    const int64_t v = FirstDifferentVertex(mesh.library.src.data(), srcStride, mesh.library.dst.data(),
                                           mesh.engine.dst.data(), dstStride, vertices,
                                           form == EngineDirections::Float, 1);
    if (v >= 0) {
        state.SkipWithError(("vertex " + std::to_string(v) + " differs from the engine loop's").c_str());
        return;
    }
    CompareWithBaseline(state, vertices, "vertex", library, engine);
}

void SkinningFull(benchmark::State& state) {
    const uint32_t vertices = static_cast<uint32_t>(state.range(0));
    const EngineDirections form = kForms[state.range(2)];
    std::mt19937 random(11);
    Mesh mesh(vertices, kBlendSrcStride, kBlendDstStride, static_cast<int>(state.range(1)), random);
    SkinningJob job{};
    job.srcVertex = mesh.library.src.data(), job.srcStride = kBlendSrcStride;
    job.dstVertex = mesh.library.dst.data(), job.dstStride = kBlendDstStride, job.vertexCount = vertices;
    job.hasNormal = job.hasTangents = form != EngineDirections::None;
    job.packedDirections = form == EngineDirections::Packed;
    const Skeleton& bones = Bones();
    Compare(
        state, mesh, vertices, kBlendSrcStride, kBlendDstStride, form,
        [&] { QuorvanSkinningFull(bones.palette.get(), &job); },
        [&] {
            EngineSkinVertices(mesh.engine.src.data(), kBlendSrcStride, mesh.engine.dst.data(), kBlendDstStride,
                               vertices, &bones.matrices[0][0], form);
        });
}

void SkinningSingle(benchmark::State& state) {
    const uint32_t vertices = static_cast<uint32_t>(state.range(0));
    const EngineDirections form = kForms[state.range(1)];
    std::mt19937 random(13);
    Mesh mesh(vertices, kRigid.srcStride, kRigid.dstStride, 1, random);
    SkinningJob job{};
    job.srcVertex = mesh.library.src.data(), job.srcStride = kRigid.srcStride;
    job.srcExtraOffset = kRigid.srcExtraOffset, job.dstVertex = mesh.library.dst.data();
    job.dstStride = kRigid.dstStride, job.dstExtraOffset = kRigid.dstExtraOffset, job.extraSize = kExtraSize;
    job.vertexCount = vertices;
    job.hasNormal = job.hasTangents = form != EngineDirections::None;
    job.packedDirections = form == EngineDirections::Packed;
    const Skeleton& bones = Bones();
    Compare(
        state, mesh, vertices, kRigid.srcStride, kRigid.dstStride, form,
        [&] { QuorvanSkinningSingle(bones.palette.get(), &job); },
        [&] {
            EngineSkinRigid(mesh.engine.src.data(), mesh.engine.dst.data(), kRigid, vertices, &bones.matrices[0][0],
                            &bones.quantised[0][0], form);
        });
}

}  // namespace

// form: 0 positions, 1 float directions, 2 packed directions.
BENCHMARK(SkinningFull)
    ->ArgNames({"vertices", "influences", "form"})
    ->ArgsProduct({{4096}, {1, 4}, {0, 1, 2}})
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(SkinningSingle)
    ->ArgNames({"vertices", "form"})
    ->ArgsProduct({{4096}, {0, 1, 2}})
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
