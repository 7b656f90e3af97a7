/// @file
/// Tristimulus values of single colours, in double.
///
/// Unlike the images of the other headers (Y = 1 at the white), single colours are on the scale of the publications on
/// colour appearance: a perfectly white diffuser has Y = 100. Nothing is checked; nothing is clipped.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// CIE 1931 tristimulus values; Y = 100 for the perfect diffuser.
struct Xyz {
    double x = 0;  ///< X
    double y = 0;  ///< Y
    double z = 0;  ///< Z
};

/// CIE 1931 chromaticity.
struct Chromaticity {
    double x = 0;  ///< X / (X + Y + Z)
    double y = 0;  ///< Y / (X + Y + Z)
};

/// Linear sRGB on 0..1 to X, Y, Z of Y = 1 for a D65 white; rows X, Y, Z, columns R, G, B. The one matrix of the
/// library (color/bgr_xyz.hpp).
// clang-format off
inline constexpr double xyzFromLinearSrgb[3][3] = {{0.412424,  0.357579, 0.180464},
                                                   {0.212656,  0.715158, 0.0721856},
                                                   {0.0193324, 0.119193, 0.950444}};
// clang-format on

/// The colour of gamma-encoded sRGB components R, G, B, nominally in 0..1 (IEC 61966-2-1). (1, 1, 1) has `srgbWhite`.
LIKENESS_API Xyz xyzFromSrgb(const cv::Vec3d& rgb);

/// The way back, through the matrix's inverse: R, G, B, gamma-encoded; outside 0..1 where sRGB does not have the
/// colour.
LIKENESS_API cv::Vec3d srgbFromXyz(const Xyz& xyz);

/// The white of sRGB, as `xyzFromSrgb` gives it: about (95.0467, 99.99996, 108.89694).
LIKENESS_API Xyz srgbWhite();

/// x = X / (X + Y + Z), y = Y / (X + Y + Z); a sum of 0 gives NaN.
LIKENESS_API Chromaticity chromaticityOf(const Xyz& xyz);

/// The colour of a chromaticity (y > 0) and a Y.
LIKENESS_API Xyz xyzOfChromaticity(const Chromaticity& xy, double y = 100);

}  // namespace likeness
