// Pixel by pixel differences, as results give them (docs/formats.md).
#pragma once

#include <likeness/comparison/pixel_differences.hpp>
#include "console/map_statistics.hpp"

#include <nlohmann/json.hpp>

#include <array>
#include <string>
#include <vector>

namespace likeness::darkroom {

/// One of the maps.
struct DifferenceMap {
    std::string name;   ///< of the file and the key: "brightness", "delta_e_uniform", "ciede2000"
    std::string label;  ///< of the legend
    cv::Mat map;
    bool isSigned = true;  ///< second less first, not a distance
};

/// All seven.
std::array<DifferenceMap, 7> differenceMaps(const PixelDifferences& differences);

/// The names of the seven.
const std::array<std::string, 7>& differenceNames();

struct DifferenceSummary {
    std::string name;
    MapStatistics statistics;
    double meanMagnitude = 0;
    std::vector<MapPlace> worst;
};

struct DifferenceSummaries {
    std::vector<DifferenceSummary> maps;
    AppearanceModelKind uniformModel = AppearanceModelKind::ciecam16;
    bool aligned = false;
};

DifferenceSummaries summariesOf(const std::array<DifferenceMap, 7>& maps, AppearanceModelKind uniformModel,
                                bool aligned);

nlohmann::ordered_json jsonOf(const DifferenceSummaries& summaries);

/// Lines of plain text.
std::string differenceLines(const DifferenceSummaries& summaries);

}  // namespace likeness::darkroom
