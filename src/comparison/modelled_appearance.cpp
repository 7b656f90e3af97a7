#include "comparison/modelled_appearance.hpp"

#include <likeness/adaptation/d65_adaptation.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include <likeness/color/srgb_companding.hpp>
#include <likeness/comparison/metrics.hpp>
#include "comparison/published_estimate.hpp"
#include "comparison/weighted_colors.hpp"
#include "comparison/white_response.hpp"
#include "numerics/parallel.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <mutex>
#include <stdexcept>
#include <tuple>
#include <utility>

namespace likeness {
namespace {

constexpr double perfectWhite = 100;

/// Linear values of the 8-bit levels.
struct LinearLevels {
    LinearLevels() {
        for (int level = 0; level < 256; ++level) {
            of[level] = sRGBLinearOf(level / 255.0);
        }
    }
    double of[256];
};

const LinearLevels& linearLevels() {
    static const LinearLevels levels;
    return levels;
}

cv::Vec3d linearOf(const cv::Vec3b& bgr) {
    const double(&linear)[256] = linearLevels().of;
    return {linear[bgr[2]], linear[bgr[1]], linear[bgr[0]]};
}

cv::Vec3d linearOf(const cv::Vec3f& bgr) {
    return {sRGBLinearOf(double{bgr[2]}), sRGBLinearOf(double{bgr[1]}), sRGBLinearOf(double{bgr[0]})};
}

/// As `xyzFromSrgb` has it, the same bits.
cv::Vec3d xyzOfLinear(const cv::Vec3d& linear) {
    static const cv::Matx33d matrix(&xyzFromLinearSrgb[0][0]);
    return matrix * linear * perfectWhite;
}

bool isFinite(const cv::Vec3d& value) {
    return std::isfinite(value[0]) && std::isfinite(value[1]) && std::isfinite(value[2]);
}

/// visit(linear R, G, B; how many pixels) of each colour, in order.
template <typename Visit>
void forEachLinear(const PhotographColors& colors, Visit visit) {
    const cv::Mat& bgr = colors.bgr;
    for (int i = 0; i < bgr.rows; ++i) {
        for (int j = 0; j < bgr.cols; ++j) {
            visit(bgr.depth() == CV_8U ? linearOf(bgr.at<cv::Vec3b>(i, j)) : linearOf(bgr.at<cv::Vec3f>(i, j)),
                  colors.times(j));
        }
    }
}

Xyz brightestOf(const PhotographColors& colors) {
    cv::Vec3d brightest(0, 0, 0);
    const auto rank = [](const cv::Vec3d& xyz) { return std::tuple(xyz[1], xyz[0], xyz[2]); };
    forEachLinear(colors, [&](const cv::Vec3d& linear, std::uint32_t) {
        const cv::Vec3d xyz = xyzOfLinear(linear);
        if (isFinite(xyz) && rank(xyz) > rank(brightest)) {
            brightest = xyz;
        }
    });
    return {brightest[0], brightest[1], brightest[2]};
}

/// Chromaticity of the mean, on the Y of the encoding's white.
Xyz grayWorldOf(const PhotographColors& colors) {
    cv::Vec3d sum(0, 0, 0);
    forEachLinear(colors, [&](const cv::Vec3d& linear, std::uint32_t times) {
        if (isFinite(linear)) {
            sum += linear * static_cast<double>(times);
        }
    });
    const cv::Vec3d mean = xyzOfLinear(sum);
    const double scale = srgbWhite().y / mean[1];
    return mean[1] > 0 ? Xyz{scale * mean[0], scale * mean[1], scale * mean[2]} : Xyz{};
}

/// A black picture has the encoding's white.
Xyz whiteOf(const PhotographColors& colors, PictureWhite source) {
    if (source == PictureWhite::encoding) {
        return srgbWhite();
    }
    const Xyz white = source == PictureWhite::grayWorld ? grayWorldOf(colors) : brightestOf(colors);
    return white.y > 0 ? white : srgbWhite();
}

/// A published model as the colours of one picture are seen through it.
class PublishedView {
public:
    PublishedView(const ComparisonModel& model, const PhotographColors& colors)
        : model_(publishedModelOf(model)),
          toConditions_(xyzToConditions(model_, whiteOf(colors, model.pictureWhite))),
          adapts_(toConditions_ != cv::Matx33d::eye()) {}

