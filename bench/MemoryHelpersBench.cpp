// The memory and fog-of-war helpers of both implementations over a 64 KiB
// buffer (cache resident) and a 16 MiB one (memory bound), each against a
// plain scalar C++ loop doing the same work, with memcpy beside them. The
// rate is bytes of the walked buffer (copy source, flag words, masked words,
// tested rectangle) per second.
//
// The "wide" cases time 128-bit SSE2 forms of the vector loops that keep
// their results to the byte (steps of 8 bytes at the end, the same words
// rewritten past a short count) against the library's MMX forms; each one is
// checked against the library before it is timed.

#include <emmintrin.h>

#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <Quorvan/Quorvan.h>

#include "../Cross/Quorvan/Quorvan_std.h"
#include "../simd/Quorvan_SSE.h"
#include "Compare.h"

namespace {

// The baselines as plainly written and kept scalar: neither vectorised nor
// turned into library calls by the compiler.
#if defined(__GNUC__) && !defined(__clang__)
#define PLAIN_LOOP __attribute__((noinline, optimize("no-tree-vectorize", "no-tree-loop-distribute-patterns")))
#else
#define PLAIN_LOOP __attribute__((noinline))
#endif

PLAIN_LOOP void PlainCopy(uint32_t* dst, const uint32_t* src, uint32_t words) {
    for (uint32_t k = 0; k < words; ++k) dst[k] = src[k];
}

PLAIN_LOOP void PlainFow16(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                           uint16_t* texels) {
    for (uint32_t k = 0; k < count; ++k) {
        const uint16_t alpha = (visibility[k] & fullMask) ? 0xF000 : (visibility[k] & halfMask) ? 0x7000 : 0x3000;
        texels[k] = static_cast<uint16_t>((texels[k] & 0x0FFF) | alpha);
    }
}

PLAIN_LOOP void PlainFow32(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask,
                           uint32_t* texels) {
    for (uint32_t k = 0; k < count; ++k) {
        const uint32_t alpha =
            (visibility[k] & fullMask) ? 0xFF000000 : (visibility[k] & halfMask) ? 0x70000000 : 0x30000000;
        texels[k] = (texels[k] & 0x00FFFFFF) | alpha;
    }
}

PLAIN_LOOP void PlainAnd(uint32_t* words, uint32_t count, uint32_t mask) {
    for (uint32_t k = 0; k < count; ++k) words[k] &= mask;
}

PLAIN_LOOP bool PlainTestRect(const uint32_t* base, uint32_t width, uint32_t height, uint32_t pitch,
                              uint32_t mask) {
    for (uint32_t row = 0; row < height; ++row)
        for (uint32_t k = 0; k < width; ++k)
            if (base[row * pitch + k] & mask) return true;
    return false;
}

// 128-bit forms of the vector loops, for the wide cases.
namespace Wide {

__m128i Load(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
void Store(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
__m128i Load8(const void* p) { return _mm_loadl_epi64(static_cast<const __m128i*>(p)); }
void Store8(void* p, __m128i v) { _mm_storel_epi64(static_cast<__m128i*>(p), v); }
uintptr_t Address(const void* p) { return reinterpret_cast<uintptr_t>(p); }

void Copy(void* dstBytes, const void* srcBytes, uint32_t bytes) {
    auto* dst = static_cast<uint8_t*>(dstBytes);
    auto* src = static_cast<const uint8_t*>(srcBytes);
    for (uint32_t b = bytes / 32; b != 0; --b, dst += 32, src += 32) {
        Store(dst, Load(src));
        Store(dst + 16, Load(src + 16));
    }
    for (uint32_t w = bytes % 32 / 4; w != 0; --w, dst += 4, src += 4) std::memcpy(dst, src, 4);
}

// Per 32-bit lane: `full` where the word meets fullMask, ORed with `half`
// where it meets halfMask.
struct Terms {
    __m128i fullMask, halfMask, full, half;
    __m128i operator()(__m128i flags) const {
        const __m128i zero = _mm_setzero_si128();
        return _mm_or_si128(_mm_andnot_si128(_mm_cmpeq_epi32(_mm_and_si128(flags, fullMask), zero), full),
                            _mm_andnot_si128(_mm_cmpeq_epi32(_mm_and_si128(flags, halfMask), zero), half));
    }
};

// Levels computed in the top half of each lane, so an arithmetic shift and
// a signed pack gather them into 16-bit lanes without saturating.
void Fow16(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask, uint16_t* texels) {
    const Terms terms{_mm_set1_epi32(fullMask), _mm_set1_epi32(halfMask), _mm_set1_epi32(0xF0000000),
                      _mm_set1_epi32(0x70000000)};
    const __m128i low = _mm_set1_epi16(0x3000), keep = _mm_set1_epi16(0x0FFF);
    const uintptr_t end = Address(visibility) + uintptr_t{count} * 4;
    auto alpha = [&](const uint32_t* flags) {
        return _mm_or_si128(_mm_packs_epi32(_mm_srai_epi32(terms(Load(flags)), 16),
                                            _mm_srai_epi32(terms(Load(flags + 4)), 16)),
                            low);
    };
    for (; Address(visibility) < end && end - Address(visibility) >= 32; visibility += 8, texels += 8)
        Store(texels, _mm_or_si128(_mm_and_si128(Load(texels), keep), alpha(visibility)));
    for (; Address(visibility) < end; visibility += 4, texels += 4) {  // the MMX form's steps of four
        const __m128i packed = _mm_packs_epi32(_mm_srai_epi32(terms(Load(visibility)), 16), _mm_setzero_si128());
        Store8(texels, _mm_or_si128(_mm_and_si128(Load8(texels), keep), _mm_or_si128(packed, low)));
    }
}

void Fow32(const uint32_t* visibility, uint32_t count, uint32_t fullMask, uint32_t halfMask, uint32_t* texels) {
    const Terms terms{_mm_set1_epi32(fullMask), _mm_set1_epi32(halfMask), _mm_set1_epi32(0xFF000000),
                      _mm_set1_epi32(0x70000000)};
    const __m128i low = _mm_set1_epi32(0x30000000), keep = _mm_set1_epi32(0x00FFFFFF);
    const uintptr_t end = Address(visibility) + uintptr_t{count} * 4;
    for (; Address(visibility) < end && end - Address(visibility) >= 16; visibility += 4, texels += 4)
        Store(texels, _mm_or_si128(_mm_or_si128(_mm_and_si128(Load(texels), keep), low), terms(Load(visibility))));
    for (; Address(visibility) < end; visibility += 2, texels += 2)
        Store8(texels, _mm_or_si128(_mm_or_si128(_mm_and_si128(Load8(texels), keep), low), terms(Load8(visibility))));
}

void And(uint32_t* words, uint32_t count, uint32_t mask) {
    const __m128i both = _mm_set1_epi32(mask);
    const uintptr_t end = Address(words) + uintptr_t{count} * 4;
    for (; Address(words) < end && end - Address(words) >= 16; words += 4)
        Store(words, _mm_and_si128(Load(words), both));
    for (; Address(words) != end; words += 2) Store8(words, _mm_and_si128(Load8(words), both));
}

}  // namespace Wide

// The buffers of one case: `bytes` of flag words (or copy source), random
// texels for them, and room for a copy.
struct Buffers {
    explicit Buffers(std::size_t bytes)
        : words(bytes / 4), texels32(bytes / 4), texels16(bytes / 4), copy(bytes / 4) {
        std::mt19937 rng(7);
        // Sparse flags: about a quarter of the texels are full, a quarter half.
        for (auto& w : words) w = rng() & rng() & rng() & 0x7FFFFFFF;
        for (auto& t : texels32) t = rng();
        for (auto& t : texels16) t = static_cast<uint16_t>(rng());
        // Hidden from the compiler, so that no plain loop folds them in.
        benchmark::DoNotOptimize(mask);
        benchmark::DoNotOptimize(absentBit);
    }
    uint32_t Count() const { return static_cast<uint32_t>(words.size()); }
    bool operator==(const Buffers& o) const {
        return words == o.words && texels32 == o.texels32 && texels16 == o.texels16 && copy == o.copy;
    }

    std::vector<uint32_t> words, texels32;
    std::vector<uint16_t> texels16;
    std::vector<uint32_t> copy;
    uint32_t mask = 0x7FFFFFF7;
    uint32_t absentBit = 0x80000000;  // in no word
};

constexpr uint32_t kFull = 0x00000011, kHalf = 0x00000300;
// TestMaskRect looks at the whole buffer, in rows of 1 KiB, for a bit that no
// word has, so it never stops early.
constexpr uint32_t kRow = 256;

// One helper on a case's first `count` words: the library call, the plain
// loop doing the same work and, where one is timed, the 128-bit form.
struct Helper {
    const char* name;
    void (*library)(Quorvan&, Buffers&, uint32_t count);
    void (*plain)(Buffers&, uint32_t count);
    void (*wide)(Buffers&, uint32_t count);
    uint32_t shortfall;  // the fewest words less that the vector form takes without a report
};

const Helper kHelpers[] = {
    {"CachelessCopy",
     [](Quorvan& q, Buffers& b, uint32_t n) { q.CachelessCopy(b.copy.data(), b.words.data(), n * 4); },
     [](Buffers& b, uint32_t n) { PlainCopy(b.copy.data(), b.words.data(), n); },
     [](Buffers& b, uint32_t n) { Wide::Copy(b.copy.data(), b.words.data(), n * 4); }, 1},
    {"FowAlpha16Update",
     [](Quorvan& q, Buffers& b, uint32_t n) { q.FowAlpha16Update(b.words.data(), n, kFull, kHalf, b.texels16.data()); },
     [](Buffers& b, uint32_t n) { PlainFow16(b.words.data(), n, kFull, kHalf, b.texels16.data()); },
     [](Buffers& b, uint32_t n) { Wide::Fow16(b.words.data(), n, kFull, kHalf, b.texels16.data()); }, 4},
    {"FowAlpha32Update",
     [](Quorvan& q, Buffers& b, uint32_t n) { q.FowAlpha32Update(b.words.data(), n, kFull, kHalf, b.texels32.data()); },
     [](Buffers& b, uint32_t n) { PlainFow32(b.words.data(), n, kFull, kHalf, b.texels32.data()); },
     [](Buffers& b, uint32_t n) { Wide::Fow32(b.words.data(), n, kFull, kHalf, b.texels32.data()); }, 4},
    {"ANDMaskMemory", [](Quorvan& q, Buffers& b, uint32_t n) { q.ANDMaskMemory(b.words.data(), n, b.mask); },
     [](Buffers& b, uint32_t n) { PlainAnd(b.words.data(), n, b.mask); },
     [](Buffers& b, uint32_t n) { Wide::And(b.words.data(), n, b.mask); }, 2},
    {"TestMaskRect",
     [](Quorvan& q, Buffers& b, uint32_t n) {
         benchmark::DoNotOptimize(q.TestMaskRect(b.words.data(), kRow, n / kRow, kRow, b.absentBit));
     },
     [](Buffers& b, uint32_t n) {
         benchmark::DoNotOptimize(PlainTestRect(b.words.data(), kRow, n / kRow, kRow, b.absentBit));
     },
     nullptr, 1},
};

void Compare(benchmark::State& state, Buffers& b, std::function<void()> operation, std::function<void()> baseline) {
    CompareWithBaseline(state, int64_t{b.Count()} * 4, "byte", operation, baseline);
    state.SetBytesProcessed(state.iterations() * int64_t{b.Count()} * 4);
}

void Library(benchmark::State& state, const Helper& helper, bool vector) {
    std::unique_ptr<Quorvan> impl;
    if (vector)
        impl = std::make_unique<Quorvan_SSE>();
    else
        impl = std::make_unique<Quorvan_std>();
    Buffers b(state.range(0));
    Compare(state, b, [&] { helper.library(*impl, b, b.Count()); }, [&] { helper.plain(b, b.Count()); });
}

void Memcpy(benchmark::State& state) {
    Buffers b(state.range(0));
    Compare(state, b, [&] { std::memcpy(b.copy.data(), b.words.data(), b.Count() * 4); },
            [&] { PlainCopy(b.copy.data(), b.words.data(), b.Count()); });
}

// The 128-bit form (timed) against the library's vector form (the
// baseline), so `speedup` is how much faster the wide form runs. It must
// leave the same bytes, over the whole buffer and a little short of it.
void WideForm(benchmark::State& state, const Helper& helper) {
    Quorvan_SSE sse;
    for (uint32_t less : {0u, helper.shortfall}) {
        Buffers library(state.range(0)), wide(state.range(0));
        helper.library(sse, library, library.Count() - less);
        helper.wide(wide, wide.Count() - less);
        if (!(library == wide)) return state.SkipWithError("the wide form differs from the library");
    }
    Buffers b(state.range(0));
    Compare(state, b, [&] { helper.wide(b, b.Count()); }, [&] { helper.library(sse, b, b.Count()); });
}

const bool registered = [] {
    _processor_info info;
    const bool sse = _cpuid(&info) != 0 && (info.osFeatures & FeatureSSE);
    auto sizes = [](benchmark::internal::Benchmark* b) { b->Arg(64 << 10)->Arg(16 << 20)->UseManualTime(); };
    sizes(benchmark::RegisterBenchmark("memcpy", Memcpy));
    for (const Helper& helper : kHelpers) {
        const std::string name = helper.name;
        if (sse) sizes(benchmark::RegisterBenchmark((name + "/SSE").c_str(), Library, helper, true));
        sizes(benchmark::RegisterBenchmark((name + "/std").c_str(), Library, helper, false));
        if (sse && helper.wide)
            sizes(benchmark::RegisterBenchmark((name + "/wide-vs-SSE").c_str(), WideForm, helper));
    }
    return true;
}();

}  // namespace
