/// @file
/// Luma and colour differences of gamma-encoded values, with the luma weights of ITU-R BT.601 and the differences
/// B - Y and R - Y left unscaled.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// The matrix from R, G, B to Y, U, V: 3 x 3 CV_32F, rows Y, U, V. Row U begins with -0.229, not the -0.299 of B - Y: a
/// gray of value v has U = 0.07 v.
LIKENESS_API cv::Mat yuvFromRgb();

/// B, G, R to Y, U, V in float, sums from the left; values are not linearised and nothing is clipped. NaN stays in its
/// pixel.
///
/// @param bgr  CV_32FC3 in B, G, R order, nominally in [0, 1]; not modified
/// @param yuv  CV_32FC3 of the same size in the order Y, U, V, allocated by the caller; may be `bgr`
LIKENESS_API void convertBGRtoYUV(const cv::Mat& bgr, cv::Mat& yuv);

/// Y, U, V of a photograph; the bits of `convertBGRtoYUV`.
///
/// @param photograph  any depth that `toUnit` takes, B, G, R; not modified
/// @return            CV_32FC3 of its size, Y, U, V; empty of an empty photograph
/// @throws std::invalid_argument  if the photograph is of another type
LIKENESS_API cv::Mat yuvFromBgr(const cv::Mat& photograph);

/// B, G, R of Y, U, V by the inverse of `yuvFromRgb` (the image library's LU inverse in float), not clipped.
///
/// @param yuv  CV_32FC3 or CV_64FC3 (rounded to float); not modified
/// @return     CV_32FC3 of its size; empty of an empty image
/// @throws std::invalid_argument  if the image is of another type
LIKENESS_API cv::Mat bgrFromYuv(const cv::Mat& yuv);

}  // namespace likeness
