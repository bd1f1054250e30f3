#include "Options.h"

#include <gtest/gtest.h>

namespace {

Options Parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "QuorvanDemo");
    return ParseOptions(static_cast<int>(arguments.size()), arguments.data());
}

std::string Refusal(std::vector<const char*> arguments) {
    try {
        Parse(arguments);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "accepted";
}

}  // namespace

TEST(Options, QuickShortensWhatWasNotGiven) {
    const Options plain = Parse({});
    EXPECT_EQ(plain.frames, 48);
    EXPECT_EQ(plain.directions, Directions::Float);
    const Options quick = Parse({"--quick"});
    EXPECT_EQ(quick.frames, 8);
    EXPECT_LT(quick.secondsPerMeasurement, plain.secondsPerMeasurement);
    EXPECT_EQ(Parse({"--frames", "20", "--quick"}).frames, 20);

    const Options all = Parse({"--mesh", "a.x", "--out", "pictures", "--json", "r.json", "--animation", "2", "--packed"});
    EXPECT_EQ(all.mesh, "a.x");
    EXPECT_EQ(all.out, "pictures");
    EXPECT_EQ(all.json, "r.json");
    EXPECT_EQ(all.animation, 2);
    EXPECT_EQ(all.directions, Directions::Packed);
}

TEST(Options, RefusesWhatItDoesNotKnow) {
    EXPECT_EQ(Refusal({"--mesh"}), "--mesh needs a value");
    EXPECT_EQ(Refusal({"--frames", "12x"}), "--frames wants a whole number from 1, not '12x'");
    EXPECT_EQ(Refusal({"--animation", "-1"}), "--animation wants a whole number from 0, not '-1'");
    EXPECT_EQ(Refusal({"--fast"}), "unknown option '--fast' (--help lists them)");
}
