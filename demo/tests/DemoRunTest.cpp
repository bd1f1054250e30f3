// Whole runs of the demo program: the built-in mesh must skin and fog on both
// implementations, as the program checks itself against its reference, and
// leave its pictures; the crowd frame must leave the same bytes on all threads
// as on one; unusable input must end in one error line.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
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

TEST(DemoRun, BuiltInMeshOnBothImplementations) {
    const ScratchDirectory scratch;
    const Outcome run = RunDemo("--quick --out " + scratch / "pictures");
    ASSERT_EQ(run.exitCode, 0) << run.out << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_NE(run.out.find("Trace line: QUORVAN -- Version=6"), std::string::npos);
    for (const char* picture : {"skinning-Quorvan_SSE", "fog-Quorvan_SSE", "skinning-Quorvan_std", "fog-Quorvan_std"})
        EXPECT_TRUE(std::filesystem::exists(scratch / "pictures/" + picture + ".png")) << picture;
}

TEST(DemoRun, CrowdFrameLeavesOneThreadsBytesOnAll) {
    const Outcome run = RunDemo("--crowd 3 --frames 2");
    ASSERT_EQ(run.exitCode, 0) << run.out << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_NE(run.out.find("one of 262676 vertices (the mesh's, repeated) in 27 ranges"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("every frame: the bytes on"), std::string::npos) << run.out;
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
        {"--crowd 0", "--crowd wants a whole number from 1 to 1024, not '0'"},
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
