// The scalar implementation's packed-direction encoder on values worked out
// by hand from its arithmetic; the scalar suite runs it, the decoder and the
// fast reciprocal square root against the model.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "../Cross/Quorvan/PackedDirection.h"
#include "Canary.h"

// Bytes z, y, x and the range as a little-endian word.
TEST(PackedDirectionTest, EncodesWorkedExamples) {
    const struct {
        Float3 d;
        uint32_t bytes;
        const char* why;
    } cases[] = {
        {{0, 0, 0}, 0xFF000000, "nothing to lift, full range"},
        {{1, 0, 0}, 0xFFFF0000, "1.0 is 255.99, truncated to 255"},
        {{0.5f, 0, 0}, 0xFF7F0000, "127.995 truncates, it does not round to 128"},
        {{-1, -1, -1}, 0x00000000, "smallest -1: range 0"},
        {{1, 1, 1}, 0x00FFFFFF, "positive components are lifted too"},
        {{0.6f, -0.8f, 0}, 0x33C70071, "lifted by 0.8, squeezed by 1/1.8, range 0.2"},
        {{2, 0, 0}, 0xFFFF0000, "511.98 clamps to 255"},
        {{-3, 0, 0}, 0x0000BFBF, "range 1 - 3 clamps to 0"},
        {{0.5f, -0.25f, NAN}, 0xBF990000, "y is kept against a NaN z, so t is 0.25"},
    };
    for (const auto& c : cases) {
        uint8_t out[4];
        PackedDirection::Encode(out, c.d);
        EXPECT_EQ(Load<uint32_t>(out), c.bytes) << c.why;
    }
}
