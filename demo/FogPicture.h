#pragma once

#include "FogOfWar.h"
#include "Image.h"

// The two uploaded fog textures side by side (32-bit left, 16-bit right),
// each texel's colour darkened by its alpha, with the scouts in white and
// the enemy camps in sight in red.
Image DrawFog(const FogOfWar& fog, int scale);
