// The vector implementation's operations.

#include "Quorvan_SSE.h"

#include "SseBonePalette.h"
#include "SseSkinning.h"

namespace {
// This file as the host's reports name it.
constexpr const char* kSourceFile = "./Quorvan_SSE.cpp";
}  // namespace

SkinningJob s_sseJob;

Quorvan_SSE::Quorvan_SSE() { ResetSsePaletteToIdentity(); }

void Quorvan_SSE::SkinningFull(const SkinningJob* job) {
    SkinningDispatch<SseFullFamily>::Run(kSseFullKernels, s_sseJob, *job,
                                         {kSourceFile, 1081, "Unsupported 'extraSize'=%d in SkinningFull()"});
}

void Quorvan_SSE::SkinningSingle(const SkinningJob* job) {
    SkinningDispatch<SseSingleFamily>::Run(kSseSingleKernels, s_sseJob, *job,
                                           {kSourceFile, 1173, "Unsupported 'extraSize'=%d in SkinningSingle()"});
}

void Quorvan_SSE::SetSkinningMatrix(uint32_t bone, const float* m) { SetSsePaletteEntry(bone, m); }

// The memory helpers arrive with their own loops; until then these entries
// do nothing (the README's feature table lists what works).
void Quorvan_SSE::CachelessCopy(void*, const void*, uint32_t) {}
bool Quorvan_SSE::TestMaskRect(const uint32_t*, uint32_t, uint32_t, uint32_t, uint32_t) {
    return false;
}
void Quorvan_SSE::FowAlpha16Update(const uint32_t*, uint32_t, uint32_t, uint32_t, uint16_t*) {}
void Quorvan_SSE::FowAlpha32Update(const uint32_t*, uint32_t, uint32_t, uint32_t, uint32_t*) {}
void Quorvan_SSE::ANDMaskMemory(uint32_t*, uint32_t, uint32_t) {}
