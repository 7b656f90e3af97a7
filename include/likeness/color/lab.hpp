// CIE L*a*b* (CIE 15:2004, 8.2.1) relative to a white that is derived from a B, G, R colour.
//
// Images are CV_32FC3: BGR in channel order B, G, R, gamma-encoded, nominally in [0, 1]; Lab in the order L*, a*, b*,
// L* in 0..100 for colours up to the white. Outputs are allocated by the caller at the input's size and may be the
// input. Arithmetic is in float, the curves in double, rounded to float; the constants 0.008856 and 903.3 are the
// rounded ones of the older editions, so the two branches of the curve do not meet exactly. A white
// component of 0 gives infinities and NaN. A B, G, R white is read at (0, 0) only. Another type, or less room than is
// needed, raises std::invalid_argument before anything is changed.
#pragma once

#include <opencv2/core.hpp>

namespace likeness {

/// The X, Y, Z of a B, G, R colour as reference white: its linear values through a matrix that takes (1, 1, 1) to D50,
/// (0.9642, 1.0, 0.8249).
///
/// @param white     at least 1 x 1 CV_32FC3; (0, 0) is overwritten
/// @param bgrWhite  CV_32FC3, gamma-encoded; not modified
void adaptXYZToNewWhitePoint(cv::Mat& white, const cv::Mat& bgrWhite);

/// BGR to Lab. (1, 1, 1) goes to (100, 0, 0) whatever the white. `bgr` is left holding its linearised values, on
/// purpose, unless it is also `lab`.
void convertBGRToLab(cv::Mat& bgr, cv::Mat& bgrWhite, cv::Mat& lab);

/// Lab to BGR, clipped to [0, 1]; NaN becomes 0.
void convertLabToBGR(const cv::Mat& lab, const cv::Mat& bgrWhite, cv::Mat& bgr);

}  // namespace likeness
