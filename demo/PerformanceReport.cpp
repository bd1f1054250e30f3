#include "PerformanceReport.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>

#include "FogOfWar.h"
#include "PlainSkinning.h"
#include "SkinnedCharacter.h"
#include "Stopwatch.h"

namespace {

constexpr uint32_t kSkinnedVertices = 32768;  // at least, in whole copies of the mesh
constexpr uint32_t kMapSide = 512;            // fog map, in texels

// One line on the terminal, rewritten as the measurements go on.
class Progress {
public:
    explicit Progress(int total) : m_total(total), m_shown(isatty(fileno(stderr))) {}
    ~Progress() {
        if (m_shown) std::fprintf(stderr, "\r%-78s\r", "");
    }
    void Next(const std::string& what) {
        if (m_shown) std::fprintf(stderr, "\r%-78s", ("  measuring " + what + " (" + std::to_string(++m_done) + "/" +
                                                      std::to_string(m_total) + ")").c_str());
    }

private:
    int m_total, m_done = 0;
    bool m_shown;
};

struct Case {
    std::string operation, work, unit;
    double itemsPerCall;
    std::function<void()> run, runBaseline;
    std::function<void()> runBlendBaseline;  // SkinningFull only
};

// Both operations skin every vertex of the copies, blended or not:
// SkinningSingle follows each vertex's first bone, and SkinningFull simply
// finds one influence on a rigid vertex.
std::vector<Case> SkinningCases(Quorvan& quorvan, Implementation implementation, const Workload& workload,
                                std::vector<std::unique_ptr<SkinnedCharacter>>& characters,
                                std::vector<uint8_t>& scratch) {
    std::vector<Case> cases;
    const uint32_t meshVertices = static_cast<uint32_t>(workload.mesh.vertices.size());
    const int copies = static_cast<int>((kSkinnedVertices + meshVertices - 1) / meshVertices);
    for (Directions directions : {Directions::Float, Directions::Packed}) {
        characters.push_back(std::make_unique<SkinnedCharacter>(workload.mesh, workload.influences, implementation,
                                                                directions, copies));
        SkinnedCharacter& character = *characters.back();
        const uint32_t count = character.BlendedCount() + character.RigidCount();
        scratch.resize(std::max<size_t>(scratch.size(), size_t(count) * character.Format().dstStride));
        const std::string form = directions == Directions::Float ? "float" : "packed";
        const std::string work = implementation == Implementation::Vector ? form + " normal, tangents"
                                                                          : form + " normal";
        for (bool rigid : {false, true}) {
            Case c{rigid ? "SkinningSingle" : "SkinningFull", work, "vertices", double(count), {}, {}, {}};
            c.run = [&quorvan, &character, count, rigid] {
                const SkinningJob job = character.Job(0, count);
                rigid ? quorvan.SkinningSingle(&job) : quorvan.SkinningFull(&job);
            };
            c.runBaseline = [&character, &scratch, &workload, count, implementation, rigid] {
                PlainSkin(character.Source(), scratch.data(), count, character.Format(), workload.pose,
                          implementation, rigid);
            };
            if (!rigid)
                c.runBlendBaseline = [&character, &scratch, &workload, count, implementation] {
                    PlainSkinBlendingMatrices(character.Source(), scratch.data(), count, character.Format(),
                                              workload.pose, implementation);
                };
            cases.push_back(std::move(c));
        }
    }
    return cases;
}

// A fog map after a few frames of scouting, with regions in sight, explored
// and unknown as a game has them, and both sets of helpers to run on it.
struct FogWorkload {
    explicit FogWorkload(Quorvan& quorvan, Implementation implementation)
        : library(quorvan), plain(FogLevelsOf(implementation)) {
        FogOfWar map(kMapSide, kMapSide);
        for (int frame = 0; frame < 8; ++frame) map.Update(plain, frame);
        visibility = map.Visibility();
        texture32 = map.Texture32();
        texture16 = map.Texture16();
        copy32.resize(texture32.size());
    }

