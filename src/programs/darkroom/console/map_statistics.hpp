#pragma once

#include <likeness/color/pixel_weights.hpp>

#include <opencv2/core.hpp>

#include <array>
#include <cstdint>

namespace likeness::darkroom {

/// The percentages at which `MapStatistics` gives percentiles.
inline constexpr std::array<int, 7> statisticsPercentages = {1, 5, 25, 50, 75, 95, 99};

/// What the values of a map are like. NaN is counted and takes no part; infinite values do. Of a map without numbers
/// every value is NaN.
struct MapStatistics {
    std::int64_t count = 0;     ///< of values that are numbers
    std::int64_t nanCount = 0;  ///< of values that are none
    double minimum;
    double mean;  ///< summed in double, row by row
    double maximum;
    /// In the order of `statisticsPercentages`: the values in ascending order, taken at percentage / 100 of the way
    /// from the first to the last, linearly between two neighbours (R. J. Hyndman and Y. Fan, "Sample quantiles in
    /// statistical packages", The American Statistician 50, 1996, definition 7).
    std::array<double, statisticsPercentages.size()> percentiles;

    /// @param percentage  one of `statisticsPercentages`
    /// @throws std::out_of_range  for another one
    double percentile(int percentage) const;
};

/// @param map  CV_32F
MapStatistics statisticsOf(const cv::Mat& map);

/// The same for angles in degrees, whose mean is the direction of the mean of their unit vectors, in (-180, 180].
MapStatistics statisticsOfDegrees(const cv::Mat& map);

/// Of the pixels that count. Where weights are neither 0 nor 1, the mean is weighted, and a percentile is the least value
/// up to which the pixels have that share of the weights; counts are of pixels.
/// @param weights  of the map's size
MapStatistics statisticsOf(const cv::Mat& map, const PixelWeights& weights);

/// The same for angles in degrees.
MapStatistics statisticsOfDegrees(const cv::Mat& map, const PixelWeights& weights);

}  // namespace likeness::darkroom
