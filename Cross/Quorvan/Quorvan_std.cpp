// The scalar implementation's operations.

#include "Quorvan_std.h"

#include <cstring>

#include "StdMemoryLoops.h"
#include "StdSkinning.h"

namespace {
// This file as the host's reports name it.
constexpr const char* kSourceFile = "../../Cross/Quorvan/Quorvan_std.cpp";
}  // namespace

SkinningJob s_stdJob;

void Quorvan_std::SkinningFull(const SkinningJob* job) {
    RunSkinningCall(kStdFullKernels, s_stdJob, *job,
                    {kSourceFile, 343, "Unsupported 'extraSize'=%d in SkinningFull()"}, false, m_palette);
}

void Quorvan_std::SkinningSingle(const SkinningJob* job) {
    RunSkinningCall(kStdSingleKernels, s_stdJob, *job,
                    {kSourceFile, 421, "Unsupported 'extraSize'=%d in SkinningSingle()"}, false, m_palette);
}

// Kept bit for bit, NaN payloads included: copied, never loaded as floats.
void Quorvan_std::SetSkinningMatrix(uint32_t bone, const float* m) {
    std::memcpy(m_palette + bone * kFloatsPerBone, m, kFloatsPerBone * sizeof(float));
}

// The memory helpers check nothing.
void Quorvan_std::CachelessCopy(void* dst, const void* src, uint32_t bytes) { std::memcpy(dst, src, bytes); }

bool Quorvan_std::TestMaskRect(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch,
                               uint32_t mask) {
    return AnyMaskBitInRect(base, width, height, pitch, mask);
}

void Quorvan_std::FowAlpha16Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask,
                                   uint32_t halfMask, uint16_t* texels) {
    StdMemory::FowAlpha16(visibility, count, {fullMask, halfMask}, texels);
}

void Quorvan_std::FowAlpha32Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask,
                                   uint32_t halfMask, uint32_t* texels) {
    StdMemory::FowAlpha32(visibility, count, {fullMask, halfMask}, texels);
}

void Quorvan_std::ANDMaskMemory(uint32_t* words, uint32_t count, uint32_t mask) {
    StdMemory::AndMask(words, count, mask);
}
