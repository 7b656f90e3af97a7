// The comparison's own model with a white of its own in place of the photograph's brightest pixel.
#pragma once

#include <likeness/comparison/perceptual_metrics.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Achromatic response of the brightest pixel of an image, which `appearanceMapsUnderBackground` takes for the white's.
/// @param src  as there; left multiplied by 100
float greatestAchromaticResponse(cv::Mat& src, float backgroundLuminance);

/// `appearanceMapsUnderBackground` with another response of the white, without dumps.
AppearanceMaps appearanceMapsBesideWhite(cv::Mat& src, float backgroundLuminance, float whiteResponse);

}  // namespace likeness
