#include "console/tile_result.hpp"

#include "console/json_output.hpp"
#include "files/csv_text.hpp"
#include "files/number_format.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace likeness::darkroom {
namespace {

nlohmann::ordered_json rounded(float value) {
    return roundedOrNull(double{value});
}

nlohmann::ordered_json jsonOf(const cv::Rect& part) {
    return {{"x", part.x}, {"y", part.y}, {"width", part.width}, {"height", part.height}};
}

struct Place {
    int column;
    int row;
};

Place placeOf(const TileComparison& comparison, std::size_t tile) {
    const int across = std::max(1, comparison.grid.count().width);
    return {static_cast<int>(tile) % across, static_cast<int>(tile) / across};
}

/// Pixels that count: a whole number where none is weighed.
nlohmann::ordered_json pixelsJson(double pixels) {
    if (pixels == std::floor(pixels)) {
        return static_cast<std::int64_t>(pixels);
    }
    return roundedOrNull(pixels);
}

nlohmann::ordered_json tileJson(const TileComparison& comparison, std::size_t index) {
    const ComparedTile& tile = comparison.tiles[index];
    const Place place = placeOf(comparison, index);
    nlohmann::ordered_json json = {{"column", place.column},
                                   {"row", place.row},
                                   {"first", jsonOf(tile.first)},
                                   {"second", jsonOf(tile.second)},
                                   {"first_pixels", pixelsJson(tile.firstPixels)},
                                   {"second_pixels", pixelsJson(tile.secondPixels)},
                                   {"few_pixels", tile.few}};
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        json["coefficients"][correlateNames[k].name] = rounded(tile.coefficients[k]);
    }
    return json;
}

std::int64_t markedIn(const TileComparison& comparison) {
    return std::count_if(comparison.tiles.begin(), comparison.tiles.end(),
                         [](const ComparedTile& tile) { return tile.few; });
}

}  // namespace

void addTiles(nlohmann::ordered_json& json, const ComparedTiles& tiles) {
    const TileComparison& comparison = tiles.comparison;
    const cv::Size count = comparison.grid.count();
    json["tile_grid"] = {{"columns", count.width},
                         {"rows", count.height},
                         {"overlap", comparison.grid.overlaps()},
                         {"least_pixels", tiles.options.leastPixels},
                         {"few_pixels_tiles", markedIn(comparison)}};
    if (tiles.asked) {
        const auto worst = comparison.worst();
        json["tile_grid"]["worst"] = nullptr;
        if (worst) {
            const Place place = placeOf(comparison, *worst);
            json["tile_grid"]["worst"] = {{"column", place.column}, {"row", place.row}};
        }
        json["tiles"] = nlohmann::ordered_json::array();
        for (std::size_t i = 0; i < comparison.tiles.size(); ++i) {
            json["tiles"].push_back(tileJson(comparison, i));
        }
    }
    if (comparison.intervals) {
        const IntervalOptions& options = *tiles.options.interval;
        json["intervals"] = {{"level", options.level},
                             {"method", "basic intervals of a block bootstrap over the tiles"},
                             {"resamples", options.resamples},
                             {"seed", options.seed}};
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            const CoefficientInterval& interval = (*comparison.intervals)[k];
            json["intervals"][correlateNames[k].name] = {{"low", rounded(interval.low)},
                                                         {"high", rounded(interval.high)}};
        }
    }
}

std::string tileLines(const ComparedTiles& tiles) {
    const TileComparison& comparison = tiles.comparison;
    const cv::Size count = comparison.grid.count();
    std::string text;
    if (tiles.asked) {
        text += fmt::format("tiles: {} across, {} down", count.width, count.height);
        if (const auto worst = comparison.worst()) {
            const ComparedTile& tile = comparison.tiles[*worst];
            const Place place = placeOf(comparison, *worst);
            text += fmt::format("; worst in column {}, row {} (x {}, y {}, {} x {} pixels): ", place.column, place.row,
                                tile.first.x, tile.first.y, tile.first.width, tile.first.height);
            for (std::size_t k = 0; k < correlateNames.size(); ++k) {
                text += fmt::format("{}{} {:.6g}", k == 0 ? "" : ", ", correlateNames[k].name, tile.coefficients[k]);
            }
        }
        text += '\n';
        if (const std::int64_t marked = markedIn(comparison); marked > 0) {
            text += fmt::format("tiles: {} of {} have fewer than {} pixels in a photograph and are marked\n", marked,
                                comparison.tiles.size(), tiles.options.leastPixels);
        }
    }
    if (comparison.intervals) {
        text += fmt::format(
            "{:g} % intervals ({} resamples of {} x {} tiles, seed {}): ", 100 * tiles.options.interval->level,
            tiles.options.interval->resamples, count.width, count.height, tiles.options.interval->seed);
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            const CoefficientInterval& interval = (*comparison.intervals)[k];
            text += fmt::format("{}{} {:.6g} to {:.6g}", k == 0 ? "" : ", ", correlateNames[k].name, interval.low,
                                interval.high);
        }
        text += '\n';
    }
    return text;
}

std::string tileCsv(const TileComparison& comparison) {
    std::string text =
        "column,row,first_x,first_y,first_width,first_height,second_x,second_y,second_width,second_height";
    for (const CorrelateName& correlate : correlateNames) {
        text += std::string(",") + correlate.name;
    }
    text += ",first_pixels,second_pixels,few_pixels\n";
    for (std::size_t i = 0; i < comparison.tiles.size(); ++i) {
        const ComparedTile& tile = comparison.tiles[i];
        const Place place = placeOf(comparison, i);
        text += fmt::format("{},{},{},{},{},{},{},{},{},{}", place.column, place.row, tile.first.x, tile.first.y,
                            tile.first.width, tile.first.height, tile.second.x, tile.second.y, tile.second.width,
                            tile.second.height);
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            const float coefficient = tile.coefficients[k];
            text += ',' + (std::isnan(coefficient) ? std::string() : nineDigits(double{coefficient}));
        }
        text += fmt::format(",{},{},{}\n", nineDigits(tile.firstPixels), nineDigits(tile.secondPixels),
                            tile.few ? "true" : "false");
    }
    return text;
}

}  // namespace likeness::darkroom
