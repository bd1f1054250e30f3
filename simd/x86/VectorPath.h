#pragma once

// The widths of vector unit Quorvan_SSE can run on. Every path leaves the
// same bytes as the SSE one; the wider ones only get there sooner.

enum class VectorPath {
    Sse,     // SSE and MMX: what every processor with SSE runs
    Sse2,    // memory helpers in 16-byte steps; skinning as SSE
    Avx2,    // skinning two vertices per instruction; 32-byte memory steps
    Avx512,  // skinning four vertices per instruction, with lane masks
};

constexpr VectorPath kVectorPaths[] = {VectorPath::Sse, VectorPath::Sse2, VectorPath::Avx2, VectorPath::Avx512};

// "SSE", "SSE2", "AVX2", "AVX-512".
const char* VectorPathName(VectorPath path);

// Whether the processor has the path's instructions and the operating system
// saves the registers they use (which every system does for SSE).
bool ProcessorRunsVectorPath(VectorPath path);

// The widest path the processor runs, given that it runs SSE.
VectorPath WidestVectorPath();
