#pragma once

// Speed of each operation of one implementation against plain C++ doing the
// same work: the figures, the table and a progress line while they are
// measured. SkinningFull has a second plain loop beside the one repeating
// the library's arithmetic: the bone matrices blended first, as an engine
// writes it.

#include <string>
#include <vector>

#include <Quorvan/Quorvan.h>

#include "AnimationPose.h"
#include "BoneInfluences.h"
#include "VertexLayout.h"

struct Measurement {
    std::string operation, work, implementation, unit;
    double itemsPerCall;
    double seconds, baselineSeconds;  // per call
    double blendBaselineSeconds = 0;  // per call of the matrix-blend loop; 0 where there is none

    double ItemsPerSecond() const { return itemsPerCall / seconds; }
    double BaselineItemsPerSecond() const { return itemsPerCall / baselineSeconds; }
    double NanosecondsPerItem() const { return seconds * 1e9 / itemsPerCall; }
    double BaselineNanosecondsPerItem() const { return baselineSeconds * 1e9 / itemsPerCall; }
    // How many times faster than the baseline.
    double Ratio() const { return baselineSeconds / seconds; }
    bool HasBlendBaseline() const { return blendBaselineSeconds > 0; }
    double BlendBaselineNanosecondsPerItem() const { return blendBaselineSeconds * 1e9 / itemsPerCall; }
    double BlendRatio() const { return blendBaselineSeconds / seconds; }
};

struct Workload {
    const SkinnedMesh& mesh;
    const std::vector<PackedInfluences>& influences;
    const std::vector<PaletteMatrix>& pose;
    double secondsPerMeasurement;
};

// Measures every operation of the implementation that `quorvan` is.
std::vector<Measurement> MeasureImplementation(Quorvan& quorvan, Implementation implementation,
                                               const Workload& workload);

void PrintPerformance(const std::vector<Measurement>& measurements);
