// --tiles and --stride on the command line.
#pragma once

#include <likeness/comparison/tile_comparison.hpp>

#include <string>

namespace likeness::darkroom {

/// What the options say, as it was typed; empty where nothing was.
struct TileTexts {
    std::string tiles;
    std::string stride;
};

/// "16" and "16x12" are tiles across and down, "64px" and "64x48px" their sides in pixels of the first photograph. A
/// stride is "32" or "32px" in these pixels, or a share of the tile's side, "50%" or "0.5".
/// @throws Refusal  a sentence without the option's name before it: what is wrong and how it is given
TileLayout tileLayoutIn(const TileTexts& texts);

}  // namespace likeness::darkroom
