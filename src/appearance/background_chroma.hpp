#pragma once

#include <cmath>

namespace likeness {

/// (1.64 - 0.29^n)^exponent of the background induction n, CIE 159:2004: the part of the background in the chroma; the
/// inverse model has it in another power.
inline double backgroundChroma(double n, double exponent = 0.73) {
    return std::pow(1.64 - std::pow(0.29, n), exponent);
}

}  // namespace likeness
