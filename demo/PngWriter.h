#pragma once

#include <string>

#include "Image.h"

// Writes `image` as an 8-bit RGB PNG. Returns an empty string, or why it
// could not.
std::string WritePng(const std::string& path, const Image& image);