    struct Seen {
        Correlates correlates;
        bool countsAsBlack;
    };

    Seen seen(const cv::Vec3d& linear) const {
        const cv::Vec3d shown = adapts_ ? toConditions_ * xyzOfLinear(linear) : xyzOfLinear(linear);
        const Xyz xyz = {shown[0], shown[1], shown[2]};
        const Correlates correlates = model_.correlatesOf(xyz);
        return {correlates, countsAsBlack(xyz, correlates)};
    }

    PublishedEstimate estimate() const {
        return {model_, toConditions_ * cv::Matx33d(&xyzFromLinearSrgb[0][0]) * perfectWhite, linearLevels().of};
    }

private:
    PublishedModel model_;
    cv::Matx33d toConditions_;
    bool adapts_;
};

/// @param black  receives how many pixels count as black
AppearanceMaps publishedMaps(const PublishedView& view, const PhotographColors& colors, std::uint64_t& black) {
    const cv::Mat& bgr = colors.bgr;
    std::atomic<std::uint64_t> blackOfAll = 0;
    const auto map = [&bgr] { return cv::Mat(bgr.size(), CV_32F); };
    AppearanceMaps maps{{map(), map(), map(), map(), map()}, map()};
    const auto fill = [&](auto pixel, int row, int begin, int end) {
        using Pixel = decltype(pixel);
        std::uint64_t blackOfPiece = 0;
        for (int j = begin; j < end; ++j) {
            const auto [k, countsAsBlack] = view.seen(linearOf(bgr.at<Pixel>(row, j)));
            blackOfPiece += countsAsBlack ? colors.times(j) : 0;
            maps.brightness.at<float>(row, j) = static_cast<float>(k.brightness);
            maps.lightness.at<float>(row, j) = static_cast<float>(k.lightness);
            maps.chroma.at<float>(row, j) = static_cast<float>(k.chroma);
            maps.colorfulness.at<float>(row, j) = static_cast<float>(k.colorfulness);
            maps.saturation.at<float>(row, j) = static_cast<float>(k.saturation);
            maps.hueDegrees.at<float>(row, j) = static_cast<float>(k.hueDegrees);
        }
        blackOfAll += blackOfPiece;
    };
    // Each value is one colour's: the pieces may be made on any thread.
    constexpr int piece = 4096;
    const int pieces = (bgr.cols + piece - 1) / piece;
    numerics::inParallel(static_cast<std::size_t>(bgr.rows * pieces), 1, [&](std::size_t first, std::size_t last) {
        for (int k = static_cast<int>(first); k < static_cast<int>(last); ++k) {
            const int begin = k % pieces * piece;
            const int end = std::min(begin + piece, bgr.cols);
            if (bgr.depth() == CV_8U) {
                fill(cv::Vec3b(), k / pieces, begin, end);
            } else {
                fill(cv::Vec3f(), k / pieces, begin, end);
            }
        }
    });
    black = blackOfAll;
    return maps;
}

/// Blocks of the colours of one picture, as an estimate takes them, and the colours themselves.
class ColorBlocks {
public:
    explicit ColorBlocks(const PhotographColors& colors)
        : colors_(colors), cols_(colors.bgr.cols), blocksOfRow_((cols_ + size - 1) / size) {}

    int count() const { return colors_.bgr.rows * blocksOfRow_; }

    struct Block {
        int row;
        int first;
        std::size_t count;
    };

    Block at(int block) const {
        const int first = block % blocksOfRow_ * size;
        return {block / blocksOfRow_, first, static_cast<std::size_t>(std::min(size, cols_ - first))};
    }

