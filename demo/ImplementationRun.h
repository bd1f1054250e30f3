#pragma once

// Everything the demo does with one implementation: play the frames
// (skinning checked against the reference), run the fog of war (checked
// against plain C++), draw the pictures and time the operations.

#include <string>
#include <vector>

#include <Quorvan/Quorvan.h>

#include "Options.h"
#include "PerformanceReport.h"
#include "Playback.h"

// Largest differences of one skinning operation's results from the
// reference over all frames, positions in model units.
struct SkinningDifferences {
    uint32_t vertices = 0;
    double position = 0, relativePosition = 0, normal = 0, tangent = 0;
};

struct ImplementationResult {
    Implementation implementation;
    std::string traceLine;
    SkinningDifferences full, single;
    bool tangentsWritten = false;
    int fogFrames = 0;
    size_t fogMismatches = 0, campMismatches = 0, campsInSight = 0, camps = 0;
    std::vector<std::string> pictures;
    std::vector<Measurement> performance;

    // Within what float arithmetic (or the 8-bit packed form) allows.
    bool SkinningAgrees(Directions directions) const;
    bool FogAgrees() const { return fogMismatches == 0 && campMismatches == 0; }
};

// Throws std::runtime_error when a picture cannot be written.
ImplementationResult RunImplementation(Quorvan& quorvan, Implementation implementation, const Playback& playback,
                                       const Options& options, const std::string& pictureDirectory);

void PrintResult(const ImplementationResult& result, const Options& options);
