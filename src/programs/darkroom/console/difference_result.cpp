#include "console/difference_result.hpp"

#include "batch/correlates.hpp"
#include "console/json_output.hpp"
#include "files/number_format.hpp"

#include <fmt/format.h>

#include <cmath>
#include <limits>
#include <utility>

namespace likeness::darkroom {
namespace {

double meanMagnitudeOf(const cv::Mat& map) {
    double sum = 0;
    std::int64_t count = 0;
    for (int i = 0; i < map.rows; ++i) {
        const auto* const row = map.ptr<float>(i);
        for (int j = 0; j < map.cols; ++j) {
            if (!std::isnan(row[j])) {
                sum += std::abs(double{row[j]});
                ++count;
            }
        }
    }
    return count == 0 ? std::numeric_limits<double>::quiet_NaN() : sum / static_cast<double>(count);
}

}  // namespace

const std::array<std::string, 7>& differenceNames() {
    static const std::array<std::string, 7> names = {"brightness", "lightness",       "chroma",   "colorfulness",
                                                     "saturation", "delta_e_uniform", "ciede2000"};
    return names;
}

std::array<DifferenceMap, 7> differenceMaps(const PixelDifferences& differences) {
    std::array<DifferenceMap, 7> maps;
    for (std::size_t k = 0; k < comparedCorrelates.size(); ++k) {
        maps[k] = {differenceNames()[k], "difference of " + labelOf(comparedCorrelates[k]), differences.correlates[k]};
    }
    maps[5] = {differenceNames()[5], "Delta E' of " + std::string(nameOf(differences.uniformModel)),
               differences.uniform, false};
    maps[6] = {differenceNames()[6], "CIEDE2000", differences.ciede2000, false};
    return maps;
}

DifferenceSummaries summariesOf(const std::array<DifferenceMap, 7>& maps, AppearanceModelKind uniformModel,
                                bool aligned) {
    DifferenceSummaries summaries;
    summaries.uniformModel = uniformModel;
    summaries.aligned = aligned;
    for (const DifferenceMap& its : maps) {
        summaries.maps.push_back({its.name, statisticsOf(its.map), meanMagnitudeOf(its.map), worstPlaces(its.map)});
    }
    return summaries;
}

nlohmann::ordered_json jsonOf(const DifferenceSummaries& summaries) {
    nlohmann::ordered_json json = {{"aligned", summaries.aligned},
                                   {"uniform_model", std::string(nameOf(summaries.uniformModel))}};
    for (const DifferenceSummary& summary : summaries.maps) {
        nlohmann::ordered_json its = {{"mean", roundedOrNull(summary.statistics.mean)},
                                      {"mean_magnitude", roundedOrNull(summary.meanMagnitude)},
                                      {"minimum", roundedOrNull(summary.statistics.minimum)},
                                      {"maximum", roundedOrNull(summary.statistics.maximum)},
                                      {"nan_pixels", summary.statistics.nanCount}};
        for (const int percentage : statisticsPercentages) {
            its["percentiles"][std::to_string(percentage)] = roundedOrNull(summary.statistics.percentile(percentage));
        }
        its["worst"] = nlohmann::ordered_json::array();
        for (const MapPlace& place : summary.worst) {
            its["worst"].push_back({{"x", place.pixels.x},
                                    {"y", place.pixels.y},
                                    {"width", place.pixels.width},
                                    {"height", place.pixels.height},
                                    {"mean_magnitude", roundedOrNull(place.mean)}});
        }
        json[summary.name] = std::move(its);
    }
    return json;
}

std::string differenceLines(const DifferenceSummaries& summaries) {
    std::string text;
    for (const DifferenceSummary& summary : summaries.maps) {
        text += fmt::format("difference {}: mean {:.6g}, mean magnitude {:.6g}, 5 % below {:.6g}, 95 % below {:.6g}",
                            summary.name, summary.statistics.mean, summary.meanMagnitude,
                            summary.statistics.percentile(5), summary.statistics.percentile(95));
        if (!summary.worst.empty()) {
            const cv::Rect& place = summary.worst.front().pixels;
            text += fmt::format("; most at x {}, y {} ({} x {} pixels)", place.x, place.y, place.width, place.height);
        }
        text += '\n';
    }
    return text;
}

}  // namespace likeness::darkroom
