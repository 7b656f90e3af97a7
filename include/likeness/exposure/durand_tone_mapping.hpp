/// @file
/// Tone mapping of a linear radiance map, CV_32FC3, to the range 0..1 by a bilateral filter on the logarithm of luminance.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Parameters of `toneMapDurand`.
struct DurandToneMapping {
    float gamma = 2.2F;       ///< display exponent: every value is raised to 1 / gamma at the end
    float contrast = 4.0F;    ///< range that the base layer is brought to, in natural logarithms of luminance
    float saturation = 1.0F;  ///< exponent of a channel's ratio to the luminance; 1 keeps chromaticity
    float spaceSigma = 2.0F;  ///< width of the bilateral filter in pixels
    float colorSigma = 2.0F;  ///< width of the bilateral filter in natural logarithms of luminance
};

/// Brings a radiance map to the range of a display: the logarithm of luminance is split by a bilateral filter into a
/// base and detail, the base is compressed, the detail is kept.
///
/// @param radiance    CV_32FC3, not empty, linear; brought to [0, 1] by its least and greatest value over all channels
///                    (left as it is where these are equal); not modified
/// @param toneMapped  replaced by a CV_32FC3 image of that size, on the scale 0..1 but not clamped; may be `radiance`.
///                    A pixel of luminance 0 becomes 0. Where the base is flat there is nothing to compress and the
///                    result is degenerate: 0, infinite or NaN.
/// @note  Luminance is 0.299 of channel 0, 0.587 of channel 1 and 0.114 of channel 2, in whatever order the image is:
///        a B, G, R image is weighed by its blue in the place of red (departure 16). Luminance below 1e-4 counts as 1e-4 in the
///        logarithm.
/// @see   Durand, Dorsey, "Fast bilateral filtering for the display of high-dynamic-range images", ACM TOG 21(3), 2002
LIKENESS_API void toneMapDurand(const cv::Mat& radiance, cv::Mat& toneMapped, const DurandToneMapping& parameters = {});

}  // namespace likeness
