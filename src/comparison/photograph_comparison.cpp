#include <likeness/comparison/photograph_comparison.hpp>

#include <likeness/comparison/metrics.hpp>
#include <likeness/comparison/perceptual_metrics.hpp>
#include "color/photograph_argument.hpp"
#include "comparison/color_expansion.hpp"
#include "comparison/correlate_estimate.hpp"
#include "comparison/modelled_appearance.hpp"
#include "comparison/photograph_counts.hpp"
#include "diagnostics/step_count.hpp"
#include "numerics/beside.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace likeness {
namespace {

cv::Mat adapted(cv::Mat unitBgr) {
    cv::Mat sharpened(unitBgr.size(), CV_32FC3);
    compute_cat(unitBgr, sharpened);
    return sharpened;
}

cv::Mat adaptedColors(DistinctColors& colors) {
    cv::Mat normalized(colors.bgr.size(), CV_32FC3);
    normImg(colors.bgr, normalized);
    return adapted(std::move(normalized));
}

/// The background depends on the pixel count, not on the number of colours (departure 6).
float backgroundOf(const cv::Mat& photograph) {
    return backgroundLuminanceOf(static_cast<std::int64_t>(photograph.rows) * photograph.cols);
}

/// Runs the model on every colour.
/// @return  of each, CV_32F
PerCorrelate<cv::Mat> correlatesOfColors(DistinctColors& colors, float backgroundLuminance,
                                         const Diagnostics& diagnostics, const StepDone& stepDone = noStep) {
    const cv::Size size = colors.bgr.size();
    cv::Mat adapted = adaptedColors(colors);
    stepDone();
    cv::Mat Q(size, CV_32F);
    cv::Mat J(size, CV_32F);
    cv::Mat C(size, CV_32F);
    cv::Mat M(size, CV_32F);
    cv::Mat s(size, CV_32F);
    perceptualMetricsUnderBackground(adapted, backgroundLuminance, Q, J, C, M, s, diagnostics);
    stepDone();
    return {Q, J, C, M, s};
}

/// Counts the correlates of every colour.
void countCorrelates(DistinctColors& colors, float backgroundLuminance, CorrelateCounts& counts,
                     const Diagnostics& diagnostics, const StepDone& stepDone = noStep) {
    const PerCorrelate<cv::Mat> correlates = correlatesOfColors(colors, backgroundLuminance, diagnostics, stepDone);
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        counts[k].add(correlates[k], colors.counts);
    }
}

/// Colours with their numbers of pixels.
class UnsettledColors {
public:
    void add(const cv::Vec3b& color, std::uint32_t count) {
        bgr_.push_back(color);
        counts_.push_back(count);
    }
    DistinctColors take() {
        cv::Mat bgr;
        if (!bgr_.empty()) {
            bgr = cv::Mat(1, static_cast<int>(bgr_.size()), CV_8UC3, bgr_.data()).clone();
        }
        return {std::move(bgr), std::move(counts_), {}};
    }

private:
    std::vector<cv::Vec3b> bgr_;
    std::vector<std::uint32_t> counts_;
};

/// Goes over colours: an estimate settles the bins of most.
/// @param settled    called with the place of a colour, the bins of its block and its place in these
/// @param unsettled  called with the place of each colour that the model must be asked for
template <typename Settled, typename Unsettled>
void settleByEstimate(const DistinctColors& colors, float backgroundLuminance, const StepDone& stepDone,
                      Settled settled, Unsettled unsettled) {
    const CorrelateEstimate estimate(backgroundLuminance);
    const std::size_t size = colors.counts.size();
    std::vector<CorrelateEstimate::Responses> responses((size + CorrelateEstimate::blockSize - 1) /
                                                        CorrelateEstimate::blockSize);
    const uchar* const bgr = colors.bgr.ptr<uchar>(0);
    float white = 0;
    const auto forEachBlock = [&](auto visit) {
        for (std::size_t block = 0; block < responses.size(); ++block) {
            const std::size_t first = block * CorrelateEstimate::blockSize;
            visit(responses[block], first, std::min(CorrelateEstimate::blockSize, size - first));
        }
    };
    forEachBlock([&](CorrelateEstimate::Responses& block, std::size_t first, std::size_t count) {
        estimate.responses(bgr + 3 * first, count, block);
        for (std::size_t i = 0; i < count; ++i) {
            white = block.achromatic[i] > white ? block.achromatic[i] : white;
        }
    });

    stepDone();
    // The model takes the greatest achromatic response of the image for that of its white: every colour that may have
    // it is among those that it is asked for.
    const float whiteThreshold = white * (1.0F - 3 * CorrelateEstimate::achromaticError);
    CorrelateEstimate::Bins bins;
    forEachBlock([&](const CorrelateEstimate::Responses& block, std::size_t first, std::size_t count) {
        estimate.bins(block, count, white, bins);
        for (std::size_t i = 0; i < count; ++i) {
            if (bins.certain[i] == 0 || block.achromatic[i] >= whiteThreshold) {
                unsettled(first + i);
            } else {
                settled(first + i, bins, i);
            }
        }
    });
    stepDone();
}

