#include "PackedDirection.h"

#include <algorithm>
#include <cmath>

namespace {

uint32_t Pack(int x, int y, int z, int range) {
    return uint32_t(z) | uint32_t(y) << 8 | uint32_t(x) << 16 | uint32_t(range) << 24;
}

int Byte(uint32_t packed, int k) { return (packed >> (8 * k)) & 0xFF; }

}  // namespace

uint32_t EncodeExcess128(Vec3 d) {
    const auto byte = [](double c) { return 128 + int(std::lround(std::clamp(c, -1.0, 1.0) * 127)); };
    return Pack(byte(d.x), byte(d.y), byte(d.z), 0);
}

Vec3 DecodeExcess128(uint32_t packed) {
    return {(Byte(packed, 2) - 128) / 127.0, (Byte(packed, 1) - 128) / 127.0, (Byte(packed, 0) - 128) / 127.0};
}

uint32_t EncodeRangeByte(Vec3 d) {
    const double lift = std::fabs(std::min({d.x, d.y, d.z}));
    const double squeeze = 1 / (1 + lift);
    // The channels are truncated; 255.99 lets exactly 1 reach 255.
    const auto byte = [](double c) { return int(std::clamp(c * 255.99, 0.0, 255.0)); };
    return Pack(byte((d.x + lift) * squeeze), byte((d.y + lift) * squeeze), byte((d.z + lift) * squeeze),
                byte(1 - lift));
}

Vec3 DecodeRangeByte(uint32_t packed) {
    const double lift = 1 - Byte(packed, 3) / 255.0, scale = 1 + lift;
    const auto channel = [&](int k) { return scale * (Byte(packed, k) / 255.0) - lift; };
    return {channel(2), channel(1), channel(0)};
}
