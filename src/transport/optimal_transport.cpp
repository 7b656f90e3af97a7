#include <likeness/transport/optimal_transport.hpp>

#include <likeness/transport/closed_form_map.hpp>
#include "numerics/argument_check.hpp"
#include "numerics/parallel.hpp"
#include "transport/channel_statistics.hpp"
#include "transport/color_gaussian.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>
#include <string>

namespace likeness {
namespace {

constexpr ChannelRange allChannels = {0, 3};

/// Weighted means: with two dimensions those that the transfer uses itself.
void copyChromaMeans(const cv::Mat& img, const ColorGaussian& colors, float* row) {
    if (colors.statistics.channels == 2) {
        std::copy(colors.means, colors.means + 2, row);
    } else {
        weightedMeans(img, chromaChannels, row);
    }
}

void moveColors(const cv::Mat& inputImg, const cv::Mat& targetImg, ColorGaussian& input, ColorGaussian& target, float t,
                int dims, cv::Mat& transportMat, cv::Mat& result) {
    // Two copies of one map: the caller's stays the whole transfer, the other moves along the path.
    closedFormMatrix(input.covariance, target.covariance, transportMat, dims);
    cv::Mat T = transportMat;
    float* inpMeans = input.means;
    float* tarMeans = target.means;
    if (t != 1) {  // NaN too
        T = transportMat.clone();
        computeGeodesicPath(inpMeans, tarMeans, input.covariance, target.covariance, T, t, dims);
    }
    dims == 2 ? computeMapping2D(inputImg, targetImg, inpMeans, tarMeans, T, result)
              : computeMapping3D(inputImg, targetImg, inpMeans, tarMeans, T, result);
}

/// A map, the means before and the means after it as plain numbers, for the loops.
template <int N>
struct AffineMap {
    float m[N][N];
    float before[N];
    float after[N];

    AffineMap(const cv::Mat& T, const float* inpMeans, const float* tarMeans) {
        for (int k = 0; k < N; ++k) {
            std::copy(T.ptr<float>(k), T.ptr<float>(k) + N, m[k]);
        }
        std::copy(inpMeans, inpMeans + N, before);
        std::copy(tarMeans, tarMeans + N, after);
    }
};

/// result[k] = map(k, channels of the input pixel), NaN where channel k is NaN; k = 0 ... N - 1.
template <int N, typename Map>
void mapPixels(const cv::Mat& inputImg, cv::Mat& result, Map map) {
    const ImageWalk walk = walkOver(inputImg, result);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        const float* x = inputImg.ptr<float>(i) + 3 * first;
        float* y = result.ptr<float>(i) + N * first;
        for (std::size_t j = 0; j < count; ++j, x += 3, y += N) {
            for (int k = 0; k < N; ++k) {
                // Channel k decides, also where the chroma channels k + 1 are mapped (departure 15).
                const float mapped = map(k, x);
                y[k] = std::isnan(x[k]) ? std::numeric_limits<float>::quiet_NaN() : mapped;
            }
        }
    });
}

int resultType(int dims) {
    return dims == 2 ? CV_32FC2 : CV_32FC3;
}

/// Of the arguments that map every pixel in `dims` dimensions.
void requireMapping(const char* function, const cv::Mat& inputImg, const float* inpMeans, const float* tarMeans,
                    const cv::Mat& T, const cv::Mat& result, int dims) {
    requireType(function, CV_32FC3, {{"inputImg", inputImg}});
    requireThere(function, {{"inpMeans", inpMeans}, {"tarMeans", tarMeans}});
    requireMatrix(function, dims, dims, {{"T", T}});
    requireRoom(function, inputImg.size(), resultType(dims), {{"result", result}});
}

/// Of the arguments that map one pixel's chroma.
void requirePixel(const char* function, const cv::Mat& img, const cv::Mat& value, const cv::Mat& inpMean,
                  const cv::Mat& tarMean, const cv::Mat& T, int row, int col) {
    requireIndex(function, "row", row);
    requireIndex(function, "col", col);
    requireRoom(function, {col + 1, row + 1}, CV_32FC3, {{"img", img}});
    requireMatrix(function, 1, 2, {{"value", value}, {"inpMean", inpMean}, {"tarMean", tarMean}});
    requireMatrix(function, 2, 2, {{"T", T}});
}

}  // namespace

