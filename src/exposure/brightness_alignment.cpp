#include <likeness/exposure/brightness_alignment.hpp>

#include <likeness/transport/image_statistics.hpp>
#include "color/image_library_lab.hpp"
#include "color/photograph_argument.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/image_walk.hpp"

#include <algorithm>
#include <cmath>

namespace likeness {
namespace {

struct RunningSum {
    float sum = 0;
    int count = 0;
};

/// Sums term(value) over the values that are not NaN.
template <typename Term>
RunningSum sumOver(const cv::Mat& plane, Term term) {
    RunningSum result;
    const ImageWalk walk = walkOver(plane);
    for (int i = 0; i < walk.rows; ++i) {
        const float* const value = plane.ptr<float>(i);
        for (int j = 0; j < walk.cols; ++j) {
            if (!std::isnan(value[j])) {
                result.sum += term(value[j]);
                ++result.count;
            }
        }
    }
    return result;
}

LightnessStatistics statisticsOfLab(const cv::Mat& lab, const Diagnostics& diagnostics) {
    cv::Mat plane;
    cv::extractChannel(lab, plane, 0);
    LightnessStatistics lightness{computeMean(plane, diagnostics), 0};
    lightness.deviation = computeStdDev(plane, lightness.mean);
    return lightness;
}

cv::Mat labOf(const cv::Mat& bgr) {
    cv::Mat lab;
    labByImageLibrary(bgr, lab);
    return lab;
}

/// Of the pixels that count.
LightnessStatistics statisticsOfPart(const cv::Mat& lab, const PixelWeights& weights, const Diagnostics& diagnostics) {
    if (weights.areBinary()) {
        return statisticsOfLab(weights.countedOf(lab), diagnostics);
    }
    const cv::Mat counted = weights.countedOf(lab);
    const cv::Mat map = weights.countedOf(weights.map());
    const auto* const pixels = counted.ptr<cv::Vec3f>(0);
    const auto* const weight = map.ptr<ushort>(0);
    const auto meanOf = [&](auto term) {
        double sum = 0;
        double all = 0;
        for (int j = 0; j < counted.cols; ++j) {
            if (!std::isnan(pixels[j][0])) {
                sum += weight[j] * term(static_cast<double>(pixels[j][0]));
                all += weight[j];
            }
        }
        return all > 0 ? sum / all : 0;
    };
    const double mean = meanOf([](double lightness) { return lightness; });
    const double variance = meanOf([mean](double lightness) { return (lightness - mean) * (lightness - mean); });
    return {static_cast<float>(mean), static_cast<float>(std::sqrt(variance))};
}

/// L* from the one mean and standard deviation to the other, in place.
/// @param lab  CV_32FC3, L*, a*, b*
void remapLightness(cv::Mat& lab, const LightnessStatistics& own, const LightnessStatistics& wanted) {
    const ImageWalk walk = walkOver(lab);
    for (int i = 0; i < walk.rows; ++i) {
        auto* const pixels = lab.ptr<cv::Vec3f>(i);
        for (int j = 0; j < walk.cols; ++j) {
            pixels[j][0] = (pixels[j][0] - own.mean) * wanted.deviation / own.deviation + wanted.mean;
        }
    }
}

/// The spread of the one is divided by that of the other: neither may be nothing.
void requireSpread(const std::string& name, const cv::Mat& image, const LightnessStatistics& lightness) {
    const cv::Vec3f first = image.at<cv::Vec3f>(0, 0);
    const cv::Mat even(image.size(), image.type(), cv::Scalar(first[0], first[1], first[2]));
    // Rounding may give a photograph of one colour a spread of its own.
    if (!(lightness.deviation > 0) || cv::norm(image, even, cv::NORM_INF) == 0) {
        throw OneLightness(name);
    }
}

}  // namespace

float computeMean(cv::Mat& plane, const Diagnostics& diagnostics) {
    return computeMean(static_cast<const cv::Mat&>(plane), diagnostics);
}

float computeStdDev(const cv::Mat& plane, float& mean) {
    requireType("computeStdDev", CV_32F, {{"plane", plane}});
    const float squareOfMean = mean * mean;
    const RunningSum values = sumOver(plane, [squareOfMean](float v) { return v * v - squareOfMean; });
    return std::sqrt(values.sum / static_cast<float>(values.count));
}

LightnessStatistics lightnessStatistics(const cv::Mat& bgr, const Diagnostics& diagnostics) {
    requireType("lightnessStatistics", CV_32FC3, {{"bgr", bgr}});
    return statisticsOfLab(labOf(bgr), diagnostics);
}

LightnessStatistics lightnessStatisticsOf(const cv::Mat& photograph) {
    return lightnessStatisticsOf(PhotographPart{photograph, {}});
}

LightnessStatistics lightnessStatisticsOf(const PhotographPart& part) {
    part.weights.require("photograph", part.photograph);
    const cv::Mat unit = unitPhotograph("photograph", part.photograph);
    requireBounded("photograph", unit);  // the image library takes NaN for white
    return statisticsOfPart(labOf(unit), part.weights, dropAll());
}

void alterNonFlashBrightness(cv::Mat& nonFlash, cv::Mat& target, cv::Mat& result, const Diagnostics& diagnostics) {
    requireElement("alterNonFlashBrightness", CV_32FC3, {{"nonFlash", nonFlash}, {"target", target}});
    labByImageLibrary(nonFlash, result);
    const LightnessStatistics own = statisticsOfLab(result, diagnostics);
    const LightnessStatistics wanted = statisticsOfLab(labOf(target), diagnostics);
    cv::Mat common = result(cv::Rect(0, 0, std::min(result.cols, target.cols), std::min(result.rows, target.rows)));
    remapLightness(common, own, wanted);
    bgrByImageLibrary(result, result);
}

LightnessMatch matchLightness(const cv::Mat& photograph, const cv::Mat& reference, const Watch& watch) {
    return matchLightness(PhotographPart{photograph, {}}, PhotographPart{reference, {}}, watch);
}

LightnessMatch matchLightness(const PhotographPart& photographPart, const PhotographPart& referencePart,
                              const Watch& watch) {
    const cv::Mat& photograph = photographPart.photograph;
    const cv::Mat& reference = referencePart.photograph;
    const PixelWeights& weights = photographPart.weights;
    const PixelWeights& referenceWeights = referencePart.weights;
    weights.require("photograph", photograph);
    referenceWeights.require("reference", reference);
    if (photograph.empty()) {
        return {};
    }
    const cv::Mat image = unitPhotograph("photograph", photograph);
    requireBounded("photograph", image);
    const cv::Mat like = unitPhotograph("reference", reference);
    requireBounded("reference", like);
    constexpr int steps = 4;
    LightnessMatch match;
    match.image = labOf(image);
    match.own = statisticsOfPart(match.image, weights, watch.receiver());
    requireSpread("photograph", weights.countedOf(image), match.own);
    watch.step(1, steps);
    match.wanted = statisticsOfPart(labOf(like), referenceWeights, watch.receiver());
    requireSpread("reference", referenceWeights.countedOf(like), match.wanted);
    watch.step(2, steps);
    remapLightness(match.image, match.own, match.wanted);
    match.clipped = clippedValuesOfLab(match.image);
    bgrByImageLibrary(match.image, match.image);
    watch.step(3, steps);
    match.reached = statisticsOfPart(labOf(match.image), weights, dropAll());
    watch.step(4, steps);
    return match;
}

}  // namespace likeness
