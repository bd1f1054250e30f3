// The crowd frame of a demo built without oneTBB, which it needs.

#include <stdexcept>

#include "CrowdFrame.h"

bool RunCrowdFrames(const Playback&, const Options&) {
    throw std::runtime_error("--crowd needs oneTBB (Debian: libtbb-dev), which this build did not find");
}
