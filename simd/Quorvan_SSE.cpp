// The vector implementation's operations.

#include "Quorvan_SSE.h"

#include "../Cross/Quorvan/Report.h"
#include "shared/VectorBonePalette.h"
#include "x86/VectorKernels.h"

SkinningJob s_sseJob;
VectorBonePalette s_ssePalette;

Quorvan_SSE::Quorvan_SSE() : Quorvan_SSE(WidestVectorPath()) {}

Quorvan_SSE::Quorvan_SSE(VectorPath path) {
    s_vectorKernels = &VectorKernelsFor(path);
    ResetVectorPaletteToIdentity(s_ssePalette);
}

void Quorvan_SSE::SkinningFull(const SkinningJob* job) {
    SkinningCarry carry{};
    RunSkinningCall(*s_vectorKernels->skinning.full, s_sseJob, *job, kSseFullRefusal, &s_sseJob, &s_ssePalette, &carry);
}

void Quorvan_SSE::SkinningSingle(const SkinningJob* job) {
    SkinningCarry carry{};
    RunSkinningCall(*s_vectorKernels->skinning.single, s_sseJob, *job, kSseSingleRefusal, &s_sseJob, &s_ssePalette,
                    &carry);
}

void Quorvan_SSE::SetSkinningMatrix(uint32_t bone, const float* m) { SetVectorPaletteEntry(s_ssePalette, bone, m); }

// The memory helpers insist on the multiples their steps need. A report
// does not stop them: if the host's handler returns, the loop runs as asked.
void Quorvan_SSE::CachelessCopy(void* dst, const void* src, uint32_t bytes) {
    if (bytes % 4 != 0)
        ReportFatal(kSseSourceFile, 1215, "CachelessCopy only handles copies that are a multiple of 4 bytes.");
    s_vectorKernels->memory.copyBlocks(static_cast<uint8_t*>(dst), static_cast<const uint8_t*>(src), bytes);
}

bool Quorvan_SSE::TestMaskRect(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch,
                               uint32_t mask) {
    return s_vectorKernels->memory.testMaskRect(base, width, height, pitch, mask);
}

void Quorvan_SSE::FowAlpha16Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask,
                                   uint32_t halfMask, uint16_t* texels) {
    if (count % 4 != 0) ReportFatal(kSseSourceFile, 1269, "FowAlpha16Update, Must have multiple's of 4 for size only.");
    s_vectorKernels->memory.fowAlpha16(visibility, count, fullMask, halfMask, texels);
}

void Quorvan_SSE::FowAlpha32Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask,
                                   uint32_t halfMask, uint32_t* texels) {
    if (count % 4 != 0) ReportFatal(kSseSourceFile, 1365, "FowAlpha32Update, Must have multiple's of 4 for size only.");
    s_vectorKernels->memory.fowAlpha32(visibility, count, fullMask, halfMask, texels);
}

void Quorvan_SSE::ANDMaskMemory(uint32_t* words, uint32_t count, uint32_t mask) {
    if (count % 2 != 0) ReportFatal(kSseSourceFile, 1427, "ANDMaskMemory, Must have multiple's of 2 for length.");
    s_vectorKernels->memory.andMask(words, count, mask);
}
