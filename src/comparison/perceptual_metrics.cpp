#include <likeness/comparison/perceptual_metrics.hpp>

#include <likeness/appearance/appearance_correlates.hpp>
#include <likeness/appearance/cone_responses.hpp>
#include <likeness/appearance/viewing_conditions.hpp>
#include <likeness/color/pixel_matrix.hpp>
#include <likeness/color/srgb_companding.hpp>
#include "adaptation/adaptation_steps.hpp"
#include "appearance/correlate_kernels.hpp"
#include "color/color_matrices.hpp"
#include "comparison/white_response.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/image_walk.hpp"

#include <algorithm>
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

/// Compressed cone responses rho, gamma, beta of an image, which is left multiplied by 100.
cv::Mat compressedResponses(cv::Mat& src, cv::Mat& FL) {
    scaleTo100(src);
    cv::Mat nl(src.size(), CV_32FC3);
    convertSharpenedBGRtoHPE(src, nl);
    computeNonLinearities(nl, nl, FL);
    return nl;
}

/// The lightness beside a white of this response.
void lightnessBesideWhite(const cv::Mat& A, float whiteResponse, const cv::Mat& z, cv::Mat& J) {
    const ImageWalk walk = walkOver(A, z, J);
    for (int i = 0; i < walk.rows; ++i) {
        const float* const achromatic = A.ptr<float>(i);
        const float* const exponent = z.ptr<float>(i);
        float* const lightness = J.ptr<float>(i);
        for (int j = 0; j < walk.cols; ++j) {
            lightness[j] = kernels::lightness(achromatic[j], whiteResponse, exponent[j]);
        }
    }
}

/// @param maps   allocated, all six
/// @param A      allocated; the memory of the hue's map where the hue is not asked for: it is needed before A is made
/// @param white  response of the white; null for the greatest of the image
/// @return       response of the white
float computeCorrelates(cv::Mat& src, float backgroundLuminance, AppearanceMaps& maps, cv::Mat& A,
                        const Diagnostics& diagnostics, const float* white = nullptr) {
    const cv::Size size = src.size();
    auto [FL, n, Ncb, z] = uniformViewingConditions(size, backgroundLuminance);

    cv::Mat nl = compressedResponses(src, FL);
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

/// The comparison's own model, one colour after the other.
class OneColor {
public:
    /// Compressed rho, gamma, beta of gamma-encoded B, G, R that are their own white.
    cv::Vec3f responsesTo(const cv::Vec3f& bgr) const {
        const float linear[] = {sRGBInverseCompanding(bgr[2]), sRGBInverseCompanding(bgr[1]),
                                sRGBInverseCompanding(bgr[0])};
        const cv::Vec3f xyz = times(xyzFromLinear_, linear[0], linear[1], linear[2]);
        const cv::Vec3f rgb = times(sharpenedFromXyz_, xyz[0], xyz[1], xyz[2]);
        cv::Vec3f adapted;
        for (int c = 0; c < 3; ++c) {
            const auto target = static_cast<double>(d65_.degreeTimesWhite[2 - c]);  // in the order B, G, R
            adapted[c] = factorToD65(rgb[c], target, d65_.degree) * rgb[c] * 100.0F;
        }
        cv::Vec3f responses = times(hpeFromSharpened_, adapted[0], adapted[1], adapted[2]);
        for (float& response : responses.val) {
            const double power = std::pow(kernels::compressionBase(response, FL_), kernels::compressionExponent);
            response = kernels::compressed(static_cast<float>(power));
        }
        return responses;
    }

    float achromatic(const cv::Vec3f& responses) const {
        return kernels::achromatic(responses[0], responses[1], responses[2], Ncb_);
    }

    Correlates correlatesOf(const cv::Vec3f& responses, float whiteResponse) const {
        const auto [rho, gamma, beta] = responses.val;
        const float a = kernels::redGreen(rho, gamma, beta);
        const float b = kernels::yellowBlue(rho, gamma, beta);
        const auto hue = static_cast<float>(kernels::hueDegrees(b, a));
        const auto eccentricity = static_cast<float>(kernels::eccentricity(hue));
        const float J = kernels::lightness(achromatic(responses), whiteResponse, z_);
        const float Q = kernels::brightness(J, whiteResponse, levelRoot_);
        const float t = kernels::magnitude(rho, gamma, beta, a, b, eccentricity, Ncb_, darkSurroundInduction);
        const auto C = static_cast<float>(kernels::chroma(std::pow(static_cast<double>(t), kernels::magnitudeExponent),
                                                          kernels::rootOfLightness(J), background_));
        const float M = kernels::colorfulness(C, levelRoot_);
        const double angle = hue;
        return {J, Q, C, M, kernels::saturation(M, Q), angle < 0 ? angle + 360 : angle, hueQuadratureOf(angle)};
    }

private:
    static cv::Vec3f times(const PixelMatrix& matrix, float first, float second, float third) {
        return {matrix.row(0, first, second, third), matrix.row(1, first, second, third),
                matrix.row(2, first, second, third)};
    }

    PixelMatrix xyzFromLinear_{xyzFromLinearRgb()};
    PixelMatrix sharpenedFromXyz_{sharpenedRgbFromXyz()};
    PixelMatrix hpeFromSharpened_{hpeFromSharpenedRgb()};
    D65Adaptation d65_ = d65Adaptation();
    float backgroundLuminance_ = backgroundLuminanceOf(1);
    float FL_ = computeFl(adaptingLuminance);
    float Ncb_ = computeNcb(backgroundLuminance_, whiteLuminance);
    float z_ = computeZ(backgroundLuminance_, whiteLuminance);
    double levelRoot_ = luminanceLevelRoot(FL_);
    double background_ = chromaOfBackground(computeN(backgroundLuminance_, whiteLuminance));
};

AppearanceMaps mapsOf(const cv::Size& size) {
    const auto map = [&size] { return cv::Mat(size, CV_32F); };
    return {{map(), map(), map(), map(), map()}, map()};
}

}  // namespace

