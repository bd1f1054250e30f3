#pragma once

// The floating-point settings a host may leave in the processor, set and
// read back as a host does: MXCSR and the x87 control word on x86
// (HostFloatSettingsX86.cpp), FPCR on 64-bit ARM (HostFloatSettingsArm.cpp).
// Whatever they are, every skinning call and bone load writes the bytes it
// writes under the defaults and hands them back.

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "RandomSkinningJob.h"

// The control bits of each register, exception flags left out.
using FloatSettings = std::array<uint64_t, 2>;

struct NamedFloatSettings {
    const char* name;
    FloatSettings settings;
};

FloatSettings CurrentFloatSettings();
// Loads `settings`, the exception flags left as they stand.
void ApplyFloatSettings(const FloatSettings& settings);
// Settings other than the defaults that hosts run with, those this
// processor has.
std::vector<NamedFloatSettings> HostFloatSettings();
// Subnormal results and inputs flushed to zero.
FloatSettings FlushingToZero();

// Bones of which every other one makes products below the smallest normal
// float, so that flushing and rounding show. Made once, under the defaults.
const std::vector<std::array<float, 12>>& SubnormalProductBones();

// `run` on a fresh copy of random jobs' arenas, under the defaults and under
// each of HostFloatSettings(): the same bytes, and the host's settings as it
// set them after each run.
void ExpectSameBytesUnderHostSettings(const std::string& what, unsigned bones, unsigned features,
                                      const std::function<void(const ArenaJob&, std::vector<uint8_t>&)>& run,
                                      const std::vector<uint32_t>& extraSizes = {});
