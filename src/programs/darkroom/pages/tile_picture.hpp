// Pictures of what a comparison by tiles found.
#pragma once

#include <likeness/comparison/tile_comparison.hpp>
#include "pages/map_picture.hpp"

#include <opencv2/core.hpp>

namespace likeness::darkroom {

/// One scale for the coefficients of all five correlates: from the least, rounded down, to 1.
MapScale tileScale(const TileComparison& comparison);

/// The coefficients of one correlate at the places of the tiles in the first photograph, as a picture with a legend. Where
/// tiles overlap, each stands around its own middle. Marked tiles are hatched.
/// @param side  greatest side of the map in pixels
cv::Mat tilePicture(const TileComparison& comparison, std::size_t correlate, const cv::Size& photograph,
                    const MapScale& scale, int side = 960);

}  // namespace likeness::darkroom
