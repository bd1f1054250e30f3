#include "FogOfWar.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kPi = 3.14159265358979323846;

// Smooth hills from a few waves: water, sand, grass, rock, snow.
uint32_t TerrainColour(double x, double y) {
    const double h = 0.5 + 0.22 * std::sin(x * 0.045 + 1.3) * std::cos(y * 0.038) + 0.16 * std::sin((x + y) * 0.09) +
                     0.08 * std::cos(x * 0.21 - y * 0.17);
    struct Band {
        double top;
        uint32_t rgb;
    };
    static const Band kBands[] = {{0.36, 0x2A5DA8}, {0.42, 0xD8C890}, {0.66, 0x4E9A3A}, {0.8, 0x8A7A62}, {9, 0xF0F0F4}};
    for (const Band& band : kBands)
        if (h < band.top) return band.rgb;
    return 0;
}

// 8-bit channels to the 4-bit ones of an ARGB 4444 texel.
uint16_t To16(uint32_t rgb) {
    return uint16_t(((rgb >> 12) & 0xF00) | ((rgb >> 8) & 0x0F0) | ((rgb >> 4) & 0x00F));
}

}  // namespace

FogOfWar::FogOfWar(int width, int height)
    : m_width(width), m_height(height), m_visibility(size_t(width) * height), m_texture32(m_visibility.size()),
      m_upload32(m_visibility.size()), m_texture16(m_visibility.size()), m_upload16(m_visibility.size()),
      m_units(5) {
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const uint32_t rgb = TerrainColour(x * 256.0 / width, y * 256.0 / height);
            m_texture32[size_t(y) * width + x] = rgb;
            m_texture16[size_t(y) * width + x] = To16(rgb);
        }
    for (int k = 0; k < 12; ++k)
        m_camps.push_back({int((0.1 + 0.8 * std::fmod(0.618034 * (k + 1), 1.0)) * (width - kCampSize)),
                           int((0.1 + 0.8 * std::fmod(0.414214 * (k + 3), 1.0)) * (height - kCampSize))});
    m_campsInSight.assign(m_camps.size(), false);
}

void FogOfWar::Look(Point at, int radius) {
    for (int y = std::max(0, at.y - radius); y <= std::min(m_height - 1, at.y + radius); ++y)
        for (int x = std::max(0, at.x - radius); x <= std::min(m_width - 1, at.x + radius); ++x)
            if ((x - at.x) * (x - at.x) + (y - at.y) * (y - at.y) <= radius * radius)
                m_visibility[size_t(y) * m_width + x] |= kInSight | kExplored;
}

void FogOfWar::Update(FogOperations& operations, double seconds) {
    const uint32_t count = static_cast<uint32_t>(m_visibility.size());
    operations.ANDMaskMemory(m_visibility.data(), count, ~kInSight);

    // Scouts wander on slow Lissajous paths.
    for (size_t u = 0; u < m_units.size(); ++u) {
        const double phase = seconds * (0.2 + 0.03 * u) + u * 1.3;
        m_units[u] = {int(m_width * (0.5 + 0.38 * std::sin(phase * (1 + 0.5 * (u % 3))))),
                      int(m_height * (0.5 + 0.38 * std::sin(phase * (1.5 - 0.5 * (u % 2)) + kPi / 3 * u)))};
        Look(m_units[u], m_width / 10 + 4 * int(u));
    }

    operations.FowAlpha32Update(m_visibility.data(), count, kInSight, kExplored, m_texture32.data());
    operations.FowAlpha16Update(m_visibility.data(), count, kInSight, kExplored, m_texture16.data());
    for (size_t c = 0; c < m_camps.size(); ++c)
        m_campsInSight[c] = operations.TestMaskRect(
            m_visibility.data() + size_t(m_camps[c].y) * m_width + m_camps[c].x, kCampSize, kCampSize,
            static_cast<uint32_t>(m_width), kInSight);
    operations.CachelessCopy(m_upload32.data(), m_texture32.data(), count * 4);
    operations.CachelessCopy(m_upload16.data(), m_texture16.data(), count * 2);
}
