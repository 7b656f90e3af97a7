#include "console/map_statistics.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace likeness::darkroom {
namespace {

constexpr double none = std::numeric_limits<double>::quiet_NaN();
constexpr double radiansPerDegree = 3.141592653589793 / 180.0;

template <typename Take>
void forEachValue(const cv::Mat& map, Take take) {
    for (int i = 0; i < map.rows; ++i) {
        const auto* const row = map.ptr<float>(i);
        for (int j = 0; j < map.cols; ++j) {
            take(row[j]);
        }
    }
}

/// Values that are numbers, with their weights.
/// @param counted  the pixels that count
template <typename Take>
void forEachWeighted(const cv::Mat& counted, const PixelWeights& weights, Take take) {
    const cv::Mat map = weights.countedOf(weights.map());
    const auto* const values = counted.ptr<float>(0);
    const auto* const weight = map.ptr<ushort>(0);
    for (int j = 0; j < counted.cols; ++j) {
        if (!std::isnan(values[j])) {
            take(values[j], weight[j]);
        }
    }
}

/// The value of rank `rank`, which is put in its place. Asked for in ascending order; up to `sortedUpTo`, the ranks
/// that were asked for are in place.
float ranked(std::vector<float>& values, std::size_t rank, std::size_t& sortedUpTo) {
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(rank);
    if (rank >= sortedUpTo) {
        std::nth_element(values.begin() + static_cast<std::ptrdiff_t>(sortedUpTo), place, values.end());
        sortedUpTo = rank + 1;
    }
    return *place;
}

}  // namespace

double MapStatistics::percentile(int percentage) const {
    const auto* const place = std::find(statisticsPercentages.begin(), statisticsPercentages.end(), percentage);
    return percentiles.at(static_cast<std::size_t>(place - statisticsPercentages.begin()));
}

MapStatistics statisticsOf(const cv::Mat& map) {
    MapStatistics statistics{};
    statistics.minimum = statistics.mean = statistics.maximum = none;
    statistics.percentiles.fill(none);
    std::vector<float> values;
    values.reserve(map.total());
    double sum = 0;
    forEachValue(map, [&](float value) {
        if (std::isnan(value)) {
            ++statistics.nanCount;
        } else {
            values.push_back(value);
            sum += static_cast<double>(value);
        }
    });
    statistics.count = static_cast<std::int64_t>(values.size());
    if (values.empty()) {
        return statistics;
    }
    const auto [least, greatest] = std::minmax_element(values.begin(), values.end());
    statistics.minimum = *least;
    statistics.maximum = *greatest;
    statistics.mean = sum / static_cast<double>(values.size());
    std::size_t sortedUpTo = 0;
    for (std::size_t k = 0; k < statisticsPercentages.size(); ++k) {
        const double place = statisticsPercentages[k] / 100.0 * static_cast<double>(values.size() - 1);
        const auto below = static_cast<std::size_t>(place);
        const double lower = ranked(values, below, sortedUpTo);
        const double share = place - static_cast<double>(below);
        const double upper = share > 0 ? ranked(values, below + 1, sortedUpTo) : lower;
        statistics.percentiles[k] = lower == upper ? lower : lower + share * (upper - lower);
    }
    return statistics;
}

MapStatistics statisticsOf(const cv::Mat& map, const PixelWeights& weights) {
    const cv::Mat counted = weights.countedOf(map);
    MapStatistics statistics = statisticsOf(counted);
    if (weights.areBinary() || statistics.count == 0) {
        return statistics;
    }
    std::vector<std::pair<float, std::uint32_t>> values;
    values.reserve(counted.total());
    double sum = 0;
    std::uint64_t all = 0;
    forEachWeighted(counted, weights, [&](float value, ushort weight) {
        values.emplace_back(value, weight);
        sum += weight * static_cast<double>(value);
        all += weight;
    });
    statistics.mean = sum / static_cast<double>(all);
    std::sort(values.begin(), values.end());
    std::uint64_t below = 0;
    auto place = values.cbegin();
    for (std::size_t k = 0; k < statisticsPercentages.size(); ++k) {
        const double wanted = statisticsPercentages[k] / 100.0 * static_cast<double>(all);
        while (place + 1 != values.cend() && static_cast<double>(below + place->second) < wanted) {
            below += place->second;
            ++place;
        }
        statistics.percentiles[k] = static_cast<double>(place->first);
    }
    return statistics;
}

MapStatistics statisticsOfDegrees(const cv::Mat& map, const PixelWeights& weights) {
    if (weights.areBinary()) {
        return statisticsOfDegrees(weights.countedOf(map));
    }
    MapStatistics statistics = statisticsOf(map, weights);
    double sine = 0;
    double cosine = 0;
    forEachWeighted(weights.countedOf(map), weights, [&](float value, ushort weight) {
        sine += weight * std::sin(static_cast<double>(value) * radiansPerDegree);
        cosine += weight * std::cos(static_cast<double>(value) * radiansPerDegree);
    });
    statistics.mean = statistics.count > 0 ? std::atan2(sine, cosine) / radiansPerDegree : none;
    return statistics;
}

MapStatistics statisticsOfDegrees(const cv::Mat& map) {
    MapStatistics statistics = statisticsOf(map);
    double sine = 0;
    double cosine = 0;
    forEachValue(map, [&](float value) {
        if (!std::isnan(value)) {
            sine += std::sin(static_cast<double>(value) * radiansPerDegree);
            cosine += std::cos(static_cast<double>(value) * radiansPerDegree);
        }
    });
    statistics.mean = statistics.count > 0 ? std::atan2(sine, cosine) / radiansPerDegree : none;
    return statistics;
}

}  // namespace likeness::darkroom
