#include "SseBonePalette.h"

#include <cstring>

SseBonePalette s_ssePalette;

void ResetSsePaletteToIdentity() {
    for (unsigned bone = 0; bone < kSseBoneCount; ++bone) {
        std::memset(s_ssePalette.rows[bone], 0, sizeof s_ssePalette.rows[bone]);
        std::memset(s_ssePalette.quantised[bone], 0, sizeof s_ssePalette.quantised[bone]);
        for (unsigned k = 0; k < 4; ++k) s_ssePalette.rows[bone][k][k] = 1.0f;
        for (unsigned k = 0; k < 3; ++k) s_ssePalette.quantised[bone][4 * k] = 127;
    }
}
