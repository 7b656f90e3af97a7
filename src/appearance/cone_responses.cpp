#include <likeness/appearance/cone_responses.hpp>

#include <likeness/color/pixel_matrix.hpp>
#include "numerics/argument_check.hpp"
#include "numerics/image_walk.hpp"
#include "numerics/transcendental_blocks.hpp"

#include <algorithm>
#include <cmath>

namespace likeness {
namespace {

constexpr double compressionExponent = 0.42;

float compress(float t) {
    return static_cast<float>(static_cast<double>(400.0F * t) / (static_cast<double>(t) + 27.13) + 0.1);
}

}  // namespace

cv::Mat hpeFromSharpenedRgb() {
    // clang-format off
    const cv::Mat hpeFromXyz = (cv::Mat_<float>(3, 3) <<  0.38971, 0.68898, -0.07868,
                                                         -0.22981, 1.1834,   0.04641,
                                                          0,       0,        1);
    const cv::Mat xyzFromSharpened = (cv::Mat_<float>(3, 3) <<  1.096124, -0.278869, 0.182745,
                                                                0.454369,  0.473533, 0.072098,
                                                               -0.009628, -0.005698, 1.015326);
    // clang-format on
    cv::Mat hpeFromSharpened(3, 3, CV_32F);
    dotProduct(hpeFromXyz, xyzFromSharpened, hpeFromSharpened);
    return hpeFromSharpened;
}

void convertSharpenedBGRtoHPE(const cv::Mat& sharpenedBGR, cv::Mat& hpe) {
    requireType("convertSharpenedBGRtoHPE", CV_32FC3, {{"sharpenedBGR", sharpenedBGR}});
    requireRoom("convertSharpenedBGRtoHPE", sharpenedBGR.size(), CV_32FC3, {{"hpe", hpe}});
    cv::Mat M = hpeFromSharpenedRgb();
    multiplyImageByMatrixForward(sharpenedBGR, hpe, M);
}

void computeNonLinearities(const cv::Mat& hpe, cv::Mat& nl, cv::Mat& FL) {
    requireType("computeNonLinearities", CV_32FC3, {{"hpe", hpe}});
    requireRoom("computeNonLinearities", hpe.size(), CV_32FC3, {{"nl", nl}});
    requireRoom("computeNonLinearities", hpe.size(), CV_32F, {{"FL", FL}});
    constexpr std::size_t pixelsInBlock = numerics::blockSize / 3;
    double base[3 * pixelsInBlock];
    double power[3 * pixelsInBlock];
    float t[3 * pixelsInBlock];
    const ImageWalk walk = walkOver(hpe, nl, FL);
    const auto cols = static_cast<std::size_t>(walk.cols);
    for (int i = 0; i < walk.rows; ++i) {
        const float* response = hpe.ptr<float>(i);
        const float* level = FL.ptr<float>(i);
        float* compressed = nl.ptr<float>(i);
        for (std::size_t first = 0; first < cols; first += pixelsInBlock) {
            const std::size_t n = std::min(pixelsInBlock, cols - first);
            for (std::size_t p = 0; p < n; ++p) {
                for (std::size_t c = 0; c < 3; ++c) {
                    const float x = level[p] * response[3 * p + c];
                    base[3 * p + c] = static_cast<double>(x) / 100.0;
                }
            }
            numerics::powBlock(base, compressionExponent, power, 3 * n);
            numerics::roundBlock(power, t, 3 * n,
                                 [&base](std::size_t e) { return std::pow(base[e], compressionExponent); });
            for (std::size_t e = 0; e < 3 * n; ++e) {
                compressed[e] = compress(t[e]);
            }
            response += 3 * n;
            level += n;
            compressed += 3 * n;
        }
    }
}

}  // namespace likeness
