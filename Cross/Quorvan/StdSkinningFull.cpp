// SkinningFull of the scalar implementation.

#include "StdSkinning.h"
#include "VertexCursor.h"

// The x87 arithmetic is still to come; until then each kernel does the
// bookkeeping of its leaf: the copies and the cursor steps.
template <uint32_t ExtraSize, unsigned Features>
void StdFullFamily::Run(bool, const float*) {
    const SkinningJob& job = s_stdJob;
    VertexCursor cursor(job);
    do cursor.FinishVertex<ExtraSize, (Features & kSkinAux) != 0>(job);
    while (cursor.count != 0);
    cursor.StoreInto(s_stdJob);
}

const SkinningDispatch<StdFullFamily>::Table kStdFullKernels = SkinningDispatch<StdFullFamily>::Build();
