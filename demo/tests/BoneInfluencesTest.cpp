#include "BoneInfluences.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

namespace {

void ExpectPacked(const PackedInfluences& p, std::vector<int> bones, std::vector<int> weights) {
    ASSERT_EQ(p.count, int(bones.size()));
    for (int i = 0; i < kMaxInfluences; ++i) {
        const bool used = i < p.count;
        EXPECT_EQ(p.bones[i], used ? bones[i] : bones[0]) << "bone slot " << i;
        EXPECT_EQ(p.weights[i], used ? weights[i] : 0) << "weight slot " << i;
    }
}

}  // namespace

TEST(BoneInfluences, FiveInfluencesKeepTheFourStrongestInProportion) {
    // Without bone 9, the shares of 255 are 107.37, 80.53, 40.26 and 26.84:
    // the two largest fractions get the two missing units.
    ExpectPacked(QuantiseInfluences({{9, 0.05f}, {3, 0.4f}, {7, 0.1f}, {1, 0.3f}, {4, 0.15f}}), {3, 1, 4, 7},
                 {107, 81, 40, 27});
}

TEST(BoneInfluences, SmallCases) {
    ExpectPacked(QuantiseInfluences({{5, 2.0f}}), {5}, {255});
    // 127.5 each: the earlier of two equal weights takes the odd unit.
    ExpectPacked(QuantiseInfluences({{1, 0.5f}, {2, 0.5f}}), {1, 2}, {128, 127});
    ExpectPacked(QuantiseInfluences({{6, 1.0f}, {2, 1.0f}, {4, 1.0f}}), {6, 2, 4}, {85, 85, 85});
    // A share below one unit vanishes, and the vertex becomes rigid.
    const PackedInfluences nearlyRigid = QuantiseInfluences({{5, 0.001f}, {2, 0.999f}});
    ExpectPacked(nearlyRigid, {2}, {255});
    EXPECT_TRUE(IsRigid(nearlyRigid));
    ExpectPacked(QuantiseInfluences({{8, 0.0f}, {3, 0.0f}}), {8}, {255});
}

TEST(BoneInfluences, AnySetSumsTo255StrongestFirstWithValidBones) {
    std::mt19937 random(1);
    for (int trial = 0; trial < 5000; ++trial) {
        std::vector<Influence> influences;
        std::set<int> given;
        const int n = 1 + int(random() % 7);
        for (int k = 0; k < n; ++k) {
            const uint32_t bone = random() % 128;
            // Every few weights tiny, to produce zero bytes.
            const float weight = (random() % 5 == 0 ? 1e-4f : 1.0f) * float(random() % 1000 + 1);
            influences.push_back({bone, weight});
            given.insert(int(bone));
        }
        const PackedInfluences p = QuantiseInfluences(influences);
        ASSERT_GE(p.count, 1);
        ASSERT_LE(p.count, kMaxInfluences);
        int sum = 0;
        for (int i = 0; i < kMaxInfluences; ++i) {
            sum += p.weights[i];
            EXPECT_TRUE(given.count(p.bones[i])) << "bone " << int(p.bones[i]) << " was never given";
            EXPECT_EQ(p.weights[i] > 0, i < p.count);
            if (i > 0) {
                EXPECT_LE(p.weights[i], p.weights[i - 1]);
            }
        }
        ASSERT_EQ(sum, 255) << "trial " << trial;
    }
}