    void estimate(const PublishedEstimate& estimate, const Block& block, PublishedEstimate::Bins& bins) const {
        if (!estimate.serves()) {
            std::fill_n(bins.certain, block.count, 0);
        } else if (colors_.bgr.depth() == CV_8U) {
            estimate.bins(colors_.bgr.ptr<uchar>(block.row) + std::ptrdiff_t{3} * block.first, block.count, bins);
        } else {
            std::array<float, 3 * PublishedEstimate::blockSize> linear;
            sRGBInverseCompandingOfRow(colors_.bgr.ptr<float>(block.row) + std::ptrdiff_t{3} * block.first,
                                       linear.data(), 3 * block.count);
            estimate.bins(linear.data(), block.count, bins);
        }
    }

    cv::Vec3d linearOf(const Block& block, std::size_t i) const {
        const int column = block.first + static_cast<int>(i);
        return colors_.bgr.depth() == CV_8U ? likeness::linearOf(colors_.bgr.at<cv::Vec3b>(block.row, column))
                                            : likeness::linearOf(colors_.bgr.at<cv::Vec3f>(block.row, column));
    }

    std::uint32_t times(const Block& block, std::size_t i) const {
        return colors_.times(block.first + static_cast<int>(i));
    }

private:
    static constexpr int size = static_cast<int>(PublishedEstimate::blockSize);

    const PhotographColors& colors_;
    int cols_;
    int blocksOfRow_;
};

/// How many pixels fall into each bin that an estimate has settled, and the correlates of the others.
struct EstimatedCounts {
    std::array<std::array<std::uint64_t, PublishedEstimate::binLimit>, 5> pixels{};
    std::vector<std::pair<Correlates, std::uint32_t>> asked;
    std::uint64_t black = 0;  ///< pixels that count as black, among those that were asked for

    void add(const PublishedEstimate::Bins& bins, std::size_t i, std::uint32_t times) {
        pixels[0][static_cast<std::size_t>(bins.brightness[i])] += times;
        pixels[1][static_cast<std::size_t>(bins.lightness[i])] += times;
        pixels[2][static_cast<std::size_t>(bins.chroma[i])] += times;
        pixels[3][static_cast<std::size_t>(bins.colorfulness[i])] += times;
        pixels[4][static_cast<std::size_t>(bins.saturation[i])] += times;
    }

    void addTo(CorrelateCounts& counts) {
        for (std::size_t k = 0; k < pixels.size(); ++k) {
            for (int bin = 0; bin < PublishedEstimate::binLimit; ++bin) {
                counts[k].addToBin(bin, pixels[k][static_cast<std::size_t>(bin)]);
            }
        }
        addAskedTo(counts);
    }

