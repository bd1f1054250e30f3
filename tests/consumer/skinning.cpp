#include <Quorvan/QuorvanSkinning.h>

#include <cstdio>
#include <cstring>

// One vertex at the origin, one influence of weight 255 on a bone that moves
// x by 2.
int main() {
    static QuorvanSkinningPalette palette;
    const float moved[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 2, 0, 0};
    uint8_t src[32] = {}, dst[12] = {};
    src[18] = 255;
    QuorvanSkinningJob job = {};
    job.srcVertex = src, job.dstVertex = dst, job.vertexCount = 1;
    if (QuorvanSkinningResetPalette(&palette) != QuorvanSkinningDone ||
        QuorvanSkinningSetMatrix(&palette, 0, moved) != QuorvanSkinningDone ||
        QuorvanSkinningFull(&palette, &job) != QuorvanSkinningDone)
        return 1;
    float x;
    std::memcpy(&x, dst, 4);
    std::printf("vector unit %s, x %g\n", QuorvanSkinningVectorUnit(), x);
    return x == 2 ? 0 : 2;
}
