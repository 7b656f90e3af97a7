#include <likeness/filter/guidedfilter.hpp>
#include "filter/box_filter.hpp"
#include "numerics/parallel.hpp"
#include "transport/symmetric_map.hpp"
#include "transport/symmetric_map_avx2.hpp"

#include <algorithm>
#include <array>

namespace likeness {
namespace {

/// Planes of the elements 00, 01, 02, 11, 12, 22 of a symmetric 3 x 3 matrix of each pixel.
using SymmetricPlanes = std::array<cv::Mat, 6>;
using ColorPlanes = std::array<cv::Mat, 3>;
constexpr std::size_t rowOfElement[] = {0, 0, 0, 1, 1, 2};
constexpr std::size_t colOfElement[] = {0, 1, 2, 1, 2, 2};

template <std::size_t N>
std::array<const float*, N> rowsOf(const std::array<cv::Mat, N>& planes, int row) {
    std::array<const float*, N> pointers;
    for (std::size_t k = 0; k < N; ++k) {
        pointers[k] = planes[k].template ptr<float>(row);
    }
    return pointers;
}

SquareMatrix<3> symmetric(double m00, double m01, double m02, double m11, double m12, double m22) noexcept {
    return {{{m00, m01, m02}, {m01, m11, m12}, {m02, m12, m22}}};
}

/// Colours of the windows around each pixel.
struct LocalColors {
    ColorPlanes mean;
    SymmetricPlanes meanOfProducts;
};

LocalColors localColorsOf(const ColorPlanes& planes, int windowSide) {
    LocalColors colors;
    numerics::forEachTask(planes[0].total(), 3,
                          [&](std::size_t k) { boxfilter(planes[k], windowSide, colors.mean[k]); });
    numerics::forEachTask(planes[0].total(), 6, [&](std::size_t element) {
        cv::Mat product;
        cv::multiply(planes[rowOfElement[element]], planes[colOfElement[element]], product);
        boxfilter(product, windowSide, colors.meanOfProducts[element]);
    });
    return colors;
}

using avx2::pixelsAtOnce;
using avx2::SymmetricLanes;

/// Fills `maps` with the transport maps of `count` pixels.
void mapPixels(const SymmetricLanes& source, const SymmetricLanes& target, std::size_t count, SymmetricLanes& maps) {
    unsigned done = 0;
#ifdef __x86_64__
    static const bool vectors = __builtin_cpu_supports("avx2") != 0;
    if (vectors && count == pixelsAtOnce) {
        done = avx2::transportMaps(source, target, maps);
    }
#endif
    for (std::size_t k = 0; k < count; ++k) {
        if ((done >> k & 1U) != 0) {
            continue;
        }
        const SquareMatrix<3> map =
            transportMap(symmetric(source[0][k], source[1][k], source[2][k], source[3][k], source[4][k], source[5][k]),
                         symmetric(target[0][k], target[1][k], target[2][k], target[3][k], target[4][k], target[5][k]));
        maps[0][k] = map[0][0];
        maps[1][k] = map[0][1];
        maps[2][k] = map[0][2];
        maps[3][k] = map[1][1];
        maps[4][k] = map[1][2];
        maps[5][k] = map[2][2];
    }
}

/// Carries the guide's deviation from its local mean through the map from its local colours to the input's, pixel by
/// pixel, and adds the input's local mean. `result` is CV_32FC3.
void carryGuide(const ColorPlanes& guide, const ColorPlanes& guideMean, const SymmetricPlanes& guideCovariance,
                const LocalColors& input, cv::Mat& result) {
    // A pixel here costs some hundred times one of a light loop.
    constexpr std::size_t pixelsWorthAThread = 2048;
    const auto carryPixels = [&](int i, std::size_t first, std::size_t count) {
        const auto guideRow = rowsOf(guide, i);
        const auto guideMeanRow = rowsOf(guideMean, i);
        const auto covarianceRow = rowsOf(guideCovariance, i);
        const auto inputMeanRow = rowsOf(input.mean, i);
        const auto inputProductRow = rowsOf(input.meanOfProducts, i);
        SymmetricLanes source;
        SymmetricLanes target;
        SymmetricLanes maps;
        for (std::size_t begin = first; begin < first + count; begin += pixelsAtOnce) {
            const std::size_t pixels = std::min(pixelsAtOnce, first + count - begin);
            for (std::size_t element = 0; element < 6; ++element) {
                const float* const meanA = inputMeanRow[rowOfElement[element]];
                const float* const meanB = inputMeanRow[colOfElement[element]];
                for (std::size_t k = 0; k < pixels; ++k) {
                    const std::size_t j = begin + k;
                    source[element][k] = covarianceRow[element][j];
                    target[element][k] = inputProductRow[element][j] - meanA[j] * meanB[j];
                }
            }
            mapPixels(source, target, pixels, maps);
            float* out = result.ptr<float>(i) + 3 * begin;
            for (std::size_t k = 0; k < pixels; ++k, out += 3) {
                const std::size_t j = begin + k;
                const auto t00 = static_cast<float>(maps[0][k]);
                const auto t01 = static_cast<float>(maps[1][k]);
                const auto t02 = static_cast<float>(maps[2][k]);
                const auto t11 = static_cast<float>(maps[3][k]);
                const auto t12 = static_cast<float>(maps[4][k]);
                const auto t22 = static_cast<float>(maps[5][k]);
                const float d0 = guideRow[0][j] - guideMeanRow[0][j];
                const float d1 = guideRow[1][j] - guideMeanRow[1][j];
                const float d2 = guideRow[2][j] - guideMeanRow[2][j];
                out[0] = t00 * d0 + t01 * d1 + t02 * d2 + inputMeanRow[0][j];
                out[1] = t02 * d0 + t11 * d1 + t12 * d2 + inputMeanRow[1][j];  // t02, departure 12
                out[2] = t02 * d0 + t12 * d1 + t22 * d2 + inputMeanRow[2][j];
            }
        }
    };
    numerics::forEachPiece({result.rows, result.cols}, static_cast<std::size_t>(std::max(1, result.cols)), carryPixels,
                           pixelsWorthAThread);
}

}  // namespace

cv::Mat GuidedFilterColor::filterColorChannelsMK(const cv::Mat& p) const {
    CV_Assert(p.type() == CV_32FC3 && p.size() == cov00.size() && cov00.depth() == CV_32F);
    ColorPlanes planes;
    cv::split(p, planes.data());
    cv::Mat result(p.size(), CV_32FC3);
    carryGuide({Ichannels[0], Ichannels[1], Ichannels[2]}, {meanI0, meanI1, meanI2},
               {cov00, cov01, cov02, cov11, cov12, cov22}, localColorsOf(planes, windowSize), result);
    return result;
}

}  // namespace likeness
