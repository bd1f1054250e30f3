// The demo host: loads Quorvan the way an engine does, skins an animated mesh
// and updates a fog of war with each implementation the library offers,
// checks the results, draws pictures and times every operation against plain
// C++. `--help` lists the options.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <Quorvan/Quorvan.h>

#include "AssimpLoader.h"
#include "CrowdFrame.h"
#include "DemoHost.h"
#include "ImplementationRun.h"
#include "JsonReport.h"
#include "Options.h"
#include "ProceduralMesh.h"
#include "ProcessorReport.h"

namespace {

// Quorvan_std holds 128 bones (Quorvan_SSE 256), and the demo runs both.
constexpr int kPaletteBones = 128;

int Fail(const std::string& why) {
    std::fflush(stdout);
    std::fprintf(stderr, "error: %s\n", why.c_str());
    return 1;
}

std::string DefaultPictureDirectory() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string("output") : (program.parent_path() / "output").string();
}

MeshSummary Summarise(const SkinnedMesh& mesh, const Playback& playback, const Options& options) {
    MeshSummary summary{mesh.name, playback.animation ? playback.animation->name : "",
                        playback.animation ? playback.animation->seconds : 0, mesh.vertices.size(),
                        mesh.triangles.size() / 3, mesh.skeleton.bones.size(), 0, 0, options.frames,
                        options.directions};
    for (const MeshVertex& vertex : mesh.vertices) {
        summary.mostInfluences = std::max(summary.mostInfluences, vertex.influences.size());
        summary.trimmedVertices += vertex.influences.size() > kMaxInfluences;
    }
    return summary;
}

void PrintMesh(const MeshSummary& m) {
    std::printf("\nMesh: %s: %zu vertices, %zu triangles, %zu bones\n", m.name.c_str(), m.vertices, m.triangles,
                m.bones);
    std::printf("  up to %zu bone influences per vertex; %zu vertices keep their four strongest\n", m.mostInfluences,
                m.trimmedVertices);
    if (m.animationSeconds > 0)
        std::printf("  animation \"%s\", %.2f s, played in %d frames", m.animation.c_str(), m.animationSeconds,
                    m.frames);
    else
        std::printf("  no animation: the rest pose, %d frames", m.frames);
    std::printf("; %s normals and tangents\n", m.directions == Directions::Float ? "float" : "packed");
}

// Packed directions hold unit vectors in eight bits per component, and the
// vector implementation's packed bone rotations wrap past 1.
void RequireRotationsOnly(const Playback& playback) {
    double furthest = 1;
    for (const auto& pose : playback.poses)
        for (const PaletteMatrix& bone : pose)
            if (std::fabs(AxisScale(bone) - 1) > std::fabs(furthest - 1)) furthest = AxisScale(bone);
    if (std::fabs(furthest - 1) > 0.01) {
        char scale[32];
        std::snprintf(scale, sizeof scale, "%.3g", furthest);
        throw std::runtime_error("--packed needs bones that only rotate, but '" + playback.mesh.name +
                                 "' scales them by " + scale);
    }
}

Implementation ChosenImplementation() {
    return DemoHost::TraceLine().find("Mode=SSE") != std::string::npos ? Implementation::Vector
                                                                      : Implementation::Scalar;
}

// One use of the library, from Initialize to Shutdown.
class Session {
public:
    explicit Session(bool skipDetection) {
        if (!Quorvan::Initialize(skipDetection, 6)) throw std::runtime_error("Quorvan refused interface version 6");
    }
    ~Session() { Quorvan::Shutdown(); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
};

// The first accepted Initialize picks the implementation; after the last
// Shutdown, skipping detection gets the scalar one.
std::vector<ImplementationResult> RunEachImplementation(const Playback& playback, const MeshSummary& summary,
                                                        const std::vector<std::string>& notes,
                                                        const Options& options, const std::string& pictures) {
    std::vector<ImplementationResult> results;
    for (const bool skipDetection : {false, true}) {
        {
            const Session session(skipDetection);
            const Implementation implementation = ChosenImplementation();
            if (results.empty()) {
                std::printf("Trace line: %s\n\n", DemoHost::TraceLine().c_str());
                PrintProcessor();
                PrintMesh(summary);
                for (const std::string& note : notes) std::printf("  note: %s\n", note.c_str());
            } else if (implementation == results.front().implementation) {
                std::printf("\nThis processor runs only %s.\n", ImplementationName(implementation));
                break;
            }
            Quorvan* quorvan = Quorvan::i();
            if (!quorvan) throw std::runtime_error("Quorvan::Initialize gave no instance");
            std::printf("\n== %s (%s), instance at %p, %u user(s)\n", ImplementationName(implementation),
                        implementation == Implementation::Vector ? "SSE and MMX" : "scalar x87",
                        static_cast<void*>(quorvan), Quorvan::s_refCount);
            if (!results.empty()) std::printf("  Trace line: %s\n", DemoHost::TraceLine().c_str());
            results.push_back(RunImplementation(*quorvan, implementation, playback, options, pictures));
            results.back().traceLine = DemoHost::TraceLine();
            PrintResult(results.back(), options);
        }
        std::printf("  after Shutdown: instance %p, %u user(s)\n", static_cast<void*>(Quorvan::i()),
                    Quorvan::s_refCount);
    }
    return results;
}

int Demo(int argc, char** argv) {
    const Options options = ParseOptions(argc, argv);
    if (options.help) {
        std::fputs(kUsage, stdout);
        return 0;
    }

    std::vector<std::string> notes;
    const SkinnedMesh mesh = options.mesh.empty() ? MakeTentacle() : LoadMesh(options.mesh, kPaletteBones, notes);
    if (options.animation > 0 && options.animation >= static_cast<int>(mesh.animations.size()))
        throw std::runtime_error("'" + mesh.name + "' has " + std::to_string(mesh.animations.size()) +
                                 " animations; --animation " + std::to_string(options.animation) +
                                 " is not one of them");
    const Playback playback = MakePlayback(mesh, options.animation, options.frames);
    if (options.directions == Directions::Packed) RequireRotationsOnly(playback);
    if (options.crowd > 0)
        return RunCrowdFrames(playback, options) ? 0 : Fail("the threads changed the crowd's bytes (see MISMATCH)");

    const std::string pictures = options.out.empty() ? DefaultPictureDirectory() : options.out;
    std::error_code error;
    std::filesystem::create_directories(pictures, error);
    if (error) throw std::runtime_error("cannot create picture directory " + pictures + ": " + error.message());

    const MeshSummary summary = Summarise(mesh, playback, options);
    const std::vector<ImplementationResult> results =
        RunEachImplementation(playback, summary, notes, options, pictures);

    std::printf("\nSpeed: fastest of repeated calls, against plain C++ doing the same work in the same run\n");
    std::vector<Measurement> measurements;
    for (const ImplementationResult& result : results)
        measurements.insert(measurements.end(), result.performance.begin(), result.performance.end());
    PrintPerformance(measurements);

    if (!options.json.empty()) {
        std::ofstream json(options.json);
        json << JsonReport(summary, results, DemoHost::Reports());
        if (!json) throw std::runtime_error("cannot write " + options.json);
        std::printf("\nFigures written to %s\n", options.json.c_str());
    }

    if (DemoHost::Reports()) return Fail("Quorvan reported misuse (see above)");
    for (const ImplementationResult& result : results)
        if (!result.SkinningAgrees(options.directions) || !result.FogAgrees())
            return Fail("results differ from the reference (see MISMATCH above)");
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return Demo(argc, argv);
    } catch (const std::runtime_error& error) {
        return Fail(error.what());
    }
}
