// The crowd: N characters of the demo's mesh share its source vertices, each
// with its own palette and destination and posed at its own point of the
// animation. Beside them runs one large character, the mesh's vertices over
// and over to 262,676, cut into ranges of about 10,000 vertices that are
// stitched once all of them have run. Posing the skeletons is the animation
// system's work and is not timed; loading the palettes and skinning are.

#include "CrowdFrame.h"

#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/parallel_invoke.h>
#include <oneapi/tbb/task_arena.h>
#include <oneapi/tbb/version.h>

#include <Quorvan/QuorvanSkinning.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

#include "AnimationPose.h"
#include "VertexLayout.h"

namespace {

constexpr uint32_t kBigVertices = 262676, kRangeVertices = 10000;
constexpr uint32_t kRanges = (kBigVertices + kRangeVertices - 1) / kRangeVertices;

// A job of 0 vertices would be one of 2^32: such jobs are left out.
struct Character {
    QuorvanSkinningPalette palette;
    std::vector<PaletteMatrix> pose;
    std::vector<uint8_t> destination;
    SkinningJob full{}, single{};

    void LoadPose() {
        for (uint32_t b = 0; b < pose.size(); ++b) QuorvanSkinningSetMatrix(&palette, b, pose[b].data());
    }
    void Skin() {
        LoadPose();
        if (full.vertexCount) QuorvanSkinningFull(&palette, &full);
        if (single.vertexCount) QuorvanSkinningSingle(&palette, &single);
    }
};

class Crowd {
public:
    Crowd(const Playback& playback, Directions directions, int count) : m_playback(playback) {
        const VertexFormat format = FormatFor(directions);
        const std::vector<PackedInfluences>& influences = playback.influences;
        std::vector<uint32_t> order, rigid;
        for (uint32_t v = 0; v < influences.size(); ++v) (IsRigid(influences[v]) ? rigid : order).push_back(v);
        const uint32_t blended = static_cast<uint32_t>(order.size());
        order.insert(order.end(), rigid.begin(), rigid.end());
        m_source = WriteSourceVertices(playback.mesh.vertices, influences, order, format, Implementation::Vector);
        for (int c = 0; c < count; ++c) {
            Character& character = *m_characters.emplace_back(NewCharacter(order.size() * format.dstStride));
            uint8_t* dst = character.destination.data();
            if (blended) character.full = MakeJob(format, m_source.data(), dst, blended);
            if (rigid.size())
                character.single = MakeJob(format, m_source.data() + size_t(blended) * format.srcStride,
                                           dst + size_t(blended) * format.dstStride, uint32_t(rigid.size()));
        }

        // SkinningFull takes rigid vertices as well: the large character is
        // one job of the mesh's vertices in their own order, repeated.
        std::vector<uint32_t> repeated(kBigVertices);
        for (uint32_t k = 0; k < kBigVertices; ++k) repeated[k] = k % influences.size();
        m_bigSource = WriteSourceVertices(playback.mesh.vertices, influences, repeated, format, Implementation::Vector);
        m_big = NewCharacter(size_t(kBigVertices) * format.dstStride);
        m_big->full = MakeJob(format, m_bigSource.data(), m_big->destination.data(), kBigVertices);
        m_rangeCount = QuorvanSkinningSplit(&m_big->full, kRanges, m_ranges);
    }

    void Pose(int frame, int frames) {
        const double period = m_playback.animation ? m_playback.animation->seconds : 0;
        const double now = period * frame / frames;
        for (size_t c = 0; c < m_characters.size(); ++c)
            m_characters[c]->pose = PoseAt(now + period * c / m_characters.size());
        m_big->pose = PoseAt(now);
    }

    // On whatever arena calls it: the characters and the large character's
    // ranges are in flight together, and the stitch waits for the ranges.
    void Skin() {
        // The ranges share one palette, so it is loaded before any of them runs.
        m_big->LoadPose();
        tbb::parallel_invoke(
            [&] { tbb::parallel_for(size_t{0}, m_characters.size(), [&](size_t c) { m_characters[c]->Skin(); }); },
            [&] {
                tbb::parallel_for(uint32_t{0}, m_rangeCount,
                                  [&](uint32_t r) { QuorvanSkinningFullRange(&m_big->palette, &m_ranges[r]); });
            });
        QuorvanSkinningStitch(&m_big->palette, m_ranges, m_rangeCount);
    }

