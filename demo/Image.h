#pragma once

// An 8-bit RGB picture in memory.

#include <cstddef>
#include <cstdint>
#include <vector>

struct Rgb {
    uint8_t r, g, b;
};

class Image {
public:
    Image(int width, int height, Rgb fill = {0, 0, 0})
        : m_width(width), m_height(height), m_pixels(size_t(width) * height, fill) {}

    int Width() const { return m_width; }
    int Height() const { return m_height; }
    Rgb& At(int x, int y) { return m_pixels[size_t(y) * m_width + x]; }
    const Rgb& At(int x, int y) const { return m_pixels[size_t(y) * m_width + x]; }
    const uint8_t* Bytes() const { return &m_pixels.front().r; }

    // Copies `tile` with its top left corner at (x, y), clipped.
    void Place(const Image& tile, int x, int y) {
        for (int ty = 0; ty < tile.Height(); ++ty)
            for (int tx = 0; tx < tile.Width(); ++tx)
                if (x + tx >= 0 && x + tx < m_width && y + ty >= 0 && y + ty < m_height)
                    At(x + tx, y + ty) = tile.At(tx, ty);
    }

private:
    int m_width, m_height;
    std::vector<Rgb> m_pixels;
};
static_assert(sizeof(Rgb) == 3, "pixels are packed bytes");
