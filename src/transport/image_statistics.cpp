#include <likeness/transport/image_statistics.hpp>

#include "numerics/argument_check.hpp"
#include "numerics/image_walk.hpp"
#include "numerics/transcendental_blocks.hpp"
#include "transport/channel_statistics.hpp"

#include <algorithm>
#include <cmath>
#include <string>

namespace likeness {
namespace {

constexpr ChannelRange onlyChannel = {0, 1};

MaskedSum sumOf(const cv::Mat& plane) {
    MaskedSum sum;
    sumChannels(plane, onlyChannel, &sum);
    return sum;
}

struct PairCovariance {
    MaskedSum a;
    MaskedSum b;
    float covariance;
};

/// @param nameOfB  for the refusal of a `b` that is smaller than `a`, of which not every pixel may be masked out
PairCovariance covarianceOfPair(const char* function, const cv::Mat& a, const cv::Mat& b, const char* nameOfB) {
    const MaskedSum sumA = sumOf(a);
    if (sumA.count > 0) {
        requireRoom(function, a.size(), CV_32F, {{nameOfB, b}});
    }
    const MaskedSum sumB = sumOf(b);
    const float meanA = sumA.mean();
    const float meanB = sumB.mean();
    float sum = 0;
    const ImageWalk walk = walkOver(a, b);
    for (int i = 0; i < walk.rows; ++i) {
        const float* const valuesA = a.ptr<float>(i);
        const float* const valuesB = b.ptr<float>(i);
        for (int j = 0; j < walk.cols; ++j) {
            if (!std::isnan(valuesA[j])) {
                sum += coDeviation(valuesA[j], meanA, valuesB[j], meanB);
            }
        }
    }
    return {sumA, sumB, sampleCovariance(sum, sumA.count)};
}

/// That an image has the channels of a statistic. Wrong numbers of dimensions are refused by the statistics themselves.
void requireChannels(const char* function, const cv::Mat& img, int dims) {
    if (dims >= 1 && dims <= 3) {
        const ChannelRange range = channelsOf(dims);
        requireFloatChannels(function, range.first + range.count, {{"img", img}});
    }
}

double inDegrees(double radians) noexcept {
    return radians * 57.29577957855229;  // 180 / pi to nine digits
}

float toFullCircle(float hue) noexcept {
    if (hue < 0) {
        hue = static_cast<float>(static_cast<double>(hue) + 360.0);
    }
    if (hue > 360.0F) {  // never after the first correction
        hue = 360.0F - hue;
    }
    return hue;
}

void hueOfBlock(const float* pixels, int first, int second, float* hues, std::size_t count) {
    constexpr double neutral = 128.0;
    double a[numerics::blockSize] = {};
    double b[numerics::blockSize] = {};
    double angle[numerics::blockSize];
    for (std::size_t j = 0; j < count; ++j, pixels += 3) {
        a[j] = pixels[first] - neutral;
        b[j] = pixels[second] - neutral;
    }
    numerics::atan2Block(b, a, angle, count);
    for (std::size_t j = 0; j < count; ++j) {
        hues[j] =
            toFullCircle(numerics::roundedOr(inDegrees(angle[j]), [&] { return inDegrees(std::atan2(b[j], a[j])); }));
    }
}

}  // namespace

float computeMean(const cv::Mat& plane, const Diagnostics& diagnostics) {
    requireType("computeMean", CV_32F, {{"plane", plane}});
    const MaskedSum sum = sumOf(plane);
    if (diagnostics.wantsMessages()) {
        diagnostics.print(sumLine(sum));
    }
    return sum.mean();
}

float computeWeightedMean(const cv::Mat& plane) {
    requireType("computeWeightedMean", CV_32F, {{"plane", plane}});
    float mean = 0;
    weightedMeans(plane, onlyChannel, &mean);
    return mean;
}

void computeWeightedMeanVector(const cv::Mat& img, float*& means, int dims, const Diagnostics& diagnostics) {
    requireChannels("computeWeightedMeanVector", img, dims);
    requireThere("computeWeightedMeanVector", {{"means", means}});
    const ChannelRange range = channelsOf(dims);
    if (dims == 2) {
        weightedMeans(img, range, means);
        return;
    }
    MaskedSum sums[3];
    sumChannels(img, range, sums);
    for (int i = 0; i < dims; ++i) {
        means[i] = sums[i].mean();
    }
    if (diagnostics.wantsMessages()) {
        diagnostics.print(sumLines(sums, dims));
    }
}

float computeVariance(const cv::Mat& plane, float& mean) {
    requireType("computeVariance", CV_32F, {{"plane", plane}});
    const double squaredMean = static_cast<double>(mean) * static_cast<double>(mean);
    MaskedSum sum;
    const ImageWalk walk = walkOver(plane);
    for (int i = 0; i < walk.rows; ++i) {
        const float* const values = plane.ptr<float>(i);
        for (int j = 0; j < walk.cols; ++j) {
            if (!std::isnan(values[j])) {
                const double value = values[j];
                sum.sum = static_cast<float>(static_cast<double>(sum.sum) + (value * value - squaredMean));
                ++sum.count;
            }
        }
    }
    return sum.sum / static_cast<float>(sum.count);
}

float computeAlphaFromBetaDistr(cv::Mat& plane, const Diagnostics& diagnostics) {
    requireType("computeAlphaFromBetaDistr", CV_32F, {{"plane", plane}});
    float mean = computeMean(plane, diagnostics);
    const float v = computeVariance(plane, mean);
    // The variance is squared, as if it were a standard deviation (departure 13).
    return ((1 - mean) / (v * v) - 1 / mean) * mean * mean;
}

float computeBetaFromBetaDistr(cv::Mat& plane, float alpha, const Diagnostics& diagnostics) {
    requireType("computeBetaFromBetaDistr", CV_32F, {{"plane", plane}});
    const float mean = computeMean(plane, diagnostics);
    return (1 / mean - 1) * alpha;
}

float computeBetaDistribution(float /*x*/, float /*alpha*/, float /*beta*/) {
    return 0;
}

float computeCovarianceElement(const cv::Mat& a, const cv::Mat& b, const Diagnostics& diagnostics) {
    requireType("computeCovarianceElement", CV_32F, {{"a", a}, {"b", b}});
    const PairCovariance pair = covarianceOfPair("computeCovarianceElement", a, b, "b");
    if (diagnostics.wantsMessages()) {
        diagnostics.print(pairLines(pair.a, pair.b));
    }
    return pair.covariance;
}

void computeCovariance(const cv::Mat& img, cv::Mat& cov, int dims, const Diagnostics& diagnostics) {
    requireChannels("computeCovariance", img, dims);
    requireMatrix("computeCovariance", dims, dims, {{"cov", cov}});
    const ChannelCovariance statistics = covarianceOf(img, channelsOf(dims));
    if (diagnostics.wantsMessages()) {
        diagnostics.print(covarianceLines(statistics));
    }
    copyCovariance(statistics, cov);
}

void computeChannelCov(const cv::Mat& img, cv::Mat& other, cv::Mat& cov, int dims, const Diagnostics& diagnostics) {
    requireFloatChannels("computeChannelCov", 1, {{"img", img}});
    requireType("computeChannelCov", CV_32F, {{"other", other}});
    requireMatrix("computeChannelCov", dims, dims, {{"cov", cov}});
    cv::Mat plane;
    cv::extractChannel(img, plane, 0);
    const PairCovariance pair = covarianceOfPair("computeChannelCov", plane, other, "other");
    // One covariance for all elements, not one for each pair of channels (departure 27).
    for (int i = 0; i < dims; ++i) {
        float* const row = cov.ptr<float>(i);
        std::fill(row, row + dims, pair.covariance);
    }
    if (diagnostics.wantsMessages()) {
        std::string lines;
        for (int k = 0; k < dims * dims; ++k) {
            lines += pairLines(pair.a, pair.b);
        }
        diagnostics.print(lines);
    }
}

void computeHue(const cv::Mat& src, cv::Mat& hue, int first, int second) {
    requireType("computeHue", CV_32FC3, {{"src", src}});
    requireRoom("computeHue", src.size(), CV_32F, {{"hue", hue}});
    requireWithin("computeHue", "first", first, 0, 2);
    requireWithin("computeHue", "second", second, 0, 2);
    const ImageWalk walk = walkOver(src, hue);
    for (int i = 0; i < walk.rows; ++i) {
        const float* const pixels = src.ptr<float>(i);
        float* const hues = hue.ptr<float>(i);
        numerics::forEachBlock(static_cast<std::size_t>(walk.cols), [&](std::size_t start, std::size_t count) {
            hueOfBlock(pixels + 3 * start, first, second, hues + start, count);
        });
    }
}

}  // namespace likeness
