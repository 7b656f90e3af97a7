#include <likeness/comparison/tile_comparison.hpp>

#include "comparison/binned_photograph.hpp"
#include "comparison/modelled_appearance.hpp"
#include "diagnostics/step_count.hpp"
#include "numerics/beside.hpp"
#include "numerics/parallel.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>

namespace likeness {
namespace {

constexpr float noTile = std::numeric_limits<float>::quiet_NaN();

int scaled(std::int64_t place, int length, int from) {
    return from == 0 ? 0 : static_cast<int>(place * length / from);
}

/// Spans of one direction, in pixels of both photographs.
struct Spans {
    std::vector<cv::Range> first;
    std::vector<cv::Range> second;
};

struct Direction {
    const char* pixels;  ///< of the photographs, in words
    int first;
    int second;
};

void refuseMany(double count) {
    if (count > static_cast<double>(mostTiles)) {
        throw std::invalid_argument("more than " + std::to_string(mostTiles) + " tiles");
    }
}

/// `count` equal parts, or windows of their size.
Spans countedSpans(const Direction& direction, int count, double stride) {
    if (direction.first > 0 && direction.second > 0 && std::min(direction.first, direction.second) < count) {
        throw std::invalid_argument(std::to_string(count) + " tiles are more than a photograph has " +
                                    direction.pixels +
                                    " of pixels: " + std::to_string(std::min(direction.first, direction.second)));
    }
    // A share such as 1/3 is no binary number: what is nearly a whole number of steps is one.
    constexpr double roundingError = 1e-9;
    const double steps = std::ceil((count - 1) / stride - roundingError);
    refuseMany(steps + 1);
    Spans spans;
    for (int i = 0; i <= static_cast<int>(steps); ++i) {
        const double tile = std::min(i * stride, count - 1.0);
        const auto place = [&](double tiles, int length) {
            return static_cast<int>(std::floor(tiles * length / count + roundingError));
        };
        spans.first.emplace_back(place(tile, direction.first), place(tile + 1, direction.first));
        spans.second.emplace_back(place(tile, direction.second), place(tile + 1, direction.second));
    }
    return spans;
}

/// Tiles of so many pixels.
Spans measuredSpans(const Direction& direction, int pixels, int step) {
    const int length = direction.first;
    const int side = std::min(pixels, length);
    const std::int64_t steps = side < 1 ? 0 : (std::int64_t{length} - (step < pixels ? side : 1)) / step;
    const bool ends = side < 1 || step == pixels || steps * step + side == length;
    refuseMany(static_cast<double>(steps) + (ends ? 1 : 2));
    Spans spans;
    for (std::int64_t i = 0; i <= steps + (ends ? 0 : 1); ++i) {
        const int begin = static_cast<int>(step < pixels ? std::min<std::int64_t>(i * step, length - side) : i * step);
        const int end = std::min(begin + side, length);
        spans.first.emplace_back(begin, end);
        spans.second.emplace_back(scaled(begin, direction.second, length), scaled(end, direction.second, length));
    }
    return spans;
}

Spans spansOf(const Direction& direction, int count, const std::optional<int>& pixels, const TileLayout& layout) {
    if (pixels) {
        if (*pixels < 1) {
            throw std::invalid_argument("a tile has sides of at least 1 pixel");
        }
        const int step =
            layout.stridePixels.value_or(std::max(1, static_cast<int>(std::lround(*pixels * layout.stride))));
        if (step < 1 || step > *pixels) {
            throw std::invalid_argument("the stride of " + std::to_string(step) +
                                        " pixels is not from 1 to the tile's side, " + std::to_string(*pixels));
        }
        return measuredSpans(direction, *pixels, step);
    }
    if (count < 1) {
        throw std::invalid_argument("there is at least 1 tile across and down");
    }
    double stride = layout.stride;
    if (layout.stridePixels) {
        const double side = static_cast<double>(direction.first) / count;
        if (*layout.stridePixels < 1 || (direction.first > 0 && *layout.stridePixels > side)) {
            throw std::invalid_argument("the stride of " + std::to_string(*layout.stridePixels) +
                                        " pixels is not from 1 to the tile's side");
        }
        stride = direction.first > 0 ? *layout.stridePixels / side : 1;
    }
    return countedSpans(direction, count, stride);
}

/// Pairs of places in two histograms where the same bin is counted, and where the counts of a correlate begin and end.
struct SharedBins {
    SharedBins(const BinnedPhotograph& first, const BinnedPhotograph& second, std::size_t correlate)
        : firstUnit(first.unit()),
          secondUnit(second.unit()),
          firstMissing(first.beginOf(correlate) + first.binsOf(correlate).size()),
          secondMissing(second.beginOf(correlate) + second.binsOf(correlate).size()) {
        const std::vector<int>& firstBins = first.binsOf(correlate);
        const std::vector<int>& secondBins = second.binsOf(correlate);
        std::size_t i = 0;
        std::size_t j = 0;
        while (i < firstBins.size() && j < secondBins.size()) {
            if (firstBins[i] == secondBins[j]) {
                places.emplace_back(first.beginOf(correlate) + i, second.beginOf(correlate) + j);
            }
            const bool firstGoesOn = firstBins[i] <= secondBins[j];
            const bool secondGoesOn = secondBins[j] <= firstBins[i];
            i += firstGoesOn ? 1 : 0;
            j += secondGoesOn ? 1 : 0;
        }
    }

