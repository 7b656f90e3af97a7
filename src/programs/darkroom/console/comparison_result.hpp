// What a comparison found, and the formats in which it is given (docs/formats.md).
#pragma once

#include <likeness/comparison/distances.hpp>
#include <likeness/comparison/explanation.hpp>
#include <likeness/comparison/photograph_comparison.hpp>
#include "console/coefficient_limits.hpp"
#include "console/difference_result.hpp"
#include "console/model_options.hpp"
#include "console/score_prediction.hpp"
#include "console/tile_result.hpp"
#include "photofile/managed_colors.hpp"
#include "photofile/part_choice.hpp"

#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace likeness::darkroom {

/// How much of a photograph counted, where it was said what does.
struct PartOfPhotograph {
    PartChoice choice;
    double countedPixels;  ///< the sum of the weights
};

struct ComparedPhotograph {
    std::string path;
    cv::Size size;
    ProfileUse profile{};
    std::optional<PartOfPhotograph> part = {};

    /// That the background of the comparison's own model drifts with.
    std::int64_t backgroundPixels() const;
};

struct ComparisonResult {
    ComparedPhotograph first;
    ComparedPhotograph second;
    LikenessCoefficients coefficients;
    CoefficientLimits limits;
    ChosenModel model = {};  ///< results name it where it is not the default
    /// Of the five correlates, and in a uniform space, where they were asked for.
    std::optional<PerCorrelate<BinDistances>> distances = {};
    std::optional<UniformDistances> uniform = {};
    std::optional<float> hue = {};                        ///< the sixth coefficient, where it was asked for
    std::optional<ComparedTiles> tiles = {};              ///< where tiles or intervals were asked for
    std::optional<DifferenceSummaries> differences = {};  ///< of pixels, where they were asked for
    std::optional<Explanation> explanation = {};          ///< where it was asked for

    std::optional<PredictedScore> predicted = {};  ///< where it was asked for
    std::optional<double> sliced = {};             ///< sliced Wasserstein distance in a uniform space, the same

    std::string shortfall() const { return darkroom::shortfall(coefficients, limits, hue); }
};

/// By correlate: "wasserstein", "mean_shift", "kolmogorov_smirnov", "jensen_shannon_bits".
nlohmann::ordered_json distancesJson(const PerCorrelate<BinDistances>& distances);

/// A line for each correlate.
std::string distanceLines(const PerCorrelate<BinDistances>& distances);

/// The line that `likeness` prints: the five coefficients, six significant digits, separated by ","; behind them the
/// hue's, where it was asked for. Distances, tiles, differences, explanations and a predicted score, where they were asked
/// for, follow on lines of their own.
std::string comparisonLine(const ComparisonResult& result);

std::string comparisonJson(const ComparisonResult& result);

/// A header line and a line of values.
std::string comparisonCsv(const ComparisonResult& result);

/// What a comparison does not see, in words: positions, unless there are tiles or differences of pixels; the hue, unless
/// it was asked for.
std::vector<std::string> notMeasured(const ComparisonResult& result);

}  // namespace likeness::darkroom
