#include <likeness/color/srgb_companding.hpp>

#include "color/color_argument.hpp"
#include "numerics/parallel.hpp"
#include "numerics/transcendental_blocks.hpp"

namespace likeness {
namespace {

/// Replaces the values of a CV_32FC3 image row by row.
void mapRows(cv::Mat& image, void (*map)(const float* in, float* out, std::size_t count)) {
    const ImageWalk walk = walkOver(image);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        float* const values = image.ptr<float>(i) + 3 * first;
        map(values, values, 3 * count);
    });
}

}  // namespace

using numerics::blockSize;
using numerics::forEachBlock;
using numerics::powBlock;
using numerics::roundBlock;

// The loops below take both branches with products in place of quotients: what is a little off is settled by
// `roundBlock`, which asks the scalar functions where it could matter. Where the power is not needed its block gets the
// harmless 1.
void sRGBCompandingOfRow(const float* linear, float* encoded, std::size_t count) {
    forEachBlock(count, [&](std::size_t first, std::size_t n) {
        const float* const in = linear + first;
        double value[blockSize] = {};
        for (std::size_t i = 0; i < n; ++i) {
            value[i] = in[i] <= 0.0031308 ? 1.0 : static_cast<double>(in[i]);
        }
        powBlock(value, 0.4166666666666667, value, n);
        for (std::size_t i = 0; i < n; ++i) {
            value[i] = in[i] <= 0.0031308 ? 12.92 * static_cast<double>(in[i]) : 1.055 * value[i] - 0.055;
        }
        roundBlock(value, encoded + first, n, [in](std::size_t i) { return sRGBCompanding(in[i]); });
    });
}

void sRGBInverseCompandingOfRow(const float* encoded, float* linear, std::size_t count) {
    forEachBlock(count, [&](std::size_t first, std::size_t n) {
        const float* const in = encoded + first;
        double value[blockSize] = {};
        for (std::size_t i = 0; i < n; ++i) {
            value[i] = in[i] <= 0.04045 ? 1.0 : (static_cast<double>(in[i]) + 0.055) * (1 / 1.055);
        }
        powBlock(value, 2.4, value, n);
        for (std::size_t i = 0; i < n; ++i) {
            value[i] = in[i] <= 0.04045 ? static_cast<double>(in[i]) * (1 / 12.92) : value[i];
        }
        roundBlock(value, linear + first, n, [in](std::size_t i) { return sRGBInverseCompanding(in[i]); });
    });
}

cv::Mat linearBgrFromBgr(const cv::Mat& photograph) {
    return convertedPhotograph(photograph, [&](cv::Mat& colors) { mapRows(colors, sRGBInverseCompandingOfRow); });
}

cv::Mat bgrFromLinearBgr(const cv::Mat& linearBgr) {
    return convertedColors("linearBgr", linearBgr, [&](cv::Mat& colors) { mapRows(colors, sRGBCompandingOfRow); });
}

}  // namespace likeness
