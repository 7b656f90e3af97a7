#include "app/photograph_comparison.hpp"

#include <future>
#include <stdexcept>
#include <utility>

#include "app/color_expansion.hpp"
#include "app/metrics.hpp"
#include "app/perceptual_metrics.hpp"

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

/// The background is a float sum over the whole photograph's white: it belongs to the number of pixels, not of
/// colours.
float backgroundOf(const cv::Mat& photograph) {
    return backgroundLuminanceOf(static_cast<std::int64_t>(photograph.rows) * photograph.cols);
}

AppearanceDistributions distributionsOf(DistinctColors& colors, float backgroundLuminance,
                                        const Diagnostics& diagnostics) {
    const cv::Size size = colors.bgr.size();
    cv::Mat adapted = adaptedColors(colors);
    cv::Mat Q(size, CV_32F);
    cv::Mat J(size, CV_32F);
    cv::Mat C(size, CV_32F);
    cv::Mat M(size, CV_32F);
    cv::Mat s(size, CV_32F);
    perceptualMetricsBeforeBackground(adapted, backgroundLuminance, Q, J, C, M, s, diagnostics);
    const auto distribution = [&colors](const cv::Mat& map) { return weightedBinProbabilities(map, colors.counts); };
    const auto share = [&colors](const cv::Mat& map) { return weightedNanShare(map, colors.counts); };
    return {distribution(Q), distribution(J), distribution(C),
            distribution(M), distribution(s), {share(Q), share(J), share(C), share(M), share(s)}};
}

void requirePhotograph(const cv::Mat& image) {
    if (!image.empty() && image.type() != CV_8UC3) {
        throw std::invalid_argument("likeness: a photograph is an 8-bit image of three channels (B, G, R)");
    }
}

}  // namespace

AppearanceDistributions appearanceDistributions(const cv::Mat& photograph, ColorCounter& counter,
                                                const Diagnostics& diagnostics) {
    requirePhotograph(photograph);
    const bool dumps = diagnostics.wantsFiles();
    DistinctColors colors = counter.count(photograph, dumps);
    const float background = backgroundOf(photograph);
    if (!dumps) {
        return distributionsOf(colors, background, diagnostics);
    }
    ColorExpansion expansion(colors.indices, diagnostics);
    AppearanceDistributions distributions = distributionsOf(colors, background, expansion);
    expansion.handOn();
    return distributions;
}

LikenessCoefficients compareDistributions(const AppearanceDistributions& first, const AppearanceDistributions& second) {
    return {bhattacharyyaCoefficient(first.brightness, second.brightness),
            bhattacharyyaCoefficient(first.lightness, second.lightness),
            bhattacharyyaCoefficient(first.chroma, second.chroma),
            bhattacharyyaCoefficient(first.colorfulness, second.colorfulness),
            bhattacharyyaCoefficient(first.saturation, second.saturation)};
}

AppearanceMaps appearanceMaps(const cv::Mat& image, const Diagnostics& diagnostics) {
    if (image.empty()) {
        return {};
    }
    if (image.type() == CV_32FC3) {
        cv::Mat sharpened = adapted(image);
        return appearanceMapsBeforeBackground(sharpened, backgroundOf(image), diagnostics);
    }
    requirePhotograph(image);
    ColorCounter counter;
    DistinctColors colors = counter.count(image, true);
    cv::Mat sharpened = adaptedColors(colors);
    ColorExpansion expansion(colors.indices, diagnostics);
    AppearanceMaps maps = appearanceMapsBeforeBackground(sharpened, backgroundOf(image), expansion);
    expansion.handOn();
    for (cv::Mat* const map :
         {&maps.brightness, &maps.lightness, &maps.chroma, &maps.colorfulness, &maps.saturation, &maps.hueDegrees}) {
        *map = expandColors(*map, colors.indices);
    }
    return maps;
}

std::pair<AppearanceDistributions, AppearanceDistributions> analyzePhotographs(const cv::Mat& first,
                                                                               const cv::Mat& second,
                                                                               const Diagnostics& diagnostics) {
    requirePhotograph(first);
    requirePhotograph(second);
    if (diagnostics.wantsFiles()) {
        ColorCounter counter;
        AppearanceDistributions firstDistributions = appearanceDistributions(first, counter, diagnostics);
        return {std::move(firstDistributions), appearanceDistributions(second, counter, diagnostics)};
    }
    const auto analyze = [&diagnostics](const cv::Mat& photograph) {
        ColorCounter counter;
        return appearanceDistributions(photograph, counter, diagnostics);
    };
    auto secondDistributions = std::async(std::launch::async, [&] { return analyze(second); });
    AppearanceDistributions firstDistributions = analyze(first);
    return {std::move(firstDistributions), secondDistributions.get()};
}

LikenessCoefficients comparePhotographs(const cv::Mat& first, const cv::Mat& second, const Diagnostics& diagnostics) {
    const auto [firstDistributions, secondDistributions] = analyzePhotographs(first, second, diagnostics);
    return compareDistributions(firstDistributions, secondDistributions);
}

}  // namespace likeness
