#pragma once

// --crowd N: the skinning of an engine frame with a crowd in it, run by a
// job system (oneTBB) on one thread and on every hardware thread, which must
// leave the same bytes. Prints the frame times and the speed-up.

#include "Options.h"
#include "Playback.h"

// False when some frame's bytes differ between the two (a MISMATCH line says
// where). Throws std::runtime_error when the demo was built without oneTBB.
bool RunCrowdFrames(const Playback& playback, const Options& options);
