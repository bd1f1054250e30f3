// How the vector implementation refuses an unsupported extraSize: the file
// and line its reports name, which the thread-safe calls share on every
// architecture.

#include "SkinningKernels.h"

const char kSseSourceFile[] = "./Quorvan_SSE.cpp";

const SkinningRefusal kSseFullRefusal{kSseSourceFile, 1081, "Unsupported 'extraSize'=%d in SkinningFull()"};
const SkinningRefusal kSseSingleRefusal{kSseSourceFile, 1173, "Unsupported 'extraSize'=%d in SkinningSingle()"};
