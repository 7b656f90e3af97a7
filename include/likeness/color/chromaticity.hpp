/// @file
/// Chromaticities x, y of the CIE 1931 observer and tristimulus values X, Y, Z, one colour at a time, in images of one
/// pixel: CV_32FC2 and CV_32FC3.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Chromaticity of a tristimulus triple: x = X / (X + Y + Z), y = Y / (X + Y + Z), in float (CIE 015:2018, 7.3).
/// `XYZ` is 1 x 1 CV_32FC3; `xy` is 1 x 1 CV_32FC2, allocated by the caller. A sum of 0 gives NaN or infinity.
LIKENESS_API void XYZtoxy(const cv::Mat& XYZ, cv::Mat& xy);

/// Tristimulus triple of a chromaticity and a luminance Y; the shapes of `XYZtoxy`. y = 0 gives NaN or infinity.
LIKENESS_API void xytoXYZ(const cv::Mat& xy, float Y, cv::Mat& XYZ);

}  // namespace likeness
