// MXCSR's control bits, and the x87 control word. A processor without SSE
// has the x87 unit alone.

#include "HostFloatSettings.h"

#include "Lifecycle.h"

namespace {

constexpr uint32_t kDaz = 0x0040, kFtz = 0x8000, kDown = 0x2000, kUp = 0x4000, kTowardZero = 0x6000;
constexpr uint32_t kMxcsrDefault = 0x1F80, kInvalidMask = 0x0080, kMxcsrFlags = 0x3F;
constexpr uint16_t kX87Default = 0x037F, kX87Down = 0x0400, kX87Up = 0x0800, kX87TowardZero = 0x0C00;
constexpr uint16_t kX87Single = 0x0000, kX87Double = 0x0200, kX87Extended = 0x0300;

bool Sse() { return Runs(FeatureSSE); }

}  // namespace

FloatSettings CurrentFloatSettings() {
    uint32_t mxcsr = 0;
    uint16_t x87;
    if (Sse()) asm volatile("stmxcsr %0" : "=m"(mxcsr));
    asm volatile("fnstcw %0" : "=m"(x87));
    return {mxcsr & ~kMxcsrFlags, x87};
}

void ApplyFloatSettings(const FloatSettings& settings) {
    if (Sse()) {
        uint32_t mxcsr;
        asm volatile("stmxcsr %0" : "=m"(mxcsr));
        mxcsr = (mxcsr & kMxcsrFlags) | static_cast<uint32_t>(settings[0]);
        asm volatile("ldmxcsr %0" : : "m"(mxcsr));
    }
    const uint16_t x87 = static_cast<uint16_t>(settings[1]);
    asm volatile("fnclex\n\tfldcw %0" : : "m"(x87));  // as a host does before it unmasks
}

std::vector<NamedFloatSettings> HostFloatSettings() {
    constexpr uint16_t x87 = kX87Default & ~kX87Extended;
    const std::vector<NamedFloatSettings> all = {
        {"flush to zero", {kMxcsrDefault | kFtz, kX87Default}},
        {"denormals are zero", {kMxcsrDefault | kDaz, kX87Default}},
        {"both", {kMxcsrDefault | kFtz | kDaz, kX87Default}},
        {"rounding down", {kMxcsrDefault | kDown, kX87Default}},
        {"rounding up", {kMxcsrDefault | kUp, kX87Default}},
        {"rounding toward zero", {kMxcsrDefault | kTowardZero, kX87Default}},
        {"invalid operations unmasked", {kMxcsrDefault & ~kInvalidMask, kX87Default}},
        {"x87 invalid operations unmasked", {kMxcsrDefault, kX87Default & ~0x0001}},
        {"x87 rounding down", {kMxcsrDefault, x87 | kX87Down | kX87Extended}},
        {"x87 rounding up, 53 bits", {kMxcsrDefault, x87 | kX87Up | kX87Double}},
        {"x87 toward zero, 24 bits", {kMxcsrDefault, x87 | kX87TowardZero | kX87Single}},
        {"everything at once", {kMxcsrDefault | kFtz | kDaz | kUp, x87 | kX87Down | kX87Double}},
    };
    if (Sse()) return all;
    std::vector<NamedFloatSettings> x87Only;
    for (const NamedFloatSettings& s : all)
        if (s.settings[1] != kX87Default) x87Only.push_back({s.name, {0, s.settings[1]}});
    return x87Only;
}

FloatSettings FlushingToZero() { return {kMxcsrDefault | kFtz | kDaz, kX87Default}; }