float backgroundLuminanceOf(std::int64_t pixels) {
    return backgroundOfUniformWhite(pixels, whiteLuminance);
}

Correlates appearanceOf(const cv::Vec3f& bgr) {
    static const OneColor model;
    const cv::Vec3f responses = model.responsesTo(bgr);
    const float white = std::max(model.achromatic(model.responsesTo({1, 1, 1})), model.achromatic(responses));
    return model.correlatesOf(responses, white);
}

void perceptualMetrics(cv::Mat& src, cv::Mat& Q, cv::Mat& J, cv::Mat& C, cv::Mat& M, cv::Mat& s,
                       const Diagnostics& diagnostics) {
    requireType("perceptualMetrics", CV_32FC3, {{"src", src}});
    requireRoom("perceptualMetrics", src.size(), CV_32F, {{"Q", Q}, {"J", J}, {"C", C}, {"M", M}, {"s", s}});
    const std::int64_t pixels = static_cast<std::int64_t>(src.rows) * src.cols;
    perceptualMetricsUnderBackground(src, backgroundLuminanceOf(pixels), Q, J, C, M, s, diagnostics);
}

void perceptualMetricsUnderBackground(cv::Mat& src, float backgroundLuminance, cv::Mat& Q, cv::Mat& J, cv::Mat& C,
                                      cv::Mat& M, cv::Mat& s, const Diagnostics& diagnostics) {
    requireType("perceptualMetricsUnderBackground", CV_32FC3, {{"src", src}});
    requireRoom("perceptualMetricsUnderBackground", src.size(), CV_32F,
                {{"Q", Q}, {"J", J}, {"C", C}, {"M", M}, {"s", s}});
    cv::Mat hue(src.size(), CV_32F);
    const cv::Rect used(cv::Point(), src.size());
    AppearanceMaps maps{{Q(used), J(used), C(used), M(used), s(used)}, hue};
    computeCorrelates(src, backgroundLuminance, maps, hue, diagnostics);  // the hue is not asked for: its map serves A
}

AppearanceMaps appearanceMapsUnderBackground(cv::Mat& src, float backgroundLuminance, const Diagnostics& diagnostics) {
    requireType("appearanceMapsUnderBackground", CV_32FC3, {{"src", src}});
    AppearanceMaps maps = mapsOf(src.size());
    cv::Mat A(src.size(), CV_32F);
    computeCorrelates(src, backgroundLuminance, maps, A, diagnostics);
    return maps;
}

float greatestAchromaticResponse(cv::Mat& src, float backgroundLuminance) {
    auto [FL, n, Ncb, z] = uniformViewingConditions(src.size(), backgroundLuminance);
    const cv::Mat nl = compressedResponses(src, FL);
    const ImageWalk walk = walkOver(nl, Ncb);
    float greatest = 0;
    for (int i = 0; i < walk.rows; ++i) {
        const float* response = nl.ptr<float>(i);
        const float* const induction = Ncb.ptr<float>(i);
        for (int j = 0; j < walk.cols; ++j, response += 3) {
            const float achromatic = kernels::achromatic(response[0], response[1], response[2], induction[j]);
            greatest = achromatic > greatest ? achromatic : greatest;
        }
    }
    return greatest;
}

AppearanceMaps appearanceMapsBesideWhite(cv::Mat& src, float backgroundLuminance, float whiteResponse) {
    AppearanceMaps maps = mapsOf(src.size());
    cv::Mat A(src.size(), CV_32F);
    computeCorrelates(src, backgroundLuminance, maps, A, dropAll(), &whiteResponse);
    return maps;
}

}  // namespace likeness
