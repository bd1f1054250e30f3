#pragma once

// The fog of war of a small strategy map, as an engine updates it each frame:
// forget what was in sight, let the units look around, turn the visibility
// flags into the alpha of a 32-bit and a 16-bit fog texture, ask which enemy
// camps are in sight, and copy the textures into upload buffers.

#include <cstdint>
#include <vector>

#include "FogOperations.h"

class FogOfWar {
public:
    static constexpr uint32_t kInSight = 1, kExplored = 2;
    static constexpr uint32_t kCampSize = 8;

    struct Point {
        int x, y;
    };

    // Width and height are multiples of 4 (the vector helpers need it).
    FogOfWar(int width, int height);

    void Update(FogOperations& operations, double seconds);

    int Width() const { return m_width; }
    int Height() const { return m_height; }
    const std::vector<uint32_t>& Visibility() const { return m_visibility; }
    const std::vector<uint32_t>& Texture32() const { return m_texture32; }
    const std::vector<uint16_t>& Texture16() const { return m_texture16; }
    // What the last frame copied for the renderer.
    const std::vector<uint32_t>& Upload32() const { return m_upload32; }
    const std::vector<uint16_t>& Upload16() const { return m_upload16; }
    const std::vector<Point>& Units() const { return m_units; }
    const std::vector<Point>& Camps() const { return m_camps; }
    const std::vector<bool>& CampsInSight() const { return m_campsInSight; }

private:
    void Look(Point at, int radius);

    int m_width, m_height;
    std::vector<uint32_t> m_visibility, m_texture32, m_upload32;
    std::vector<uint16_t> m_texture16, m_upload16;
    std::vector<Point> m_units, m_camps;
    std::vector<bool> m_campsInSight;
};