    LibraryFogOperations library;
    PlainFogOperations plain;
    std::vector<uint32_t> visibility, texture32, copy32;
    std::vector<uint16_t> texture16;
};

std::vector<Case> FogCases(FogWorkload& w) {
    std::vector<Case> cases;
    const uint32_t texels = kMapSide * kMapSide;
    const auto add = [&](const char* operation, const char* unit, double items,
                         std::function<void(FogOperations&)> run) {
        cases.push_back({operation, std::to_string(kMapSide) + " x " + std::to_string(kMapSide) + " map", unit,
                         items, [&w, run] { run(w.library); }, [&w, run] { run(w.plain); }, {}});
    };
    add("FowAlpha32Update", "texels", texels, [&w](FogOperations& o) {
        o.FowAlpha32Update(w.visibility.data(), texels, FogOfWar::kInSight, FogOfWar::kExplored, w.texture32.data());
    });
    add("FowAlpha16Update", "texels", texels, [&w](FogOperations& o) {
        o.FowAlpha16Update(w.visibility.data(), texels, FogOfWar::kInSight, FogOfWar::kExplored, w.texture16.data());
    });
    add("ANDMaskMemory", "bytes", texels * 4.0,
        [&w](FogOperations& o) { o.ANDMaskMemory(w.visibility.data(), texels, ~FogOfWar::kInSight); });
    // A mask no word has: the whole rectangle is read.
    add("TestMaskRect", "bytes", texels * 4.0, [&w](FogOperations& o) {
        o.TestMaskRect(w.visibility.data(), kMapSide, kMapSide, kMapSide, 0x80000000);
    });
    add("CachelessCopy", "bytes", texels * 4.0,
        [&w](FogOperations& o) { o.CachelessCopy(w.copy32.data(), w.texture32.data(), texels * 4); });
    return cases;
}

}  // namespace

std::vector<Measurement> MeasureImplementation(Quorvan& quorvan, Implementation implementation,
                                               const Workload& workload) {
    std::vector<std::unique_ptr<SkinnedCharacter>> characters;
    std::vector<uint8_t> scratch;
    std::vector<Case> cases = SkinningCases(quorvan, implementation, workload, characters, scratch);
    for (uint32_t b = 0; b < workload.pose.size(); ++b) quorvan.SetSkinningMatrix(b, workload.pose[b].data());
    FogWorkload fog(quorvan, implementation);
    for (Case& c : FogCases(fog)) cases.push_back(std::move(c));

    std::vector<Measurement> measurements;
    Progress progress(static_cast<int>(cases.size()));
    for (const Case& c : cases) {
        progress.Next(c.operation + " on " + ImplementationName(implementation));
        Measurement m{c.operation, c.work, ImplementationName(implementation), c.unit, c.itemsPerCall, 0, 0};
        if (c.runBlendBaseline) {
            // Half the time against each loop; the operation's best of both.
            const double budget = workload.secondsPerMeasurement / 2;
            const Timing perInfluence = TimeAgainstBaseline(c.run, c.runBaseline, budget);
            const Timing blend = TimeAgainstBaseline(c.run, c.runBlendBaseline, budget);
            m.seconds = std::min(perInfluence.seconds, blend.seconds);
            m.baselineSeconds = perInfluence.baselineSeconds;
            m.blendBaselineSeconds = blend.baselineSeconds;
        } else {
            const Timing timing = TimeAgainstBaseline(c.run, c.runBaseline, workload.secondsPerMeasurement);
            m.seconds = timing.seconds;
            m.baselineSeconds = timing.baselineSeconds;
        }
        measurements.push_back(m);
    }
    return measurements;
}

namespace {

std::string Rate(double perSecond, const std::string& unit) {
    static const char* kPrefixes[] = {"", " k", " M", " G"};
    int prefix = 0;
    while (perSecond >= 1000 && prefix < 3) perSecond /= 1000, ++prefix;
    char text[64];
    std::snprintf(text, sizeof text, "%6.1f%s %s/s", perSecond, kPrefixes[prefix], unit.c_str());
    return text;
}

}  // namespace

void PrintPerformance(const std::vector<Measurement>& measurements) {
    std::printf("%-17s %-24s %-12s %22s %9s %22s %9s %7s %13s %7s\n", "operation", "work", "on", "throughput",
                "ns/item", "plain C++", "ns/item", "ratio", "matrix blend", "ratio");
    for (const Measurement& m : measurements) {
        char blend[32] = "            -       -";
        if (m.HasBlendBaseline())
            std::snprintf(blend, sizeof blend, "%13.3f %6.2fx", m.BlendBaselineNanosecondsPerItem(), m.BlendRatio());
        std::printf("%-17s %-24s %-12s %22s %9.3f %22s %9.3f %6.2fx %s\n", m.operation.c_str(), m.work.c_str(),
                    m.implementation.c_str(), Rate(m.ItemsPerSecond(), m.unit).c_str(), m.NanosecondsPerItem(),
                    Rate(m.BaselineItemsPerSecond(), m.unit).c_str(), m.BaselineNanosecondsPerItem(), m.Ratio(),
                    blend);
    }
    std::printf("plain C++ repeats the library's arithmetic, influence by influence; matrix blend (ns/item and\n"
                "ratio) is the loop an engine writes for SkinningFull: bone matrices blended by weight, then one\n"
                "transform\n");
}
