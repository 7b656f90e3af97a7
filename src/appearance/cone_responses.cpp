#include <likeness/appearance/cone_responses.hpp>

#include <likeness/color/pixel_matrix.hpp>
#include "appearance/correlate_kernels.hpp"
#include "color/cone_matrices.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/parallel.hpp"
#include "numerics/transcendental_blocks.hpp"

#include <algorithm>
#include <cmath>

namespace likeness {

cv::Mat hpeFromSharpenedRgb() {
    // clang-format off
    const cv::Mat xyzFromSharpened = (cv::Mat_<float>(3, 3) <<  1.096124, -0.278869, 0.182745,
                                                                0.454369,  0.473533, 0.072098,
                                                               -0.009628, -0.005698, 1.015326);
    // clang-format on
    cv::Mat hpeFromSharpened(3, 3, CV_32F);
    dotProduct(floatMatrix(hpeFromXyz), xyzFromSharpened, hpeFromSharpened);
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
    const ImageWalk walk = walkOver(hpe, nl, FL);
    numerics::forEachPiece(walk, numerics::pixelsInBlock, [&](int i, std::size_t first, std::size_t count) {
        double base[numerics::blockSize] = {};
        double power[numerics::blockSize] = {};
        float t[numerics::blockSize] = {};
        const float* const response = hpe.ptr<float>(i) + 3 * first;
        const float* const level = FL.ptr<float>(i) + first;
        float* const compressed = nl.ptr<float>(i) + 3 * first;
        for (std::size_t p = 0; p < count; ++p) {
            for (std::size_t c = 0; c < 3; ++c) {
                base[3 * p + c] = kernels::compressionBase(response[3 * p + c], level[p]);
            }
        }
        numerics::powBlock(base, kernels::compressionExponent, power, 3 * count);
        numerics::roundBlock(power, t, 3 * count,
                             [&base](std::size_t e) { return std::pow(base[e], kernels::compressionExponent); });
        for (std::size_t e = 0; e < 3 * count; ++e) {
            compressed[e] = kernels::compressed(t[e]);
        }
    });
}

}  // namespace likeness
