#include "AnimationPose.h"

#include <gtest/gtest.h>

#include "ProceduralMesh.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

void ExpectNear(Vec3 got, Vec3 expected) { EXPECT_LE(LargestDifference(got, expected), 1e-12); }

}  // namespace

TEST(AnimationPose, PaletteMatrixRowsAreTheImagesOfTheAxesThenTheTranslation) {
    const Mat4 turn = Compose({5, 6, 7}, AxisAngle({0, 0, 1}, kPi / 2), {1, 1, 1});
    const PaletteMatrix m = ToPaletteMatrix(turn);
    const float expected[12] = {0, 1, 0, -1, 0, 0, 0, 0, 1, 5, 6, 7};
    for (int k = 0; k < 12; ++k) EXPECT_NEAR(m[k], expected[k], 1e-7) << "m" << k;
    // x' = x·m0 + y·m3 + z·m6 + m9, as the library computes it.
    const Vec3 p{1, 2, 3};
    ExpectNear(TransformPoint(FromPaletteMatrix(m), p),
               {p.x * m[0] + p.y * m[3] + p.z * m[6] + m[9], p.x * m[1] + p.y * m[4] + p.z * m[7] + m[10],
                p.x * m[2] + p.y * m[5] + p.z * m[8] + m[11]});
}

TEST(AnimationPose, AxisScaleIsTheStretchFurthestFromOne) {
    const Quat turn = AxisAngle({1, 2, 3}, 0.7);
    EXPECT_NEAR(AxisScale(ToPaletteMatrix(Compose({4, 5, 6}, turn, {1, 1, 1}))), 1, 1e-6);
    EXPECT_NEAR(AxisScale(ToPaletteMatrix(Compose({}, turn, {1.5, 1, 0.25}))), 0.25, 1e-6);
    EXPECT_NEAR(AxisScale(ToPaletteMatrix(Compose({}, turn, {1, 3, 0.5}))), 3, 1e-6);
}

TEST(AnimationPose, RestPoseLeavesTheMeshInItsBindPose) {
    const SkinnedMesh tentacle = MakeTentacle();
    for (const Mat4& bone : PoseBones(tentacle.skeleton, nullptr, 0)) {
        ExpectNear(TransformPoint(bone, {1, 2, 3}), {1, 2, 3});
        ExpectNear(TransformDirection(bone, {0, 0, 1}), {0, 0, 1});
    }
}

TEST(AnimationPose, KeysInterpolateAndTheAnimationLoops) {
    Skeleton skeleton;
    skeleton.nodes = {{"hip", -1, Mat4{}}, {"knee", 0, Compose({0, 1, 0}, Quat{}, {1, 1, 1})}};
    skeleton.bones = {{1, Mat4{}}};
    Animation walk{"walk", 1.0, {}};
    walk.tracks.push_back({0,
                           {{0, {0, 0, 0}}, {1, {2, 0, 0}}},
                           {{0, Quat{}}, {1, AxisAngle({0, 0, 1}, kPi / 2)}},
                           {{0, {1, 1, 1}}}});
    for (const double seconds : {0.5, 1.5}) {
        // The hip has moved by 1 and turned 45 degrees; the knee hangs on it.
        const Mat4 knee = PoseBones(skeleton, &walk, seconds)[0];
        ExpectNear(TransformPoint(knee, {0, 0, 0}), {1 - std::sqrt(0.5), std::sqrt(0.5), 0});
    }
}
