/// @file
/// Pixel by pixel differences of two photographs of one size: where the picture itself changed.
#pragma once

#include <likeness/color/pixel_weights.hpp>
#include <likeness/comparison/comparison_model.hpp>
#include <likeness/comparison/per_correlate.hpp>
#include <likeness/diagnostics/watch.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <vector>

namespace likeness {

/// What `pixelDifferences` does.
struct DifferenceOptions {
    ComparisonModel model = {};  ///< that the correlates are of
    /// Whether each pixel of the first photograph is compared with the one that the optical flow finds for it in the
    /// second (`alignTo`), instead of that at its own place.
    bool align = false;
};

/// Maps of the photographs' size, CV_32F. NaN where a photograph has no value, or the flow leads outside.
struct PixelDifferences {
    PerCorrelate<cv::Mat> correlates;  ///< second less first, in units of each
    /// Delta E' of the uniform space (`uniformDifference`) of the model; under the comparison's own model that of
    /// CIECAM16 under `srgb-display`.
    cv::Mat uniform;
    AppearanceModelKind uniformModel = AppearanceModelKind::ciecam16;  ///< whose uniform space it is
    cv::Mat ciede2000;                                                 ///< of the numbers as sRGB, under its own white
};

/// @param first, second  any depth that `toUnit` takes, B, G, R, the same size; not modified
/// @param watch          told of five steps: flow, analyses, correlates, uniform space, CIEDE2000
/// @throws std::invalid_argument  sizes that differ, another type, what is wrong with the model's conditions; to be
///                                aligned: values that are not finite
/// @throws Cancelled  when the caller ends it
/// @note  Takes some 90 bytes per pixel.
LIKENESS_API PixelDifferences pixelDifferences(const cv::Mat& first, const cv::Mat& second,
                                               const DifferenceOptions& options = {}, const Watch& watch = {});

/// The same of photographs of which parts count. Pixels are seen with the whites and before the backgrounds of the parts.
/// Maps are NaN too where the pixel, or the one of the second that it is compared with, has the weight 0; weights above 0
/// change no difference. The optical flow is that of the whole photographs.
/// @throws std::invalid_argument  as `PixelWeights::require` too
LIKENESS_API PixelDifferences pixelDifferences(const PhotographPart& first, const PhotographPart& second,
                                               const DifferenceOptions& options = {}, const Watch& watch = {});

/// Part of a map.
struct MapPlace {
    cv::Rect pixels;  ///< of the map
    double mean = 0;  ///< of the magnitudes of the values in it; NaN left out
};

/// The parts of a map whose values are greatest in the mean of their magnitudes, the greatest first: of 16 x 16 equal
/// parts, fewer where they would have sides below 8 pixels. Parts without a value, or with the mean 0, are left out.
/// @param map    CV_32F
/// @param count  how many at most
LIKENESS_API std::vector<MapPlace> worstPlaces(const cv::Mat& map, int count = 3);

}  // namespace likeness
