// Loading rigged meshes with Assimp (the test models Debian ships in
// assimp-testmodels) and converting every vertex for the library.

#include "AssimpLoader.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "BoneInfluences.h"
#include "ScratchDirectory.h"
#include "SmdFile.h"

namespace {

struct Model {
    std::string file;
    size_t bones, animations, notes;
    bool moreThanFourInfluences;
};

TEST(MeshLoading, EveryVertexConvertsToFourInfluencesOnLoadedBones) {
    const std::string models = ASSIMP_TEST_MODELS;
    const ScratchDirectory scratch;
    WriteBoneChainSmd(scratch / "chain128.smd", 128);  // exactly what the palette holds
    const Model table[] = {
        {models + "/X/Testwuson.X", 37, 3, 0, false},
        {models + "/FBX/animation_with_skeleton.fbx", 14, 1, 0, true},
        // Binds its cylinder to four bones but names only two in its hierarchy.
        {models + "/X/anim_test.x", 4, 1, 2, false},
        {scratch / "chain128.smd", 128, 1, 0, false},
    };
    for (const Model& model : table) {
        SCOPED_TRACE(model.file);
        std::vector<std::string> notes;
        const SkinnedMesh mesh = LoadMesh(model.file, 128, notes);
        EXPECT_EQ(mesh.skeleton.bones.size(), model.bones);
        EXPECT_EQ(mesh.animations.size(), model.animations);
        EXPECT_EQ(notes.size(), model.notes);
        size_t most = 0;
        for (size_t v = 0; v < mesh.vertices.size(); ++v) {
            most = std::max(most, mesh.vertices[v].influences.size());
            const PackedInfluences p = QuantiseInfluences(mesh.vertices[v].influences);
            ASSERT_EQ(p.weights[0] + p.weights[1] + p.weights[2] + p.weights[3], 255) << v;
            ASSERT_LT(*std::max_element(p.bones, p.bones + kMaxInfluences), mesh.skeleton.bones.size()) << v;
        }
        EXPECT_EQ(most > size_t(kMaxInfluences), model.moreThanFourInfluences);
    }
}

}  // namespace
