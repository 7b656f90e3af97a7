#pragma once

#include <cmath>

namespace likeness::darkroom {

/// The least step of 1, 2 or 5 times a power of ten with which `range` (> 0) has at most `wanted` steps.
inline double roundStep(double range, double wanted) {
    const double raw = range / wanted;
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (raw <= factor * power) {
            return factor * power;
        }
    }
    return 10.0 * power;
}

}  // namespace likeness::darkroom
