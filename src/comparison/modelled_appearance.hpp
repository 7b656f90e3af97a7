// Photographs seen through another model than the comparison's default, or with their hue.
#pragma once

#include <likeness/color/pixel_weights.hpp>
#include <likeness/comparison/analysis.hpp>
#include "comparison/distinct_colors.hpp"
#include "comparison/photograph_counts.hpp"

#include <opencv2/core.hpp>

#include <cstdint>
#include <functional>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

namespace likeness {

/// Luminance of the background that a photograph of so many pixels is seen before.
float backgroundUnder(const ComparisonModel& model, std::int64_t pixels);

/// Colours of a photograph, or its pixels, each of which counts 1.
struct PhotographColors {
    cv::Mat bgr;  ///< CV_8UC3 or CV_32FC3; 1 x K, or the pixels of floats. Of weights, a colour may be there repeatedly
    std::vector<std::uint32_t> counts;  ///< how many pixels have each, or the sum of their weights; empty for pixels
    std::int64_t pixels = 0;            ///< of the photograph, or in its part that counts
    CountedIn unit = CountedIn::pixels;

    /// How many pixels have the colour of a column, or the sum of their weights.
    std::uint32_t times(int column) const { return counts.empty() ? 1 : counts[static_cast<std::size_t>(column)]; }

    /// Sum of the counts.
    std::uint64_t total() const {
        return counts.empty() ? bgr.total() : std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
    }
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

/// The colours of the part of a photograph that counts. Where weights are neither 0 nor 1 they are counted in weights.
/// @param photograph  as above, not empty; of the size of the weights
PhotographColors countedColors(const cv::Mat& photograph, const PixelWeights& weights, ColorCounter& counter);

/// Maps of a whole photograph, seen with the white and before the background of its part that counts.
/// @param part     colours of that part
/// @param indices  receives the colour of each pixel as of `countedColors`
AppearanceMaps mapsBesidePart(const cv::Mat& photograph, const PhotographColors& part, const ComparisonModel& model,
                              ColorCounter& counter, cv::Mat& indices);

/// Whether the last bits depend on the order of the colours: sums of what is not a whole number are made.
bool dependsOnOrder(const AnalysisOptions& options);

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
/// @param size     of the photograph
/// @param options  without maps; the weights have done their part
Analysis analysisOf(const PhotographColors& colors, const cv::Size& size, const AnalysisOptions& options,
                    const std::function<void()>& stepDone);

/// A photograph as it was read: pixels, or colours that were counted on the way.
struct SeenPhotograph {
    cv::Mat image;                             ///< CV_8UC3 or CV_32FC3; empty if the colours are counted
    const PhotographColors* colors = nullptr;  ///< null if they are not
    cv::Size size{};                           ///< of a photograph whose colours are counted
    PixelWeights weights{};                    ///< of an image
};

/// The coefficients of `comparePhotographs`, whose files are left, of a first photograph whose colours are counted.
/// @param second  CV_8UC3
/// @return        nothing if something would be left of the dumps of the first, which takes its pixels; nothing is done
LIKENESS_API std::optional<LikenessCoefficients> compareWithReplaced(const SeenPhotograph& first, const cv::Mat& second,
                                                                     const Diagnostics& diagnostics);

/// `Comparer::analyzePair` of two such photographs, at the same time.
/// @param options  without maps where the colours of one are counted
std::pair<Analysis, Analysis> analyzePair(const SeenPhotograph& first, const SeenPhotograph& second,
                                          const AnalysisOptions& options, const Watch& watch);

}  // namespace likeness
