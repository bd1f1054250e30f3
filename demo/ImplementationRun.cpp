#include "ImplementationRun.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>

#include "FogOfWar.h"
#include "FogPicture.h"
#include "PngWriter.h"
#include "SkinnedCharacter.h"

namespace {

constexpr int kFogSide = 256;
constexpr int kFogPictureScale = 2;
constexpr double kFogSeconds = 5;  // of scouting, however many frames show them

// Float arithmetic on the library's side only: a few units in the last place.
constexpr double kPositionTolerance = 1e-5;  // of the largest coordinate
constexpr double kFloatDirectionTolerance = 1e-4;
// Eight bits per component, in and out.
constexpr double kPackedDirectionTolerance = 0.08;

void Save(const std::string& path, const Image& image, std::vector<std::string>& pictures) {
    const std::string why = WritePng(path, image);
    if (!why.empty()) throw std::runtime_error("cannot write picture " + path + ": " + why);
    pictures.push_back(path);
}

void PlayFrames(Quorvan& quorvan, const Playback& playback, const Options& options, ImplementationResult& result,
                const std::string& picturePath) {
    SkinnedCharacter character(playback.mesh, playback.influences, result.implementation, options.directions);
    result.full.vertices = character.BlendedCount();
    result.single.vertices = character.RigidCount();
    SkinningErrors errors[2] = {SkinningErrors(result.implementation), SkinningErrors(result.implementation)};
    const size_t vertices = playback.mesh.vertices.size();
    Image strip(kPictureSide * static_cast<int>(playback.pictureFrames.size()), kPictureSide);
    int tile = 0;

    double reach = 0;  // largest reference coordinate, the scale of position errors

    for (size_t f = 0; f < playback.poses.size(); ++f) {
        character.LoadPose(quorvan, playback.poses[f]);
        character.SkinBlended(quorvan);
        character.SkinRigid(quorvan);

        const std::vector<ReferenceVertex> reference = playback.Reference(f);
        std::vector<Vec3> positions(vertices), normals(vertices);
        for (uint32_t v = 0; v < vertices; ++v) {
            const SkinnedVertex skinned = character.Read(v);
            const bool rigid = IsRigid(playback.influences[v]);
            const Vec3 expected = reference[v].position;
            reach = std::max({reach, std::fabs(expected.x), std::fabs(expected.y), std::fabs(expected.z)});
            errors[rigid].Add(skinned, reference[v], rigid);
            positions[v] = skinned.position * (1 / SkinningErrors::PositionScale(result.implementation, rigid));
            normals[v] = skinned.normal;
        }
        if (tile < static_cast<int>(playback.pictureFrames.size()) && playback.pictureFrames[tile] == int(f)) {
            Image picture = Backdrop(kPictureSide, kPictureSide);
            DrawMesh(picture, playback.view, {positions, normals, playback.colours, playback.mesh.triangles});
            strip.Place(picture, kPictureSide * tile++, 0);
        }
    }
    for (const bool rigid : {false, true}) {
        SkinningDifferences& differences = rigid ? result.single : result.full;
        differences.position = errors[rigid].Position();
        differences.relativePosition = errors[rigid].Position() / std::max(reach, 1e-30);
        differences.normal = errors[rigid].Normal();
        differences.tangent = errors[rigid].Tangent();
    }
    result.tangentsWritten = errors[0].TangentsWritten();
    Save(picturePath, strip, result.pictures);
}

template <class T>
size_t Differences(const std::vector<T>& a, const std::vector<T>& b) {
    size_t differences = 0;
    for (size_t k = 0; k < a.size(); ++k) differences += a[k] != b[k];
    return differences;
}

void RunFog(Quorvan& quorvan, int frames, ImplementationResult& result, const std::string& picturePath) {
    FogOfWar fog(kFogSide, kFogSide), expected(kFogSide, kFogSide);
    LibraryFogOperations library(quorvan);
    PlainFogOperations plain(FogLevelsOf(result.implementation));
    for (int f = 0; f < frames; ++f) {
        const double seconds = kFogSeconds * f / std::max(frames - 1, 1);
        fog.Update(library, seconds);
        expected.Update(plain, seconds);
        result.fogMismatches += Differences(fog.Visibility(), expected.Visibility()) +
                                Differences(fog.Texture32(), expected.Texture32()) +
                                Differences(fog.Texture16(), expected.Texture16()) +
                                Differences(fog.Upload32(), expected.Upload32()) +
                                Differences(fog.Upload16(), expected.Upload16());
        result.campMismatches += Differences(fog.CampsInSight(), expected.CampsInSight());
    }
    result.fogFrames = frames;
    result.camps = fog.Camps().size();
    result.campsInSight = 0;
    for (bool seen : fog.CampsInSight()) result.campsInSight += seen;
    Save(picturePath, DrawFog(fog, kFogPictureScale), result.pictures);
}

const char* Verdict(bool ok) { return ok ? "ok" : "MISMATCH"; }

}  // namespace

