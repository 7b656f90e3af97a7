#include <likeness/exposure/durand_tone_mapping.hpp>

#include "numerics/argument_check.hpp"
#include "numerics/parallel.hpp"
#include "numerics/transcendental_blocks.hpp"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace likeness {
namespace {

constexpr float leastLuminance = 1e-4F;  // keeps the logarithm finite

cv::Mat normalized(const cv::Mat& radiance) {
    double least = 0;
    double greatest = 0;
    cv::minMaxLoc(radiance.reshape(1), &least, &greatest);
    cv::Mat result(radiance.size(), CV_32FC3);
    const double range = greatest - least;
    if (!(range > std::numeric_limits<double>::epsilon())) {
        radiance.copyTo(result);
        return result;
    }
    const ImageWalk walk = walkOver(radiance, result);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        const float* const in = radiance.ptr<float>(i) + 3 * first;
        float* const out = result.ptr<float>(i) + 3 * first;
        for (std::size_t e = 0; e < 3 * count; ++e) {
            out[e] = static_cast<float>((in[e] - least) / range);
        }
    });
    return result;
}

/// Raises every value to `exponent`.
void raise(cv::Mat& image, float exponent) {
    const ImageWalk walk = walkOver(image);
    numerics::forEachPiece(walk, numerics::pixelsInBlock, [&](int i, std::size_t first, std::size_t pixels) {
        double powers[numerics::blockSize] = {};
        float* const value = image.ptr<float>(i) + 3 * first;
        const std::size_t count = 3 * pixels;
        std::copy_n(value, count, powers);
        numerics::powBlock(powers, exponent, powers, count);
        numerics::roundBlock(powers, value, count, [&](std::size_t e) {
            return std::pow(static_cast<double>(value[e]), static_cast<double>(exponent));
        });
    });
}

}  // namespace

void toneMapDurand(const cv::Mat& radiance, cv::Mat& toneMapped, const DurandToneMapping& parameters) {
    requireElement("toneMapDurand", CV_32FC3, {{"radiance", radiance}});
    cv::Mat image = normalized(radiance);
    cv::Mat luminance;
    cv::cvtColor(image, luminance, cv::COLOR_RGB2GRAY);  // departure 16

    cv::Mat logLuminance(luminance.size(), CV_32F);
    const ImageWalk walk = walkOver(luminance, logLuminance);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        const float* const value = luminance.ptr<float>(i) + first;
        float* const logarithm = logLuminance.ptr<float>(i) + first;
        for (std::size_t j = 0; j < count; ++j) {
            logarithm[j] = static_cast<float>(std::log(static_cast<double>(std::max(value[j], leastLuminance))));
        }
    });
    cv::Mat base;
    cv::bilateralFilter(logLuminance, base, -1, static_cast<double>(parameters.colorSigma),
                        static_cast<double>(parameters.spaceSigma));
    double least = 0;
    double greatest = 0;
    cv::minMaxLoc(base, &least, &greatest);
    const float scale = parameters.contrast / static_cast<float>(greatest - least);

    numerics::forEachPiece(walkOver(image, luminance, logLuminance, base), numerics::pixelsInPiece,
                           [&](int i, std::size_t first, std::size_t count) {
                               float* pixel = image.ptr<float>(i) + 3 * first;
                               const float* const old = luminance.ptr<float>(i) + first;
                               const float* const logarithm = logLuminance.ptr<float>(i) + first;
                               const float* const smooth = base.ptr<float>(i) + first;
                               for (std::size_t j = 0; j < count; ++j, pixel += 3) {
                                   const float exponent = smooth[j] * (scale - 1.0F) + logarithm[j];
                                   const auto mapped = static_cast<float>(std::exp(static_cast<double>(exponent)));
                                   for (int c = 0; c < 3; ++c) {
                                       const float ratio = old[j] == 0 ? 0.0F : pixel[c] / old[j];
                                       const float saturated =
                                           parameters.saturation == 1 ? ratio : std::pow(ratio, parameters.saturation);
                                       pixel[c] = saturated * mapped;
                                   }
                               }
                           });
    raise(image, 1.0F / parameters.gamma);
    toneMapped = image;
}

}  // namespace likeness
