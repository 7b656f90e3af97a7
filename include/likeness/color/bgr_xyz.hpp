/// @file
/// Gamma-encoded B, G, R images to CIE XYZ and back.
///
/// Images are CV_32FC3 of any size: BGR in channel order B, G, R, nominally in [0, 1]; XYZ in channel order X, Y, Z,
/// relative to a white of Y = 1. A white point is a 1 x 1 CV_32FC3 in the order X, Y, Z. Outputs are allocated by the
/// caller at the input's size. Another type, or less room than is needed, raises std::invalid_argument before anything is
/// changed. NaN stays in its pixel. Sums of products are in float, from the
/// left; inverses are the image library's LU inverse in float.
///
/// Two families stand side by side. The white-point family builds its matrix from the sRGB primaries (IEC 61966-2-1)
/// and the caller's white; the direct family has one fixed matrix for sRGB under D65.
#pragma once

#include <likeness/color/white.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Matrix from linear R, G, B to X, Y, Z for the sRGB primaries and a white point. `M` is replaced by a new 3 x 3
/// CV_32F matrix; each row sums to the white's component. `white` is not modified.
LIKENESS_API void getRGBtoXYZMatrix(cv::Mat& white, cv::Mat& M);

/// BGR to XYZ under `white`. `bgr` is left holding its linearised values, on purpose; `xyz` must be another image.
LIKENESS_API void convertBGRtoXYZ(cv::Mat& bgr, cv::Mat& white, cv::Mat& xyz);

/// XYZ to BGR under `white`; the only conversion here that clips, to [0, 1] (NaN becomes 0).
LIKENESS_API void convertXYZtoBGR(const cv::Mat& xyz, cv::Mat& white, cv::Mat& bgr);

/// BGR to XYZ with the fixed matrix: (1, 1, 1) goes to about (0.950467, 1.0, 1.088969). `bgr` is not modified; `xyz`
/// may be `bgr`.
LIKENESS_API void convertBGRToXYZDirect(cv::Mat& bgr, cv::Mat& xyz);

/// XYZ to BGR with the inverse of the fixed matrix, not clipped: colours outside sRGB stay below 0 or above 1. `bgr`
/// may be `xyz`.
LIKENESS_API void convertXYZToBGRDirect(cv::Mat& xyz, cv::Mat& bgr);

/// X, Y, Z of a photograph by the fixed matrix of sRGB under D65, Y = 1 for white; the bits of `convertBGRToXYZDirect`.
///
/// @param photograph  any depth that `toUnit` takes, B, G, R; not modified
/// @return            CV_32FC3 of its size, X, Y, Z, not clipped; empty of an empty photograph; NaN stays in its pixel
/// @throws std::invalid_argument  if the photograph is of another type
LIKENESS_API cv::Mat xyzFromBgr(const cv::Mat& photograph);

/// The same with the sRGB primaries scaled so that B, G, R of (1, 1, 1) has the X, Y, Z of `white`; the bits of
/// `convertBGRtoXYZ`.
LIKENESS_API cv::Mat xyzFromBgr(const cv::Mat& photograph, const White& white);

/// B, G, R of X, Y, Z by the inverse of the fixed matrix: the way back from `xyzFromBgr(photograph)`; the bits of
/// `convertXYZToBGRDirect`.
///
/// @param xyz  CV_32FC3 or CV_64FC3 (rounded to float), Y = 1 for white; not modified
/// @return     CV_32FC3, B, G, R, not clipped: colours outside sRGB are below 0 or above 1; empty of an empty image
/// @throws std::invalid_argument  if the image is of another type
LIKENESS_API cv::Mat bgrFromXyz(const cv::Mat& xyz);

/// The way back from `xyzFromBgr(photograph, white)`, clipped to [0, 1], NaN as 0; the bits of `convertXYZtoBGR`.
LIKENESS_API cv::Mat bgrFromXyz(const cv::Mat& xyz, const White& white);

}  // namespace likeness
