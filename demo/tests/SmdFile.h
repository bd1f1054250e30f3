#pragma once

// Writes an SMD text mesh with a chain of `bones` bones and one
// triangle on each, so that every bone holds vertices.

#include <fstream>
#include <string>

inline void WriteBoneChainSmd(const std::string& path, int bones) {
    std::ofstream smd(path);
    smd << "version 1\nnodes\n";
    for (int b = 0; b < bones; ++b) smd << b << " \"bone" << b << "\" " << b - 1 << "\n";
    smd << "end\nskeleton\ntime 0\n";
    for (int b = 0; b < bones; ++b) smd << b << " 0 " << (b ? 1 : 0) << " 0 0 0 0\n";
    smd << "end\ntriangles\n";
    for (int b = 0; b < bones; ++b) {
        smd << "skin.bmp\n";
        smd << b << " 0 " << b << " 0 0 0 1 0 0\n";
        smd << b << " 1 " << b << " 0 0 0 1 1 0\n";
        smd << b << " 0 " << b + 1 << " 0 0 0 1 0 1\n";
    }
    smd << "end\n";
}
