#include <likeness/filter/guidedfilter.hpp>
#include "filter/box_filter.hpp"
#include "numerics/parallel.hpp"
#include "transport/symmetric_map.hpp"

#include <algorithm>
#include <array>

namespace likeness {
namespace {

/// Planes of the elements 00, 01, 02, 11, 12, 22 of a symmetric 3 x 3 matrix of each pixel.
using SymmetricPlanes = std::array<cv::Mat, 6>;
using ColorPlanes = std::array<cv::Mat, 3>;

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
    constexpr std::size_t rows[] = {0, 0, 0, 1, 1, 2};
    constexpr std::size_t cols[] = {0, 1, 2, 1, 2, 2};
    numerics::forEachTask(planes[0].total(), 6, [&](std::size_t element) {
        cv::Mat product;
        cv::multiply(planes[rows[element]], planes[cols[element]], product);
        boxfilter(product, windowSide, colors.meanOfProducts[element]);
    });
    return colors;
}

/// Carries the guide's deviation from its local mean through the map from its local colours to the input's, pixel by
/// pixel, and adds the input's local mean. `result` is CV_32FC3.
void carryGuide(const ColorPlanes& guide, const ColorPlanes& guideMean, const SymmetricPlanes& guideCovariance,
                const LocalColors& input, cv::Mat& result) {
    // A pixel here costs some hundred times one of a light loop.
    constexpr std::size_t pixelsWorthAThread = 2048;
    const auto carryRow = [&](int i, std::size_t, std::size_t) {
        const auto guideRow = rowsOf(guide, i);
        const auto guideMeanRow = rowsOf(guideMean, i);
        const auto g = rowsOf(guideCovariance, i);
        const auto inputMeanRow = rowsOf(input.mean, i);
        const auto inputProductRow = rowsOf(input.meanOfProducts, i);
        float* out = result.ptr<float>(i);
        for (int j = 0; j < result.cols; ++j, out += 3) {
            const float mean0 = inputMeanRow[0][j];
            const float mean1 = inputMeanRow[1][j];
            const float mean2 = inputMeanRow[2][j];
            const SquareMatrix<3> map =
                transportMap(symmetric(g[0][j], g[1][j], g[2][j], g[3][j], g[4][j], g[5][j]),
                             symmetric(inputProductRow[0][j] - mean0 * mean0, inputProductRow[1][j] - mean0 * mean1,
                                       inputProductRow[2][j] - mean0 * mean2, inputProductRow[3][j] - mean1 * mean1,
                                       inputProductRow[4][j] - mean1 * mean2, inputProductRow[5][j] - mean2 * mean2));
            const auto t00 = static_cast<float>(map[0][0]);
            const auto t01 = static_cast<float>(map[0][1]);
            const auto t02 = static_cast<float>(map[0][2]);
            const auto t11 = static_cast<float>(map[1][1]);
            const auto t12 = static_cast<float>(map[1][2]);
            const auto t22 = static_cast<float>(map[2][2]);
            const float d0 = guideRow[0][j] - guideMeanRow[0][j];
            const float d1 = guideRow[1][j] - guideMeanRow[1][j];
            const float d2 = guideRow[2][j] - guideMeanRow[2][j];
            out[0] = t00 * d0 + t01 * d1 + t02 * d2 + mean0;
            out[1] = t02 * d0 + t11 * d1 + t12 * d2 + mean1;  // t02, departure 12
            out[2] = t02 * d0 + t12 * d1 + t22 * d2 + mean2;
        }
    };
    numerics::forEachPiece({result.rows, result.cols}, static_cast<std::size_t>(std::max(1, result.cols)), carryRow,
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
