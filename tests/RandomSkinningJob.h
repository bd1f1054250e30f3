#pragma once

// Random skinning jobs, each in an arena of its own, so that the library and
// a model can run it on two copies and every byte can be compared.

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <Quorvan/SkinningJob.h>

#include "../Cross/Quorvan/SkinningDispatch.h"

struct JobShape {
    uint32_t extraSize;
    unsigned features;  // SkinningFeature bits: which flag bytes are set
    unsigned bones;     // bone index bytes stay below this
    uint32_t maxVertices;
    unsigned specialRarity;  // one float in this many is NaN, an infinity or a zero (0: none)
    // NaNs of both signs, quiet and signalling, with payloads; else only the
    // one an invalid operation makes, for the scalar implementation, whose
    // unit keeps the payload of whichever NaN its operand order favours.
    bool anyNaN = false;
};

struct ArenaJob {
    std::vector<uint8_t> arena;
    SkinningJob job{};  // pointing into the arena

    // The job pointing into `copy`, a copy of the arena.
    SkinningJob On(std::vector<uint8_t>& copy) const;
};

// 1 to maxVertices vertices of random floats (the same on every build) and
// bytes, zero weights (so influences end early), strides either way and some
// shorter than a vertex, pass-through and auxiliary bytes anywhere around the
// skinned slots. The destination lies apart, or shifted into the source, or
// holds the auxiliary stream; no copy of a vertex overlaps its own source.
ArenaJob RandomJob(std::mt19937& random, const JobShape& shape);

// A float of random sign and mantissa with magnitude in [2^low, 2^high),
// made of integers alone so that every build makes the same.
float RandomFloat(std::mt19937& random, int low, int high);

// A bone: axes with elements of magnitude 1/64 to 2, a translation of 1/4 to 64.
std::array<float, 12> RandomMatrix(std::mt19937& random);

// Whether a job copy stands where a call of `job` leaves it: past the last
// vertex, the auxiliary offset advanced, no vertex left.
bool EndsAt(const SkinningJob& copy, const SkinningJob& job);

// Empty when the arenas agree, else where they first differ.
std::string Difference(const std::vector<uint8_t>& got, const std::vector<uint8_t>& expected);