    /// And forgets them.
    void addAskedTo(CorrelateCounts& counts) {
        for (const auto& [correlates, times] : asked) {
            counts.brightness.add(static_cast<float>(correlates.brightness), times);
            counts.lightness.add(static_cast<float>(correlates.lightness), times);
            counts.chroma.add(static_cast<float>(correlates.chroma), times);
            counts.colorfulness.add(static_cast<float>(correlates.colorfulness), times);
            counts.saturation.add(static_cast<float>(correlates.saturation), times);
        }
        asked.clear();
    }
};

/// The counts of the maps; colours whose bins an estimate settles are spared the model.
/// @return  how many pixels count as black; an estimate settles none of them
std::uint64_t countByEstimate(const PublishedView& view, const PhotographColors& colors, CorrelateCounts& counts) {
    const PublishedEstimate estimate = view.estimate();
    const ColorBlocks blocks(colors);
    constexpr int blocksOfPiece = 128;
    const int pieces = (blocks.count() + blocksOfPiece - 1) / blocksOfPiece;
    std::uint64_t black = 0;
    std::mutex mutex;
    // Whole numbers of pixels: their sum does not depend on which thread adds first.
    numerics::inParallel(static_cast<std::size_t>(pieces), 1, [&](std::size_t first, std::size_t last) {
        EstimatedCounts found;
        PublishedEstimate::Bins bins;
        const int end = std::min(static_cast<int>(last) * blocksOfPiece, blocks.count());
        for (int k = static_cast<int>(first) * blocksOfPiece; k < end; ++k) {
            const ColorBlocks::Block block = blocks.at(k);
            blocks.estimate(estimate, block, bins);
            for (std::size_t i = 0; i < block.count; ++i) {
                const std::uint32_t times = blocks.times(block, i);
                if (bins.certain[i] != 0) {
                    found.add(bins, i, times);
                } else {
                    const auto [correlates, countsAsBlack] = view.seen(blocks.linearOf(block, i));
                    found.asked.emplace_back(correlates, times);
                    found.black += countsAsBlack ? times : 0;
                }
            }
            constexpr std::size_t most = 1U << 14;  // a megabyte, where the estimate settles little
            if (found.asked.size() >= most) {
                const std::scoped_lock lock(mutex);
                found.addAskedTo(counts);
            }
        }
        const std::scoped_lock lock(mutex);
        found.addTo(counts);
        black += found.black;
    });
    return black;
}

/// v' = (1 - D) v + D W of sharpened pixels.
void adaptContinuously(cv::Mat& sharpened) {
    const D65Adaptation d65 = d65Adaptation();
    const float unadapted = 1.0F - d65.degree;
    for (int i = 0; i < sharpened.rows; ++i) {
        auto* const pixels = sharpened.ptr<cv::Vec3f>(i);
        for (int j = 0; j < sharpened.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                pixels[j][c] = unadapted * pixels[j][c] + d65.degreeTimesWhite[c];
            }
        }
    }
}

/// Adapted, sharpened B, G, R of gamma-encoded ones on the scale 0..1.
cv::Mat adaptedBy(const ComparisonModel& model, cv::Mat unit) {
    cv::Mat sharpened(unit.size(), CV_32FC3);
    if (model.black == BlackAdaptation::defined) {
        compute_cat(unit, sharpened);
        return sharpened;
    }
    cv::Mat xyz(unit.size(), CV_32FC3);
    convertBGRToXYZDirect(unit, xyz);
    convertXYZtoSharpenedBGR(xyz, sharpened);
    adaptContinuously(sharpened);
    return sharpened;
}

/// Colours on the scale 0..1.
cv::Mat unitColors(const cv::Mat& bgr) {
    cv::Mat unit = bgr;
    if (bgr.depth() == CV_8U) {
        unit = cv::Mat(bgr.size(), CV_32FC3);
        cv::Mat bytes = bgr;
        normImg(bytes, unit);
    }
    return unit;
}

/// @param colorsAdapted  called when the colours are adapted
AppearanceMaps ownMaps(const ComparisonModel& model, float background, const cv::Mat& bgr,
                       const StepDone& colorsAdapted) {
    cv::Mat sharpened = adaptedBy(model, unitColors(bgr));
    colorsAdapted();
    if (model.white == WhiteResponse::brightest) {
        return appearanceMapsUnderBackground(sharpened, background, dropAll());
    }
    cv::Mat white = adaptedBy(model, cv::Mat(1, 1, CV_32FC3, cv::Scalar::all(1)));
    return appearanceMapsBesideWhite(sharpened, background, greatestAchromaticResponse(white, background));
}

/// The counts of `ownMaps`, from a few colours at a time: no map of all of them is made.
void countOwn(const ComparisonModel& model, float background, const PhotographColors& colors, CorrelateCounts& counts,
              const StepDone& whiteFound) {
    constexpr std::size_t colorsInPiece = std::size_t{1} << 13;
    const ImageWalk walk = walkOver(colors.bgr);
    const auto adaptedPiece = [&](int row, std::size_t first, std::size_t count) {
        const auto begin = static_cast<int>(first);
        const cv::Mat rowOf = colors.bgr.reshape(0, walk.rows).row(row);
        return adaptedBy(model, unitColors(rowOf.colRange(begin, begin + static_cast<int>(count))));
    };
    numerics::SharedMaximum white(0);
    if (model.white == WhiteResponse::brightest) {
        numerics::forEachPiece(
            walk, colorsInPiece,
            [&](int row, std::size_t first, std::size_t count) {
                cv::Mat sharpened = adaptedPiece(row, first, count);
                white.offer(greatestAchromaticResponse(sharpened, background));
            },
            colorsInPiece);
    } else {
        cv::Mat sharpened = adaptedBy(model, cv::Mat(1, 1, CV_32FC3, cv::Scalar::all(1)));
        white.offer(greatestAchromaticResponse(sharpened, background));
    }
    whiteFound();
    std::mutex mutex;
    // Whole numbers: their sums do not depend on which thread adds first.
    numerics::forEachPiece(
        walk, colorsInPiece,
        [&](int row, std::size_t first, std::size_t count) {
            cv::Mat sharpened = adaptedPiece(row, first, count);
            const AppearanceMaps maps = appearanceMapsBesideWhite(sharpened, background, white.value());
            const std::scoped_lock lock(mutex);
            for (std::size_t k = 0; k < correlateNames.size(); ++k) {
                const auto* const values = maps[k].ptr<float>();
                for (std::size_t j = 0; j < count; ++j) {
                    counts[k].add(values[j], colors.times(static_cast<int>(first + j)));
                }
            }
        },
        colorsInPiece);
}

/// By the nearest degree, 0 to 359.
BinProbabilities hueOf(const AppearanceMaps& maps, const std::vector<std::uint32_t>& counts, HueWeights weights) {
    constexpr int degrees = 360;
    const auto leastChroma = static_cast<float>(leastChromaOfHue);
    std::array<double, degrees> sums{};
    double total = 0;
    for (int i = 0; i < maps.hueDegrees.rows; ++i) {
        const auto* const hue = maps.hueDegrees.ptr<float>(i);
        const auto* const chroma = maps.chroma.ptr<float>(i);
        for (int j = 0; j < maps.hueDegrees.cols; ++j) {
            if (!(chroma[j] >= leastChroma && std::isfinite(chroma[j])) || std::isnan(hue[j])) {
                continue;
            }
            const double pixels = counts.empty() ? 1.0 : static_cast<double>(counts[static_cast<std::size_t>(j)]);
            const double weight = weights == HueWeights::chroma ? pixels * double{chroma[j]} : pixels;
            const int nearest = BinCounts::binOf(hue[j]) % degrees;
            sums[static_cast<std::size_t>(nearest < 0 ? nearest + degrees : nearest)] += weight;
            total += weight;
        }
    }
    BinProbabilities probabilities;
    for (int bin = 0; bin < degrees; ++bin) {
        const double sum = sums[static_cast<std::size_t>(bin)];
        if (sum > 0) {
            probabilities[bin] = static_cast<float>(sum / total);
        }
    }
    return probabilities;
}

}  // namespace

