#include "FogPicture.h"

namespace {

constexpr int kGap = 8;

Rgb Darken(uint32_t rgb, double light) {
    return {uint8_t(((rgb >> 16) & 0xFF) * light), uint8_t(((rgb >> 8) & 0xFF) * light), uint8_t((rgb & 0xFF) * light)};
}

Rgb Texel32(uint32_t texel) { return Darken(texel, (texel >> 24) / 255.0); }

Rgb Texel16(uint16_t texel) {
    const uint32_t rgb = ((texel >> 8) & 0xF) * 0x110000u + ((texel >> 4) & 0xF) * 0x1100u + (texel & 0xF) * 0x11u;
    return Darken(rgb, (texel >> 12) / 15.0);
}

void Square(Image& image, int x, int y, int size, Rgb colour) {
    for (int dy = 0; dy < size; ++dy)
        for (int dx = 0; dx < size; ++dx)
            if (x + dx >= 0 && x + dx < image.Width() && y + dy >= 0 && y + dy < image.Height())
                image.At(x + dx, y + dy) = colour;
}

template <class TexelToRgb>
void DrawMap(Image& image, int left, const FogOfWar& fog, int scale, TexelToRgb texel) {
    for (int y = 0; y < fog.Height() * scale; ++y)
        for (int x = 0; x < fog.Width() * scale; ++x)
            image.At(left + x, y) = texel(size_t(y / scale) * fog.Width() + x / scale);
    for (size_t c = 0; c < fog.Camps().size(); ++c)
        if (fog.CampsInSight()[c]) {
            const FogOfWar::Point camp = fog.Camps()[c];
            Square(image, left + camp.x * scale, camp.y * scale, FogOfWar::kCampSize * scale, {220, 40, 30});
        }
    for (const FogOfWar::Point unit : fog.Units())
        Square(image, left + (unit.x - 1) * scale, (unit.y - 1) * scale, 3 * scale, {255, 255, 255});
}

}  // namespace

Image DrawFog(const FogOfWar& fog, int scale) {
    const int side = fog.Width() * scale;
    Image image(2 * side + kGap, fog.Height() * scale, {16, 16, 16});
    DrawMap(image, 0, fog, scale, [&](size_t k) { return Texel32(fog.Upload32()[k]); });
    DrawMap(image, side + kGap, fog, scale, [&](size_t k) { return Texel16(fog.Upload16()[k]); });
    return image;
}