/// The counts of `countCorrelates`: colours whose bins an estimate settles are spared the model.
void countCorrelatesByEstimate(const DistinctColors& colors, float backgroundLuminance, CorrelateCounts& counts,
                               const Diagnostics& diagnostics, const StepDone& stepDone) {
    UnsettledColors uncertain;
    std::array<std::array<std::uint64_t, CorrelateEstimate::binLimit>, 5> pixels{};
    settleByEstimate(
        colors, backgroundLuminance, stepDone,
        [&](std::size_t color, const CorrelateEstimate::Bins& bins, std::size_t i) {
            const std::uint32_t times = colors.counts[color];
            pixels[0][static_cast<std::size_t>(bins.brightness[i])] += times;
            pixels[1][static_cast<std::size_t>(bins.lightness[i])] += times;
            pixels[2][static_cast<std::size_t>(bins.chroma[i])] += times;
            pixels[3][static_cast<std::size_t>(bins.colorfulness[i])] += times;
            pixels[4][static_cast<std::size_t>(bins.saturation[i])] += times;
        },
        [&](std::size_t color) {
            uncertain.add(colors.bgr.at<cv::Vec3b>(0, static_cast<int>(color)), colors.counts[color]);
        });
    for (int bin = 0; bin < CorrelateEstimate::binLimit; ++bin) {
        const auto k = static_cast<std::size_t>(bin);
        counts.brightness.addToBin(bin, pixels[0][k]);
        counts.lightness.addToBin(bin, pixels[1][k]);
        counts.chroma.addToBin(bin, pixels[2][k]);
        counts.colorfulness.addToBin(bin, pixels[3][k]);
        counts.saturation.addToBin(bin, pixels[4][k]);
    }
    DistinctColors asked = uncertain.take();
    countCorrelates(asked, backgroundLuminance, counts, diagnostics);
}

/// @param counts  of the colours that the maps are of; empty for those of pixels
CountedAppearance ofMaps(AppearanceMaps maps, const std::vector<std::uint32_t>& counts, const cv::Mat& indices,
                         const StepDone& mapsMade) {
    mapsMade();
    CorrelateCounts pixels;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        if (counts.empty()) {
            pixels[k].add(maps[k]);
        } else {
            pixels[k].add(maps[k], counts);
        }
    }
    return {distributionsOf(pixels), std::move(maps), indices};
}

/// Whether everything that the first photograph would leave is replaced by what the second one leaves: then nobody sees
/// the dumps of the first, and they need not be made.
/// @param first, second  sizes of photographs of bytes
bool isReplaced(const cv::Size& first, const cv::Size& second, const Diagnostics& diagnostics) {
    constexpr int greatestJpegSide = 65500;
    constexpr std::uintmax_t mostBytesOfPixel = 16;  // the longest line of a text
    constexpr std::uintmax_t mostBytesOfHeader = 4096;
    const auto* const directory = dynamic_cast<const DirectoryDiagnostics*>(&diagnostics);
    const auto hasAllDumps = [](const cv::Size& size) {
        return !size.empty() && size.height <= greatestJpegSide && size.width <= greatestJpegSide;
    };
    static const std::vector<std::string> dumps{"A_before.jpg", "10_in.txt", "mask.jpg", "t_before.jpg"};
    return directory != nullptr && hasAllDumps(first) && hasAllDumps(second) &&
           directory->wouldBeReplaced(dumps, static_cast<std::uintmax_t>(first.width) *
                                                     static_cast<std::uintmax_t>(first.height) * mostBytesOfPixel +
                                                 mostBytesOfHeader);
}

void requirePhotograph(const cv::Mat& image) {
    if (!image.empty() && (image.dims > 2 || (image.type() != CV_8UC3 && image.type() != CV_32FC3))) {
        throw std::invalid_argument("likeness: a photograph is an 8-bit or float image of three channels (B, G, R)");
    }
}

}  // namespace

