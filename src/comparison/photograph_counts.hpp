// What is made of one count of a photograph's colours.
#pragma once

#include <likeness/comparison/photograph_comparison.hpp>
#include <likeness/diagnostics/diagnostics.hpp>
#include "comparison/distinct_colors.hpp"

#include <opencv2/core.hpp>

namespace likeness {

/// How many pixels fall into each bin, by correlate.
using CorrelateCounts = PerCorrelate<BinCounts>;

/// Probabilities of the counts.
AppearanceDistributions distributionsOf(const CorrelateCounts& counts);

/// Distributions of counted colours before a background of the caller's choice.
AppearanceDistributions distributionsBeforeBackground(const DistinctColors& colors, float backgroundLuminance,
                                                      const Diagnostics& diagnostics = dropAll());

/// `appearanceDistributions` with the tables of the caller's, for use with one photograph after the other.
AppearanceDistributions appearanceDistributions(const cv::Mat& photograph, ColorCounter& counter,
                                                const Diagnostics& diagnostics = dropAll());

/// Distributions and maps of one count.
struct CountedAppearance {
    AppearanceDistributions distributions;
    AppearanceMaps maps;  ///< 1 x K: of the colours; where there are no indices, of the pixels
    cv::Mat indices;      ///< the colour of each pixel; of bytes the counter's (`DistinctColors`)
};

/// Runs the model once on every colour of a photograph.
/// @param photograph  CV_8UC3, not empty
CountedAppearance countedAppearance(const cv::Mat& photograph, ColorCounter& counter,
                                    const Diagnostics& diagnostics = dropAll());

/// Runs the model on every pixel; once for each colour where they are few and no dumps or messages are wanted.
/// @param unit  CV_32FC3, not empty
CountedAppearance countedAppearance(const cv::Mat& unit, const Diagnostics& diagnostics = dropAll());

}  // namespace likeness