    CountedIn firstUnit;
    CountedIn secondUnit;
    std::vector<std::pair<std::size_t, std::size_t>> places;
    std::size_t firstMissing;
    std::size_t secondMissing;
};

using SharedBinsOfAll = std::vector<SharedBins>;

/// The share of a bin, as `BinCounts` has it: pixels count in float and stop at 2^24, weights are divided in double.
template <typename Count>
float shareOf(Count times, std::uint64_t total, CountedIn unit) {
    if (unit == CountedIn::weights) {
        return static_cast<float>(static_cast<double>(times) / static_cast<double>(total));
    }
    constexpr Count limit = Count{1} << 24;
    return static_cast<float>(std::min(times, limit)) / static_cast<float>(total);
}

/// The coefficients of two histograms, step by step as `compareDistributions` has them.
template <typename Count>
LikenessCoefficients coefficientsOf(const SharedBinsOfAll& shared, const Count* first, std::uint64_t firstPixels,
                                    const Count* second, std::uint64_t secondPixels) {
    LikenessCoefficients coefficients;
    for (std::size_t k = 0; k < shared.size(); ++k) {
        const std::uint64_t firstTotal = firstPixels - first[shared[k].firstMissing];
        const std::uint64_t secondTotal = secondPixels - second[shared[k].secondMissing];
        if (firstTotal == 0 || secondTotal == 0) {
            coefficients[k] = noTile;
            continue;
        }
        float sum = 0.0F;
        for (const auto& [i, j] : shared[k].places) {
            if (first[i] != 0 && second[j] != 0) {
                sum += std::sqrt(shareOf(second[j], secondTotal, shared[k].secondUnit) *
                                 shareOf(first[i], firstTotal, shared[k].firstUnit));
            }
        }
        coefficients[k] = sum;
    }
    return coefficients;
}

/// Histograms of the parts that the borders of tiles cut a band of a photograph into, and of the tiles themselves.
template <typename Count>
class Band {
public:
    Band(const BinnedPhotograph& photograph, const std::vector<cv::Range>& columns)
        : photograph_(photograph), size_(photograph.countsSize()), histogram_(photograph.histogramSize()) {
        for (const cv::Range& span : columns) {
            borders_.push_back(span.start);
            borders_.push_back(span.end);
        }
        std::sort(borders_.begin(), borders_.end());
        borders_.erase(std::unique(borders_.begin(), borders_.end()), borders_.end());
        for (const cv::Range& span : columns) {
            tiles_.emplace_back(partAt(span.start), partAt(span.end));
        }
        counts_.resize((borders_.size() - 1) * size_);
    }

