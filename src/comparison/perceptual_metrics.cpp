#include <likeness/comparison/perceptual_metrics.hpp>

#include <likeness/appearance/appearance_correlates.hpp>
#include <likeness/appearance/cone_responses.hpp>
#include <likeness/appearance/viewing_conditions.hpp>
#include "comparison/white_response.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/image_walk.hpp"

#include <cmath>

namespace likeness {
namespace {

void scaleTo100(cv::Mat& image) {
    const ImageWalk walk = walkOver(image);
    for (int i = 0; i < walk.rows; ++i) {
        float* const values = image.ptr<float>(i);
        for (std::size_t c = 0; c < 3 * static_cast<std::size_t>(walk.cols); ++c) {
            values[c] *= 100.0F;
        }
    }
}

/// The lightness beside a white of this response.
void lightnessBesideWhite(const cv::Mat& A, float whiteResponse, const cv::Mat& z, cv::Mat& J) {
    const ImageWalk walk = walkOver(A, z, J);
    for (int i = 0; i < walk.rows; ++i) {
        const float* const achromatic = A.ptr<float>(i);
        const float* const exponent = z.ptr<float>(i);
        float* const lightness = J.ptr<float>(i);
        for (int j = 0; j < walk.cols; ++j) {
            lightness[j] = 100.0F * std::pow(achromatic[j] / whiteResponse, exponent[j] * darkSurroundImpact);
        }
    }
}

/// @param maps   allocated, all six
/// @param A      allocated; the memory of the hue's map where the hue is not asked for: it is needed before A is made
/// @param white  response of the white; null for the greatest of the image
/// @return       response of the white
float computeCorrelates(cv::Mat& src, float backgroundLuminance, AppearanceMaps& maps, cv::Mat& A,
                        const Diagnostics& diagnostics, const float* white = nullptr) {
    scaleTo100(src);
    const cv::Size size = src.size();
    auto [FL, n, Ncb, z] = uniformViewingConditions(size, backgroundLuminance);

    cv::Mat nl(size, CV_32FC3);
    convertSharpenedBGRtoHPE(src, nl);
    computeNonLinearities(nl, nl, FL);
    cv::Mat a(size, CV_32F);
    cv::Mat b(size, CV_32F);
    computeAB(nl, a, b);
    cv::Mat eccentricity(size, CV_32F);
    computeHue(a, b, maps.hueDegrees, eccentricity);
    float Aw = computeLightness(nl, Ncb, z, maps.lightness, A, diagnostics);
    if (white != nullptr) {
        Aw = *white;
        lightnessBesideWhite(A, Aw, z, maps.lightness);
    }
    computeBrightness(maps.lightness, FL, z, maps.brightness, Aw, diagnostics);
    computeChroma(nl, a, b, maps.lightness, eccentricity, Ncb, n, maps.chroma, darkSurroundInduction, diagnostics);
    computeColorfulness(maps.chroma, FL, maps.colorfulness);
    computeSaturation(maps.colorfulness, maps.brightness, maps.saturation);
    return Aw;
}

AppearanceMaps mapsOf(const cv::Size& size) {
    const auto map = [&size] { return cv::Mat(size, CV_32F); };
    return {{map(), map(), map(), map(), map()}, map()};
}

}  // namespace

float backgroundLuminanceOf(std::int64_t pixels) {
    return backgroundOfUniformWhite(pixels, whiteLuminance);
}

void perceptualMetrics(cv::Mat& src, cv::Mat& Q, cv::Mat& J, cv::Mat& C, cv::Mat& M, cv::Mat& s,
                       const Diagnostics& diagnostics) {
    requireType("perceptualMetrics", CV_32FC3, {{"src", src}});
    requireRoom("perceptualMetrics", src.size(), CV_32F, {{"Q", Q}, {"J", J}, {"C", C}, {"M", M}, {"s", s}});
    const std::int64_t pixels = static_cast<std::int64_t>(src.rows) * src.cols;
    perceptualMetricsBeforeBackground(src, backgroundLuminanceOf(pixels), Q, J, C, M, s, diagnostics);
}

void perceptualMetricsBeforeBackground(cv::Mat& src, float backgroundLuminance, cv::Mat& Q, cv::Mat& J, cv::Mat& C,
                                       cv::Mat& M, cv::Mat& s, const Diagnostics& diagnostics) {
    requireType("perceptualMetricsBeforeBackground", CV_32FC3, {{"src", src}});
    requireRoom("perceptualMetricsBeforeBackground", src.size(), CV_32F,
                {{"Q", Q}, {"J", J}, {"C", C}, {"M", M}, {"s", s}});
    cv::Mat hue(src.size(), CV_32F);
    const cv::Rect used(cv::Point(), src.size());
    AppearanceMaps maps{{Q(used), J(used), C(used), M(used), s(used)}, hue};
    computeCorrelates(src, backgroundLuminance, maps, hue, diagnostics);  // the hue is not asked for: its map serves A
}

AppearanceMaps appearanceMapsBeforeBackground(cv::Mat& src, float backgroundLuminance, const Diagnostics& diagnostics) {
    requireType("appearanceMapsBeforeBackground", CV_32FC3, {{"src", src}});
    AppearanceMaps maps = mapsOf(src.size());
    cv::Mat A(src.size(), CV_32F);
    computeCorrelates(src, backgroundLuminance, maps, A, diagnostics);
    return maps;
}

float greatestAchromaticResponse(cv::Mat& src, float backgroundLuminance) {
    AppearanceMaps maps = mapsOf(src.size());
    cv::Mat A(src.size(), CV_32F);
    return computeCorrelates(src, backgroundLuminance, maps, A, dropAll());
}

AppearanceMaps appearanceMapsBesideWhite(cv::Mat& src, float backgroundLuminance, float whiteResponse) {
    AppearanceMaps maps = mapsOf(src.size());
    cv::Mat A(src.size(), CV_32F);
    computeCorrelates(src, backgroundLuminance, maps, A, dropAll(), &whiteResponse);
    return maps;
}

}  // namespace likeness
