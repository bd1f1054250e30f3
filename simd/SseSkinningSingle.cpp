// SkinningSingle of the vector implementation: one bone per vertex.

#include "../Cross/Quorvan/VertexCursor.h"
#include "SseSkinning.h"

// The single-bone arithmetic is still to come; until then each kernel does
// the bookkeeping of its leaf: the copies and the cursor steps.
template <uint32_t ExtraSize, unsigned Features>
void SseSingleFamily::Run() {
    const SkinningJob& job = s_sseJob;
    VertexCursor cursor(job);
    do cursor.FinishVertex<ExtraSize, (Features & kSkinAux) != 0>(job);
    while (cursor.count != 0);
    cursor.StoreInto(s_sseJob);
}

const SkinningDispatch<SseSingleFamily>::Table kSseSingleKernels = SkinningDispatch<SseSingleFamily>::Build();
