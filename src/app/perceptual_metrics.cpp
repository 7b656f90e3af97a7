#include "app/perceptual_metrics.hpp"

#include "appearance/appearance_correlates.hpp"
#include "appearance/cone_responses.hpp"
#include "appearance/viewing_conditions.hpp"
#include "numerics/image_walk.hpp"

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

}  // namespace

float backgroundLuminanceOf(std::int64_t pixels) {
    return backgroundOfUniformWhite(pixels, whiteLuminance);
}

void perceptualMetrics(cv::Mat& src, cv::Mat& Q, cv::Mat& J, cv::Mat& C, cv::Mat& M, cv::Mat& s,
                       const Diagnostics& diagnostics) {
    const std::int64_t pixels = static_cast<std::int64_t>(src.rows) * src.cols;
    perceptualMetricsBeforeBackground(src, backgroundLuminanceOf(pixels), Q, J, C, M, s, diagnostics);
}

void perceptualMetricsBeforeBackground(cv::Mat& src, float backgroundLuminance, cv::Mat& Q, cv::Mat& J, cv::Mat& C,
                                       cv::Mat& M, cv::Mat& s, const Diagnostics& diagnostics) {
    scaleTo100(src);
    const cv::Size size = src.size();
    auto [FL, n, Ncb, z] = uniformViewingConditions(size, backgroundLuminance);

    cv::Mat nl(size, CV_32FC3);
    convertSharpenedBGRtoHPE(src, nl);
    computeNonLinearities(nl, nl, FL);
    cv::Mat a(size, CV_32F);
    cv::Mat b(size, CV_32F);
    computeAB(nl, a, b);
    cv::Mat hue(size, CV_32F);
    cv::Mat eccentricity(size, CV_32F);
    computeHue(a, b, hue, eccentricity);
    cv::Mat& A = hue;  // the hue itself is not asked for: its map serves again
    const float Aw = computeLightness(nl, Ncb, z, J, A, diagnostics);
    computeBrightness(J, FL, z, Q, Aw, diagnostics);
    computeChroma(nl, a, b, J, eccentricity, Ncb, n, C, darkSurroundInduction, diagnostics);
    computeColorfulness(C, FL, M);
    computeSaturation(M, Q, s);
}

}  // namespace likeness
