// The records a host shares with the library keep their 32-bit layout in
// this build too. Checked when this file compiles.

#include <cstddef>

#include "../../Cross/Quorvan/Quorvan_std.h"

static_assert(sizeof(SkinningJob) == 48, "SkinningJob is twelve 32-bit words");
static_assert(offsetof(SkinningJob, auxBase) == 32 && offsetof(SkinningJob, hasNormal) == 44,
              "SkinningJob fields keep their offsets");
static_assert(sizeof(_processor_info) == 72, "_processor_info is 72 bytes");
static_assert(offsetof(_processor_info, cpuName) == 13 && offsetof(_processor_info, family) == 48 &&
                  offsetof(_processor_info, checkedFeatures) == 68,
              "_processor_info fields keep their offsets");
static_assert(sizeof(Quorvan_std) == 6148, "a table pointer and a 6144-byte palette");