AppearanceDistributions distributionsOf(const CorrelateCounts& counts, CountedIn unit) {
    AppearanceDistributions distributions;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        distributions[k] = unit == CountedIn::pixels ? counts[k].probabilities() : counts[k].shares();
        distributions.nanShares[k] = counts[k].nanShare();
    }
    return distributions;
}

std::vector<ColorBins> binsUnderBackground(const DistinctColors& colors, float backgroundLuminance,
                                           const StepDone& stepDone) {
    std::vector<ColorBins> result(colors.counts.size());
    UnsettledColors uncertain;
    std::vector<std::size_t> places;
    settleByEstimate(
        colors, backgroundLuminance, stepDone,
        [&](std::size_t color, const CorrelateEstimate::Bins& bins, std::size_t i) {
            result[color] = {bins.brightness[i], bins.lightness[i], bins.chroma[i], bins.colorfulness[i],
                             bins.saturation[i]};
        },
        [&](std::size_t color) {
            uncertain.add(colors.bgr.at<cv::Vec3b>(0, static_cast<int>(color)), colors.counts[color]);
            places.push_back(color);
        });
    DistinctColors asked = uncertain.take();
    const PerCorrelate<cv::Mat> correlates = correlatesOfColors(asked, backgroundLuminance, dropAll());
    for (std::size_t i = 0; i < places.size(); ++i) {
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            const float value = correlates[k].at<float>(0, static_cast<int>(i));
            result[places[i]][k] = std::isnan(value) ? noBin : BinCounts::binOf(value);
        }
    }
    return result;
}

AppearanceDistributions distributionsUnderBackground(const DistinctColors& colors, float backgroundLuminance,
                                                     const Diagnostics& diagnostics, const StepDone& stepDone,
                                                     CountedIn unit) {
    CorrelateCounts counts;
    countCorrelatesByEstimate(colors, backgroundLuminance, counts, diagnostics, stepDone);
    AppearanceDistributions distributions = distributionsOf(counts, unit);
    stepDone();
    return distributions;
}

AppearanceDistributions appearanceDistributions(const cv::Mat& photograph, ColorCounter& counter,
                                                const Diagnostics& diagnostics, const StepDone& stepDone) {
    requirePhotograph(photograph);
    if (!photograph.empty() && photograph.depth() == CV_32F) {
        return diagnostics.wantsFiles() || diagnostics.wantsMessages()
                   ? countedAppearance(photograph, diagnostics, stepDone).distributions
                   : modelledAppearance(photograph, {}, counter, stepDone).distributions;
    }
    const float background = backgroundOf(photograph);
    DistinctColors colors = counter.count(photograph, diagnostics.wantsFiles());
    stepDone();
    if (!diagnostics.wantsFiles()) {
        return distributionsUnderBackground(colors, background, diagnostics, stepDone);
    }
    CorrelateCounts counts;
    ColorExpansion expansion(colors.indices, diagnostics);
    countCorrelates(colors, background, counts, expansion, stepDone);
    expansion.handOn();
    AppearanceDistributions distributions = distributionsOf(counts);
    stepDone();
    return distributions;
}

LikenessCoefficients compareDistributions(const AppearanceDistributions& first, const AppearanceDistributions& second) {
    LikenessCoefficients coefficients;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        coefficients[k] = bhattacharyyaCoefficientOfAllBins(first[k], second[k]);
    }
    return coefficients;
}

std::optional<float> hueCoefficient(const AppearanceDistributions& first, const AppearanceDistributions& second) {
    const auto seesNothing = [](const AppearanceDistributions& distributions) {
        return !distributions.hue || (distributions.brightness.empty() && distributions.nanShares.brightness == 0);
    };
    if (seesNothing(first) || seesNothing(second)) {
        return std::nullopt;
    }
    return first.hue->empty() && second.hue->empty() ? 1.0F
                                                     : bhattacharyyaCoefficientOfAllBins(*first.hue, *second.hue);
}

CountedAppearance countedAppearance(const cv::Mat& photograph, ColorCounter& counter, const Diagnostics& diagnostics,
                                    const StepDone& stepDone) {
    DistinctColors colors = counter.count(photograph, true);
    stepDone();
    cv::Mat sharpened = adaptedColors(colors);
    stepDone();
    ColorExpansion expansion(colors.indices, diagnostics);
    CountedAppearance counted = ofMaps(appearanceMapsUnderBackground(sharpened, backgroundOf(photograph), expansion),
                                       colors.counts, colors.indices, stepDone);
    expansion.handOn();
    stepDone();
    return counted;
}

