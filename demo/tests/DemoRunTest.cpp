// Whole runs of the demo program: the built-in mesh must skin and fog on both
// implementations, as the program checks itself, and leave pictures that
// show something; unusable input must end in one error line.

#include <gtest/gtest.h>
#include <png.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "ScratchDirectory.h"
#include "SmdFile.h"

namespace {

const std::string kModels = ASSIMP_TEST_MODELS;

std::string Slurp(const std::string& path) {
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

struct Outcome {
    int exitCode;
    std::string out, err;
};

Outcome RunDemo(const std::string& arguments) {
    const ScratchDirectory scratch;
    const std::string out = scratch / "stdout", err = scratch / "stderr";
    const int status =
        std::system((std::string(QUORVAN_DEMO_PROGRAM) + " " + arguments + " >" + out + " 2>" + err).c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Slurp(out), Slurp(err)};
}

// Whether each of `tiles` columns of a picture has pixels brighter than the
// backdrop, which never has a channel above 66; empty if it cannot be read.
std::vector<bool> TilesShowSomething(const std::string& path, unsigned tiles) {
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&png, path.c_str())) return {};
    png.format = PNG_FORMAT_RGB;
    std::vector<uint8_t> rgb(PNG_IMAGE_SIZE(png));
    if (!png_image_finish_read(&png, nullptr, rgb.data(), 0, nullptr)) return {};
    std::vector<bool> lit(tiles);
    for (size_t k = 0; k < rgb.size(); ++k)
        if (rgb[k] > 80) lit[k / 3 % png.width * tiles / png.width] = true;
    return lit;
}

TEST(DemoRun, BuiltInMeshOnBothImplementations) {
    const ScratchDirectory scratch;
    const Outcome run = RunDemo("--quick --out " + scratch / "pictures");
    ASSERT_EQ(run.exitCode, 0) << run.out << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_NE(run.out.find("Trace line: QUORVAN -- Version=6"), std::string::npos);
    for (const char* implementation : {"Quorvan_SSE", "Quorvan_std"}) {
        EXPECT_EQ(TilesShowSomething(scratch / "pictures/skinning-" + implementation + ".png", 4),
                  std::vector<bool>(4, true)) << implementation << ": each of four frames";
        EXPECT_EQ(TilesShowSomething(scratch / "pictures/fog-" + implementation + ".png", 2),
                  std::vector<bool>(2, true)) << implementation << ": both halves of the fog";
    }
}

TEST(DemoRun, UnusableInputEndsInOneErrorLine) {
    const ScratchDirectory scratch;
    const std::string chain = scratch / "chain.smd", garbage = scratch / "garbage.x";
    WriteBoneChainSmd(chain, 129);
    std::ofstream(garbage) << "xof 0303txt 0032\nnot a mesh at all {{{\n";
    const struct {
        std::string arguments, error;
    } table[] = {
        {"--mesh /nonexistent/mesh.x", "cannot read '/nonexistent/mesh.x': no such file"},
        {"--mesh " + kModels + "/X", "cannot read '" + kModels + "/X': not a file"},
        {"--mesh " + garbage, "cannot read '" + garbage + "': "},
        {"--mesh " + kModels + "/Collada/duck.dae", "'duck.dae' has no skeleton: no mesh in it is bound to bones"},
        {"--mesh " + chain, "'chain.smd' has 129 bones; the bone palette holds 128"},
        {"--packed --mesh " + kModels + "/FBX/huesitos.fbx",
         "--packed needs bones that only rotate, but 'huesitos.fbx' scales them by 100"},
        {"--animation 1", "'built-in tentacle' has 1 animations; --animation 1 is not one of them"},
        {"--frames 0", "--frames wants a whole number from 1, not '0'"},
        {"--mesh", "--mesh needs a value"},
        {"--wireframe", "unknown option '--wireframe' (--help lists them)"},
    };
    for (const auto& row : table) {
        const Outcome run = RunDemo(row.arguments);
        EXPECT_EQ(run.exitCode, 1) << row.arguments;
        // The garbage file's reason comes from Assimp: only its start is ours.
        const std::string expected = "error: " + row.error;
        EXPECT_EQ(run.err.substr(0, expected.size()), expected) << row.arguments;
        EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
    }
}

}  // namespace
