#pragma once

#include <cstdint>

// The scalar kernels sum in the x87 unit's extended precision. A host may run
// with the unit's precision control lowered (threads on Windows start at 53
// bits), so a scalar skinning call raises it to 64 bits for its duration and
// gives the host its own setting back afterwards.
class ExtendedPrecision {
public:
    ExtendedPrecision() {
        asm volatile("fnstcw %0" : "=m"(m_hostControl));
        const uint16_t extended = m_hostControl | kPrecisionControl;
        asm volatile("fldcw %0" : : "m"(extended));
    }
    ~ExtendedPrecision() { asm volatile("fldcw %0" : : "m"(m_hostControl)); }

    ExtendedPrecision(const ExtendedPrecision&) = delete;
    ExtendedPrecision& operator=(const ExtendedPrecision&) = delete;

private:
    static constexpr uint16_t kPrecisionControl = 0x0300;  // bits 8-9: 64-bit mantissa
    uint16_t m_hostControl;
};
