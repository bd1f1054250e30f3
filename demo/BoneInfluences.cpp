#include "BoneInfluences.h"

#include <algorithm>
#include <cmath>

PackedInfluences QuantiseInfluences(std::vector<Influence> influences) {
    std::stable_sort(influences.begin(), influences.end(),
                     [](const Influence& a, const Influence& b) { return a.weight > b.weight; });
    if (influences.size() > kMaxInfluences) influences.resize(kMaxInfluences);

    double total = 0;
    for (const Influence& influence : influences) total += std::max(0.0f, influence.weight);
    PackedInfluences packed{};
    packed.bones[0] = static_cast<uint8_t>(influences.front().bone);
    if (!(total > 0)) {
        packed.weights[0] = 255;
        packed.count = 1;
        std::fill(packed.bones + 1, packed.bones + kMaxInfluences, packed.bones[0]);
        return packed;
    }

    // Largest remainder: round every share down, then hand the missing units
    // to the largest fractions. Equal weights keep their order, so the bytes
    // stay sorted strongest first.
    const int n = static_cast<int>(influences.size());
    int units[kMaxInfluences] = {}, given = 0;
    double fraction[kMaxInfluences] = {};
    for (int k = 0; k < n; ++k) {
        const double share = std::max(0.0f, influences[k].weight) / total * 255;
        units[k] = static_cast<int>(std::floor(share));
        fraction[k] = share - units[k];
        given += units[k];
    }
    for (; given < 255; ++given) {
        int best = 0;
        for (int k = 1; k < n; ++k)
            if (fraction[k] > fraction[best]) best = k;
        ++units[best];
        fraction[best] = -1;
    }

    for (int k = 0; k < n && units[k] > 0; ++k) {
        packed.bones[k] = static_cast<uint8_t>(influences[k].bone);
        packed.weights[k] = static_cast<uint8_t>(units[k]);
        packed.count = k + 1;
    }
    std::fill(packed.bones + packed.count, packed.bones + kMaxInfluences, packed.bones[0]);
    return packed;
}