float backgroundUnder(const ComparisonModel& model, std::int64_t pixels) {
    if (model.kind != AppearanceModelKind::likeness) {
        return static_cast<float>(model.conditions.background.value_or(backgroundLuminanceOf(1)));
    }
    return model.background ? static_cast<float>(*model.background) : backgroundLuminanceOf(pixels);
}

bool dependsOnOrder(const AnalysisOptions& options) {
    return options.model.pictureWhite == PictureWhite::grayWorld || options.hue == HueWeights::chroma;
}

ModelledAppearance modelledAppearance(const PhotographColors& colors, const AnalysisOptions& options,
                                      const StepDone& stepDone) {
    ModelledAppearance result;
    if (colors.bgr.empty()) {
        for (int step = 1; step < stepsOfAnalysis; ++step) {
            stepDone();
        }
        result.distributions.hue = options.hue ? std::optional(BinProbabilities()) : std::nullopt;
        return result;
    }
    const ComparisonModel& model = options.model;
    const bool own = model.kind == AppearanceModelKind::likeness;
    const bool bytes = colors.bgr.depth() == CV_8U;
    const float background = backgroundUnder(model, colors.pixels);
    const bool mapsNeeded = options.maps || options.hue;
    if (own && !mapsNeeded && bytes && model.white == WhiteResponse::brightest &&
        model.black == BlackAdaptation::defined) {
        result.distributions =
            distributionsUnderBackground({colors.bgr, colors.counts, {}}, background, dropAll(), stepDone, colors.unit);
        return result;
    }
    CorrelateCounts counts;
    AppearanceMaps maps;
    std::uint64_t black = 0;
    const auto blackShare = [&] { return static_cast<double>(black) / static_cast<double>(colors.total()); };
    if (own && !mapsNeeded) {
        countOwn(model, background, colors, counts, stepDone);
        stepDone();
        result.distributions = distributionsOf(counts, colors.unit);
        stepDone();
        return result;
    }
    if (own) {
        maps = ownMaps(model, background, colors.bgr, stepDone);
    } else {
        const PublishedView view(model, colors);
        stepDone();
        if (!mapsNeeded) {
            black = countByEstimate(view, colors, counts);
            stepDone();
            result.distributions = distributionsOf(counts, colors.unit);
            result.distributions.blackShare = blackShare();
            stepDone();
            return result;
        }
        maps = publishedMaps(view, colors, black);
    }
    stepDone();
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        if (colors.counts.empty()) {
            counts[k].add(maps[k]);
        } else {
            counts[k].add(maps[k], colors.counts);
        }
    }
    result.distributions = distributionsOf(counts, colors.unit);
    result.distributions.blackShare = blackShare();
    if (options.hue) {
        result.distributions.hue = hueOf(maps, colors.counts, *options.hue);
    }
    if (options.maps) {
        result.maps = std::move(maps);
    }
    stepDone();
    return result;
}

