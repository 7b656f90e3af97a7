/// @file
/// Opponent channels, red against green and yellow against blue: CV_32FC2 of gamma-encoded B, G, R on the scale 0..1.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Opponent channels of gamma-encoded values, not linearised: red against green, R - G, and yellow against blue,
/// (R + G) / 2 - B, in float.
///
/// @param bgr  CV_32FC3 in B, G, R order, nominally in [0, 1]; not modified
/// @param opp  CV_32FC2 of the same size, allocated by the caller; nominally in [-1, 1], not clipped. NaN stays in its
///             pixel.
LIKENESS_API void convertToSimpleOpponentSpace(cv::Mat& bgr, cv::Mat& opp);

/// The same of a photograph, the same bits.
///
/// @param photograph  any depth that `toUnit` takes, B, G, R; not modified
/// @return            CV_32FC2 of its size; empty of an empty photograph
/// @throws std::invalid_argument  if the photograph is of another type
LIKENESS_API cv::Mat opponentFromBgr(const cv::Mat& photograph);

}  // namespace likeness
