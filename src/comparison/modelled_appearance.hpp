// Photographs seen through another model than the comparison's default, or with their hue.
#pragma once

#include <likeness/comparison/analysis.hpp>
#include "comparison/distinct_colors.hpp"
#include "comparison/photograph_counts.hpp"

#include <opencv2/core.hpp>

#include <cstdint>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace likeness {

/// Luminance of the background that a photograph of a size is seen before.
float backgroundUnder(const ComparisonModel& model, const cv::Size& size);

/// Colours of a photograph, or its pixels, each of which counts 1.
struct PhotographColors {
    cv::Mat bgr;                        ///< CV_8UC3 or CV_32FC3; 1 x K, or the pixels of floats
    std::vector<std::uint32_t> counts;  ///< how many pixels have each; empty for pixels
    cv::Size size;                      ///< of the photograph

    /// How many pixels have the colour of a column.
    std::uint32_t times(int column) const { return counts.empty() ? 1 : counts[static_cast<std::size_t>(column)]; }
};

/// What was found of a photograph.
struct ModelledAppearance {
    AppearanceDistributions distributions;
    AppearanceMaps maps;  ///< where asked for: 1 x K, of the colours; where there are no indices, of the pixels
    cv::Mat indices;      ///< the colour of each pixel; the counter's (`DistinctColors`)
};

/// The distinct colours of a photograph. Of floats that have more than one colour for two pixels, the pixels.
/// @param photograph  CV_8UC3 or CV_32FC3, or empty
/// @param indices     receives the colour of each pixel, of bytes the counter's, or nothing for pixels; null if they are
///                    not wanted
PhotographColors countedColors(const cv::Mat& photograph, ColorCounter& counter, cv::Mat* indices = nullptr);

/// Runs a model once per distinct colour of a photograph, once per pixel where `countedColors` finds too many.
///
/// Published models are evaluated in double and rounded to float. Where neither maps nor the hue are wanted, an
/// estimate in float settles the bins of most colours (comparison/published_estimate.hpp); they are the same.
/// @param photograph  CV_8UC3 or CV_32FC3, or empty
/// @throws std::invalid_argument  as `checkComparisonModel`; a picture without a white
ModelledAppearance modelledAppearance(const cv::Mat& photograph, const AnalysisOptions& options, ColorCounter& counter,
                                      const StepDone& stepDone = noStep);

/// The same of colours that are counted, but for the indices: the steps after the first.
ModelledAppearance modelledAppearance(const PhotographColors& colors, const AnalysisOptions& options,
                                      const StepDone& stepDone = noStep);

/// The analysis of counted colours, without maps: that of their photograph.
/// @param options  without maps
Analysis analysisOf(const PhotographColors& colors, const AnalysisOptions& options,
                    const std::function<void()>& stepDone);

/// The coefficients of `comparePhotographs`, whose files are left, of a first photograph of which only the colours are
/// known.
/// @param second  CV_8UC3
/// @return        nothing if something would be left of the dumps of the first, which takes its pixels; nothing is done
std::optional<LikenessCoefficients> compareWithReplaced(const PhotographColors& first, const cv::Mat& second,
                                                        const Diagnostics& diagnostics);

/// A photograph as it was read: pixels, or colours that were counted on the way.
struct SeenPhotograph {
    cv::Mat image;                             ///< CV_8UC3 or CV_32FC3; empty if the colours are counted
    const PhotographColors* colors = nullptr;  ///< null if they are not
};

/// `Comparer::analyzePair` of two such photographs, at the same time.
/// @param options  without maps where the colours of one are counted
std::pair<Analysis, Analysis> analyzePair(const SeenPhotograph& first, const SeenPhotograph& second,
                                          const AnalysisOptions& options, const Watch& watch);

}  // namespace likeness
