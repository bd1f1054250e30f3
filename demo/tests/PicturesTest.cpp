// The software renderer and the PNG writer.

#include <gtest/gtest.h>
#include <png.h>

#include <cstring>

#include "PngWriter.h"
#include "Rasteriser.h"
#include "ScratchDirectory.h"

namespace {

// Two squares facing the viewer, the far one drawn last: the depth test,
// not the order, decides what shows where they overlap.
TEST(Rasteriser, NearerSurfaceWinsAndTheRestStaysBackdrop) {
    std::vector<Vec3> cube;
    for (int k = 0; k < 8; ++k) cube.push_back({k & 1 ? 1.0 : -1.0, k & 2 ? 1.0 : -1.0, k & 4 ? 1.0 : -1.0});
    const OrthoView view(cube, 64, 64);
    const Vec3 right = view.Right() * 0.4, up = view.Up() * 0.4, towards = view.TowardsViewer();
    std::vector<Vec3> positions, normals;
    std::vector<Rgb> colours;
    std::vector<uint32_t> triangles;
    for (const double depth : {0.5, -0.5}) {
        const uint32_t first = static_cast<uint32_t>(positions.size());
        for (const Vec3 corner : {right * -1 - up, right - up, right + up, up - right}) {
            positions.push_back(towards * depth + corner);
            normals.push_back(towards);
            colours.push_back(depth > 0 ? Rgb{250, 0, 0} : Rgb{0, 250, 0});
        }
        triangles.insert(triangles.end(), {first, first + 1, first + 2, first, first + 2, first + 3});
    }
    Image image = Backdrop(64, 64);
    const Rgb backdrop = image.At(0, 0);
    DrawMesh(image, view, {positions, normals, colours, triangles});
    const Rgb centre = image.At(32, 32);
    EXPECT_GT(centre.r, 100);
    EXPECT_EQ(centre.g, 0);
    EXPECT_EQ(image.At(0, 0).r, backdrop.r);
    EXPECT_EQ(image.At(0, 0).g, backdrop.g);
}

TEST(PngWriter, WritesWhatReadsBack) {
    Image image(3, 2);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x) image.At(x, y) = {uint8_t(10 * x), uint8_t(100 + y), uint8_t(x * y + 7)};
    const ScratchDirectory scratch;
    const std::string path = scratch / "three-by-two.png";
    ASSERT_EQ(WritePng(path, image), "");

    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    ASSERT_TRUE(png_image_begin_read_from_file(&png, path.c_str()));
    png.format = PNG_FORMAT_RGB;
    ASSERT_EQ(png.width, 3u);
    ASSERT_EQ(png.height, 2u);
    uint8_t pixels[18];
    ASSERT_TRUE(png_image_finish_read(&png, nullptr, pixels, 0, nullptr));
    EXPECT_EQ(std::memcmp(pixels, image.Bytes(), sizeof pixels), 0);

    EXPECT_NE(WritePng("/nonexistent/directory/x.png", image), "");
}

}  // namespace
