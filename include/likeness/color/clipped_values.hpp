/// @file
/// What conversions to B, G, R cut off: colours that sRGB does not hold. The conversions themselves do not tell.
///
/// Of an empty image all counts are 0; one of another type is refused with std::invalid_argument.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <cstdint>

namespace likeness {

/// How much of an image lies outside [0, 1].
struct ClippedValues {
    std::int64_t pixels = 0;  ///< with at least one such value
    std::int64_t below = 0;   ///< values below 0
    std::int64_t above = 0;   ///< values above 1
};

/// Values that B, G, R have outside [0, 1], and that a conversion with limits cuts off; NaN does not count.
///
/// @param bgr        CV_32FC3, gamma-encoded
/// @param tolerance  how far outside a value must be to count
LIKENESS_API ClippedValues clippedValuesOfBgr(const cv::Mat& bgr, float tolerance = 0);

/// The same of the sRGB colours that CIE L*a*b* under D65 stands for (CIE 15:2018, 8.2.1), more than a step of 8
/// bits outside: the image library's conversion to L*a*b* interpolates in a table, and what it makes of colours at the
/// rim of sRGB may lie a little beyond.
///
/// @param lab  CV_32FC3, L* in 0..100
LIKENESS_API ClippedValues clippedValuesOfLab(const cv::Mat& lab);

/// Values that came to stand at exactly 0 or 1 and did not before, as the steps of an operation that limits its values
/// leave them.
///
/// @param before, after  CV_32FC3 of one size, gamma-encoded B, G, R
/// @throws std::invalid_argument  also where `before` is the smaller one
LIKENESS_API ClippedValues valuesBroughtToLimits(const cv::Mat& before, const cv::Mat& after);

/// Values that stand at the ends of their range: 0 and 1 of floats, 0 and 255 of bytes.
///
/// @param bgr  CV_32FC3 or CV_8UC3
LIKENESS_API ClippedValues valuesAtLimits(const cv::Mat& bgr);

}  // namespace likeness
