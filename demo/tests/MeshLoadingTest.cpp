// Loading rigged meshes with Assimp (the test models Debian ships in
// assimp-testmodels) and converting every vertex for the library.

#include "AssimpLoader.h"

#include <gtest/gtest.h>

#include <fstream>

#include "BoneInfluences.h"
#include "ScratchDirectory.h"
#include "SmdFile.h"

namespace {

const std::string kModels = ASSIMP_TEST_MODELS;

// Every vertex converts to at most four influences on loaded bones whose
// weight bytes sum to 255.
void ExpectConvertible(const SkinnedMesh& mesh) {
    for (size_t v = 0; v < mesh.vertices.size(); ++v) {
        const PackedInfluences p = QuantiseInfluences(mesh.vertices[v].influences);
        int sum = 0;
        for (int i = 0; i < kMaxInfluences; ++i) {
            sum += p.weights[i];
            ASSERT_LT(p.bones[i], mesh.skeleton.bones.size()) << "vertex " << v;
        }
        ASSERT_EQ(sum, 255) << "vertex " << v;
    }
}

std::string LoadError(const std::string& path) {
    std::vector<std::string> notes;
    try {
        LoadMesh(path, 128, notes);
    } catch (const MeshLoadError& error) {
        return error.what();
    }
    return "loaded";
}

}  // namespace

TEST(MeshLoading, CharacterWithThreeAnimations) {
    std::vector<std::string> notes;
    const SkinnedMesh wuson = LoadMesh(kModels + "/X/Testwuson.X", 128, notes);
    EXPECT_EQ(wuson.skeleton.bones.size(), 37u);
    EXPECT_EQ(wuson.animations.size(), 3u);
    EXPECT_GT(wuson.triangles.size(), 3000u);
    EXPECT_TRUE(notes.empty());
    ExpectConvertible(wuson);
}

TEST(MeshLoading, MeshWithSixInfluencesPerVertexConverts) {
    std::vector<std::string> notes;
    const SkinnedMesh mesh = LoadMesh(kModels + "/FBX/animation_with_skeleton.fbx", 128, notes);
    size_t most = 0;
    for (const MeshVertex& vertex : mesh.vertices) most = std::max(most, vertex.influences.size());
    EXPECT_GT(most, size_t(kMaxInfluences));
    ExpectConvertible(mesh);
}

TEST(MeshLoading, BonesWithoutNodesStayInTheirBindPose) {
    // The file binds its cylinder to four bones but names only two in its
    // hierarchy.
    std::vector<std::string> notes;
    const SkinnedMesh cylinder = LoadMesh(kModels + "/X/anim_test.x", 128, notes);
    EXPECT_EQ(cylinder.skeleton.bones.size(), 4u);
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_NE(notes[0].find("joint3"), std::string::npos);
    ExpectConvertible(cylinder);
}

TEST(MeshLoading, FilesThatCannotBeShownSayWhy) {
    EXPECT_EQ(LoadError(kModels + "/X/missing.x"), "cannot read '" + kModels + "/X/missing.x': no such file");
    EXPECT_EQ(LoadError(kModels + "/X"), "cannot read '" + kModels + "/X': not a file");
    EXPECT_EQ(LoadError(kModels + "/Collada/duck.dae"), "'duck.dae' has no skeleton: no mesh in it is bound to bones");

    const ScratchDirectory scratch;
    const std::string garbage = scratch / "garbage.x";
    std::ofstream(garbage) << "xof 0303txt 0032\nnot a mesh at all {{{\n";
    EXPECT_EQ(LoadError(garbage).rfind("cannot read '" + garbage + "': ", 0), 0u) << LoadError(garbage);

    const std::string chain = scratch / "chain130.smd";
    WriteBoneChainSmd(chain, 130);
    EXPECT_EQ(LoadError(chain), "'chain130.smd' has 130 bones; the bone palette holds 128");
    WriteBoneChainSmd(chain, 128);
    EXPECT_EQ(LoadError(chain), "loaded");
}
