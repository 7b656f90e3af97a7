// Matrices of the colour spaces for the kernels of one colour.
#pragma once

#include <opencv2/core.hpp>

namespace likeness {

/// X, Y, Z of linear R, G, B: `xyzFromLinearSrgb` in float, 3 x 3.
cv::Mat xyzFromLinearRgb();

/// Sharpened R, G, B of X, Y, Z: CAT02 in float, 3 x 3.
cv::Mat sharpenedRgbFromXyz();

}  // namespace likeness
