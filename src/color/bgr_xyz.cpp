#include <likeness/color/bgr_xyz.hpp>

#include <likeness/color/pixel_matrix.hpp>
#include <likeness/color/srgb_companding.hpp>
#include <likeness/color/tristimulus.hpp>
#include "color/color_argument.hpp"
#include "color/color_matrices.hpp"
#include "color/encoded_bgr.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/parallel.hpp"
#include "numerics/transcendental_blocks.hpp"

#include <algorithm>

namespace likeness {

cv::Mat xyzFromLinearRgb() {
    cv::Mat matrix(3, 3, CV_32F);
    for (int k = 0; k < 3; ++k) {
        for (int c = 0; c < 3; ++c) {
            matrix.at<float>(k, c) = static_cast<float>(xyzFromLinearSrgb[k][c]);
        }
    }
    return matrix;
}

namespace {

/// Linearises `bgr` pixel by pixel and applies the matrix; each pixel is read before it is written. Where
/// `keepLinear`, the linear values also replace the input.
template <bool keepLinear>
void linearizeAndTransform(cv::Mat& bgr, cv::Mat& xyz, const PixelMatrix& matrix) {
    const ImageWalk walk = walkOver(bgr, xyz);
    numerics::forEachPiece(walk, numerics::pixelsInBlock, [&](int i, std::size_t first, std::size_t count) {
        float linear[numerics::blockSize] = {};
        float* const in = bgr.ptr<float>(i) + 3 * first;
        float* out = xyz.ptr<float>(i) + 3 * first;
        sRGBInverseCompandingOfRow(in, linear, 3 * count);
        if constexpr (keepLinear) {
            std::copy_n(linear, 3 * count, in);
        }
        const float* pixel = linear;
        for (std::size_t p = 0; p < count; ++p, pixel += 3, out += 3) {
            for (int k = 0; k < 3; ++k) {
                out[k] = matrix.row(k, pixel[2], pixel[1], pixel[0]);
            }
        }
    });
}

}  // namespace

void getRGBtoXYZMatrix(cv::Mat& white, cv::Mat& M) {
    requireElement("getRGBtoXYZMatrix", CV_32FC3, {{"white", white}});
    constexpr float x[3] = {0.64F, 0.3F, 0.15F};  // chromaticities of the red, green and blue primary
    constexpr float y[3] = {0.33F, 0.6F, 0.06F};
    cv::Mat primaries(3, 3, CV_32F);
    for (int p = 0; p < 3; ++p) {
        primaries.at<float>(0, p) = x[p] / y[p];
        primaries.at<float>(1, p) = 1;
        primaries.at<float>(2, p) = (1 - x[p] - y[p]) / y[p];
    }
    const cv::Mat inverse = primaries.inv();
    cv::Mat matrix(3, 3, CV_32F);
    for (int p = 0; p < 3; ++p) {
        const float scale = product(white, inverse, p);
        for (int k = 0; k < 3; ++k) {
            matrix.at<float>(k, p) = scale * primaries.at<float>(k, p);
        }
    }
    M = matrix;
}

void convertBGRtoXYZ(cv::Mat& bgr, cv::Mat& white, cv::Mat& xyz) {
    requireType("convertBGRtoXYZ", CV_32FC3, {{"bgr", bgr}});
    requireElement("convertBGRtoXYZ", CV_32FC3, {{"white", white}});
    requireRoom("convertBGRtoXYZ", bgr.size(), CV_32FC3, {{"xyz", xyz}});
    cv::Mat M;
    getRGBtoXYZMatrix(white, M);
    linearizeAndTransform<true>(bgr, xyz, PixelMatrix(M));
}

void convertXYZtoBGR(const cv::Mat& xyz, cv::Mat& white, cv::Mat& bgr) {
    requireType("convertXYZtoBGR", CV_32FC3, {{"xyz", xyz}});
    requireElement("convertXYZtoBGR", CV_32FC3, {{"white", white}});
    requireRoom("convertXYZtoBGR", xyz.size(), CV_32FC3, {{"bgr", bgr}});
    cv::Mat M;
    getRGBtoXYZMatrix(white, M);
    encodeBgr<true>(xyz, bgr, PixelMatrix(M.inv()));
}

void convertBGRToXYZDirect(cv::Mat& bgr, cv::Mat& xyz) {
    requireType("convertBGRToXYZDirect", CV_32FC3, {{"bgr", bgr}});
    requireRoom("convertBGRToXYZDirect", bgr.size(), CV_32FC3, {{"xyz", xyz}});
    linearizeAndTransform<false>(bgr, xyz, PixelMatrix(xyzFromLinearRgb()));
}

void convertXYZToBGRDirect(cv::Mat& xyz, cv::Mat& bgr) {
    requireType("convertXYZToBGRDirect", CV_32FC3, {{"xyz", xyz}});
    requireRoom("convertXYZToBGRDirect", xyz.size(), CV_32FC3, {{"bgr", bgr}});
    encodeBgr<false>(xyz, bgr, PixelMatrix(xyzFromLinearRgb().inv()));
}

cv::Mat xyzFromBgr(const cv::Mat& photograph) {
    return convertedPhotograph(photograph, [&](cv::Mat& colors) { convertBGRToXYZDirect(colors, colors); });
}

cv::Mat xyzFromBgr(const cv::Mat& photograph, const White& white) {
    cv::Mat triple = whiteTriple("white", white);
    return convertedPhotograph(photograph, [&](cv::Mat& colors) {
        cv::Mat M;
        getRGBtoXYZMatrix(triple, M);
        linearizeAndTransform<false>(colors, colors, PixelMatrix(M));
    });
}

cv::Mat bgrFromXyz(const cv::Mat& xyz) {
    return convertedColors("xyz", xyz, [&](cv::Mat& colors) { convertXYZToBGRDirect(colors, colors); });
}

cv::Mat bgrFromXyz(const cv::Mat& xyz, const White& white) {
    cv::Mat triple = whiteTriple("white", white);
    return convertedColors("xyz", xyz, [&](cv::Mat& colors) { convertXYZtoBGR(colors, triple, colors); });
}

}  // namespace likeness
