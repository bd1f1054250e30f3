// The thread-safe skinning calls against the loops an engine writes without
// the library (EngineSkinning.h), timed by the clock alone, for builds that
// have no Google Benchmark (64-bit ARM). QuorvanSkinningFull on the workload
// of SkinningFullBench.cpp: 64 bones, 56-byte source and 48-byte destination
// vertices, 1 or 4 influences, positions, float or packed normal, tangent
// and binormal; against the matrix-blend loop. QuorvanSkinningSingle on the
// same vertices with two extra words each, against the rigid loop. Both run
// on their own copies of the vertices, in turns, until each case has taken
// the minimum time; the vertices are checked against each other first.
//
//   QuorvanSkinningCallsBench [--vertices N] [--min-time SECONDS]

#include <Quorvan/QuorvanSkinning.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>

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

double Seconds(const std::function<void()>& run) {
    const auto start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Runs both in turns until `minTime` has passed, at least twice; prints
// nanoseconds per vertex of each and the ratio. Fails when the first runs
// left vertices that differ by more than rounding.
bool Compare(const std::string& name, const Mesh& mesh, uint32_t vertices, uint32_t srcStride, uint32_t dstStride,
             bool floatDirections, double minTime, const std::function<void()>& library,
             const std::function<void()>& engine) {
    library();
    engine();
    const int64_t v = FirstDifferentVertex(mesh.library.src.data(), srcStride, mesh.library.dst.data(),
                                           mesh.engine.dst.data(), dstStride, vertices, floatDirections, 1);
    if (v >= 0) {
        std::printf("%-48s vertex %lld differs from the engine loop's\n", name.c_str(), static_cast<long long>(v));
        return false;
    }
    double librarySeconds = 0, engineSeconds = 0;
    int runs = 0;
    while (runs < 2 || librarySeconds + engineSeconds < minTime) {
        librarySeconds += Seconds(library);
        engineSeconds += Seconds(engine);
        ++runs;
    }
    const double perVertex = 1e9 / (static_cast<double>(vertices) * runs);
    std::printf("%-48s %8.2f %8.2f %6.2f\n", name.c_str(), librarySeconds * perVertex, engineSeconds * perVertex,
                librarySeconds / engineSeconds);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    uint32_t vertices = 4096;
    double minTime = 0.5;
    for (int k = 1; k + 1 < argc; k += 2) {
        if (std::strcmp(argv[k], "--vertices") == 0) vertices = static_cast<uint32_t>(std::atol(argv[k + 1]));
        if (std::strcmp(argv[k], "--min-time") == 0) minTime = std::atof(argv[k + 1]);
    }
    std::printf("vector unit %s, %u vertices, ns per vertex\n", QuorvanSkinningVectorUnit(), vertices);
    std::printf("%-48s %8s %8s %6s\n", "case", "Quorvan", "engine", "ratio");
    std::mt19937 random(7);
    const Skeleton skeleton(random);
    const EngineDirections forms[] = {EngineDirections::None, EngineDirections::Float, EngineDirections::Packed};
    const char* const formNames[] = {"positions", "float directions", "packed directions"};
    bool same = true;
    for (int influences : {1, 4})
        for (int form = 0; form < 3; ++form) {
            Mesh mesh(vertices, kBlendSrcStride, kBlendDstStride, influences, random);
            SkinningJob job{};
            job.srcVertex = mesh.library.src.data(), job.srcStride = kBlendSrcStride;
            job.dstVertex = mesh.library.dst.data(), job.dstStride = kBlendDstStride, job.vertexCount = vertices;
            job.hasNormal = job.hasTangents = forms[form] != EngineDirections::None;
            job.packedDirections = forms[form] == EngineDirections::Packed;
            same &= Compare(
                "SkinningFull, " + std::to_string(influences) + " influence(s), " + formNames[form], mesh, vertices,
                kBlendSrcStride, kBlendDstStride, forms[form] == EngineDirections::Float, minTime,
                [&] { QuorvanSkinningFull(skeleton.palette.get(), &job); },
                [&] {
                    EngineSkinVertices(mesh.engine.src.data(), kBlendSrcStride, mesh.engine.dst.data(),
                                       kBlendDstStride, vertices, &skeleton.matrices[0][0], forms[form]);
                });
        }
    for (int form = 0; form < 3; ++form) {
        Mesh mesh(vertices, kRigid.srcStride, kRigid.dstStride, 1, random);
        SkinningJob job{};
        job.srcVertex = mesh.library.src.data(), job.srcStride = kRigid.srcStride;
        job.srcExtraOffset = kRigid.srcExtraOffset, job.dstVertex = mesh.library.dst.data();
        job.dstStride = kRigid.dstStride, job.dstExtraOffset = kRigid.dstExtraOffset, job.extraSize = kExtraSize;
        job.vertexCount = vertices;
        job.hasNormal = job.hasTangents = forms[form] != EngineDirections::None;
        job.packedDirections = forms[form] == EngineDirections::Packed;
        same &= Compare(
            std::string("SkinningSingle, ") + formNames[form], mesh, vertices, kRigid.srcStride, kRigid.dstStride,
            forms[form] == EngineDirections::Float, minTime,
            [&] { QuorvanSkinningSingle(skeleton.palette.get(), &job); },
            [&] {
                EngineSkinRigid(mesh.engine.src.data(), mesh.engine.dst.data(), kRigid, vertices,
                                &skeleton.matrices[0][0], &skeleton.quantised[0][0], forms[form]);
            });
    }
    return same ? 0 : 1;
}
