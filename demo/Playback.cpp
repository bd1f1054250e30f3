#include "Playback.h"

#include <algorithm>
#include <cmath>

namespace {

// Well-spread hues for the bones.
Rgb BoneColour(uint32_t bone) {
    const double hue = std::fmod(bone * 0.618034, 1.0) * 6;
    const double f = hue - std::floor(hue);
    const double channels[6][3] = {{1, f, 0}, {1 - f, 1, 0}, {0, 1, f}, {0, 1 - f, 1}, {f, 0, 1}, {1, 0, 1 - f}};
    const double* c = channels[int(hue) % 6];
    const auto level = [](double x) { return uint8_t(110 + 120 * x); };
    return {level(c[0]), level(c[1]), level(c[2])};
}

std::vector<Vec3> AllPositions(const std::vector<std::vector<ReferenceVertex>>& frames) {
    std::vector<Vec3> points;
    for (const auto& frame : frames)
        for (const ReferenceVertex& vertex : frame) points.push_back(vertex.position);
    return points;
}

std::vector<std::vector<ReferenceVertex>> SkinAll(const SkinnedMesh& mesh,
                                                  const std::vector<PackedInfluences>& influences,
                                                  const std::vector<std::vector<PaletteMatrix>>& poses) {
    std::vector<std::vector<ReferenceVertex>> frames;
    for (const auto& pose : poses) {
        std::vector<Mat4> palette;
        for (const PaletteMatrix& m : pose) palette.push_back(FromPaletteMatrix(m));
        std::vector<ReferenceVertex>& frame = frames.emplace_back();
        for (size_t v = 0; v < mesh.vertices.size(); ++v)
            frame.push_back(SkinReference(mesh.vertices[v], influences[v], palette, IsRigid(influences[v])));
    }
    return frames;
}

}  // namespace

Playback MakePlayback(const SkinnedMesh& mesh, int animationIndex, int frames) {
    const Animation* animation = mesh.animations.empty() ? nullptr : &mesh.animations[animationIndex];
    std::vector<PackedInfluences> influences;
    for (const MeshVertex& vertex : mesh.vertices) influences.push_back(QuantiseInfluences(vertex.influences));

    std::vector<double> seconds;
    std::vector<std::vector<PaletteMatrix>> poses;
    for (int f = 0; f < frames; ++f) {
        seconds.push_back(animation ? animation->seconds * f / frames : 0);
        std::vector<PaletteMatrix>& pose = poses.emplace_back();
        for (const Mat4& bone : PoseBones(mesh.skeleton, animation, seconds.back()))
            pose.push_back(ToPaletteMatrix(bone));
    }
    auto reference = SkinAll(mesh, influences, poses);
    const std::vector<Vec3> points = AllPositions(reference);

    std::vector<int> pictureFrames;
    const int pictures = std::min(frames, 4);
    for (int k = 0; k < pictures; ++k) pictureFrames.push_back(pictures > 1 ? k * (frames - 1) / (pictures - 1) : 0);

    // Each vertex mixes its bones' colours by weight, which shows the blend.
    std::vector<Rgb> colours;
    for (const PackedInfluences& p : influences) {
        double mix[3] = {};
        for (int i = 0; i < p.count; ++i) {
            const Rgb c = BoneColour(p.bones[i]);
            mix[0] += c.r * p.weights[i] / 255.0, mix[1] += c.g * p.weights[i] / 255.0,
                mix[2] += c.b * p.weights[i] / 255.0;
        }
        colours.push_back({uint8_t(mix[0]), uint8_t(mix[1]), uint8_t(mix[2])});
    }
    double reach = 0;
    for (const Vec3& p : points) reach = std::max({reach, std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)});

    return Playback{mesh,
                    animation,
                    std::move(influences),
                    std::move(seconds),
                    std::move(poses),
                    std::move(reference),
                    std::move(pictureFrames),
                    std::move(colours),
                    reach,
                    OrthoView(points, kPictureSide, kPictureSide)};
}
