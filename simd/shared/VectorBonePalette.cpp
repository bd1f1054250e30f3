#include "VectorBonePalette.h"

#include <cstring>

#include "../../Cross/Quorvan/FloatSettings.h"

namespace {

// The wide form of a bone from its float rows and quantised rotation.
void WidenBone(VectorBonePalette& palette, unsigned bone) {
    WideBone& wide = palette.wide[bone];
    for (unsigned row = 0; row < 3; ++row)
        for (unsigned k = 0; k < 16; ++k) wide.rows[row][k] = palette.rows[bone][row][k % 4];
    for (unsigned k = 0; k < 16; ++k) wide.translation[k] = k < 4 ? palette.rows[bone][3][k] : -0.0f;
    const int8_t* q = palette.quantised[bone];
    for (unsigned half = 0; half < 16; half += 8) {
        for (unsigned column = 0; column < 3; ++column) {
            wide.pairsAB[half + 2 * column] = q[column];
            wide.pairsAB[half + 2 * column + 1] = q[3 + column];
            wide.pairsC0[half + 2 * column] = q[6 + column];
            wide.pairsC0[half + 2 * column + 1] = 0;
        }
        for (unsigned k = 6; k < 8; ++k) wide.pairsAB[half + k] = wide.pairsC0[half + k] = 0;
    }
}

}  // namespace

void ResetVectorPaletteToIdentity(VectorBonePalette& palette) {
    std::memset(&palette, 0, sizeof palette);
    for (unsigned bone = 0; bone < kVectorBoneCount; ++bone) {
        for (unsigned k = 0; k < 4; ++k) palette.rows[bone][k][k] = 1.0f;
        for (unsigned k = 0; k < 3; ++k) palette.quantised[bone][4 * k] = 127;
        WidenBone(palette, bone);
    }
}

int8_t QuantiseRotation(float element) {
    // The product of a float and 127 or 128 is exact in double precision, so
    // truncating it is the truncation of the exact product.
    const double scaled = static_cast<double>(element) * (element > 0.0f ? 127.0 : 128.0);
    // A product beyond 64 bits (or NaN) becomes the integer indefinite value,
    // whose low byte is 0, as the processor's own conversion gives it.
    constexpr double kLimit = 9223372036854775808.0;  // 2^63
    const int64_t whole = (scaled > -kLimit && scaled < kLimit) ? static_cast<int64_t>(scaled) : INT64_MIN;
    return static_cast<int8_t>(static_cast<uint8_t>(static_cast<uint64_t>(whole) & 0xFF));
}

void SetVectorPaletteEntry(VectorBonePalette& palette, uint32_t bone, const float* m) {
    const VectorFloatSettings settings;  // the quantising rounds and compares
    float (&rows)[4][4] = palette.rows[bone];
    for (unsigned row = 0; row < 4; ++row) {
        for (unsigned column = 0; column < 3; ++column) rows[row][column] = m[3 * row + column];
        rows[row][3] = 0.0f;
    }
    int8_t* q = palette.quantised[bone];
    for (unsigned k = 0; k < 9; ++k) q[k] = QuantiseRotation(m[k]);
    WidenBone(palette, bone);
}