    /// The rows that are counted from now on: those of the band before may be among them, but none above it.
    void moveTo(const cv::Range& rows) {
        if (rows.start >= rows_.end) {
            std::fill(counts_.begin(), counts_.end(), Count{0});
            count(rows, 1);
        } else {
            count({rows_.start, rows.start}, ~Count{0});  // takes out
            count({rows_.end, rows.end}, 1);
        }
        rows_ = rows;
        tile_ = cv::Range(0, 0);
    }

    /// The histogram of a tile; valid until the next call. Tiles come from left to right.
    const Count* ofTile(std::size_t tile) {
        photograph_.expand(countsOf(tiles_[tile]), histogram_.data());
        return histogram_.data();
    }

private:
    const Count* countsOf(const cv::Range& parts) {
        if (parts.size() == 1) {
            return part(parts.start);
        }
        if (parts.start >= tile_.end) {
            sum_.assign(size_, Count{0});
            tile_ = cv::Range(parts.start, parts.start);
        }
        for (; tile_.end < parts.end; ++tile_.end) {
            const Count* const entering = part(tile_.end);
            for (std::size_t i = 0; i < size_; ++i) {
                sum_[i] += entering[i];
            }
        }
        for (; tile_.start < parts.start; ++tile_.start) {
            const Count* const leaving = part(tile_.start);
            for (std::size_t i = 0; i < size_; ++i) {
                sum_[i] -= leaving[i];
            }
        }
        return sum_.data();
    }

    int partAt(int border) const {
        return static_cast<int>(std::lower_bound(borders_.begin(), borders_.end(), border) - borders_.begin());
    }

    Count* part(int index) { return counts_.data() + static_cast<std::size_t>(index) * size_; }

    void count(const cv::Range& rows, Count times) {
        for (int row = rows.start; row < rows.end; ++row) {
            for (std::size_t k = 0; k + 1 < borders_.size(); ++k) {
                photograph_.add(row, {borders_[k], borders_[k + 1]}, part(static_cast<int>(k)), times);
            }
        }
    }

    const BinnedPhotograph& photograph_;
    std::size_t size_;  // of the counts of a part
    std::vector<int> borders_;
    std::vector<cv::Range> tiles_;  // of parts
    std::vector<Count> counts_;
    std::vector<Count> sum_;
    std::vector<Count> histogram_;
    cv::Range rows_{0, 0};
    cv::Range tile_{0, 0};  // the parts that are in the sum
};

/// How many pixels a histogram counts, or the sum of their weights: those with a bin of a correlate, and those without.
template <typename Count>
std::uint64_t totalOf(const BinnedPhotograph& photograph, const Count* histogram) {
    return std::accumulate(histogram + photograph.beginOf(0), histogram + photograph.beginOf(1), std::uint64_t{0});
}

/// Of these, those that have a value: of the correlate that most pixels have one of.
template <typename Count>
std::uint64_t valuedOf(const BinnedPhotograph& photograph, const Count* histogram, std::uint64_t total) {
    std::uint64_t most = 0;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        most = std::max(most, total - histogram[photograph.beginOf(k) + photograph.binsOf(k).size()]);
    }
    return most;
}

double inPixels(std::uint64_t total, CountedIn unit) {
    const auto sum = static_cast<double>(total);
    return unit == CountedIn::weights ? sum / PixelWeights::whole : sum;
}

cv::Rect rectOf(const cv::Range& columns, const cv::Range& rows) {
    return {columns.start, rows.start, columns.size(), rows.size()};
}

/// Numbers that depend on their place in two sequences alone (SplitMix64: Steele, Lea and Flood, "Fast splittable
/// pseudorandom number generators", OOPSLA 2014).
class Choices {
public:
    Choices(std::uint64_t seed, std::uint64_t sequence) : state_(mixed(seed) + mixed(~sequence)) {}

    /// 0 to count - 1.
    std::size_t below(std::uint64_t count) {
        state_ += 0x9E3779B97F4A7C15U;
        return static_cast<std::size_t>((mixed(state_) >> 32) * count >> 32);
    }

private:
    static std::uint64_t mixed(std::uint64_t value) {
        value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9U;
        value = (value ^ value >> 27) * 0x94D049BB133111EBU;
        return value ^ value >> 31;
    }

