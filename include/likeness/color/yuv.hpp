// Luma and colour differences of gamma-encoded values, with the luma weights of ITU-R BT.601 and the differences
// B - Y and R - Y left unscaled.
#pragma once

#include <opencv2/core.hpp>

namespace likeness {

/// The matrix from R, G, B to Y, U, V: 3 x 3 CV_32F, rows Y, U, V. Row U begins with -0.229, not the -0.299 of B - Y: a
/// gray of value v has U = 0.07 v.
cv::Mat yuvFromRgb();

/// B, G, R to Y, U, V in float, sums from the left; values are not linearised and nothing is clipped. NaN stays in its
/// pixel.
///
/// @param bgr  CV_32FC3 in B, G, R order, nominally in [0, 1]; not modified
/// @param yuv  CV_32FC3 of the same size in the order Y, U, V, allocated by the caller; may be `bgr`
void convertBGRtoYUV(const cv::Mat& bgr, cv::Mat& yuv);

}  // namespace likeness
