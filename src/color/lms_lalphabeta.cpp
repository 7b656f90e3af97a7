#include <likeness/color/lms_lalphabeta.hpp>

#include <likeness/color/clip.hpp>
#include <likeness/color/pixel_matrix.hpp>
#include <likeness/color/srgb_companding.hpp>
#include "color/color_argument.hpp"
#include "color/encoded_bgr.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/parallel.hpp"
#include "numerics/transcendental_blocks.hpp"

#include <algorithm>
#include <cmath>

namespace likeness {
namespace {

using numerics::blockSize;
using numerics::forEachBlock;
using numerics::roundBlock;

cv::Mat lmsFromRgb() {
    // clang-format off
    return (cv::Mat_<float>(3, 3) << 0.3811, 0.5783, 0.0402,
                                     0.1967, 0.7244, 0.0782,
                                     0.0241, 0.1288, 0.8444);
    // clang-format on
}

cv::Mat rgbFromLms() {
    // clang-format off
    return (cv::Mat_<float>(3, 3) <<  4.4679, -3.5873,  0.1193,
                                     -1.2186,  2.3809, -0.1624,
                                      0.0497, -0.2439,  1.2045);
    // clang-format on
}

cv::Mat diagonal(double first, double second, double third) {
    return (cv::Mat_<float>(3, 3) << first, 0, 0, 0, second, 0, 0, 0, third);
}

cv::Mat labFromLms() {
    const cv::Mat scales = diagonal(0.57735026918, 0.40824829046, 0.70710678118);  // 1 / sqrt 3, 1 / sqrt 6, 1 / sqrt 2
    const cv::Mat axes = (cv::Mat_<float>(3, 3) << 1, 1, 1, 1, 1, -2, 1, -1, 0);
    cv::Mat M(3, 3, CV_32F);
    dotProduct(scales, axes, M);
    return M;
}

cv::Mat lmsFromLab() {
    const cv::Mat scales = diagonal(0.57735026918, 0.40824829046, 0.7071067811);
    const cv::Mat axes = (cv::Mat_<float>(3, 3) << 1, 1, 1, 1, 1, -1, 1, -2, 0);
    cv::Mat M(3, 3, CV_32F);
    dotProduct(axes, scales, M);
    return M;
}

double decimalLogarithm(float response) {
    return std::log10(static_cast<double>(response));
}

double powerOfTen(float exponent) {
    return std::pow(10.0, static_cast<double>(exponent));
}

void logarithmsOfRow(float* responses, std::size_t count) {
    constexpr float darkest = static_cast<float>(1e-6);
    double value[blockSize] = {};
    forEachBlock(count, [&](std::size_t first, std::size_t n) {
        float* const response = responses + first;
        for (std::size_t c = 0; c < n; ++c) {
            response[c] = response[c] == 0.0F ? darkest : response[c];
            value[c] = response[c];
        }
        numerics::log10Block(value, value, n);
        roundBlock(value, response, n, [response](std::size_t c) { return decimalLogarithm(response[c]); });
    });
}

void clippedPowersOfRow(float* exponents, std::size_t count) {
    double value[blockSize] = {};
    forEachBlock(count, [&](std::size_t first, std::size_t n) {
        float* const exponent = exponents + first;
        for (std::size_t c = 0; c < n; ++c) {
            value[c] = exponent[c];
        }
        numerics::exp10Block(value, value, n);
        roundBlock(value, exponent, n, [exponent](std::size_t c) { return powerOfTen(exponent[c]); });
        for (std::size_t c = 0; c < n; ++c) {
            exponent[c] = clip(exponent[c], 0.0F, 1.0F);
        }
    });
}

}  // namespace

void convertBGRtoLMS(cv::Mat& bgr, cv::Mat& lms) {
    requireType("convertBGRtoLMS", CV_32FC3, {{"bgr", bgr}});
    requireRoom("convertBGRtoLMS", bgr.size(), CV_32FC3, {{"lms", lms}});
    const PixelMatrix matrix(lmsFromRgb());
    const ImageWalk walk = walkOver(bgr, lms);
    numerics::forEachPiece(walk, numerics::pixelsInBlock, [&](int i, std::size_t first, std::size_t count) {
        float linear[blockSize] = {};
        float* const out = lms.ptr<float>(i) + 3 * first;
        sRGBInverseCompandingOfRow(bgr.ptr<float>(i) + 3 * first, linear, 3 * count);
        for (std::size_t c = 0; c < 3 * count; c += 3) {
            for (int k = 0; k < 3; ++k) {
                out[c + static_cast<std::size_t>(k)] = matrix.row(k, linear[c + 2], linear[c + 1], linear[c]);
            }
        }
        logarithmsOfRow(out, 3 * count);
    });
}

void convertLMStoLab(const cv::Mat& lms, cv::Mat& lab) {
    requireType("convertLMStoLab", CV_32FC3, {{"lms", lms}});
    requireRoom("convertLMStoLab", lms.size(), CV_32FC3, {{"lab", lab}});
    conversion(lms, lab, labFromLms(), lms.rows, lms.cols);
}

void convertLabtoLMS(const cv::Mat& lab, cv::Mat& lms) {
    requireType("convertLabtoLMS", CV_32FC3, {{"lms", lms}});
    requireRoom("convertLabtoLMS", lms.size(), CV_32FC3, {{"lab", lab}});
    conversion(lab, lms, lmsFromLab(), lms.rows, lms.cols);
    const ImageWalk walk = walkOver(lms);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        clippedPowersOfRow(lms.ptr<float>(i) + 3 * first, 3 * count);
    });
}

void convertLMStoBGR(const cv::Mat& lms, cv::Mat& bgr) {
    requireType("convertLMStoBGR", CV_32FC3, {{"bgr", bgr}});
    requireRoom("convertLMStoBGR", bgr.size(), CV_32FC3, {{"lms", lms}});
    encodeBgr<false>(lms(cv::Rect(0, 0, bgr.cols, bgr.rows)), bgr, PixelMatrix(rgbFromLms()));
}

cv::Mat logLmsFromBgr(const cv::Mat& photograph) {
    return convertedPhotograph(photograph, [&](cv::Mat& colors) { convertBGRtoLMS(colors, colors); });
}

cv::Mat lalphabetaFromBgr(const cv::Mat& photograph) {
    return convertedPhotograph(photograph, [](cv::Mat& colors) {
        convertBGRtoLMS(colors, colors);
        convertLMStoLab(colors, colors);
    });
}

cv::Mat bgrFromLalphabeta(const cv::Mat& lalphabeta) {
    return convertedColors("lalphabeta", lalphabeta, [&](cv::Mat& colors) {
        convertLabtoLMS(colors, colors);
        convertLMStoBGR(colors, colors);
    });
}

cv::Mat bgrFromLogLms(const cv::Mat& logLms) {
    return convertedColors("logLms", logLms, [&](cv::Mat& colors) {
        convertLMStoLab(colors, colors);
        convertLabtoLMS(colors, colors);
        convertLMStoBGR(colors, colors);
    });
}

}  // namespace likeness