    std::uint64_t state_;
};

/// Between the ordered values (Hyndman and Fan, "Sample quantiles in statistical packages", The American Statistician 50,
/// 1996, definition 7).
float quantileOf(const std::vector<float>& ordered, double share) {
    const double place = share * static_cast<double>(ordered.size() - 1);
    const auto below = static_cast<std::size_t>(place);
    const std::size_t above = std::min(below + 1, ordered.size() - 1);
    const double part = place - static_cast<double>(below);
    return static_cast<float>(double{ordered[below]} + part * (double{ordered[above]} - double{ordered[below]}));
}

/// Histograms of all tiles of one photograph.
template <typename Count>
struct TileHistograms {
    std::size_t size = 0;
    std::vector<Count> counts;
    std::vector<std::uint64_t> pixels;

    void set(std::size_t tile, const Count* histogram, std::uint64_t pixelsOfTile) {
        std::copy_n(histogram, size, counts.begin() + static_cast<std::ptrdiff_t>(tile * size));
        pixels[tile] = pixelsOfTile;
    }

    /// Adds a tile so many times.
    void addTo(std::vector<std::uint64_t>& sum, std::uint64_t& pixelsOfSum, std::size_t tile,
               std::uint64_t times) const {
        const Count* const its = counts.data() + tile * size;
        for (std::size_t i = 0; i < size; ++i) {
            sum[i] += times * its[i];
        }
        pixelsOfSum += times * pixels[tile];
    }
};

/// The basic interval (Davison and Hinkley, "Bootstrap Methods and their Application", 1997, 5.2.1): the quantiles,
/// mirrored at the coefficient. Resamples of a coefficient are biased, away from 1, as it is itself; mirrored, the bias
/// is taken off twice, once for each. Cut to 0..1, and stretched to the coefficient where it lies beside.
CoefficientInterval basicInterval(float coefficient, float lowQuantile, float highQuantile) {
    return {std::min(coefficient, std::max(0.0F, 2 * coefficient - highQuantile)),
            std::max(coefficient, std::min(1.0F, 2 * coefficient - lowQuantile))};
}

template <typename Count>
PerCorrelate<CoefficientInterval> intervalsOf(const SharedBinsOfAll& shared, const LikenessCoefficients& coefficients,
                                              const TileHistograms<Count>& first, const TileHistograms<Count>& second,
                                              const IntervalOptions& options, StepCount& steps) {
    const std::size_t tiles = first.pixels.size();
    const auto resamples = static_cast<std::size_t>(options.resamples);
    std::vector<LikenessCoefficients> found(resamples);
    numerics::inParallel(resamples, 8, [&](std::size_t begin, std::size_t end) {
        std::vector<std::uint32_t> times(tiles);
        std::vector<std::uint64_t> sumOfFirst(first.size);
        std::vector<std::uint64_t> sumOfSecond(second.size);
        for (std::size_t k = begin; k < end; ++k) {
            steps.check();
            std::fill(times.begin(), times.end(), 0U);
            std::fill(sumOfFirst.begin(), sumOfFirst.end(), 0U);
            std::fill(sumOfSecond.begin(), sumOfSecond.end(), 0U);
            std::uint64_t pixelsOfFirst = 0;
            std::uint64_t pixelsOfSecond = 0;
            Choices choices(options.seed, k);
            for (std::size_t i = 0; i < tiles; ++i) {
                ++times[choices.below(tiles)];
            }
            for (std::size_t tile = 0; tile < tiles; ++tile) {
                if (times[tile] > 0) {
                    first.addTo(sumOfFirst, pixelsOfFirst, tile, times[tile]);
                    second.addTo(sumOfSecond, pixelsOfSecond, tile, times[tile]);
                }
            }
            found[k] = coefficientsOf(shared, sumOfFirst.data(), pixelsOfFirst, sumOfSecond.data(), pixelsOfSecond);
        }
    });
    PerCorrelate<CoefficientInterval> intervals;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        std::vector<float> ordered;
        for (const LikenessCoefficients& resampled : found) {
            if (!std::isnan(resampled[k])) {
                ordered.push_back(resampled[k]);
            }
        }
        if (ordered.empty() || std::isnan(coefficients[k])) {
            intervals[k] = {noTile, noTile};
            continue;
        }
        std::sort(ordered.begin(), ordered.end());
        intervals[k] = basicInterval(coefficients[k], quantileOf(ordered, (1 - options.level) / 2),
                                     quantileOf(ordered, (1 + options.level) / 2));
    }
    return intervals;
}