    void Fill(uint8_t canary) {
        for (auto& character : m_characters)
            std::fill(character->destination.begin(), character->destination.end(), canary);
        std::fill(m_big->destination.begin(), m_big->destination.end(), canary);
    }

    std::vector<uint8_t> Bytes() const {
        std::vector<uint8_t> bytes;
        for (const auto& character : m_characters)
            bytes.insert(bytes.end(), character->destination.begin(), character->destination.end());
        bytes.insert(bytes.end(), m_big->destination.begin(), m_big->destination.end());
        return bytes;
    }

    uint32_t RangeCount() const { return m_rangeCount; }

private:
    static std::unique_ptr<Character> NewCharacter(size_t destinationBytes) {
        auto character = std::make_unique<Character>();
        QuorvanSkinningResetPalette(&character->palette);
        character->destination.resize(destinationBytes);
        return character;
    }

    std::vector<PaletteMatrix> PoseAt(double seconds) const {
        std::vector<PaletteMatrix> pose;
        for (const Mat4& bone : PoseBones(m_playback.mesh.skeleton, m_playback.animation, seconds))
            pose.push_back(ToPaletteMatrix(bone));
        return pose;
    }

    const Playback& m_playback;
    std::vector<uint8_t> m_source, m_bigSource;
    std::vector<std::unique_ptr<Character>> m_characters;
    std::unique_ptr<Character> m_big;
    QuorvanSkinningRange m_ranges[kRanges];
    uint32_t m_rangeCount = 0;
};

double SecondsOf(tbb::task_arena& arena, Crowd& crowd) {
    const auto start = std::chrono::steady_clock::now();
    arena.execute([&] { crowd.Skin(); });
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

}  // namespace

bool RunCrowdFrames(const Playback& playback, const Options& options) {
    const char* vectorUnit = QuorvanSkinningVectorUnit();
    if (!vectorUnit) throw std::runtime_error("--crowd needs a processor with SSE");
    Crowd crowd(playback, options.directions, options.crowd);
    tbb::task_arena oneThread(1), allThreads;
    allThreads.initialize();
    const int threads = allThreads.max_concurrency();

    std::printf("Crowd frame on oneTBB %s, %d hardware threads, %s\n", TBB_VERSION_STRING, threads, vectorUnit);
    std::printf("  %d characters of '%s' (%zu vertices), each with its own pose, palette and destination\n",
                options.crowd, playback.mesh.name.c_str(), playback.mesh.vertices.size());
    std::printf("  and one of %u vertices (the mesh's, repeated) in %u ranges, stitched after them\n", kBigVertices,
                crowd.RangeCount());

    // The workers start on the first frame; it is not counted.
    crowd.Pose(0, options.frames);
    SecondsOf(oneThread, crowd), SecondsOf(allThreads, crowd);

    std::vector<double> oneThreadSeconds, allThreadsSeconds;
    for (int frame = 0; frame < options.frames; ++frame) {
        crowd.Pose(frame, options.frames);
        // Different canaries: a byte that either run leaves unwritten differs.
        crowd.Fill(0xA5);
        oneThreadSeconds.push_back(SecondsOf(oneThread, crowd));
        const std::vector<uint8_t> expected = crowd.Bytes();
        crowd.Fill(0x5A);
        allThreadsSeconds.push_back(SecondsOf(allThreads, crowd));
        const std::vector<uint8_t> bytes = crowd.Bytes();
        if (bytes != expected) {
            const size_t at = std::mismatch(bytes.begin(), bytes.end(), expected.begin()).first - bytes.begin();
            std::printf("  MISMATCH in frame %d: byte %zu of the destinations differs from one thread's\n", frame, at);
            return false;
        }
    }
    const double one = Median(oneThreadSeconds) * 1e3, all = Median(allThreadsSeconds) * 1e3;
    std::printf("  %d frames, median frame: %.2f ms on one thread, %.2f ms on %d threads: %.2fx\n", options.frames,
                one, all, threads, one / all);
    std::printf("  every frame: the bytes on %d threads are one thread's (every destination byte compared)\n",
                threads);
    return true;
}
