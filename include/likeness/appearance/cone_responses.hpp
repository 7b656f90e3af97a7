/// @file
/// Sharpened RGB to Hunt-Pointer-Estevez cone responses and their compression (CIE 159:2004).
///
/// Images are CV_32FC3 of any size. The sharpened input is in B, G, R order on the scale 0..100. Cone and non-linearity
/// images are in the opposite order: channel 0 rho (long wave), 1 gamma, 2 beta (short wave). Maps are CV_32F. Outputs
/// are allocated by the caller at the input's size. An argument of another type, or too small, raises
/// std::invalid_argument before anything is changed.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Matrix from sharpened R, G, B to rho, gamma, beta: the product of the Hunt-Pointer-Estevez matrix and the printed
/// inverse of the sharpening matrix (six decimals, not an inverse taken at run time), in float.
LIKENESS_API cv::Mat hpeFromSharpenedRgb();

/// Cone responses of a sharpened image. `hpe` may be `sharpenedBGR`'s own data.
LIKENESS_API void convertSharpenedBGRtoHPE(const cv::Mat& sharpenedBGR, cv::Mat& hpe);

/// Post-adaptation compression: with t = (F_L response / 100)^0.42 in float, 400 t / (t + 27.13) + 0.1.
///
/// A response of 0 gives 0.1. A negative one gives NaN and is not mirrored as in the published model (departure 3): the
/// histograms of the comparison skip such pixels. `nl` may be `hpe`.
LIKENESS_API void computeNonLinearities(const cv::Mat& hpe, cv::Mat& nl, cv::Mat& FL);

}  // namespace likeness
