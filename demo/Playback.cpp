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

std::vector<ReferenceVertex> ReferenceFrame(const SkinnedMesh& mesh,
                                            const std::vector<PackedInfluences>& influences,
                                            const std::vector<PaletteMatrix>& pose) {
    std::vector<Mat4> palette;
    for (const PaletteMatrix& m : pose) palette.push_back(FromPaletteMatrix(m));
    std::vector<ReferenceVertex> frame;
    for (size_t v = 0; v < mesh.vertices.size(); ++v)
        frame.push_back(SkinReference(mesh.vertices[v], influences[v], palette, IsRigid(influences[v])));
    return frame;
}

}  // namespace

std::vector<ReferenceVertex> Playback::Reference(size_t frame) const {
    return ReferenceFrame(mesh, influences, poses[frame]);
}

Playback MakePlayback(const SkinnedMesh& mesh, int animationIndex, int frames) {
    const Animation* animation = mesh.animations.empty() ? nullptr : &mesh.animations[animationIndex];
    std::vector<PackedInfluences> influences;
    for (const MeshVertex& vertex : mesh.vertices) influences.push_back(QuantiseInfluences(vertex.influences));

    std::vector<std::vector<PaletteMatrix>> poses;
    for (int f = 0; f < frames; ++f) {
        const double seconds = animation ? animation->seconds * f / frames : 0;
        std::vector<PaletteMatrix>& pose = poses.emplace_back();
        for (const Mat4& bone : PoseBones(mesh.skeleton, animation, seconds)) pose.push_back(ToPaletteMatrix(bone));
    }

    // The camera frames every pictured pose.
    std::vector<int> pictureFrames;
    std::vector<Vec3> pictured;
    const int pictures = std::min(frames, 4);
    for (int k = 0; k < pictures; ++k) {
        pictureFrames.push_back(pictures > 1 ? k * (frames - 1) / (pictures - 1) : 0);
        for (const ReferenceVertex& vertex : ReferenceFrame(mesh, influences, poses[pictureFrames.back()]))
            pictured.push_back(vertex.position);
    }

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

    return Playback{mesh,
                    animation,
                    std::move(influences),
                    std::move(poses),
                    std::move(pictureFrames),
                    std::move(colours),
                    OrthoView(pictured, kPictureSide, kPictureSide)};
}
