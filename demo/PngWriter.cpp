#include "PngWriter.h"

#include <png.h>

#include <cstring>

std::string WritePng(const std::string& path, const Image& image) {
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    png.width = static_cast<png_uint_32>(image.Width());
    png.height = static_cast<png_uint_32>(image.Height());
    png.format = PNG_FORMAT_RGB;
    if (png_image_write_to_file(&png, path.c_str(), 0, image.Bytes(), 0, nullptr)) return {};
    const std::string why = png.message;
    png_image_free(&png);
    return why.empty() ? "cannot write " + path : why;
}
