// The vertex layouts the demo writes, run through the library, against sums
// worked out here in double precision: every influence count, rigid
// vertices, float and packed directions.

#include "SkinnedCharacter.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

MeshVertex Vertex(Float3 position, std::vector<Influence> influences) {
    return {position, Narrow(Normalised({1, 2, 2})), {0, 0, 1}, {0, 1, 0}, 0.25f, 0.75f, std::move(influences)};
}

// Bone 0 is never named by a vertex and holds infinities, as a palette slot
// the engine has not filled might: a vertex that reads it at weight 0 turns
// NaN. Bones 1 to 4 move by distinct offsets; bone 3 also turns x into y.
std::vector<PaletteMatrix> Palette() {
    const float inf = std::numeric_limits<float>::infinity();
    std::vector<PaletteMatrix> palette(1, PaletteMatrix{inf, inf, inf, inf, inf, inf, inf, inf, inf, inf, inf, inf});
    for (float b = 1; b <= 4; ++b)
        palette.push_back(b == 3 ? PaletteMatrix{0, 1, 0, -1, 0, 0, 0, 0, 1, b, 10 * b, -3 * b}
                                 : PaletteMatrix{1, 0, 0, 0, 1, 0, 0, 0, 1, b, 10 * b, -3 * b});
    return palette;
}

// Σ weight/255 · bone(v), straight from the palette and the weight bytes.
SkinnedVertex Blend(const MeshVertex& vertex, const PackedInfluences& p, const std::vector<PaletteMatrix>& palette) {
    SkinnedVertex sum{};
    for (int i = 0; i < p.count; ++i) {
        const PaletteMatrix& m = palette[p.bones[i]];
        const double w = p.weights[i] / 255.0;
        const Vec3 x{m[0], m[1], m[2]}, y{m[3], m[4], m[5]}, z{m[6], m[7], m[8]}, t{m[9], m[10], m[11]};
        const auto rotate = [&](Float3 d) { return x * d.x + y * d.y + z * d.z; };
        sum.position = sum.position + (rotate(vertex.position) + t) * w;
        sum.normal = sum.normal + rotate(vertex.normal) * w;
        sum.tangent = sum.tangent + rotate(vertex.tangent) * w;
    }
    return sum;
}

class VertexLayoutTest : public ::testing::TestWithParam<std::tuple<Implementation, Directions>> {};

TEST_P(VertexLayoutTest, EveryInfluenceCountSkinsAsDocumented) {
    const auto [implementation, directions] = GetParam();
    SkinnedMesh mesh;
    mesh.vertices = {Vertex({1, 2, 3}, {{1, 0.75f}, {2, 0.25f}}),
                     Vertex({-1, 0.5f, 2}, {{1, 0.5f}, {2, 0.3f}, {3, 0.2f}}),
                     Vertex({0.5f, -2, 1}, {{4, 0.1f}, {3, 0.2f}, {2, 0.3f}, {1, 0.4f}}),
                     Vertex({2, 1, -1}, {{3, 1.0f}}),
                     Vertex({3, 3, 3}, {{2, 1.0f}})};
    std::vector<PackedInfluences> influences;
    for (const MeshVertex& vertex : mesh.vertices) influences.push_back(QuantiseInfluences(vertex.influences));
    const std::vector<PaletteMatrix> palette = Palette();

    const bool scalar = implementation == Implementation::Scalar;
    ASSERT_TRUE(Quorvan::Initialize(scalar, 6));
    SkinnedCharacter character(mesh, influences, implementation, directions);
    ASSERT_EQ(character.BlendedCount(), 3u);
    ASSERT_EQ(character.RigidCount(), 2u);
    character.LoadPose(*Quorvan::i(), palette);
    character.SkinBlended(*Quorvan::i());
    character.SkinRigid(*Quorvan::i());
    Quorvan::Shutdown();

    const double directionTolerance = directions == Directions::Float ? 1e-5 : 0.08;
    for (uint32_t v = 0; v < mesh.vertices.size(); ++v) {
        SCOPED_TRACE("vertex " + std::to_string(v));
        const bool blended = !IsRigid(influences[v]);
        const SkinnedVertex expected = Blend(mesh.vertices[v], influences[v], palette), got = character.Read(v);
        // Quorvan_std blends with unscaled weight bytes, renormalises blended
        // normals and writes no tangents; rigid vertices come out at full
        // weight from both.
        const double scale = scalar && blended ? 255 : 1;
        EXPECT_LE(LargestDifference(got.position, expected.position * scale), 1e-5 * scale);
        EXPECT_LE(LargestDifference(got.normal, scalar && blended ? Normalised(expected.normal) : expected.normal),
                  directionTolerance);
        if (!scalar) {
            EXPECT_LE(LargestDifference(got.tangent, expected.tangent), directionTolerance);
        }
        EXPECT_EQ(got.u, 0.25f);
        EXPECT_EQ(got.v, 0.75f);
    }
}

INSTANTIATE_TEST_SUITE_P(BothImplementations, VertexLayoutTest,
                         ::testing::Combine(::testing::Values(Implementation::Vector, Implementation::Scalar),
                                            ::testing::Values(Directions::Float, Directions::Packed)),
                         [](const auto& info) {
                             return std::string(ImplementationName(std::get<0>(info.param))) +
                                    (std::get<1>(info.param) == Directions::Float ? "_float" : "_packed");
                         });

}  // namespace
