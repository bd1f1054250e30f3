#pragma once

// The whole public surface of Quorvan: the interface a host engine calls, the
// skinning job record and the processor identification.

#include <cstdint>

#include "ProcessorInfo.h"
#include "QuorvanExport.h"
#include "SkinningJob.h"

// The interface. Hosts call through its virtual table, whose nine slots keep
// this order: destructor, SkinningFull, SkinningSingle, SetSkinningMatrix,
// CachelessCopy, TestMaskRect, FowAlpha16Update, FowAlpha32Update,
// ANDMaskMemory.
class Quorvan {
public:
    virtual ~Quorvan();

    // Skins `job->vertexCount` vertices with up to four weighted bones each.
    virtual void SkinningFull(const SkinningJob* job) = 0;
    // Skins vertices bound rigidly to the bone of their first index byte.
    virtual void SkinningSingle(const SkinningJob* job) = 0;
    // Loads one bone: twelve floats, the images of the x, y and z axes, then
    // the translation.
    virtual void SetSkinningMatrix(uint32_t bone, const float* m) = 0;

    virtual void CachelessCopy(void* dst, const void* src, uint32_t bytes) = 0;
    // True when a word of the `width` x `height` block at `base` (rows `pitch`
    // words apart) has a bit of `mask` set.
    virtual bool TestMaskRect(const uint32_t* base, uint32_t width, uint32_t height,
                              uint32_t pitch, uint32_t mask) = 0;
    // Sets each texel's alpha to the full, half or low level from its flag word.
    virtual void FowAlpha16Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask,
                                  uint32_t halfMask, uint16_t* texels) = 0;
    virtual void FowAlpha32Update(const uint32_t* visibility, uint32_t count, uint32_t fullMask,
                                  uint32_t halfMask, uint32_t* texels) = 0;
    virtual void ANDMaskMemory(uint32_t* words, uint32_t count, uint32_t mask) = 0;

    // Accepts interface version 6 only. The first accepted call identifies the
    // processor (unless `skipDetection`), creates the instance and writes the
    // trace line; later calls only count users.
    QUORVAN_API static bool QUORVAN_STDCALL Initialize(bool skipDetection, int version);
    // Releases one use; the last one deletes the instance.
    QUORVAN_API static void QUORVAN_STDCALL Shutdown();
    // The instance, or null before Initialize and after the last Shutdown.
    QUORVAN_API static Quorvan* QUORVAN_STDCALL i();

    QUORVAN_API static Quorvan* s_pQuorvan;
    QUORVAN_API static uint32_t s_refCount;
};
