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

/// "16" and "16x12" are tiles across and down, "64px" and "64x48px" their sides in pixels of the first photograph.
/// @throws Refusal  what is wrong and how it is given, without the option's name
void readTiles(const std::string& text, TileLayout& layout);

/// "32" or "32px" is a stride in pixels of the first photograph, "50%" or "0.5" a share of the tile's side.
/// @throws Refusal  likewise
void readStride(const std::string& text, TileLayout& layout);

/// The layout of both.
TileLayout tileLayoutIn(const TileTexts& texts);

}  // namespace likeness::darkroom
