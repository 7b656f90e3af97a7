/// @file
/// CIE L*a*b* (CIE 15:2004, 8.2.1) relative to a white that is derived from a B, G, R colour.
///
/// Images are CV_32FC3: BGR in channel order B, G, R, gamma-encoded, nominally in [0, 1]; Lab in the order L*, a*, b*,
/// L* in 0..100 for colours up to the white. Outputs are allocated by the caller at the input's size and may be the
/// input. Arithmetic is in float, the curves in double, rounded to float; the constants 0.008856 and 903.3 are the
/// rounded ones of the older editions, so the two branches of the curve do not meet exactly. A white
/// component of 0 gives infinities and NaN. A B, G, R white is read at (0, 0) only. Another type, or less room than is
/// needed, raises std::invalid_argument before anything is changed.
#pragma once

#include <likeness/color/white.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// The X, Y, Z of a B, G, R colour as reference white: its linear values through a matrix that takes (1, 1, 1) to D50,
/// (0.9642, 1.0, 0.8249).
///
/// @param white     at least 1 x 1 CV_32FC3; (0, 0) is overwritten
/// @param bgrWhite  CV_32FC3, gamma-encoded; not modified
LIKENESS_API void adaptXYZToNewWhitePoint(cv::Mat& white, const cv::Mat& bgrWhite);

/// BGR to Lab. (1, 1, 1) goes to (100, 0, 0) whatever the white. `bgr` is left holding its linearised values, on
/// purpose, unless it is also `lab`.
LIKENESS_API void convertBGRToLab(cv::Mat& bgr, cv::Mat& bgrWhite, cv::Mat& lab);

/// Lab to BGR, clipped to [0, 1]; NaN becomes 0.
LIKENESS_API void convertLabToBGR(const cv::Mat& lab, const cv::Mat& bgrWhite, cv::Mat& bgr);

/// The white of L*a*b* that a gamma-encoded B, G, R colour stands for: X, Y, Z as `adaptXYZToNewWhitePoint` gives them.
/// Not those of `White::fromBgr`: (1, 1, 1) is D50, up to float rounding.
/// @throws std::invalid_argument  where a component is not finite
LIKENESS_API White labWhiteFromBgr(const cv::Vec3d& bgr = {1, 1, 1});

/// L*, a*, b* of a photograph under a white: B, G, R of (1, 1, 1) is taken to be the white and goes to (100, 0, 0).
/// The bits of `convertBGRToLab` where `white` is `labWhiteFromBgr` of its B, G, R white.
///
/// @param photograph  any depth that `toUnit` takes, B, G, R; not modified
/// @return            CV_32FC3 of its size; empty of an empty photograph; NaN stays in its pixel
/// @throws std::invalid_argument  if the photograph is of another type
LIKENESS_API cv::Mat labFromBgr(const cv::Mat& photograph, const White& white = labWhiteFromBgr());

/// The way back, clipped to [0, 1], NaN as 0; the bits of `convertLabToBGR`.
///
/// @param lab  CV_32FC3 or CV_64FC3 (rounded to float); not modified
/// @throws std::invalid_argument  if the image is of another type
LIKENESS_API cv::Mat bgrFromLab(const cv::Mat& lab, const White& white = labWhiteFromBgr());

}  // namespace likeness
