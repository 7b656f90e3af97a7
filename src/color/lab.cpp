#include <likeness/color/lab.hpp>

#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/pixel_matrix.hpp>
#include <likeness/color/srgb_companding.hpp>
#include "color/color_argument.hpp"
#include "color/photograph_argument.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/parallel.hpp"
#include "numerics/transcendental_blocks.hpp"

#include <algorithm>
#include <cmath>

namespace likeness {
namespace {

using numerics::blockSize;
using numerics::roundBlock;

constexpr double knee = 0.008856;  // with the slope: departure 23
constexpr double slope = 903.3;
constexpr double oneThird = 0.3333333333333333;

/// The curve up to the knee.
double line(float t) {
    return (t * slope + 16.0) / 116.0;
}

double compressed(float t) {
    return t > knee ? std::pow(static_cast<double>(t), oneThird) : line(t);
}

/// Ratio to the white for a value f of the curve.
float expanded(float f) {
    const float cube = f * f * f;
    const auto line = static_cast<float>(static_cast<double>(116 * f - 16) / slope);
    return cube > knee ? cube : line;
}

/// `compressed` of each X, Y, Z over that of the white, for `count` values.
void compressBlock(const float* xyz, const cv::Vec3f& white, float* f, std::size_t count) {
    float ratio[blockSize];
    double value[blockSize] = {};
    for (std::size_t c = 0; c < count; c += 3) {
        for (std::size_t k = 0; k < 3; ++k) {
            ratio[c + k] = xyz[c + k] / white[static_cast<int>(k)];
        }
    }
    for (std::size_t c = 0; c < count; ++c) {
        value[c] = ratio[c] > knee ? static_cast<double>(ratio[c]) : 1.0;  // the power is not needed below the knee
    }
    numerics::powBlock(value, oneThird, value, count);
    for (std::size_t c = 0; c < count; ++c) {
        value[c] = ratio[c] > knee ? value[c] : line(ratio[c]);
    }
    roundBlock(value, f, count, [&ratio](std::size_t c) { return compressed(ratio[c]); });
}

/// X, Y, Z under `white` of `count` pixels of L*, a*, b*; each is read before it is written.
void xyzOfBlock(const float* lab, const cv::Vec3f& white, float* xyz, std::size_t count) {
    constexpr double kneeLightness = 7.9996247999999985;  // knee * slope
    float lightness[blockSize];
    float fx[blockSize];
    float fy[blockSize];
    float fz[blockSize];
    for (std::size_t j = 0; j < count; ++j) {
        lightness[j] = lab[3 * j];
        fy[j] = (16.0F + lightness[j]) / 116.0F;
        fx[j] = lab[3 * j + 1] / 500.0F + fy[j];
        fz[j] = fy[j] - lab[3 * j + 2] / 200.0F;
    }
    for (std::size_t j = 0; j < count; ++j) {
        fx[j] = expanded(fx[j]);
        fz[j] = expanded(fz[j]);
    }
    for (std::size_t j = 0; j < count; ++j) {
        const float yr =
            lightness[j] > kneeLightness ? fy[j] * fy[j] * fy[j] : static_cast<float>(lightness[j] / slope);
        xyz[3 * j] = white[0] * fx[j];
        xyz[3 * j + 1] = white[1] * yr;
        xyz[3 * j + 2] = white[2] * fz[j];
    }
}

/// `bgr` is left holding its linearised values unless it is also `lab`.
void bgrToLab(cv::Mat& bgr, cv::Mat& white, cv::Mat& lab) {
    convertBGRtoXYZ(bgr, white, lab);
    const auto& w = white.at<cv::Vec3f>(0, 0);
    const ImageWalk walk = walkOver(bgr, lab);
    numerics::forEachPiece(walk, numerics::pixelsInBlock, [&](int i, std::size_t first, std::size_t pixels) {
        float f[blockSize] = {};
        float* const values = lab.ptr<float>(i) + 3 * first;
        const std::size_t count = 3 * pixels;
        compressBlock(values, w, f, count);
        for (std::size_t c = 0; c < count; c += 3) {
            const float fx = f[c];
            const float fy = f[c + 1];
            const float fz = f[c + 2];
            values[c] = 116.0F * fy - 16.0F;
            values[c + 1] = (fx - fy) * 500.0F;
            values[c + 2] = (fy - fz) * 200.0F;
        }
    });
}

void labToBgr(const cv::Mat& lab, cv::Mat& white, cv::Mat& bgr) {
    const auto& w = white.at<cv::Vec3f>(0, 0);
    cv::Mat& xyz = bgr;
    const ImageWalk walk = walkOver(lab, xyz);
    numerics::forEachPiece(walk, blockSize, [&](int i, std::size_t first, std::size_t count) {
        xyzOfBlock(lab.ptr<float>(i) + 3 * first, w, xyz.ptr<float>(i) + 3 * first, count);
    });
    convertXYZtoBGR(xyz, white, bgr);
}

}  // namespace

void adaptXYZToNewWhitePoint(cv::Mat& white, const cv::Mat& bgrWhite) {
    requireElement("adaptXYZToNewWhitePoint", CV_32FC3, {{"white", white}, {"bgrWhite", bgrWhite}});
    // clang-format off
    const cv::Mat primaries = (cv::Mat_<float>(3, 3) << 0.64,   0.3,    0.15,
                                                        0.33,   0.6,    0.06,
                                                        0.2126, 0.7152, 0.0722);
    // clang-format on
    const cv::Mat d50(1, 1, CV_32FC3, cv::Scalar(0.9642, 1.0, 0.8249));
    const cv::Mat inverse = primaries.inv();
    cv::Mat scales = cv::Mat::zeros(3, 3, CV_32F);
    for (int k = 0; k < 3; ++k) {
        scales.at<float>(k, k) = product(d50, inverse, k);
    }
    cv::Mat M(3, 3, CV_32F);
    dotProduct(primaries, scales, M);
    const PixelMatrix matrix(M);
    const auto& encoded = bgrWhite.at<cv::Vec3f>(0, 0);
    const float b = sRGBInverseCompanding(encoded[0]);
    const float g = sRGBInverseCompanding(encoded[1]);
    const float r = sRGBInverseCompanding(encoded[2]);
    white.at<cv::Vec3f>(0, 0) = {matrix.row(0, r, g, b), matrix.row(1, r, g, b), matrix.row(2, r, g, b)};
}

void convertBGRToLab(cv::Mat& bgr, cv::Mat& bgrWhite, cv::Mat& lab) {
    requireType("convertBGRToLab", CV_32FC3, {{"bgr", bgr}});
    requireElement("convertBGRToLab", CV_32FC3, {{"bgrWhite", bgrWhite}});
    requireRoom("convertBGRToLab", bgr.size(), CV_32FC3, {{"lab", lab}});
    cv::Mat white(1, 1, CV_32FC3);
    adaptXYZToNewWhitePoint(white, bgrWhite);
    bgrToLab(bgr, white, lab);
}

void convertLabToBGR(const cv::Mat& lab, const cv::Mat& bgrWhite, cv::Mat& bgr) {
    requireType("convertLabToBGR", CV_32FC3, {{"lab", lab}});
    requireElement("convertLabToBGR", CV_32FC3, {{"bgrWhite", bgrWhite}});
    requireRoom("convertLabToBGR", lab.size(), CV_32FC3, {{"bgr", bgr}});
    cv::Mat white(1, 1, CV_32FC3);
    adaptXYZToNewWhitePoint(white, bgrWhite);
    labToBgr(lab, white, bgr);
}

White labWhiteFromBgr(const cv::Vec3d& bgr) {
    if (!cv::checkRange(cv::Mat(bgr))) {
        refuseArgument("bgr", "the components of a white must be finite");
    }
    cv::Mat white(1, 1, CV_32FC3);
    adaptXYZToNewWhitePoint(white, cv::Mat(1, 1, CV_32FC3, cv::Scalar(bgr[0], bgr[1], bgr[2])));
    return {cv::Vec3d(white.at<cv::Vec3f>(0, 0))};
}

cv::Mat labFromBgr(const cv::Mat& photograph, const White& white) {
    cv::Mat triple = whiteTriple("white", white);
    return convertedPhotograph(photograph, [&](cv::Mat& colors) { bgrToLab(colors, triple, colors); });
}

cv::Mat bgrFromLab(const cv::Mat& lab, const White& white) {
    cv::Mat triple = whiteTriple("white", white);
    return convertedColors("lab", lab, [&](cv::Mat& colors) { labToBgr(colors, triple, colors); });
}

}  // namespace likeness
