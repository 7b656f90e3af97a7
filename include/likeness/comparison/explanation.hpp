/// @file
/// Why two photographs have the coefficients that they have: what moved between their distributions, in numbers and in
/// sentences that are made of these numbers alone.
#pragma once

#include <likeness/color/correlated_color_temperature.hpp>
#include <likeness/color/pixel_weights.hpp>
#include <likeness/comparison/per_correlate.hpp>
#include <likeness/comparison/photograph_comparison.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <optional>
#include <string>

namespace likeness {

/// A bin that two distributions fill differently.
struct BinCost {
    int bin = 0;             ///< its middle, in units of the correlate
    double firstShare = 0;   ///< share of the first photograph's pixels in it, 0..1
    double secondShare = 0;  ///< of the second's
    /// (sqrt(p) - sqrt(q))^2 / 2 of the two shares: over all bins these add up to 1 less the coefficient.
    double cost = 0;
};

/// What moved between two distributions of one correlate. Values within a bin count as spread evenly over it. NaN where a
/// photograph has no pixel with the correlate.
struct DistributionChange {
    double firstMedian = 0;   ///< of the first photograph
    double secondMedian = 0;  ///< of the second
    double medianShift = 0;   ///< of the second, less that of the first
    double firstSpread = 0;   ///< from the lower to the upper quartile
    double secondSpread = 0;  ///< likewise
    double spreadChange = 0;  ///< of the second, less that of the first
    double meanShift = 0;     ///< mean of the second less that of the first
    int firstLeast = 0;       ///< least bin that a pixel of the first is in; 0 where there is none
    int firstGreatest = 0;    ///< greatest bin of the first
    int secondLeast = 0;      ///< least bin of the second
    int secondGreatest = 0;   ///< greatest bin of the second
    double gainedBelow = 0;   ///< share of the second's pixels, 0..1, below every bin of the first
    double gainedAbove = 0;   ///< above every bin of the first
    double lostBelow = 0;     ///< share of the first's pixels below every bin of the second
    double lostAbove = 0;     ///< above every bin of the second
    /// The pair of bins that costs most: the costliest of those that the second has fewer of, and of those that it has more
    /// of. Without a value where there is none.
    std::optional<BinCost> lost = {};
    std::optional<BinCost> gained = {};  ///< the other one
};

/// @param first, second  as `AppearanceDistributions` has them
LIKENESS_API DistributionChange distributionChange(const BinProbabilities& first, const BinProbabilities& second);

/// The white of a photograph.
struct ExplainedWhite {
    cv::Vec2d chromaticity;     ///< x, y of the white that `grayWorldWhite` finds; NaN where it finds none
    PlanckianNeighbor nearest;  ///< its correlated colour temperature
};

/// What `explain` says.
struct Explanation {
    PerCorrelate<DistributionChange> changes;  ///< what moved, by correlate
    ExplainedWhite firstWhite;                 ///< of the first photograph
    ExplainedWhite secondWhite;                ///< of the second
};

/// @param first, second  photographs as for `analyze`
/// @param firstDistributions, secondDistributions  theirs, under whatever model
LIKENESS_API Explanation explain(const cv::Mat& first, const cv::Mat& second,
                                 const AppearanceDistributions& firstDistributions,
                                 const AppearanceDistributions& secondDistributions);

/// The same of the parts of two photographs that count: the whites are theirs too.
/// @param firstDistributions, secondDistributions  of these parts
/// @throws std::invalid_argument  as `PixelWeights::require`
LIKENESS_API Explanation explain(const PhotographPart& first, const PhotographPart& second,
                                 const AppearanceDistributions& firstDistributions,
                                 const AppearanceDistributions& secondDistributions);

/// One correlate in a sentence or two: "brightness Q: the median of the second is 6.2 lower (41.3, was 47.5); ...". Numbers
/// have three significant digits.
/// @param correlate  place in `correlateNames`
LIKENESS_API std::string sentenceOf(const DistributionChange& change, std::size_t correlate);

/// The two whites in a sentence.
LIKENESS_API std::string sentenceOf(const ExplainedWhite& first, const ExplainedWhite& second);

}  // namespace likeness
