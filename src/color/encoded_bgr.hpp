// From a linear colour space to gamma-encoded B, G, R, in one walk over the image.
#pragma once

#include <likeness/color/clip.hpp>
#include <likeness/color/pixel_matrix.hpp>
#include <likeness/color/srgb_companding.hpp>
#include "numerics/parallel.hpp"
#include "numerics/transcendental_blocks.hpp"

#include <opencv2/core.hpp>

#include <algorithm>

namespace likeness {

/// Applies `rgbFromLinear` to the channels of each pixel of `linear` in their order, encodes the results and stores
/// them in B, G, R order; where `clipped`, in [0, 1], NaN as 0. `bgr` may be `linear`.
template <bool clipped>
void encodeBgr(const cv::Mat& linear, cv::Mat& bgr, const PixelMatrix& rgbFromLinear) {
    const ImageWalk walk = walkOver(linear, bgr);
    numerics::forEachPiece(walk, numerics::pixelsInBlock, [&](int i, std::size_t first, std::size_t pixels) {
        float block[numerics::blockSize] = {};
        const float* const in = linear.ptr<float>(i) + 3 * first;
        float* const out = bgr.ptr<float>(i) + 3 * first;
        const std::size_t count = 3 * pixels;
        for (std::size_t c = 0; c < count; c += 3) {
            block[c + 2] = rgbFromLinear.row(0, in[c], in[c + 1], in[c + 2]);
            block[c + 1] = rgbFromLinear.row(1, in[c], in[c + 1], in[c + 2]);
            block[c] = rgbFromLinear.row(2, in[c], in[c + 1], in[c + 2]);
        }
        sRGBCompandingOfRow(block, out, count);
        if constexpr (clipped) {
            for (std::size_t c = 0; c < count; ++c) {
                out[c] = clip(out[c], 0.0F, 1.0F);
            }
        }
    });
}

}  // namespace likeness
