#include "app/photograph_comparison.hpp"

#include <future>
#include <stdexcept>

#include "app/color_expansion.hpp"
#include "app/metrics.hpp"
#include "app/perceptual_metrics.hpp"

namespace likeness {
namespace {

AppearanceDistributions distributionsOf(DistinctColors& colors, float backgroundLuminance,
                                        const Diagnostics& diagnostics) {
    const cv::Size size = colors.bgr.size();
    cv::Mat normalized(size, CV_32FC3);
    normImg(colors.bgr, normalized);
    cv::Mat adapted(size, CV_32FC3);
    compute_cat(normalized, adapted);
    normalized.release();
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
    // The background is a float sum over the whole photograph's white: it belongs to the number of pixels, not of
    // colours.
    const float background = backgroundLuminanceOf(static_cast<std::int64_t>(photograph.rows) * photograph.cols);
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

LikenessCoefficients comparePhotographs(const cv::Mat& first, const cv::Mat& second, const Diagnostics& diagnostics) {
    requirePhotograph(first);
    requirePhotograph(second);
    if (diagnostics.wantsFiles()) {
        ColorCounter counter;
        const AppearanceDistributions firstDistributions = appearanceDistributions(first, counter, diagnostics);
        return compareDistributions(firstDistributions, appearanceDistributions(second, counter, diagnostics));
    }
    const auto analyze = [&diagnostics](const cv::Mat& photograph) {
        ColorCounter counter;
        return appearanceDistributions(photograph, counter, diagnostics);
    };
    auto secondDistributions = std::async(std::launch::async, [&] { return analyze(second); });
    const AppearanceDistributions firstDistributions = analyze(first);
    return compareDistributions(firstDistributions, secondDistributions.get());
}

}  // namespace likeness
