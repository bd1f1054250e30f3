#pragma once

// The skinning loops a game engine writes for itself, without the library.
// The blend loop: per vertex, blend the bone matrices of its influences by
// weight into one 3x4 matrix, then transform the position, normal, tangent
// and binormal with it. The rigid loop: per vertex, transform them by its
// one bone's matrix. Plain float C++, built in their own translation unit
// at -O2 for baseline x86-64 whatever the project's build type, as an
// engine ships them; beside each, the same by hand with SSE2.
//
// They read the vertices the library reads and write the layout the library
// writes:
//   source       0 position (3 floats), 12 bone bytes, 16 weight bytes,
//                20 normal, then tangent and binormal (12 bytes each as
//                floats at 20, 32 and 44; 4 bytes each packed at 20, 24, 28)
//   destination  0 position, 12 normal, then tangent and binormal (12 bytes
//                each as floats, 4 bytes each packed)
// Influence i weighs byte 16 + {2, 1, 0, 3}[i] / 255; a vertex's influences
// end after influence i when byte 17 + i is 0, or after the fourth.
// Packed directions hold each component c in excess-128 form, x in byte 2,
// y in byte 1, z in byte 0: byte = 128 + c * 127, clamped and rounded by the
// blend loop.

#include <cstdint>

enum class EngineDirections { None, Float, Packed };

// `bones` holds twelve floats per bone: the images of the x, y and z axes,
// then the translation.
void EngineSkinVertices(const uint8_t* src, uint32_t srcStride, uint8_t* dst, uint32_t dstStride, uint32_t count,
                        const float* bones, EngineDirections directions);

// The same, as an engine team with SIMD programmers writes it: SSE2, four
// vertices at a time (EngineSkinningSse2.cpp). It loads 16 bytes for each
// 12-byte float vector, so the source must have 4 readable bytes behind the
// last vertex's last vector.
void EngineSkinVerticesSse2(const uint8_t* src, uint32_t srcStride, uint8_t* dst, uint32_t dstStride,
                            uint32_t count, const float* bones, EngineDirections directions);

// Rigid skinning: each vertex follows the bone named by its byte 12, with a
// weight of one, and carries two extra words (8 bytes, say a texture
// coordinate pair) at its own offset, which are copied through. Vectors sit
// where the blend loop has them. Packed directions go through `rotations`,
// nine signed bytes per bone (each rotation element times 127, or 128 where
// negative, truncated), in integers: component c of the result is
// (x q[c] + y q[3 + c] + z q[6 + c] + 16255) >> 7, wrapped to a byte, with
// x, y and z the source bytes less 128; byte 3 is 0.
struct EngineRigidLayout {
    uint32_t srcStride, dstStride, srcExtraOffset, dstExtraOffset;
};

void EngineSkinRigid(const uint8_t* src, uint8_t* dst, const EngineRigidLayout& layout, uint32_t count,
                     const float* bones, const int8_t* rotations, EngineDirections directions);

// The same with SSE2, four vertices at a time (EngineSkinningSse2.cpp),
// reading 16 bytes for each 12-byte float vector as EngineSkinVerticesSse2
// does.
void EngineSkinRigidSse2(const uint8_t* src, uint8_t* dst, const EngineRigidLayout& layout, uint32_t count,
                         const float* bones, const int8_t* rotations, EngineDirections directions);
