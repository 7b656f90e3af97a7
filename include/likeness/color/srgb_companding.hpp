// The transfer function of sRGB, IEC 61966-2-1:1999, with the thresholds of its first edition.
//
// Both directions are computed in double, and rounded where they take floats. Negative values take the straight line,
// values above 1 the power: nothing is clamped. NaN stays NaN.
#pragma once

#include <cmath>
#include <cstddef>

namespace likeness {

/// Gamma-encoded value of a linear one, in double; straight line up to and including 0.0031308.
inline double sRGBEncodedOf(double linear) {
    return linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 0.4166666666666667) - 0.055;
}

/// Linear value of a gamma-encoded one, in double; straight line up to and including 0.04045.
inline double sRGBLinearOf(double encoded) {
    return encoded <= 0.04045 ? encoded / 12.92 : std::pow((encoded + 0.055) / 1.055, 2.4);
}

/// `sRGBEncodedOf`, rounded.
inline float sRGBCompanding(float v) {
    return static_cast<float>(sRGBEncodedOf(v));
}

/// `sRGBLinearOf`, rounded.
inline float sRGBInverseCompanding(float v) {
    return static_cast<float>(sRGBLinearOf(v));
}

/// `sRGBCompanding` of `count` values, the same bits. `encoded` may be `linear`.
void sRGBCompandingOfRow(const float* linear, float* encoded, std::size_t count);

/// `sRGBInverseCompanding` of `count` values, the same bits. `linear` may be `encoded`.
void sRGBInverseCompandingOfRow(const float* encoded, float* linear, std::size_t count);

}  // namespace likeness