CountedAppearance countedAppearance(const cv::Mat& unit, const Diagnostics& diagnostics, const StepDone& stepDone) {
    const bool isShown = diagnostics.wantsFiles() || diagnostics.wantsMessages();
    const DistinctUnitColors colors = isShown ? DistinctUnitColors() : distinctUnitColors(unit);
    stepDone();
    cv::Mat sharpened = adapted(colors.empty() ? unit : colors.bgr);
    stepDone();
    CountedAppearance counted = ofMaps(appearanceMapsUnderBackground(sharpened, backgroundOf(unit), diagnostics),
                                       colors.counts, colors.indices, stepDone);
    stepDone();
    return counted;
}

AppearanceDistributions appearanceDistributions(const cv::Mat& photograph, const Diagnostics& diagnostics) {
    ColorCounter counter;
    return appearanceDistributions(photograph, counter, diagnostics);
}

namespace {

/// The maps of the colours, each pixel's.
AppearanceMaps expanded(CountedAppearance& counted) {
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        counted.maps[k] = expandColors(counted.maps[k], counted.indices);
    }
    counted.maps.hueDegrees = expandColors(counted.maps.hueDegrees, counted.indices);
    return std::move(counted.maps);
}

AppearanceMaps mapsOfPixels(const cv::Mat& image, const Diagnostics& diagnostics, const StepDone& stepDone) {
    if (image.empty()) {
        return {};
    }
    if (image.depth() == CV_8U) {
        requirePhotograph(image);
        ColorCounter counter;
        CountedAppearance counted = countedAppearance(image, counter, diagnostics, stepDone);
        return expanded(counted);
    }
    CountedAppearance counted = countedAppearance(unitPhotograph("image", image), diagnostics, stepDone);
    return counted.indices.empty() ? std::move(counted.maps) : expanded(counted);
}

}  // namespace

AppearanceMaps appearanceMaps(const cv::Mat& image, const Diagnostics& diagnostics) {
    return mapsOfPixels(image, diagnostics, noStep);
}

AppearanceMaps appearanceMaps(const cv::Mat& image, const Watch& watch) {
    StepCount steps(watch, stepsOfAnalysis);
    return mapsOfPixels(image, watch.receiver(), [&steps] { steps.step(); });
}

std::pair<AppearanceDistributions, AppearanceDistributions> analyzePhotographs(const cv::Mat& first,
                                                                               const cv::Mat& second,
                                                                               const Diagnostics& diagnostics) {
    requirePhotograph(first);
    requirePhotograph(second);
    // Half a millisecond's work: below, what a thread saves is not worth its start.
    constexpr std::size_t worthAThread = std::size_t{1} << 14;
    const bool ofBytes = first.depth() == CV_8U && second.depth() == CV_8U;
    if (ofBytes && isReplaced(first.size(), second.size(), diagnostics)) {
        auto secondDistributions = beside([&] { return appearanceDistributions(second, diagnostics); });
        AppearanceDistributions firstDistributions = appearanceDistributions(first, dropAll());
        return {std::move(firstDistributions), secondDistributions.get()};
    }
    if (diagnostics.wantsFiles() || std::min(first.total(), second.total()) < worthAThread) {
        ColorCounter counter;
        AppearanceDistributions firstDistributions = appearanceDistributions(first, counter, diagnostics);
        return {std::move(firstDistributions), appearanceDistributions(second, counter, diagnostics)};
    }
    const auto analyze = [&diagnostics](const cv::Mat& photograph) {
        ColorCounter counter;
        return appearanceDistributions(photograph, counter, diagnostics);
    };
    auto secondDistributions = beside([&] { return analyze(second); });
    AppearanceDistributions firstDistributions = analyze(first);
    return {std::move(firstDistributions), secondDistributions.get()};
}

LikenessCoefficients comparePhotographs(const cv::Mat& first, const cv::Mat& second, const Diagnostics& diagnostics) {
    const auto [firstDistributions, secondDistributions] = analyzePhotographs(first, second, diagnostics);
    return compareDistributions(firstDistributions, secondDistributions);
}

std::optional<LikenessCoefficients> compareWithReplaced(const SeenPhotograph& first, const cv::Mat& second,
                                                        const Diagnostics& diagnostics) {
    if (second.type() != CV_8UC3 || !isReplaced(first.size, second.size(), diagnostics)) {
        return std::nullopt;
    }
    auto secondDistributions = beside([&] { return appearanceDistributions(second, diagnostics); });
    const AppearanceDistributions firstDistributions = modelledAppearance(*first.colors, {}).distributions;
    return compareDistributions(firstDistributions, secondDistributions.get());
}

}  // namespace likeness
