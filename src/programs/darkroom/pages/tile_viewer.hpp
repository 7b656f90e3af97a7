// The part of the page of a comparison that shows where the photographs differ.
#pragma once

#include "console/comparison_result.hpp"

#include <opencv2/core.hpp>

#include <cstddef>
#include <string>
#include <utility>

namespace likeness::darkroom {

/// Most tiles that a page shows.
inline constexpr std::size_t mostTilesOnPage = 16384;

/// Greatest side, in pixels, of the photographs that can be magnified.
inline constexpr int viewerPictureSide = 1600;

/// Script and style sheet.
extern const char* const tileViewerScript;
extern const char* const tileViewerStyles;

/// The section: both photographs with the tiles over them, and the worst tiles in a table.
/// @param result    with tiles
/// @param pictures  addresses of the two images
std::string tileViewer(const ComparisonResult& result, const std::pair<std::string, std::string>& pictures);

}  // namespace likeness::darkroom
