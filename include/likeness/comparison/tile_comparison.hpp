/// @file
/// Where two photographs differ: their coefficients tile by tile, and how much the coefficients of the whole owe to the
/// choice of what is in the picture.
///
/// Background, white and greatest achromatic response are those of the whole photograph: a tile is a part of it, not a
/// photograph of its own. One tile that covers everything therefore has the coefficients of the photographs.
#pragma once

#include <likeness/color/pixel_weights.hpp>
#include <likeness/comparison/comparison_model.hpp>
#include <likeness/comparison/photograph_comparison.hpp>
#include <likeness/diagnostics/watch.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace likeness {

/// How photographs are cut into tiles.
struct TileLayout {
    cv::Size count = {8, 8};  ///< tiles across and down, each 1 or more, where `pixels` has no value
    /// Sides of a tile in pixels of the first photograph. Those at the right and at the bottom are cut off by the edge;
    /// overlapping ones are moved inside.
    std::optional<cv::Size> pixels;
    /// From one tile to the next, as a share of its side, above 0 and at most 1: below 1 they overlap. Where they would
    /// not end with the photograph, the last ones are moved so that they do.
    double stride = 1;
    /// The same in pixels of the first photograph, in place of `stride`; at most the sides of a tile.
    std::optional<int> stridePixels;
};

/// The tiles of two photographs: spans of columns and rows. The tiles of the second photograph are at the same relative
/// places as those of the first.
struct LIKENESS_API TileGrid {
    std::vector<cv::Range> firstColumns;   ///< of the first photograph, one span for each column of tiles
    std::vector<cv::Range> firstRows;      ///< one for each row of tiles
    std::vector<cv::Range> secondColumns;  ///< of the second photograph
    std::vector<cv::Range> secondRows;     ///< likewise

    /// Tiles across and down.
    cv::Size count() const noexcept {
        return {static_cast<int>(firstColumns.size()), static_cast<int>(firstRows.size())};
    }
    /// Whether tiles share pixels.
    bool overlaps() const noexcept;
};

/// Most tiles that a comparison has.
inline constexpr std::int64_t mostTiles = std::int64_t{1} << 20;

/// The tiles that a layout gives for photographs of two sizes. Of an empty photograph every tile is empty.
/// @throws std::invalid_argument  a sentence: the layout is out of range, has more tiles than a photograph has columns or
///                                rows of pixels, or than `mostTiles`
LIKENESS_API TileGrid tileGridOf(const cv::Size& first, const cv::Size& second, const TileLayout& layout);

/// How the intervals of the coefficients are found.
struct IntervalOptions {
    int resamples = 1000;    ///< 100 to 1,000,000
    std::uint64_t seed = 1;  ///< of the choices; the same seed gives the same intervals on every platform
    double level = 0.95;     ///< nominal, above 0 and below 1: the share of the resamples between the two quantiles
};

/// What `compareTiles` does.
struct TileOptions {
    TileLayout layout = {};      ///< where the tiles are
    ComparisonModel model = {};  ///< that the photographs are seen through
    /// Tiles of fewer pixels in either photograph are marked. Of two samples of one distribution over b bins, n pixels
    /// each, the coefficient falls short of 1 by some (b - 1) / (4 n): with thirty bins, as a small part of a photograph
    /// has, and 256 pixels by 0.03.
    std::int64_t leastPixels = 256;
    /// Whether the coefficients of the whole get intervals, and how; tiles must not overlap then.
    std::optional<IntervalOptions> interval = {};
};

/// One tile of two photographs.
struct ComparedTile {
    cv::Rect first;                     ///< in pixels of the first photograph
    cv::Rect second;                    ///< in pixels of the second
    LikenessCoefficients coefficients;  ///< NaN where one of the two has no pixels that count
    bool few = false;                   ///< whether one of the two has fewer pixels than `TileOptions::leastPixels`
    double firstPixels = 0;             ///< of the first photograph that count in it: the sum of their weights
    double secondPixels = 0;            ///< of the second
};

/// Two numbers between which the coefficient lies of all that the tiles are a sample of.
struct CoefficientInterval {
    float low = 0;   ///< the lower
    float high = 0;  ///< the upper
};

/// What `compareTiles` found.
struct LIKENESS_API TileComparison {
    TileGrid grid;                      ///< the places of the tiles
    std::vector<ComparedTile> tiles;    ///< row by row
    LikenessCoefficients coefficients;  ///< of the whole photographs: the same bits as `comparePhotographs` has
    AppearanceDistributions first;      ///< of the whole first photograph, without the hue
    AppearanceDistributions second;     ///< of the second
    /// Of the coefficients of the whole, where they were asked for, from the coefficients of as many tiles as there are,
    /// drawn with replacement, the same places of both photographs (block bootstrap; Künsch, "The jackknife and the
    /// bootstrap for general stationary observations", Annals of Statistics 17, 1989): basic intervals (Davison and
    /// Hinkley, "Bootstrap Methods and their Application", 1997, 5.2.1), cut to 0..1. Each holds its coefficient.
    std::optional<PerCorrelate<CoefficientInterval>> intervals;

    /// The coefficients of one correlate, by tile.
    /// @param correlate  place in `correlateNames`
    /// @return  CV_32F, a row for each row of tiles, NaN where a tile has no pixels
    cv::Mat map(std::size_t correlate) const;

    /// The tile whose least coefficient is the least, of those that are not marked; the first of several. Without a
    /// value where all are marked.
    std::optional<std::size_t> worst() const;
};

/// Compares two photographs tile by tile. Their colours are counted and seen once; a second walk over the pixels adds
/// each one's bins to its tiles.
///
/// @param first, second  any depth that `toUnit` takes, B, G, R, fewer than 2^31 pixels, any two sizes; not modified
/// @param watch          told of the steps of both analyses and of each row of tiles
/// @throws std::invalid_argument  if a photograph is of another type; as `tileGridOf`, `checkComparisonModel`; intervals
///                                asked for with overlapping tiles, fewer than four, so many that their histograms would take more than 1 GiB,
///                                or options out of range
/// @throws Cancelled  when the caller ends it
/// @note  Takes, besides what an analysis takes, up to 64 MiB for a photograph of bytes, and a histogram of 4 bytes per bin
///        for each column of tiles and thread; for each tile where intervals are asked for.
LIKENESS_API TileComparison compareTiles(const cv::Mat& first, const cv::Mat& second, const TileOptions& options = {},
                                         const Watch& watch = {});

/// The same of photographs of which parts count: each tile, and each interval, from the pixels in it that count, and as
/// much as they count. White and background are those of the parts. Weights that are all 1 give the bits of no weights.
/// @throws std::invalid_argument  as `PixelWeights::require` too
/// @note  Takes 4 bytes more per pixel of a photograph of bytes. Where weights are neither 0 nor 1, histograms have 8
///        bytes per bin.
LIKENESS_API TileComparison compareTiles(const PhotographPart& first, const PhotographPart& second,
                                         const TileOptions& options = {}, const Watch& watch = {});

}  // namespace likeness
