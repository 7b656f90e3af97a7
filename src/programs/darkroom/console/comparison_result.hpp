// What a comparison found, and the formats in which it is given (docs/formats.md).
#pragma once

#include <likeness/comparison/distances.hpp>
#include <likeness/comparison/photograph_comparison.hpp>
#include "console/coefficient_limits.hpp"
#include "console/model_options.hpp"
#include "photofile/managed_colors.hpp"

#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>

#include <string>
#include <utility>

namespace likeness::darkroom {

struct ComparedPhotograph {
    std::string path;
    cv::Size size;
    ProfileUse profile{};
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
    std::optional<double> sliced = {};  ///< sliced Wasserstein distance there
    std::optional<float> hue = {};  ///< the sixth coefficient, where it was asked for

    std::string shortfall() const { return darkroom::shortfall(coefficients, limits, hue); }
};

/// By correlate: "wasserstein", "mean_shift", "kolmogorov_smirnov", "jensen_shannon_bits".
nlohmann::ordered_json distancesJson(const PerCorrelate<BinDistances>& distances);

/// A line for each correlate.
std::string distanceLines(const PerCorrelate<BinDistances>& distances);

/// The line that `likeness` prints: the five coefficients, six significant digits, separated by ","; behind them the
/// hue's, where it was asked for. Distances, where they were asked for, follow on lines of their own.
std::string comparisonLine(const ComparisonResult& result);

std::string comparisonJson(const ComparisonResult& result);

/// A header line and a line of values.
std::string comparisonCsv(const ComparisonResult& result);

}  // namespace likeness::darkroom
