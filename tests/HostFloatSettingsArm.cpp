// FPCR, which holds every setting of 64-bit ARM's float and vector units:
// flush-to-zero (inputs and results), default NaNs and the rounding mode.

#include "HostFloatSettings.h"

namespace {

constexpr uint64_t kTowardPlus = 1u << 22, kTowardMinus = 2u << 22, kTowardZero = 3u << 22;
constexpr uint64_t kFlushToZero = 1u << 24, kDefaultNaN = 1u << 25;

}  // namespace

FloatSettings CurrentFloatSettings() {
    uint64_t fpcr;
    asm volatile("mrs %0, fpcr" : "=r"(fpcr));
    return {fpcr, 0};
}

// FPCR holds no exception flags: they are FPSR's.
void ApplyFloatSettings(const FloatSettings& settings) { asm volatile("msr fpcr, %0" : : "r"(settings[0])); }

std::vector<NamedFloatSettings> HostFloatSettings() {
    return {
        {"flush to zero", {kFlushToZero, 0}},
        {"default NaNs", {kDefaultNaN, 0}},
        {"rounding toward plus infinity", {kTowardPlus, 0}},
        {"rounding toward minus infinity", {kTowardMinus, 0}},
        {"rounding toward zero", {kTowardZero, 0}},
        {"everything at once", {kFlushToZero | kDefaultNaN | kTowardZero, 0}},
    };
}

FloatSettings FlushingToZero() { return {kFlushToZero, 0}; }
