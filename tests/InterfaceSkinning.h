#pragma once

// The interface's skinning implementations, for the suites of the thread-safe
// calls and the job checker to run the same jobs through where a build has
// them: on x86 each vector path the processor runs and the scalar
// implementation (InterfaceSkinning.cpp). The interface is x86's, so on
// other architectures there are none (NoInterfaceSkinning.cpp).

#include <functional>
#include <string>
#include <vector>

#include <Quorvan/SkinningJob.h>

// One instance's bone loading and skinning operations.
struct InterfaceSkinner {
    std::function<void(unsigned bone, const float* m)> load;
    std::function<void(const SkinningJob&)> full, single;
};

struct InterfaceImplementation {
    std::string name;  // the vector path's, or "Quorvan_std"
    bool vector;       // Quorvan_SSE on that path, else Quorvan_std
    unsigned bones;    // in its palette
    // A new instance, every bone the identity. The vector implementation's
    // path and palette are module-wide: only its latest instance is usable.
    std::function<InterfaceSkinner()> make;
};

std::vector<InterfaceImplementation> InterfaceImplementations();
