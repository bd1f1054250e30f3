#pragma once

// Source vertices of the threaded and crowd benchmarks, 56 bytes each:
// position, four bone bytes, weights 64/64/64/63 (four influences), float
// normal, tangent and binormal; and poses of random bone matrices.

#include <cstdint>
#include <cstring>
#include <random>

constexpr uint32_t kBlendedSrcStride = 56;

inline void FillBlendedVertices(uint8_t* src, uint32_t vertices, unsigned bones, std::mt19937& random) {
    std::uniform_real_distribution<float> unit(-1, 1);
    for (uint32_t v = 0; v < vertices; ++v) {
        uint8_t* p = src + size_t{v} * kBlendedSrcStride;
        float floats[12];
        for (float& f : floats) f = unit(random) * 10;
        std::memcpy(p, floats, 12);
        std::memcpy(p + 20, floats + 3, 36);
        for (int i = 0; i < 4; ++i) p[12 + i] = static_cast<uint8_t>(random() % bones);
        const uint8_t weights[4] = {64, 64, 64, 63};
        std::memcpy(p + 16, weights, 4);
    }
}

template <unsigned Bones>
void FillPose(float (&pose)[Bones][12], std::mt19937& random) {
    std::uniform_real_distribution<float> unit(-1, 1);
    for (auto& bone : pose)
        for (float& e : bone) e = unit(random);
}
