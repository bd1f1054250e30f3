// Whole runs of the demo program: the built-in mesh and a Debian test model
// must skin and fog within bounds on both implementations and leave pictures
// that show something; unusable input must end in one error line.

#include <gtest/gtest.h>
#include <png.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "ScratchDirectory.h"
#include "SmdFile.h"

namespace {

const std::string kModels = ASSIMP_TEST_MODELS;

struct Run {
    int exitCode;
    std::string out, err;
};

std::string Slurp(const std::string& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

Run RunDemo(const std::string& arguments) {
    const ScratchDirectory scratch;
    const std::string out = scratch / "stdout", err = scratch / "stderr";
    const int status =
        std::system((std::string(QUORVAN_DEMO_PROGRAM) + " " + arguments + " >" + out + " 2>" + err).c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Slurp(out), Slurp(err)};
}

// Numbers of `field` in `json`, in order; null reads as infinity.
std::vector<double> Numbers(const std::string& json, const std::string& field) {
    std::vector<double> numbers;
    const std::regex pattern("\"" + field + "\": (null|[-0-9.eE+]+)");
    for (std::sregex_iterator m(json.begin(), json.end(), pattern), end; m != end; ++m)
        numbers.push_back((*m)[1] == "null" ? HUGE_VAL : std::stod((*m)[1]));
    return numbers;
}

struct Picture {
    int width = 0, height = 0;
    std::vector<uint8_t> rgb;
};

Picture ReadPng(const std::string& path) {
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    Picture picture;
    if (!png_image_begin_read_from_file(&png, path.c_str())) return picture;
    png.format = PNG_FORMAT_RGB;
    std::vector<uint8_t> rgb(PNG_IMAGE_SIZE(png));
    if (png_image_finish_read(&png, nullptr, rgb.data(), 0, nullptr))
        picture = {int(png.width), int(png.height), std::move(rgb)};
    return picture;
}

// Share of the pixels in columns [x0, x1) brighter than the backdrop, which
// never has a channel above 66.
double LitShare(const Picture& picture, int x0, int x1) {
    size_t lit = 0;
    for (int y = 0; y < picture.height; ++y)
        for (int x = x0; x < x1; ++x) {
            const uint8_t* p = &picture.rgb[3 * (size_t(y) * picture.width + x)];
            lit += std::max({p[0], p[1], p[2]}) > 80;
        }
    return double(lit) / (size_t(x1 - x0) * picture.height);
}

void ExpectGoodRun(const std::string& arguments) {
    const ScratchDirectory scratch;
    const std::string out = scratch / "pictures";
    const std::string json = out + "/results.json";
    const Run run = RunDemo(arguments + " --quick --out " + out + " --json " + json);
    ASSERT_EQ(run.exitCode, 0) << run.out << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_NE(run.out.find("Trace line: QUORVAN -- Version=6"), std::string::npos);
    EXPECT_NE(run.out.find("Mode=x87"), std::string::npos);

    const std::string results = Slurp(json);
    EXPECT_EQ(Numbers(results, "libraryReports"), std::vector<double>{0});
    // SSE: full then single; std: full then single.
    const auto position = Numbers(results, "relativePositionError"), normal = Numbers(results, "normalError"),
               tangent = Numbers(results, "tangentError");
    ASSERT_EQ(position.size(), 4u);
    for (size_t k = 0; k < 4; ++k) {
        EXPECT_LE(position[k], 1e-5) << k;
        EXPECT_LE(normal[k], 1e-4) << k;
    }
    EXPECT_LE(tangent[0], 1e-4);
    EXPECT_LE(tangent[1], 1e-4);
    EXPECT_EQ(Numbers(results, "fogMismatches"), (std::vector<double>{0, 0}));
    EXPECT_EQ(Numbers(results, "campMismatches"), (std::vector<double>{0, 0}));
    EXPECT_EQ(Numbers(results, "ratio").size(), 18u);

    for (const char* implementation : {"Quorvan_SSE", "Quorvan_std"}) {
        const Picture skinning = ReadPng(out + "/skinning-" + implementation + ".png");
        ASSERT_EQ(skinning.height, 320) << implementation;
        ASSERT_EQ(skinning.width, 4 * 320);
        for (int tile = 0; tile < 4; ++tile)
            EXPECT_GT(LitShare(skinning, tile * 320, (tile + 1) * 320), 0.01) << implementation << " frame " << tile;
        const Picture fog = ReadPng(out + "/fog-" + implementation + ".png");
        ASSERT_GT(fog.width, 0) << implementation;
        EXPECT_GT(LitShare(fog, 0, fog.width / 2), 0.05);
        EXPECT_GT(LitShare(fog, fog.width / 2, fog.width), 0.05);
    }
}

void ExpectOneErrorLine(const std::string& arguments, const std::string& error) {
    const Run run = RunDemo(arguments);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, "error: " + error + "\n");
}

}  // namespace

TEST(DemoRun, BuiltInTentacle) { ExpectGoodRun(""); }

TEST(DemoRun, DebianTestModel) { ExpectGoodRun("--mesh " + kModels + "/X/anim_test.x"); }

TEST(DemoRun, UnusableInputEndsInOneErrorLine) {
    ExpectOneErrorLine("--mesh /nonexistent/mesh.x", "cannot read '/nonexistent/mesh.x': no such file");
    ExpectOneErrorLine("--mesh " + kModels + "/Collada/duck.dae",
                       "'duck.dae' has no skeleton: no mesh in it is bound to bones");
    const ScratchDirectory scratch;
    const std::string chain = scratch / "chain.smd";
    WriteBoneChainSmd(chain, 130);
    ExpectOneErrorLine("--mesh " + chain, "'chain.smd' has 130 bones; the bone palette holds 128");
    ExpectOneErrorLine("--packed --mesh " + kModels + "/FBX/huesitos.fbx",
                       "--packed needs bones that only rotate, but 'huesitos.fbx' scales them by 100");
    ExpectOneErrorLine("--frames 0", "--frames wants a whole number from 1, not '0'");
    ExpectOneErrorLine("--wireframe", "unknown option '--wireframe' (--help lists them)");
}