bool ImplementationResult::SkinningAgrees(Directions directions) const {
    const double directionTolerance =
        directions == Directions::Float ? kFloatDirectionTolerance : kPackedDirectionTolerance;
    const auto agrees = [&](const SkinningDifferences& d) {
        return d.relativePosition <= kPositionTolerance && d.normal <= directionTolerance &&
               d.tangent <= directionTolerance;
    };
    return agrees(full) && agrees(single);
}

ImplementationResult RunImplementation(Quorvan& quorvan, Implementation implementation, const Playback& playback,
                                       const Options& options, const std::string& pictureDirectory) {
    ImplementationResult result;
    result.implementation = implementation;
    const std::string name = ImplementationName(implementation);
    PlayFrames(quorvan, playback, options, result, pictureDirectory + "/skinning-" + name + ".png");
    RunFog(quorvan, static_cast<int>(playback.poses.size()), result, pictureDirectory + "/fog-" + name + ".png");
    result.performance = MeasureImplementation(
        quorvan, implementation,
        {playback.mesh, playback.influences, playback.poses.back(), options.secondsPerMeasurement});
    return result;
}

void PrintResult(const ImplementationResult& r, const Options& options) {
    std::printf("  %d frames skinned; largest difference from the double-precision skinning: %s\n", options.frames,
                Verdict(r.SkinningAgrees(options.directions)));
    std::printf("    %-15s %8s  %-15s %9s %9s\n", "operation", "vertices", "position", "normal", "tangent");
    const auto row = [&](const char* operation, const SkinningDifferences& d) {
        char position[32], tangent[16] = "-";
        std::snprintf(position, sizeof position, "%.2g (%.1g)", d.position, d.relativePosition);
        if (r.tangentsWritten) std::snprintf(tangent, sizeof tangent, "%.2g", d.tangent);
        std::printf("    %-15s %8u  %-15s %9.2g %9s\n", operation, d.vertices, position, d.normal, tangent);
    };
    row("SkinningFull", r.full);
    row("SkinningSingle", r.single);
    std::printf("    positions in model units (relative to the largest coordinate)\n");
    if (r.implementation == Implementation::Scalar)
        std::printf("    by design Quorvan_std blends with the weight bytes unscaled (positions come out 255 times\n"
                    "    larger, compared at that scale), renormalises blended normals and writes no tangents\n");
    std::printf("  fog of war %dx%d over %d frames (ANDMaskMemory, FowAlpha32Update, FowAlpha16Update,\n"
                "    TestMaskRect, CachelessCopy) against plain C++: %s (%zu texels and %zu camp tests differ);\n"
                "    %zu of %zu enemy camps in sight at the end\n",
                kFogSide, kFogSide, r.fogFrames, Verdict(r.FogAgrees()), r.fogMismatches, r.campMismatches,
                r.campsInSight, r.camps);
    for (const std::string& picture : r.pictures) std::printf("  picture: %s\n", picture.c_str());
}
