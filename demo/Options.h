#pragma once

#include <stdexcept>
#include <string>

#include "VertexLayout.h"

struct Options {
    std::string mesh;  // empty: the built-in tentacle
    std::string out;   // where the pictures go; empty: "output" beside the program
    std::string json;  // empty: no JSON
    int frames = 48;
    int animation = 0;
    int crowd = 0;  // characters of the crowd frame; 0: the usual run
    Directions directions = Directions::Float;
    double secondsPerMeasurement = 0.4;
    bool quick = false;
    bool help = false;
};

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Throws UsageError, with a one-line reason, for anything it does not know.
Options ParseOptions(int argc, const char* const* argv);
extern const char* const kUsage;
