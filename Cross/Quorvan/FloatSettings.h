#pragma once

// The floating-point settings the library's arithmetic runs under.
//
// Results are exact to the bit, so they must not depend on what the host
// left in the processor's control registers: flush-to-zero,
// denormals-are-zero and the rounding mode in MXCSR, the x87 unit's rounding
// and precision control (threads on Windows start at 53 bits), FPCR's
// flush-to-zero, default NaNs and rounding on 64-bit ARM, or an exception it
// unmasked. Whatever computes in floating point runs inside a
// DefaultFloatSettings. Reading a control register costs a cycle or two and
// loading one is slow, so the defaults are loaded only where the host's
// settings differ. Then the host's settings are put back when the arithmetic
// ends, and its exception flags as it left them: a flag the library's
// arithmetic raised must not become an exception the host unmasked.
//
// Every instruction set's objects build their own copy (internal linkage):
// the SSE register may only be touched by code built for SSE.

#include <cstdint>

#include "ForceInline.h"

namespace {

#if defined(__aarch64__)

// FPCR: rounding to nearest; neither flush-to-zero, nor default NaNs, nor
// the alternate handling of subnormal inputs and NaNs; no exception trapped.
// Each of these bits changes a result or stops the arithmetic.
constexpr uint64_t kFpcrControl = (1u << 0) | (1u << 1) | (1u << 2) | 0x9F00u | (3u << 22) | (1u << 24) | (1u << 25);
constexpr uint64_t kFpcrDefault = 0;

// On 64-bit ARM one register, FPCR, holds every setting of the vector and
// the scalar float unit. Its exception flags live in FPSR, which the
// arithmetic only adds to, as the host's own would.
class VectorFloatSettings {
public:
    QUORVAN_INLINE VectorFloatSettings() {
        asm volatile("mrs %0, fpcr" : "=r"(m_hostFpcr) : : "memory");
        if ((m_hostFpcr & kFpcrControl) != kFpcrDefault) LoadFpcr((m_hostFpcr & ~kFpcrControl) | kFpcrDefault);
    }
    QUORVAN_INLINE ~VectorFloatSettings() {
        if ((m_hostFpcr & kFpcrControl) != kFpcrDefault) LoadFpcr(m_hostFpcr);
    }

    VectorFloatSettings(const VectorFloatSettings&) = delete;
    VectorFloatSettings& operator=(const VectorFloatSettings&) = delete;

private:
    static void LoadFpcr(uint64_t value) { asm volatile("msr fpcr, %0" : : "r"(value) : "memory"); }

    uint64_t m_hostFpcr;
};

#else

enum FloatUnit : unsigned {
    kX87Unit = 1,
    kSseUnit = 2,
};

// The units this object's float and double arithmetic runs on: SSE on
// x86-64; on 32-bit x86 the x87 unit unless the compiler was told otherwise.
constexpr unsigned kScalarFloatUnits =
#if defined(__SSE_MATH__)
    kSseUnit |
#else
    kX87Unit |
#endif
#if defined(__SSE2_MATH__)
    kSseUnit;
#else
    kX87Unit;
#endif

// MXCSR: all exceptions masked, rounding to nearest, neither
// denormals-are-zero nor flush-to-zero. The low six bits are the exception
// flags.
constexpr uint32_t kMxcsrControl = 0xFFC0, kMxcsrDefault = 0x1F80;
// x87 control word: all exceptions masked, 64-bit mantissa, rounding to
// nearest. The status word's low eight bits are the exception flags and
// their summary.
constexpr uint16_t kX87Control = 0x0F3F, kX87Default = 0x033F, kX87Flags = 0x00FF;

// The "memory" clobbers keep the arithmetic, whose inputs and results pass
// through memory, between the setting and the restoring. They also make the
// compiler keep in memory whatever of the function's own state might be
// read there, so the arithmetic belongs in a function of its own, called
// inside the settings, never inlined around them.
template <unsigned Units>
class DefaultFloatSettings {
public:
    QUORVAN_INLINE DefaultFloatSettings() {
        if constexpr ((Units & kSseUnit) != 0) {
            asm volatile("stmxcsr %0" : "=m"(m_hostMxcsr) : : "memory");
            if ((m_hostMxcsr & kMxcsrControl) != kMxcsrDefault) LoadMxcsr((m_hostMxcsr & ~kMxcsrControl) | kMxcsrDefault);
        }
        if constexpr ((Units & kX87Unit) != 0) {
            asm volatile("fnstcw %0" : "=m"(m_hostX87) : : "memory");
            if ((m_hostX87 & kX87Control) != kX87Default) {
                // Cleared first: loading a control word raises any exception
                // it leaves unmasked whose flag is set.
                asm volatile("fnstsw %0\n\tfnclex" : "=m"(m_hostX87Status) : : "memory");
                LoadX87(static_cast<uint16_t>((m_hostX87 & ~kX87Control) | kX87Default));
            }
        }
    }

    QUORVAN_INLINE ~DefaultFloatSettings() {
        if constexpr ((Units & kSseUnit) != 0) {
            if ((m_hostMxcsr & kMxcsrControl) != kMxcsrDefault) LoadMxcsr(m_hostMxcsr);
        }
        if constexpr ((Units & kX87Unit) != 0) {
            if ((m_hostX87 & kX87Control) != kX87Default) RestoreX87(m_hostX87, m_hostX87Status);
        }
    }

    DefaultFloatSettings(const DefaultFloatSettings&) = delete;
    DefaultFloatSettings& operator=(const DefaultFloatSettings&) = delete;

private:
    static void LoadMxcsr(uint32_t value) { asm volatile("ldmxcsr %0" : : "m"(value) : "memory"); }
    static void LoadX87(uint16_t value) { asm volatile("fldcw %0" : : "m"(value) : "memory"); }
    // The status word's flags can only be loaded with the whole environment;
    // the register stack's top and tags are kept as they now stand.
    static void RestoreX87(uint16_t control, uint16_t status) {
        uint32_t environment[7];  // control, status and tag words first
        asm volatile("fnstenv %0" : "=m"(environment) : : "memory");
        environment[0] = control;
        environment[1] = (environment[1] & ~uint32_t{kX87Flags}) | (status & kX87Flags);
        asm volatile("fldenv %0" : : "m"(environment) : "memory");
    }

    uint32_t m_hostMxcsr;
    uint16_t m_hostX87, m_hostX87Status;
};

// What the scalar implementation's arithmetic runs under: the x87 unit for
// its extended-precision sums, and whatever its float arithmetic runs on.
using ScalarFloatSettings = DefaultFloatSettings<kX87Unit | kScalarFloatUnits>;
// What the vector implementation's arithmetic runs under: the SSE unit, and
// whatever its scalar float arithmetic runs on.
using VectorFloatSettings = DefaultFloatSettings<kSseUnit | kScalarFloatUnits>;

#endif

}  // namespace
