/// @file
/// Scalars of the viewing conditions (CIE 159:2004, CIECAM02). Luminances share one scale; the comparison uses an
/// adapting luminance of 20, a white of 100 and a background of about 20.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <cstdint>

namespace likeness {

/// Adapting luminance L_A in cd/m2 under which photographs are seen throughout.
inline constexpr float adaptingLuminance = 20.0F;

/// Luminance of the white under which photographs are seen throughout, on the scale of Y.
inline constexpr float whiteLuminance = 100.0F;

/// Exponent base c of the dark surround that lightness and brightness assume.
inline constexpr float darkSurroundImpact = 0.525F;

/// Chromatic induction factor N_c of the dark surround.
inline constexpr float darkSurroundInduction = 0.8F;

/// Luminance of the background: a fifth of the mean of a CV_32F plane. The sum runs in float over rows, then columns,
/// so that a large plane gives a background that drifts (19.46 instead of 20 for 1920 x 1080 elements of 100).
LIKENESS_API float computeYback(cv::Mat& Yplane);

/// `computeYback` of a plane of `pixels` elements that are all `luminance` (> 0), without the plane.
LIKENESS_API float backgroundOfUniformWhite(std::int64_t pixels, float luminance);

/// Background induction factor n = Yb / Yw.
LIKENESS_API float computeN(float Yb, float Yw);

/// Luminance-level adaptation factor F_L of the adapting luminance La; 0.464159 for 20.
LIKENESS_API float computeFl(float La);

/// Background and chromatic brightness induction factors N_bb = N_cb = 0.725 (1 / n)^0.2.
LIKENESS_API float computeNcb(float Yb, float Yw);

/// Base exponential nonlinearity z = 1.48 + sqrt(n).
LIKENESS_API float computeZ(float Yb, float Yw);

/// Viewing conditions that are the same for every pixel, as the CV_32F maps that the model's functions take.
struct ViewingConditionMaps {
    cv::Mat FL;   ///< luminance-level adaptation factor
    cv::Mat n;    ///< background induction factor
    cv::Mat Ncb;  ///< chromatic and brightness induction factors N_cb = N_bb
    cv::Mat z;    ///< base exponential nonlinearity
};

/// The conditions of `adaptingLuminance`, `whiteLuminance` and a background luminance, for an image of `size`.
LIKENESS_API ViewingConditionMaps uniformViewingConditions(cv::Size size, float backgroundLuminance);

}  // namespace likeness