void applyOptimalTransport(const cv::Mat& inputImg, const cv::Mat& targetImg, cv::Mat& result, cv::Mat& /*inpCovInv*/,
                           cv::Mat& inpMeanRow, cv::Mat& /*tarCov2*/, cv::Mat& tarMeanRow, cv::Mat& transportMat,
                           float t, int dims, const Diagnostics& diagnostics) {
    CV_Assert(dims == 2 || dims == 3);
    requireType("applyOptimalTransport", CV_32FC3, {{"inputImg", inputImg}, {"targetImg", targetImg}});
    requireRoom("applyOptimalTransport", inputImg.size(), resultType(dims), {{"result", result}});
    requireMatrix("applyOptimalTransport", dims, dims, {{"transportMat", transportMat}});
    requireMatrix("applyOptimalTransport", 1, 2, {{"inpMeanRow", inpMeanRow}, {"tarMeanRow", tarMeanRow}});
    auto [input, target] = gaussiansOf(inputImg, targetImg, dims);
    if (diagnostics.wantsMessages()) {
        diagnostics.print(transferMessage(input, target));
    }
    // Element i is channel i + 1 with three dimensions too, where the last element then has no channel.
    copyChromaMeans(inputImg, input, inpMeanRow.ptr<float>(0));
    copyChromaMeans(targetImg, target, tarMeanRow.ptr<float>(0));
    moveColors(inputImg, targetImg, input, target, t, dims, transportMat, result);
}

void applyOptimalTransportBonneel(const cv::Mat& inputImg, const cv::Mat& targetImg, cv::Mat& result,
                                  cv::Mat& inpCovInv, cv::Mat& inpMeanRow, cv::Mat& tarCov2, cv::Mat& tarMeanRow,
                                  cv::Mat& transportMat, float t, int dims, const Diagnostics& diagnostics) {
    CV_Assert(dims == 2 || dims == 3);
    requireType("applyOptimalTransportBonneel", CV_32FC3, {{"inputImg", inputImg}, {"targetImg", targetImg}});
    requireRoom("applyOptimalTransportBonneel", inputImg.size(), resultType(dims), {{"result", result}});
    requireMatrix("applyOptimalTransportBonneel", dims, dims, {{"transportMat", transportMat}});
    requireMatrix("applyOptimalTransportBonneel", 1, 3, {{"inpMeanRow", inpMeanRow}});
    requireMatrix("applyOptimalTransportBonneel", 1, 2, {{"tarMeanRow", tarMeanRow}});
    requireMatrix("applyOptimalTransportBonneel", 2, 2, {{"tarCov2", tarCov2}});
    auto [input, target] = gaussiansOf(inputImg, targetImg, dims);
    ChannelCovariance inputAll;
    ChannelCovariance targetChroma;
    numerics::forEachTask(std::min(inputImg.total(), targetImg.total()), 2, [&](std::size_t k) {
        k == 0 ? inputAll = covarianceOf(inputImg, allChannels)
               : targetChroma = covarianceOf(targetImg, chromaChannels);
    });
    if (diagnostics.wantsMessages()) {
        std::ostringstream text;
        text << input.covarianceMessage() << target.covarianceMessage() << input.covariance << " inpCovs\n"
             << target.covariance << " tarCovs\n"
             << covarianceLines(inputAll) << covarianceLines(targetChroma) << input.meansMessage()
             << target.meansMessage();
        diagnostics.print(text.str());
    }
    cv::Mat inputCovariance(3, 3, CV_32F);
    copyCovariance(inputAll, inputCovariance);
    cv::invert(inputCovariance, inpCovInv, cv::DECOMP_LU);
    copyCovariance(targetChroma, tarCov2);
    weightedMeans(inputImg, {0, 1}, inpMeanRow.ptr<float>(0));
    copyChromaMeans(inputImg, input, inpMeanRow.ptr<float>(0) + 1);
    copyChromaMeans(targetImg, target, tarMeanRow.ptr<float>(0));
    moveColors(inputImg, targetImg, input, target, t, dims, transportMat, result);
}

