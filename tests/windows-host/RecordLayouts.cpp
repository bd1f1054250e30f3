// The records a host shares with the library keep their layout, field by
// field (a swap would not show in a size), checked when this file compiles.

#include <cstddef>

#include "../../Cross/Quorvan/Quorvan_std.h"

#define JOB(field) offsetof(SkinningJob, field)
#define INFO(field) offsetof(_processor_info, field)
constexpr std::size_t p = sizeof(void*);  // each of the job's three addresses
static_assert(JOB(srcStride) == p && JOB(srcExtraOffset) == p + 4 && JOB(dstVertex) == p + 8 &&
                  JOB(dstStride) == 2 * p + 8 && JOB(dstExtraOffset) == 2 * p + 12 && JOB(auxOffset) == 2 * p + 16 &&
                  JOB(auxSize) == 2 * p + 20 && JOB(auxBase) == 2 * p + 24 && JOB(extraSize) == 3 * p + 24 &&
                  JOB(vertexCount) == 3 * p + 28 && JOB(hasNormal) == 3 * p + 32 && JOB(hasTangents) == 3 * p + 33 &&
                  JOB(hasAux) == 3 * p + 34 && JOB(packedDirections) == 3 * p + 35,
              "SkinningJob fields keep their places");
static_assert(INFO(cpuName) == 13 && INFO(family) == 48 && INFO(model) == 52 && INFO(stepping) == 56 &&
                  INFO(cpuFeatures) == 60 && INFO(osFeatures) == 64 && INFO(checkedFeatures) == 68 &&
                  sizeof(_processor_info) == 72,
              "_processor_info fields keep their places");
static_assert(p != 4 || (sizeof(SkinningJob) == 48 && sizeof(Quorvan_std) == 6148),
              "a job is twelve 32-bit words; the scalar instance a table pointer and a 6144-byte palette");
