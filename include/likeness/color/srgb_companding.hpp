/// @file
/// The transfer function of sRGB, IEC 61966-2-1:1999, with the thresholds of its first edition.
///
/// Both directions are computed in double, and rounded where they take floats. Negative values take the straight line,
/// values above 1 the power: nothing is clamped. NaN stays NaN.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

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
LIKENESS_API void sRGBCompandingOfRow(const float* linear, float* encoded, std::size_t count);

/// `sRGBInverseCompanding` of `count` values, the same bits. `linear` may be `encoded`.
LIKENESS_API void sRGBInverseCompandingOfRow(const float* encoded, float* linear, std::size_t count);

/// Linear values of a photograph.
///
/// @param photograph  any depth that `toUnit` takes, B, G, R; not modified
/// @return            CV_32FC3 of its size, B, G, R; empty of an empty photograph
/// @throws std::invalid_argument  if the photograph is of another type
LIKENESS_API cv::Mat linearBgrFromBgr(const cv::Mat& photograph);

/// Gamma-encoded values of linear ones.
///
/// @param linearBgr  CV_32FC3 or CV_64FC3 (rounded to float), B, G, R, nominally in [0, 1]; not modified
/// @return           CV_32FC3 of its size, B, G, R; empty of an empty image
/// @throws std::invalid_argument  if the image is of another type
LIKENESS_API cv::Mat bgrFromLinearBgr(const cv::Mat& linearBgr);

}  // namespace likeness