PhotographColors countedColors(const cv::Mat& photograph, ColorCounter& counter, cv::Mat* indices) {
    const auto pixels = static_cast<std::int64_t>(photograph.total());
    if (!photograph.empty() && photograph.depth() != CV_8U) {
        DistinctUnitColors counted = distinctUnitColors(photograph);
        if (counted.empty()) {
            return {photograph, {}, pixels};
        }
        if (indices != nullptr) {
            *indices = std::move(counted.indices);
        }
        return {std::move(counted.bgr), std::move(counted.counts), pixels};
    }
    DistinctColors counted =
        counter.count(photograph.empty() ? cv::Mat(0, 0, CV_8UC3) : photograph, indices != nullptr);
    if (indices != nullptr) {
        *indices = counted.indices;
    }
    return {std::move(counted.bgr), std::move(counted.counts), pixels};
}

PhotographColors countedColors(const cv::Mat& photograph, const PixelWeights& weights, ColorCounter& counter) {
    const cv::Mat counted = weights.countedOf(photograph);
    return weights.areBinary() ? countedColors(counted, counter)
                               : weightedColors(counted, weights.countedOf(weights.map()), weights.wholePixels());
}

AppearanceMaps mapsBesidePart(const cv::Mat& photograph, const PhotographColors& part, const ComparisonModel& model,
                              ColorCounter& counter, cv::Mat& indices) {
    const PhotographColors all = countedColors(photograph, counter, &indices);
    if (model.kind != AppearanceModelKind::likeness) {
        std::uint64_t black = 0;
        return publishedMaps(PublishedView(model, part), all, black);
    }
    const float background = backgroundUnder(model, part.pixels);
    cv::Mat white =
        model.white == WhiteResponse::fixed ? cv::Mat(1, 1, CV_32FC3, cv::Scalar::all(1)) : unitColors(part.bgr);
    white = adaptedBy(model, white);
    cv::Mat sharpened = adaptedBy(model, unitColors(all.bgr));
    return appearanceMapsBesideWhite(sharpened, background, greatestAchromaticResponse(white, background));
}

ModelledAppearance modelledAppearance(const cv::Mat& photograph, const AnalysisOptions& options, ColorCounter& counter,
                                      const StepDone& stepDone) {
    cv::Mat indices;
    const PhotographColors colors = countedColors(photograph, counter, options.maps ? &indices : nullptr);
    stepDone();
    ModelledAppearance result = modelledAppearance(colors, options, stepDone);
    result.indices = indices;
    return result;
}

}  // namespace likeness
