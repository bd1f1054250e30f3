#pragma once

#include <cstdlib>

// Feature bits whose instructions the emulator in use executes although the
// processor it emulates does not report them (qemu runs SSE2 on a Pentium
// III). Empty on real hardware.
inline int UntrappedFeatures() {
    const char* bits = std::getenv("QUORVAN_UNTRAPPED_FEATURES");
    return bits ? std::atoi(bits) : 0;
}

// Whether the test instruction of `bit` should run on this processor.
inline int ShouldRun(int bit, int reportedFeatures) {
    return ((reportedFeatures | UntrappedFeatures()) & bit) ? 1 : 0;
}
