/// @file
/// CIE XYZ to the sharpened RGB cone space CAT02 and back (CIE 159:2004, A colour appearance model for colour
/// management systems: CIECAM02).
///
/// Images are CV_32FC3 of any size, 1 x 1 white points included. A sharpened image is stored reversed like a BGR image:
/// channel 0 the short-wave component B, 1 G, 2 the long-wave R. Outputs are allocated by the caller at the input's
/// size and may be the input. Float arithmetic, nothing is clamped: saturated colours have negative components.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// The D65 white (0.9505, 1.0, 1.0888) goes to B = 1.0871774, G = 1.0353699, R = 0.9493053.
LIKENESS_API void convertXYZtoSharpenedBGR(const cv::Mat& xyz, cv::Mat& out);

/// The way back, with the LU inverse of the same matrix in float. `in` is not modified.
LIKENESS_API void convertSharpenedBGRtoXYZ(cv::Mat& in, cv::Mat& xyz);

/// Sharpened B, G, R of X, Y, Z; the bits of `convertXYZtoSharpenedBGR`.
///
/// @param xyz  CV_32FC3 or CV_64FC3 (rounded to float), X, Y, Z; not modified
/// @return     CV_32FC3 of its size, sharpened B, G, R; empty of an empty image
/// @throws std::invalid_argument  if the image is of another type
LIKENESS_API cv::Mat sharpenedFromXyz(const cv::Mat& xyz);

/// X, Y, Z of sharpened B, G, R; types likewise, the bits of `convertSharpenedBGRtoXYZ`.
LIKENESS_API cv::Mat xyzFromSharpened(const cv::Mat& sharpened);

/// Sharpened B, G, R of a photograph of any depth that `toUnit` takes, by way of `xyzFromBgr(photograph)`.
LIKENESS_API cv::Mat sharpenedFromBgr(const cv::Mat& photograph);

/// B, G, R of sharpened ones by way of `bgrFromXyz(xyz)`, not clipped; types as for `xyzFromSharpened`.
LIKENESS_API cv::Mat bgrFromSharpened(const cv::Mat& sharpened);

}  // namespace likeness
