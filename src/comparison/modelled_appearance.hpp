// Photographs seen through another model than the comparison's default, or with their hue.
#pragma once

#include <likeness/comparison/analysis.hpp>
#include "comparison/distinct_colors.hpp"

#include <opencv2/core.hpp>

namespace likeness {

/// Luminance of the background that a photograph is seen before.
float backgroundUnder(const ComparisonModel& model, const cv::Mat& photograph);

/// What was found of a photograph.
struct ModelledAppearance {
    AppearanceDistributions distributions;
    AppearanceMaps maps;  ///< where asked for: 1 x K, of the colours; where there are no indices, of the pixels
    cv::Mat indices;      ///< the colour of each pixel; the counter's (`DistinctColors`)
};

/// Runs a model once per distinct colour of a photograph of bytes, once per pixel of one of floats.
///
/// Published models are evaluated in double and rounded to float. Where neither maps nor the hue are wanted, an
/// estimate in float settles the bins of most colours (comparison/published_estimate.hpp); they are the same.
/// @param photograph  CV_8UC3 or CV_32FC3, or empty
/// @throws std::invalid_argument  as `checkComparisonModel`; a picture without a white
ModelledAppearance modelledAppearance(const cv::Mat& photograph, const AnalysisOptions& options, ColorCounter& counter);

}  // namespace likeness