void computeGeodesicPath(float* inpMeans, float* tarMeans, cv::Mat& inpCov, cv::Mat& tarCov, cv::Mat& T, float t,
                         int dims) {
    CV_Assert(dims == 2 || dims == 3);
    requireThere("computeGeodesicPath", {{"inpMeans", inpMeans}, {"tarMeans", tarMeans}});
    requireMatrix("computeGeodesicPath", dims, dims, {{"inpCov", inpCov}, {"tarCov", tarCov}, {"T", T}});
    for (int i = 0; i < dims; ++i) {
        tarMeans[i] = tarMeans[i] * t + inpMeans[i] * (1 - t);
    }
    const int size = dims == 3 ? 3 : 2;
    const cv::Mat M = t * T + (1 - t) * cv::Mat::eye(size, size, CV_32F);
    cv::Mat product(dims, dims, CV_32F);
    dot(M, inpCov, product);
    dot(product, M, tarCov);
    closedFormMatrix(inpCov, tarCov, T, dims);
}

void computeMapping2D(const cv::Mat& inputImg, const cv::Mat& /*targetImg*/, float*& inpMeans, float*& tarMeans,
                      const cv::Mat& T, cv::Mat& result) {
    requireMapping("computeMapping2D", inputImg, inpMeans, tarMeans, T, result, 2);
    mapPixels<2>(inputImg, result, [a = AffineMap<2>(T, inpMeans, tarMeans)](int k, const float* x) {
        return a.m[k][0] * (x[1] - a.before[0]) + a.m[k][1] * (x[2] - a.before[1]) + a.after[k];
    });
}

void computeMapping3D(const cv::Mat& inputImg, const cv::Mat& /*targetImg*/, float*& inpMeans, float*& tarMeans,
                      const cv::Mat& T, cv::Mat& result) {
    requireMapping("computeMapping3D", inputImg, inpMeans, tarMeans, T, result, 3);
    mapPixels<3>(inputImg, result, [a = AffineMap<3>(T, inpMeans, tarMeans)](int k, const float* x) {
        return a.m[k][0] * (x[0] - a.before[0]) + a.m[k][1] * (x[1] - a.before[1]) + a.m[k][2] * (x[2] - a.before[2]) +
               a.after[k];
    });
}

void computeMapping2DBonneel(const cv::Mat& inputImg, const cv::Mat& /*targetImg*/, float*& inpMeans, float*& tarMeans,
                             const cv::Mat& T, cv::Mat& result) {
    requireMapping("computeMapping2DBonneel", inputImg, inpMeans, tarMeans, T, result, 2);
    mapPixels<2>(inputImg, result, [a = AffineMap<2>(T, inpMeans, tarMeans)](int k, const float* x) {
        return a.m[k][0] * x[1] + a.m[k][1] * x[2] - a.before[k] + a.after[k];
    });
}

void computeNewValue2D(cv::Mat& img, cv::Mat& value, cv::Mat& inpMean, cv::Mat& tarMean, cv::Mat& T, int row, int col) {
    requirePixel("computeNewValue2D", img, value, inpMean, tarMean, T, row, col);
    const float* const x = img.ptr<float>(row, col);
    const float* const before = inpMean.ptr<float>(0);
    const float* const after = tarMean.ptr<float>(0);
    for (int k = 0; k < 2; ++k) {
        const float* const m = T.ptr<float>(k);
        value.ptr<float>(0)[k] = after[k] + (x[1] - before[0]) * m[0] + (x[2] - before[1]) * m[1];
    }
}

void computeNewValue2DBonneel(cv::Mat& img, cv::Mat& value, cv::Mat& inpMean, cv::Mat& tarMean, cv::Mat& T, int row,
                              int col) {
    requirePixel("computeNewValue2DBonneel", img, value, inpMean, tarMean, T, row, col);
    const float* const x = img.ptr<float>(row, col);
    const float* const before = inpMean.ptr<float>(0);
    const float* const after = tarMean.ptr<float>(0);
    for (int k = 0; k < 2; ++k) {
        const float* const m = T.ptr<float>(k);
        value.ptr<float>(0)[k] = after[k] + (x[1] * m[0] + x[2] * m[1] - before[k]);
    }
}

}  // namespace likeness
