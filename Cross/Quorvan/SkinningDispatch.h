#pragma once

// How a skinning call finds its kernel. Every kernel is one member of a
// family generated from one template, with the pass-through size and the
// features it skins as template parameters, so its vertex loop tests nothing.
// A family's dispatch table holds one leaf for each of the 22 sizes and the
// 16 combinations of the four flag bytes; a family folds the combinations it
// does not tell apart onto one kernel.

#include <cstddef>
#include <cstdint>
#include <utility>

#include "Report.h"
#include "SkinningJob.h"

// What a kernel skins and copies, one bit per flag byte of the job.
enum SkinningFeature : unsigned {
    kSkinNormal = 1,      // hasNormal
    kSkinTangents = 2,    // hasTangents
    kSkinAux = 4,         // hasAux
    kSkinPacked = 8,      // packedDirections
};

// A kernel's features spelled out, for the compile-time branches of its loop.
template <unsigned Features>
struct KernelFeatures {
    static constexpr bool kNormal = (Features & kSkinNormal) != 0;
    static constexpr bool kTangents = (Features & kSkinTangents) != 0;
    static constexpr bool kAux = (Features & kSkinAux) != 0;
    static constexpr bool kPacked = (Features & kSkinPacked) != 0;
};

constexpr uint32_t kMaxExtraSize = 84;
constexpr unsigned kExtraSizeCases = kMaxExtraSize / 4 + 1;  // 0, 4, ..., 84
constexpr unsigned kFlagCombinations = 16;

constexpr bool IsSupportedExtraSize(uint32_t extraSize) {
    return extraSize <= kMaxExtraSize && extraSize % 4 == 0;
}

// A flag byte counts as set when it is not zero.
inline unsigned JobFlags(const SkinningJob& job) {
    return (job.hasNormal ? kSkinNormal : 0u) | (job.hasTangents ? kSkinTangents : 0u) |
           (job.hasAux ? kSkinAux : 0u) | (job.packedDirections ? kSkinPacked : 0u);
}

// One entry of a dispatch table: the kernel, and what it was built for.
template <class Kernel>
struct SkinningLeaf {
    Kernel run;
    uint32_t extraSize;
    unsigned features;
};

// A family's kernels, one leaf per size and flag combination. Families whose
// kernels share a signature share the table type, so an implementation can
// hold the tables of several instruction sets behind one pointer.
template <class Kernel>
struct SkinningTable {
    static constexpr std::size_t kLeaves = kExtraSizeCases * kFlagCombinations;
    SkinningLeaf<Kernel> leaves[kLeaves];

    // The leaf of a job whose extraSize is supported.
    const SkinningLeaf<Kernel>& Select(const SkinningJob& job) const {
        return leaves[job.extraSize / 4 * kFlagCombinations + JobFlags(job)];
    }
};

// A family provides
//   using Kernel = <function pointer type>;
//   static constexpr unsigned Features(unsigned flags);   // the leaf's features
//   template <uint32_t ExtraSize, unsigned Features> static <signature> Run;
template <class Family>
class SkinningTableBuilder {
    using Table = SkinningTable<typename Family::Kernel>;

    template <std::size_t Index>
    static constexpr SkinningLeaf<typename Family::Kernel> MakeLeaf() {
        constexpr uint32_t extraSize = Index / kFlagCombinations * 4;
        constexpr unsigned features = Family::Features(Index % kFlagCombinations);
        return {&Family::template Run<extraSize, features>, extraSize, features};
    }

    template <std::size_t... Index>
    static constexpr Table Build(std::index_sequence<Index...>) {
        return {{MakeLeaf<Index>()...}};
    }

public:
    static constexpr Table Build() { return Build(std::make_index_sequence<Table::kLeaves>()); }
};

template <class Family>
constexpr SkinningTable<typename Family::Kernel> BuildSkinningTable() {
    return SkinningTableBuilder<Family>::Build();
}

// Where and how an operation refuses an unsupported extraSize.
struct SkinningRefusal {
    const char* file;
    int line;
    const char* message;  // takes the extraSize as %d
};

// A whole skinning call: copy the caller's job into the implementation's job
// copy, refuse an unsupported extraSize with the fatal report of the calling
// operation (and touch no vertex), or run the job's kernel. False when it
// refused.
template <class Kernel, class... KernelArgs>
bool RunSkinningCall(const SkinningTable<Kernel>& table, SkinningJob& copy, const SkinningJob& job,
                     const SkinningRefusal& refusal, KernelArgs... kernelArgs) {
    copy = job;
    if (!IsSupportedExtraSize(copy.extraSize)) {
        ReportFatal(refusal.file, refusal.line, refusal.message, static_cast<int>(copy.extraSize));
        return false;
    }
    table.Select(copy).run(kernelArgs...);
    return true;
}
