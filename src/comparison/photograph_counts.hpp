// What is made of one count of a photograph's colours.
#pragma once

#include <likeness/comparison/photograph_comparison.hpp>
#include <likeness/diagnostics/diagnostics.hpp>
#include "comparison/distinct_colors.hpp"

#include <opencv2/core.hpp>

#include <array>
#include <functional>
#include <limits>
#include <vector>

namespace likeness {

/// Told of each step of an analysis: the colours are counted; adapted, or their white found; their correlates made; the
/// distributions made. An exception that it throws ends the analysis.
using StepDone = std::function<void()>;
inline constexpr int stepsOfAnalysis = 4;

/// For who is told of nothing.
inline void noStep() {}

/// How many pixels fall into each bin, by correlate.
using CorrelateCounts = PerCorrelate<BinCounts>;

/// What is counted.
enum class CountedIn {
    pixels,  ///< as `computeFreqProbs` counts them
    weights  ///< of pixels: whole numbers of 1/65535
};

/// Probabilities of the counts.
AppearanceDistributions distributionsOf(const CorrelateCounts& counts, CountedIn unit = CountedIn::pixels);

/// Distributions of counted colours under a background of the caller's choice: the steps after the first.
AppearanceDistributions distributionsUnderBackground(const DistinctColors& colors, float backgroundLuminance,
                                                     const Diagnostics& diagnostics = dropAll(),
                                                     const StepDone& stepDone = noStep,
                                                     CountedIn unit = CountedIn::pixels);

/// In place of a bin: the correlate is NaN. No float is near enough to have it for a bin.
inline constexpr int noBin = std::numeric_limits<int>::min() + 1;

/// The bins of one colour's correlates, in the order of `correlateNames`.
using ColorBins = std::array<int, 5>;

/// The bins of each of the counted colours of a photograph: the steps after the first, but for the last.
std::vector<ColorBins> binsUnderBackground(const DistinctColors& colors, float backgroundLuminance,
                                           const StepDone& stepDone = noStep);

/// `appearanceDistributions` with the tables of the caller's, for use with one photograph after the other.
AppearanceDistributions appearanceDistributions(const cv::Mat& photograph, ColorCounter& counter,
                                                const Diagnostics& diagnostics = dropAll(),
                                                const StepDone& stepDone = noStep);

/// Distributions and maps of one count.
struct CountedAppearance {
    AppearanceDistributions distributions;
    AppearanceMaps maps;  ///< 1 x K: of the colours; where there are no indices, of the pixels
    cv::Mat indices;      ///< the colour of each pixel; of bytes the counter's (`DistinctColors`)
};

/// Runs the model once on every colour of a photograph.
/// @param photograph  CV_8UC3, not empty
CountedAppearance countedAppearance(const cv::Mat& photograph, ColorCounter& counter,
                                    const Diagnostics& diagnostics = dropAll(), const StepDone& stepDone = noStep);

/// Runs the model on every pixel; once for each colour where they are few and no dumps or messages are wanted.
/// @param unit  CV_32FC3, not empty
CountedAppearance countedAppearance(const cv::Mat& unit, const Diagnostics& diagnostics = dropAll(),
                                    const StepDone& stepDone = noStep);

}  // namespace likeness
