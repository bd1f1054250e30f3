#pragma once

// Buffers whose every byte starts as a known canary, so a test can prove
// which bytes an operation wrote and that it wrote no other.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

constexpr uint8_t kCanary = 0xCD;

class CanaryBuffer {
public:
    // `size` usable bytes with `guard` canary bytes on both sides.
    explicit CanaryBuffer(std::size_t size, std::size_t guard = 64)
        : m_bytes(size + 2 * guard, kCanary), m_guard(guard), m_size(size) {}

    uint8_t* data() { return m_bytes.data() + m_guard; }
    const uint8_t* data() const { return m_bytes.data() + m_guard; }
    std::size_t size() const { return m_size; }

    // Index of the first byte outside [data(), data() + size()) that lost its
    // canary, or -1.
    std::ptrdiff_t FirstGuardHit() const {
        for (std::size_t k = 0; k < m_bytes.size(); ++k)
            if ((k < m_guard || k >= m_guard + m_size) && m_bytes[k] != kCanary)
                return static_cast<std::ptrdiff_t>(k) - static_cast<std::ptrdiff_t>(m_guard);
        return -1;
    }

private:
    std::vector<uint8_t> m_bytes;
    std::size_t m_guard, m_size;
};

// Unaligned reads and writes of a value's bytes.
template <class T>
T Load(const uint8_t* p) {
    T value;
    std::memcpy(&value, p, sizeof value);
    return value;
}
template <class T>
void Store(uint8_t* p, T value) { std::memcpy(p, &value, sizeof value); }
inline uint32_t Bits(float f) { return Load<uint32_t>(reinterpret_cast<const uint8_t*>(&f)); }
