// SkinningSingle of the vector implementation against two loops an engine
// writes for rigid skinning (EngineSkinning.h), in ns per vertex: plain C++,
// and SSE2, four vertices at a time. On every vector path the processor
// runs: the position alone, float normal and tangents, and packed normal and
// tangents, each on a mesh that stays in the caches and on one that streams
// from memory. Every vertex carries a texture coordinate pair as its two
// extra words. Every loop reads its own copy of the vertices and writes its
// own destination, all placed alike (PageBuffer.h).

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <utility>

#include "../simd/Quorvan_SSE.h"
#include "Compare.h"
#include "EngineSkinning.h"
#include "PageBuffer.h"
#include "VertexCheck.h"

namespace {

constexpr unsigned kBones = 64;
constexpr uint32_t kExtraSize = 8;
constexpr float kTranslation = 10;  // the bones' translations lie within ±10

// Position, indices and weights, the directions (if any), then the pair.
constexpr EngineRigidLayout LayoutOf(EngineDirections directions) {
    switch (directions) {
    case EngineDirections::None: return {28, 20, 20, 12};
    case EngineDirections::Float: return {68, 56, 56, 48};
    case EngineDirections::Packed: return {40, 32, 32, 24};
    }
    return {};
}

// The bones as the engine hands them over, with the signed-byte rotation the
// engine loops need for packed directions made once, as the library makes
// it: the truncated product, exact in double precision.
struct Skeleton {
    float matrices[kBones][12];
    int8_t quantised[kBones][9];

    explicit Skeleton(std::mt19937& random) {
        std::uniform_real_distribution<float> rotation(-1.0f, 1.0f), translation(-kTranslation, kTranslation);
        for (unsigned b = 0; b < kBones; ++b) {
            for (int k = 0; k < 12; ++k) matrices[b][k] = k < 9 ? rotation(random) : translation(random);
            for (int k = 0; k < 9; ++k) {
                const float m = matrices[b][k];
                quantised[b][k] = static_cast<int8_t>(std::trunc(double{m} * (m > 0 ? 127.0 : 128.0)));
            }
        }
    }
};

struct Mesh {
    EngineDirections directions;
    uint32_t count;
    EngineRigidLayout layout;
    LoopBuffers library, plain, sse2;

    Mesh(EngineDirections d, uint32_t n, std::mt19937& random)
        : directions(d), count(n), layout(LayoutOf(d)), library(n, layout.srcStride, layout.dstStride),
          plain(n, layout.srcStride, layout.dstStride), sse2(n, layout.srcStride, layout.dstStride) {
        std::uniform_real_distribution<float> position(-100.0f, 100.0f), direction(-1.0f, 1.0f);
        std::uniform_int_distribution<int> byte(0, 255), bone(0, kBones - 1);
        for (uint32_t v = 0; v < n; ++v) {
            uint8_t* vertex = library.src.data() + std::size_t(v) * layout.srcStride;
            for (uint32_t k = 0; k < layout.srcStride; ++k) vertex[k] = static_cast<uint8_t>(byte(random));
            vertex[12] = static_cast<uint8_t>(bone(random));
            float floats[12];
            for (float& f : floats) f = direction(random);
            for (int k = 0; k < 3; ++k) floats[k] = position(random);
            std::memcpy(vertex, floats, 12);
            if (d == EngineDirections::Float) std::memcpy(vertex + 20, floats + 3, 36);
        }
        plain.src.CopyFrom(library.src);
        sse2.src.CopyFrom(library.src);
    }

    SkinningJob Job() {
        SkinningJob job{};
        job.srcVertex = library.src.data();
        job.srcStride = layout.srcStride;
        job.srcExtraOffset = layout.srcExtraOffset;
        job.dstVertex = library.dst.data();
        job.dstStride = layout.dstStride;
        job.dstExtraOffset = layout.dstExtraOffset;
        job.extraSize = kExtraSize;
        job.vertexCount = count;
        job.hasNormal = job.hasTangents = directions != EngineDirections::None;
        job.packedDirections = directions == EngineDirections::Packed;
        return job;
    }

    // The first vertex that `loop` skinned otherwise than the library, or
    // -1: float vectors further apart than rounding allows, or other bytes
    // where both compute in integers (packed directions) or copy (the pair).
    int64_t FirstDifferentVertex(const LoopBuffers& loop) const {
        const uint8_t *got = loop.dst.data(), *expected = library.dst.data();
        const int64_t first = ::FirstDifferentVertex(library.src.data(), layout.srcStride, got, expected,
                                                     layout.dstStride, count,
                                                     directions == EngineDirections::Float, kTranslation);
        const uint32_t checked = first < 0 ? count : static_cast<uint32_t>(first);
        for (uint32_t v = 0; v < checked; ++v) {
            const std::size_t at = std::size_t(v) * layout.dstStride;
            const uint8_t *a = got + at, *b = expected + at;
            if ((directions == EngineDirections::Packed && std::memcmp(a + 12, b + 12, 12) != 0) ||
                std::memcmp(a + layout.dstExtraOffset, b + layout.dstExtraOffset, kExtraSize) != 0)
                return v;
        }
        return first;
    }
};

void SkinningSingle(benchmark::State& state, VectorPath path, EngineDirections directions, uint32_t count) {
    std::mt19937 random(7);
    const Skeleton skeleton(random);
    Mesh mesh(directions, count, random);
    Quorvan_SSE sse(path);
    for (unsigned b = 0; b < kBones; ++b) sse.SetSkinningMatrix(b, skeleton.matrices[b]);
    const SkinningJob job = mesh.Job();

    const auto plain = [&] {
        EngineSkinRigid(mesh.plain.src.data(), mesh.plain.dst.data(), mesh.layout, count, &skeleton.matrices[0][0],
                        &skeleton.quantised[0][0], directions);
    };
    const auto sse2 = [&] {
        EngineSkinRigidSse2(mesh.sse2.src.data(), mesh.sse2.dst.data(), mesh.layout, count,
                            &skeleton.matrices[0][0], &skeleton.quantised[0][0], directions);
    };

    // All three do the same work.
    sse.SkinningSingle(&job);
    plain();
    sse2();
    const std::pair<const char*, const LoopBuffers*> baselines[] = {{"plain rigid loop", &mesh.plain},
                                                                    {"SSE2 rigid loop", &mesh.sse2}};
    for (const auto& [name, buffers] : baselines) {
        const int64_t v = mesh.FirstDifferentVertex(*buffers);
        if (v >= 0) {
            state.SkipWithError(("vertex " + std::to_string(v) + " differs from the " + name).c_str());
            return;
        }
    }

    CompareWithBaselines(state, count, "vertex", [&] { sse.SkinningSingle(&job); },
                         {{"plain_rigid", plain}, {"sse2_rigid", sse2}});
}

const bool kRegistered = [] {
    const std::pair<EngineDirections, const char*> kinds[] = {
        {EngineDirections::None, "position"}, {EngineDirections::Float, "float_normal_tangents"},
        {EngineDirections::Packed, "packed_normal_tangents"}};
    for (const VectorPath path : {VectorPath::Sse, VectorPath::Avx2, VectorPath::Avx512}) {
        if (!ProcessorRunsVectorPath(path)) continue;
        for (const auto& [directions, name] : kinds)
            for (const uint32_t count : {4096u, 1000000u})
                benchmark::RegisterBenchmark(("SkinningSingle/" + std::string(VectorPathName(path)) + "/" + name +
                                              "/" + std::to_string(count))
                                                 .c_str(),
                                             SkinningSingle, path, directions, count)
                    ->UseManualTime();
    }
    return true;
}();

}  // namespace