/// Histograms of all tiles are kept while they are resampled.
constexpr std::uint64_t mostIntervalBytes = std::uint64_t{1} << 30;

void checkInterval(const IntervalOptions& options, const TileGrid& grid) {
    if (grid.overlaps()) {
        throw std::invalid_argument("intervals are found from tiles that do not overlap: leave out the stride");
    }
    if (grid.count().area() < 4) {
        throw std::invalid_argument("intervals take at least four tiles");
    }
    if (options.resamples < 100 || options.resamples > 1'000'000) {
        throw std::invalid_argument("the number of resamples is not from 100 to 1000000");
    }
    if (!(options.level > 0 && options.level < 1)) {
        throw std::invalid_argument("the level of an interval is not between 0 and 1");
    }
}

/// The tiles, and the intervals where they are asked for.
/// @tparam Count  of the histograms
template <typename Count>
void compareBinned(const BinnedPhotograph& first, const BinnedPhotograph& second, const TileOptions& options,
                   StepCount& steps, TileComparison& result) {
    SharedBinsOfAll shared;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        shared.emplace_back(first, second, k);
    }
    result.tiles.resize(static_cast<std::size_t>(result.grid.count().area()));
    TileHistograms<Count> firstHistograms;
    TileHistograms<Count> secondHistograms;
    if (options.interval) {
        const auto make = [&](TileHistograms<Count>& histograms, const BinnedPhotograph& photograph) {
            histograms.size = photograph.histogramSize();
            histograms.counts.resize(histograms.size * result.tiles.size());
            histograms.pixels.resize(result.tiles.size());
        };
        const std::uint64_t bytes =
            result.tiles.size() * sizeof(Count) * (first.histogramSize() + second.histogramSize());
        if (bytes > mostIntervalBytes) {
            throw std::invalid_argument("intervals of " + std::to_string(result.tiles.size()) +
                                        " tiles would take more than 1 GiB for their histograms: choose fewer tiles");
        }
        make(firstHistograms, first);
        make(secondHistograms, second);
    }
    const TileGrid& grid = result.grid;
    const cv::Size count = grid.count();
    numerics::inParallel(static_cast<std::size_t>(count.height), 1, [&](std::size_t begin, std::size_t end) {
        Band<Count> firstBand(first, grid.firstColumns);
        Band<Count> secondBand(second, grid.secondColumns);
        for (std::size_t row = begin; row < end; ++row) {
            firstBand.moveTo(grid.firstRows[row]);
            secondBand.moveTo(grid.secondRows[row]);
            for (std::size_t column = 0; column < grid.firstColumns.size(); ++column) {
                const std::size_t place = row * grid.firstColumns.size() + column;
                ComparedTile& tile = result.tiles[place];
                tile.first = rectOf(grid.firstColumns[column], grid.firstRows[row]);
                tile.second = rectOf(grid.secondColumns[column], grid.secondRows[row]);
                const Count* const ofFirst = firstBand.ofTile(column);
                const Count* const ofSecond = secondBand.ofTile(column);
                const std::uint64_t firstPixels = totalOf(first, ofFirst);
                const std::uint64_t secondPixels = totalOf(second, ofSecond);
                tile.firstPixels = inPixels(valuedOf(first, ofFirst, firstPixels), first.unit());
                tile.secondPixels = inPixels(valuedOf(second, ofSecond, secondPixels), second.unit());
                tile.coefficients = coefficientsOf(shared, ofFirst, firstPixels, ofSecond, secondPixels);
                tile.few = std::min(tile.firstPixels, tile.secondPixels) < static_cast<double>(options.leastPixels);
                if (options.interval) {
                    firstHistograms.set(place, ofFirst, firstPixels);
                    secondHistograms.set(place, ofSecond, secondPixels);
                }
            }
            steps.step();
        }
    });
    if (options.interval) {
        result.intervals =
            intervalsOf(shared, result.coefficients, firstHistograms, secondHistograms, *options.interval, steps);
        steps.step();
    }
}

}  // namespace

