/* The thread-safe skinning calls as a C program uses them: worked examples
 * whose bytes follow from the arithmetic by hand. */

#include <Quorvan/QuorvanSkinning.h>

#include <stdio.h>
#include <string.h>

static int failures;

#define CHECK(condition)                                                   \
    do {                                                                   \
        if (!(condition)) {                                                \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
            ++failures;                                                    \
        }                                                                  \
    } while (0)

enum { kSrcStride = 32, kDstStride = 16 };

static uint32_t BitsAt(const uint8_t* p) {
    uint32_t bits;
    memcpy(&bits, p, 4);
    return bits;
}

static void PutVertex(uint8_t* v, float x, float y, float z, uint8_t bone, uint8_t weight) {
    const float position[3] = {x, y, z};
    memcpy(v, position, 12);
    v[12] = bone;
    v[18] = weight; /* the first influence's weight byte; byte 17 = 0 makes it the only one */
}

static QuorvanSkinningJob PositionsJob(const uint8_t* src, uint8_t* dst, uint32_t count) {
    QuorvanSkinningJob job;
    memset(&job, 0, sizeof job);
    job.srcVertex = src;
    job.srcStride = kSrcStride;
    job.dstVertex = dst;
    job.dstStride = kDstStride;
    job.vertexCount = count;
    return job;
}

static QuorvanSkinningPalette palette;

int main(void) {
    /* Bone 1 moves by (10, 20, 30). */
    static const float moved[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 10, 20, 30};
    uint8_t src[2 * kSrcStride] = {0};
    uint8_t dst[2 * kDstStride + 4];
    QuorvanSkinningRange ranges[4];
    QuorvanSkinningJob job;
    uint32_t count, i;
    QuorvanSkinningCheckExtents extents = {src, sizeof src, dst, 2 * kDstStride - 5, NULL, 0, 1};
    QuorvanSkinningCheckAnswer answer;
    char line[96];

    /* The check needs no vector unit: the second position ends a byte past
       a destination of 27 bytes. */
    job = PositionsJob(src, dst, 2);
    CHECK(QuorvanSkinningCheck(&job, QuorvanSkinningCheckVectorFull, &extents, &answer) ==
          QuorvanSkinningCheckStorePastBuffer);
    CHECK(answer.vertex == 1 && answer.access == QuorvanSkinningCheckPosition && answer.bytes == 1);
    CHECK(QuorvanSkinningCheckText(&answer, line, sizeof line) == 68 &&
          strcmp(line, "vertex 1: the position store ends 1 byte past the destination buffer") == 0);

    if (QuorvanSkinningVectorUnit() == NULL) {
        CHECK(QuorvanSkinningResetPalette(&palette) == QuorvanSkinningNoVectorUnit);
        printf("no SSE: every call says so\n");
        return failures != 0;
    }
    printf("vector unit: %s\n", QuorvanSkinningVectorUnit());
    CHECK(QuorvanSkinningResetPalette(&palette) == QuorvanSkinningDone);
    CHECK(QuorvanSkinningSetMatrix(&palette, 1, moved) == QuorvanSkinningDone);
    CHECK(QuorvanSkinningSetMatrix(&palette, 256, moved) == QuorvanSkinningNoSuchBone);
    CHECK(QuorvanSkinningResetPalette((QuorvanSkinningPalette*)((uint8_t*)&palette + 4)) ==
          QuorvanSkinningMisalignedPalette);

    /* Weight byte 255 is 255 * (1/255 as a float), which rounds to 1. */
    PutVertex(src, 1, 2, 3, 1, 255);
    memset(dst, 0xCD, sizeof dst);
    job = PositionsJob(src, dst, 1);
    CHECK(QuorvanSkinningFull(&palette, &job) == QuorvanSkinningDone);
    CHECK(BitsAt(dst) == 0x41300000 && BitsAt(dst + 4) == 0x41B00000 && BitsAt(dst + 8) == 0x42040000); /* 11 22 33 */
    CHECK(dst[12] == 0xCD);

    /* The identity bone. The first vertex's x sum is negative, so it hands
       -0 on; the second's only product is -7 * 0 = -0, and -0 + -0 stays -0
       where a fresh start (+0) would give +0. */
    PutVertex(src, -1, 2, 3, 0, 255);
    PutVertex(src + kSrcStride, -7, 1, 1, 0, 0);
    memset(dst, 0xCD, sizeof dst);
    job = PositionsJob(src, dst, 2);
    CHECK(QuorvanSkinningFull(&palette, &job) == QuorvanSkinningDone);
    CHECK(BitsAt(dst + kDstStride) == 0x80000000 && BitsAt(dst + kDstStride + 4) == 0);

    memset(dst, 0xCD, sizeof dst);
    count = QuorvanSkinningSplit(&job, 4, ranges);
    CHECK(count == 2 && ranges[1].job.vertexCount == 1 && ranges[1].job.dstVertex == dst + kDstStride);
    for (i = count; i-- > 0;) CHECK(QuorvanSkinningFullRange(&palette, &ranges[i]) == QuorvanSkinningDone);
    CHECK(BitsAt(dst + kDstStride) == 0); /* each range starts from +0 */
    CHECK(QuorvanSkinningStitch(&palette, ranges, count) == QuorvanSkinningDone);
    CHECK(BitsAt(dst + kDstStride) == 0x80000000);
    CHECK(dst[2 * kDstStride] == 0xCD);

    /* In place, a vertex is written over its own inputs: kept whole. */
    job = PositionsJob(src, src, 2);
    job.dstStride = kSrcStride;
    CHECK(QuorvanSkinningSplit(&job, 4, ranges) == 1);

    if (failures == 0) printf("all checks passed\n");
    return failures != 0;
}
