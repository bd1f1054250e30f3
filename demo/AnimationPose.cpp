#include "AnimationPose.h"

#include <algorithm>
#include <cmath>

namespace {

Vec3 Blend(Vec3 a, Vec3 b, double t) { return Lerp(a, b, t); }
Quat Blend(Quat a, Quat b, double t) { return Slerp(a, b, t); }

template <class T>
T Sample(const std::vector<Key<T>>& keys, double seconds) {
    if (seconds <= keys.front().seconds) return keys.front().value;
    if (seconds >= keys.back().seconds) return keys.back().value;
    const auto next = std::upper_bound(keys.begin(), keys.end(), seconds,
                                       [](double s, const Key<T>& key) { return s < key.seconds; });
    const auto previous = next - 1;
    const double t = (seconds - previous->seconds) / (next->seconds - previous->seconds);
    return Blend(previous->value, next->value, t);
}

}  // namespace

std::vector<Mat4> PoseBones(const Skeleton& skeleton, const Animation* animation, double seconds) {
    std::vector<Mat4> local(skeleton.nodes.size());
    for (size_t n = 0; n < local.size(); ++n) local[n] = skeleton.nodes[n].rest;
    if (animation) {
        if (animation->seconds > 0) seconds = std::fmod(seconds, animation->seconds);
        for (const NodeTrack& track : animation->tracks)
            local[track.node] = Compose(Sample(track.positions, seconds), Sample(track.rotations, seconds),
                                        Sample(track.scalings, seconds));
    }

    std::vector<Mat4> global(local.size());
    for (size_t n = 0; n < local.size(); ++n) {
        const int parent = skeleton.nodes[n].parent;
        global[n] = parent < 0 ? local[n] : global[parent] * local[n];
    }

    std::vector<Mat4> bones;
    bones.reserve(skeleton.bones.size());
    for (const Bone& bone : skeleton.bones) bones.push_back(global[bone.node] * bone.offset);
    return bones;
}

PaletteMatrix ToPaletteMatrix(const Mat4& a) {
    PaletteMatrix m;
    // Row r of the library's matrix is column r of ours.
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 3; ++c) m[3 * r + c] = static_cast<float>(a.m[c][r]);
    return m;
}

Mat4 FromPaletteMatrix(const PaletteMatrix& m) {
    Mat4 a;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 3; ++c) a.m[c][r] = m[3 * r + c];
    return a;
}

double AxisScale(const PaletteMatrix& m) {
    double furthest = 1;
    for (int axis = 0; axis < 3; ++axis) {
        const double length = Length({m[3 * axis], m[3 * axis + 1], m[3 * axis + 2]});
        if (std::fabs(length - 1) > std::fabs(furthest - 1)) furthest = length;
    }
    return furthest;
}