bool TileGrid::overlaps() const noexcept {
    const auto inOrder = [](const std::vector<cv::Range>& spans) {
        for (std::size_t i = 1; i < spans.size(); ++i) {
            if (spans[i].start < spans[i - 1].end) {
                return false;
            }
        }
        return true;
    };
    return !inOrder(firstColumns) || !inOrder(firstRows) || !inOrder(secondColumns) || !inOrder(secondRows);
}

TileGrid tileGridOf(const cv::Size& first, const cv::Size& second, const TileLayout& layout) {
    if (!(layout.stride > 0 && layout.stride <= 1)) {
        throw std::invalid_argument("the stride of tiles is not above 0 and at most 1 of their sides");
    }
    const auto sideOf = [&layout](int cv::Size::*side) {
        return layout.pixels ? std::optional((*layout.pixels).*side) : std::nullopt;
    };
    Spans columns =
        spansOf({"columns", first.width, second.width}, layout.count.width, sideOf(&cv::Size::width), layout);
    Spans rows = spansOf({"rows", first.height, second.height}, layout.count.height, sideOf(&cv::Size::height), layout);
    refuseMany(static_cast<double>(columns.first.size()) * static_cast<double>(rows.first.size()));
    return {std::move(columns.first), std::move(rows.first), std::move(columns.second), std::move(rows.second)};
}

cv::Mat TileComparison::map(std::size_t correlate) const {
    const cv::Size count = grid.count();
    cv::Mat map(count, CV_32F);
    for (int row = 0; row < count.height; ++row) {
        for (int column = 0; column < count.width; ++column) {
            map.at<float>(row, column) =
                tiles[static_cast<std::size_t>(row * count.width + column)].coefficients[correlate];
        }
    }
    return map;
}

std::optional<std::size_t> TileComparison::worst() const {
    std::optional<std::size_t> found;
    float least = 0;
    for (std::size_t i = 0; i < tiles.size(); ++i) {
        const LikenessCoefficients& c = tiles[i].coefficients;
        const float its = std::min({c.brightness, c.lightness, c.chroma, c.colorfulness, c.saturation});
        if (!tiles[i].few && !std::isnan(its) && (!found || its < least)) {
            found = i;
            least = its;
        }
    }
    return found;
}

TileComparison compareTiles(const cv::Mat& first, const cv::Mat& second, const TileOptions& options,
                            const Watch& watch) {
    return compareTiles(PhotographPart{first, {}}, PhotographPart{second, {}}, options, watch);
}

TileComparison compareTiles(const PhotographPart& first, const PhotographPart& second, const TileOptions& options,
                            const Watch& watch) {
    TileComparison result;
    result.grid = tileGridOf(first.photograph.size(), second.photograph.size(), options.layout);
    if (options.interval) {
        checkInterval(*options.interval, result.grid);
    }
    const cv::Size count = result.grid.count();
    StepCount steps(watch, 2 * stepsOfAnalysis + count.height + (options.interval ? 1 : 0));
    const auto binned = [&](const PhotographPart& part) {
        return std::make_unique<BinnedPhotograph>(part, options.model, [&steps] { steps.step(); });
    };
    auto binning = beside([&] { return binned(second); });
    const std::unique_ptr<BinnedPhotograph> firstBinned = binned(first);
    const std::unique_ptr<BinnedPhotograph> secondBinned = binning.get();
    result.first = firstBinned->distributions();
    result.second = secondBinned->distributions();
    result.coefficients = compareDistributions(result.first, result.second);

    const bool weighted = firstBinned->unit() == CountedIn::weights || secondBinned->unit() == CountedIn::weights;
    // A sum of weights outgrows 32 bits with 65,537 pixels.
    weighted ? compareBinned<std::uint64_t>(*firstBinned, *secondBinned, options, steps, result)
             : compareBinned<std::uint32_t>(*firstBinned, *secondBinned, options, steps, result);
    return result;
}

}  // namespace likeness
