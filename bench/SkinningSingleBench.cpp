// SkinningSingle of the vector implementation against a plain C++ loop that
// skins the same vertices by the same bones, in ns per vertex, on every
// vector path the processor runs: the position alone, float normal and
// tangents, and packed normal and tangents, each on a mesh that stays in the
// caches and on one that streams from memory. Every vertex carries a texture
// coordinate pair as its two extra words.

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "../simd/Quorvan_SSE.h"
#include "Compare.h"

namespace {

enum class Directions { None, Float, Packed };

constexpr unsigned kBones = 64;
constexpr uint32_t kExtraSize = 8;

struct Layout {
    uint32_t srcStride, dstStride, srcExtraOffset, dstExtraOffset;
};

// Position, indices and weights, the directions (if any), then the pair.
constexpr Layout LayoutOf(Directions directions) {
    switch (directions) {
    case Directions::None: return {28, 20, 20, 12};
    case Directions::Float: return {68, 56, 56, 48};
    case Directions::Packed: return {40, 32, 32, 24};
    }
    return {};
}

// The bones as the engine hands them over, with the signed-byte rotation the
// baseline needs for packed directions made once, as the library does.
struct Skeleton {
    float matrices[kBones][12];
    int8_t quantised[kBones][9];

    explicit Skeleton(std::mt19937& random) {
        std::uniform_real_distribution<float> rotation(-1.0f, 1.0f), translation(-10.0f, 10.0f);
        for (unsigned b = 0; b < kBones; ++b) {
            for (int k = 0; k < 12; ++k) matrices[b][k] = k < 9 ? rotation(random) : translation(random);
            for (int k = 0; k < 9; ++k) {
                const float m = matrices[b][k];
                quantised[b][k] = static_cast<int8_t>(std::trunc(m * (m > 0 ? 127.0f : 128.0f)));
            }
        }
    }
};

struct Mesh {
    Directions directions;
    uint32_t count;
    Layout layout;
    std::vector<uint8_t> src, dst, baselineDst;

    Mesh(Directions d, uint32_t n, std::mt19937& random)
        : directions(d), count(n), layout(LayoutOf(d)), src(std::size_t(n) * layout.srcStride),
          dst(std::size_t(n) * layout.dstStride), baselineDst(dst.size()) {
        std::uniform_real_distribution<float> position(-100.0f, 100.0f), direction(-1.0f, 1.0f);
        std::uniform_int_distribution<int> byte(0, 255), bone(0, kBones - 1);
        for (uint32_t v = 0; v < n; ++v) {
            uint8_t* vertex = &src[std::size_t(v) * layout.srcStride];
            for (uint32_t k = 0; k < layout.srcStride; ++k) vertex[k] = static_cast<uint8_t>(byte(random));
            vertex[12] = static_cast<uint8_t>(bone(random));
            float floats[12];
            for (float& f : floats) f = direction(random);
            for (int k = 0; k < 3; ++k) floats[k] = position(random);
            std::memcpy(vertex, floats, 12);
            if (d == Directions::Float) std::memcpy(vertex + 20, floats + 3, 36);
        }
    }

    SkinningJob Job() {
        SkinningJob job{};
        job.srcVertex = src.data();
        job.srcStride = layout.srcStride;
        job.srcExtraOffset = layout.srcExtraOffset;
        job.dstVertex = dst.data();
        job.dstStride = layout.dstStride;
        job.dstExtraOffset = layout.dstExtraOffset;
        job.extraSize = kExtraSize;
        job.vertexCount = count;
        job.hasNormal = job.hasTangents = directions != Directions::None;
        job.packedDirections = directions == Directions::Packed;
        return job;
    }
};

// The plain loop: each vector through its bone's twelve floats (or, packed,
// its quantised rotation), then the pair copied through.
void Transform(const float* m, const uint8_t* in, uint8_t* out, bool point) {
    float v[3], r[3];
    std::memcpy(v, in, 12);
    for (int j = 0; j < 3; ++j) r[j] = v[0] * m[j] + v[1] * m[3 + j] + v[2] * m[6 + j] + (point ? m[9 + j] : 0.0f);
    std::memcpy(out, r, 12);
}

void TransformPacked(const int8_t* q, const uint8_t* in, uint8_t* out) {
    const int x = in[2] - 128, y = in[1] - 128, z = in[0] - 128;
    out[0] = static_cast<uint8_t>((q[2] * x + q[5] * y + q[8] * z + 16255) >> 7);
    out[1] = static_cast<uint8_t>((q[1] * x + q[4] * y + q[7] * z + 16255) >> 7);
    out[2] = static_cast<uint8_t>((q[0] * x + q[3] * y + q[6] * z + 16255) >> 7);
    out[3] = 0;
}

void SkinBaseline(const Skeleton& skeleton, Mesh& mesh) {
    const Layout& l = mesh.layout;
    for (uint32_t v = 0; v < mesh.count; ++v) {
        const uint8_t* s = &mesh.src[std::size_t(v) * l.srcStride];
        uint8_t* d = &mesh.baselineDst[std::size_t(v) * l.dstStride];
        const unsigned bone = s[12];
        const float* m = skeleton.matrices[bone];
        Transform(m, s, d, true);
        if (mesh.directions == Directions::Float) {
            Transform(m, s + 20, d + 12, false);
            Transform(m, s + 32, d + 24, false);
            Transform(m, s + 44, d + 36, false);
        } else if (mesh.directions == Directions::Packed) {
            TransformPacked(skeleton.quantised[bone], s + 20, d + 12);
            TransformPacked(skeleton.quantised[bone], s + 24, d + 16);
            TransformPacked(skeleton.quantised[bone], s + 28, d + 20);
        }
        std::memcpy(d + l.dstExtraOffset, s + l.srcExtraOffset, kExtraSize);
    }
}

void SkinningSingle(benchmark::State& state, VectorPath path, Directions directions, uint32_t count) {
    std::mt19937 random(7);
    const Skeleton skeleton(random);
    Mesh mesh(directions, count, random);
    Quorvan_SSE sse(path);
    for (unsigned b = 0; b < kBones; ++b) sse.SetSkinningMatrix(b, skeleton.matrices[b]);
    const SkinningJob job = mesh.Job();

    CompareWithBaseline(state, count, "vertex", [&] { sse.SkinningSingle(&job); },
                        [&] { SkinBaseline(skeleton, mesh); });

    // Both did the same work: the pair landed in the same place, and the
    // first position agrees with the plain sums to a rounding or two.
    const Layout& l = mesh.layout;
    float fromLibrary, fromBaseline;
    std::memcpy(&fromLibrary, mesh.dst.data(), 4);
    std::memcpy(&fromBaseline, mesh.baselineDst.data(), 4);
    if (std::memcmp(&mesh.dst[l.dstExtraOffset], &mesh.baselineDst[l.dstExtraOffset], kExtraSize) != 0 ||
        std::fabs(fromLibrary - fromBaseline) > 1e-3f * (1.0f + std::fabs(fromBaseline)))
        state.SkipWithError("the library and the baseline disagree");
}

const bool kRegistered = [] {
    const std::pair<Directions, const char*> kinds[] = {
        {Directions::None, "position"}, {Directions::Float, "float_normal_tangents"},
        {Directions::Packed, "packed_normal_tangents"}};
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
