#pragma once

#include "../Cross/Quorvan/Quorvan.h"
#include "x86/VectorPath.h"

// The vector implementation: SSE single-precision arithmetic and MMX moves,
// never SSE2, so it runs on every processor whose operating system runs SSE;
// where the processor has wider units it runs the same operations on them,
// with the same results. It has no data of its own; its palette, the state
// of a skinning call and the choice of vector path are module-wide.
class Quorvan_SSE final : public Quorvan {
public:
    // Resets the module-wide palette, so a new instance starts from identity
    // bones (and resets them under any earlier instance as well), and runs
    // the module on the widest path the processor has.
    Quorvan_SSE();
    // The same on the given path, which the processor must run: for tests
    // and benchmarks that measure one path against another.
    explicit Quorvan_SSE(VectorPath path);

    void SkinningFull(const SkinningJob* job) override;
    void SkinningSingle(const SkinningJob* job) override;
    void SetSkinningMatrix(uint32_t bone, const float* m) override;
    void CachelessCopy(void* dst, const void* src, uint32_t bytes) override;
    bool TestMaskRect(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch,
                      uint32_t mask) override;
    void FowAlpha16Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask,
                          uint32_t halfMask, uint16_t* texels) override;
    void FowAlpha32Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask,
                          uint32_t halfMask, uint32_t* texels) override;
    void ANDMaskMemory(uint32_t* words, uint32_t count, uint32_t mask) override;
};
