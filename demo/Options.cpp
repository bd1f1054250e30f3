#include "Options.h"

#include <cstdlib>
#include <cstring>

const char* const kUsage =
    "usage: QuorvanDemo [--mesh FILE] [--animation N] [--frames N] [--packed] [--out DIR] [--json FILE] [--quick]\n"
    "                  [--crowd N]\n"
    "\n"
    "Skins an animated mesh and updates a fog of war with both Quorvan implementations,\n"
    "checks them against a double-precision computation, draws pictures and times each\n"
    "operation against plain C++.\n"
    "\n"
    "  --mesh FILE     a rigged, animated mesh Assimp reads (default: a built-in tentacle)\n"
    "  --animation N   which of the file's animations to play (default 0)\n"
    "  --frames N      animation frames to skin, check and fog (default 48, quick 8)\n"
    "  --packed        normals and tangents in the packed four-byte form instead of floats\n"
    "  --out DIR       where the PNG pictures go (default: output/ beside the program)\n"
    "  --json FILE     also write the results and speed figures as JSON\n"
    "  --quick         few frames and short timings, for a fast check\n"
    "  --crowd N       instead: each frame, skin N characters (up to 1024) in different poses\n"
    "                  and one of 262,676 vertices through a job system (oneTBB), on one\n"
    "                  thread and on all; check that the bytes agree and time both\n";

namespace {

constexpr int kLargestCount = 100000;

int Count(const char* option, const char* text, int least, int most = kLargestCount) {
    char* end = nullptr;
    const long value = std::strtol(text, &end, 10);
    if (*text == '\0' || *end != '\0' || value < least || value > most)
        throw UsageError(std::string(option) + " wants a whole number from " + std::to_string(least) +
                         (most < kLargestCount ? " to " + std::to_string(most) : "") + ", not '" + text + "'");
    return static_cast<int>(value);
}

}  // namespace

Options ParseOptions(int argc, const char* const* argv) {
    Options options;
    bool framesGiven = false;
    for (int a = 1; a < argc; ++a) {
        const std::string option = argv[a];
        const auto value = [&]() -> const char* {
            if (a + 1 >= argc) throw UsageError(option + " needs a value");
            return argv[++a];
        };
        if (option == "--mesh") {
            options.mesh = value();
        } else if (option == "--out") {
            options.out = value();
        } else if (option == "--json") {
            options.json = value();
        } else if (option == "--frames") {
            options.frames = Count("--frames", value(), 1);
            framesGiven = true;
        } else if (option == "--animation") {
            options.animation = Count("--animation", value(), 0);
        } else if (option == "--crowd") {
            // Each character has a destination of its own.
            options.crowd = Count("--crowd", value(), 1, 1024);
        } else if (option == "--packed") {
            options.directions = Directions::Packed;
        } else if (option == "--quick") {
            options.quick = true;
        } else if (option == "--help" || option == "-h") {
            options.help = true;
        } else {
            throw UsageError("unknown option '" + option + "' (--help lists them)");
        }
    }
    if (options.quick) {
        if (!framesGiven) options.frames = 8;
        options.secondsPerMeasurement = 0.01;
    }
    return options;
}
