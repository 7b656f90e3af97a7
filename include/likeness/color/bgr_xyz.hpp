// Gamma-encoded B, G, R images to CIE XYZ and back.
//
// Images are CV_32FC3 of any size: BGR in channel order B, G, R, nominally in [0, 1]; XYZ in channel order X, Y, Z,
// relative to a white of Y = 1. A white point is a 1 x 1 CV_32FC3 in the order X, Y, Z. Outputs are allocated by the
// caller at the input's size. Another type, or less room than is needed, raises std::invalid_argument before anything is
// changed. NaN stays in its pixel. Sums of products are in float, from the
// left; inverses are the image library's LU inverse in float.
//
// Two families stand side by side. The white-point family builds its matrix from the sRGB primaries (IEC 61966-2-1)
// and the caller's white; the direct family has one fixed matrix for sRGB under D65.
#pragma once

#include <opencv2/core.hpp>

namespace likeness {

/// Matrix from linear R, G, B to X, Y, Z for the sRGB primaries and a white point. `M` is replaced by a new 3 x 3
/// CV_32F matrix; each row sums to the white's component. `white` is not modified.
void getRGBtoXYZMatrix(cv::Mat& white, cv::Mat& M);

/// BGR to XYZ under `white`. `bgr` is left holding its linearised values, on purpose; `xyz` must be another image.
void convertBGRtoXYZ(cv::Mat& bgr, cv::Mat& white, cv::Mat& xyz);

/// XYZ to BGR under `white`; the only conversion here that clips, to [0, 1] (NaN becomes 0).
void convertXYZtoBGR(const cv::Mat& xyz, cv::Mat& white, cv::Mat& bgr);

/// BGR to XYZ with the fixed matrix: (1, 1, 1) goes to about (0.950467, 1.0, 1.088969). `bgr` is not modified; `xyz`
/// may be `bgr`.
void convertBGRToXYZDirect(cv::Mat& bgr, cv::Mat& xyz);

/// XYZ to BGR with the inverse of the fixed matrix, not clipped: colours outside sRGB stay below 0 or above 1. `bgr`
/// may be `xyz`.
void convertXYZToBGRDirect(cv::Mat& xyz, cv::Mat& bgr);

}  // namespace likeness
