// The scalar implementation's operations.

#include "Quorvan_std.h"

#include <cstring>

#include "StdSkinning.h"

namespace {
// This file as the host's reports name it.
constexpr const char* kSourceFile = "../../Cross/Quorvan/Quorvan_std.cpp";
}  // namespace

SkinningJob s_stdJob;

void Quorvan_std::SkinningFull(const SkinningJob* job) {
    SkinningDispatch<StdFullFamily>::Run(kStdFullKernels, s_stdJob, *job,
                                         {kSourceFile, 343, "Unsupported 'extraSize'=%d in SkinningFull()"},
                                         false, m_palette);
}

void Quorvan_std::SkinningSingle(const SkinningJob* job) {
    SkinningDispatch<StdSingleFamily>::Run(kStdSingleKernels, s_stdJob, *job,
                                           {kSourceFile, 421, "Unsupported 'extraSize'=%d in SkinningSingle()"},
                                           false, m_palette);
}

// Kept bit for bit, NaN payloads included: copied, never loaded as floats.
void Quorvan_std::SetSkinningMatrix(uint32_t bone, const float* m) {
    std::memcpy(m_palette + bone * kFloatsPerBone, m, kFloatsPerBone * sizeof(float));
}

// The memory helpers arrive with their own loops; until then these entries
// do nothing (the README's feature table lists what works).
void Quorvan_std::CachelessCopy(void*, const void*, uint32_t) {}
bool Quorvan_std::TestMaskRect(const uint32_t*, uint32_t, uint32_t, uint32_t, uint32_t) {
    return false;
}
void Quorvan_std::FowAlpha16Update(const uint32_t*, uint32_t, uint32_t, uint32_t, uint16_t*) {}
void Quorvan_std::FowAlpha32Update(const uint32_t*, uint32_t, uint32_t, uint32_t, uint32_t*) {}
void Quorvan_std::ANDMaskMemory(uint32_t*, uint32_t, uint32_t) {}
