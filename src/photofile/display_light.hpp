// Photographs of high dynamic range: the light that a display makes of their numbers (ITU-R BT.2100-2).
#pragma once

#include "photofile/color_statement.hpp"

#include <opencv2/core.hpp>

namespace likeness {

/// Luminance of a diffuse white in pictures of high dynamic range, in cd/m2: ITU-R BT.2408-5, 2.2. It stands for 1.
inline constexpr double referenceWhite = 203;

/// Luminance of the display at full signal that hybrid log-gamma is shown on, in cd/m2: its system gamma is 1.2 there,
/// and three quarters of the signal are the reference white.
inline constexpr double hybridLogGammaPeak = 1000;

/// PQ: absolute luminances of 0 to 10,000 cd/m2. HLG: what the display of 1000 cd/m2 makes of the light of the scene, by
/// a system gamma of 1.2 over its luminance. In double, rounded to float; the same bits for any number of threads.
///
/// @param stored          CV_8UC3, CV_16UC3 or CV_32FC3 on 0..1, B, G, R, in the curve `light`, which is not `none`; what
///                        lies outside counts as the nearer end, NaN stays
/// @param chromaticities  of a white and primaries that span colours: they tell the luminance that HLG's gamma is over
/// @return                CV_32FC3, B, G, R, linear; 1 is `referenceWhite`
cv::Mat displayLight(const cv::Mat& stored, LightCurve light, const Chromaticities& chromaticities);

}  // namespace likeness
