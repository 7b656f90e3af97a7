// What a comparison by tiles found, as results give it (docs/formats.md).
#pragma once

#include <likeness/comparison/tile_comparison.hpp>

#include <nlohmann/json.hpp>

#include <string>

namespace likeness::darkroom {

/// The tiles of a result.
struct ComparedTiles {
    TileComparison comparison;
    TileOptions options;
    bool asked = false;  ///< whether tiles were asked for, not intervals alone
};

/// Adds `tile_grid`, `tiles` and `intervals`, as far as they were asked for.
void addTiles(nlohmann::ordered_json& json, const ComparedTiles& tiles);

/// Lines of plain text: the worst tile, those that are marked, the intervals.
std::string tileLines(const ComparedTiles& tiles);

/// A table of all tiles: a header line and a line for each.
std::string tileCsv(const TileComparison& comparison);

}  // namespace likeness::darkroom
