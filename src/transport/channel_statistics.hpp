// Means and covariances of image channels, each computed once and shared by the operations that need them. NaN marks a
// pixel of a channel that does not count. Sums run in float, row by row, one rounding per pixel.
#pragma once

#include <opencv2/core.hpp>

#include <cmath>
#include <string>

namespace likeness {

/// Sum and number of the values that count.
struct MaskedSum {
    float sum = 0;
    int count = 0;

    void add(float value) noexcept {
        if (!std::isnan(value)) {
            sum += value;
            ++count;
        }
    }

    /// The sum itself, 0, where nothing counts.
    float mean() const noexcept { return count == 0 ? sum : sum / static_cast<float>(count); }
};

/// Summand of the covariance of two values with means of their own.
inline float coDeviation(float a, float meanA, float b, float meanB) noexcept {
    return (b - meanB) * (a - meanA);
}

/// Unbiased sample covariance of `count` summands; 0 for a single one or none.
inline float sampleCovariance(float sum, int count) noexcept {
    return count <= 1 ? 0 : sum / static_cast<float>(count - 1);
}

/// Some neighbouring channels of an image.
struct ChannelRange {
    int first;
    int count;  // 1 to 3
};

/// The channels that take part in a statistic of `dims` dimensions: two are the chroma channels, which follow
/// lightness.
inline ChannelRange channelsOf(int dims) noexcept {
    return {dims == 2 ? 1 : 0, dims};
}

/// Sums and sample covariances of neighbouring channels.
struct ChannelCovariance {
    int channels;
    MaskedSum sums[3];
    float covariance[3][3];  // [i][j] runs over the pixels at which channel i counts, whatever channel j holds there
};

/// Sums of the channels of a float image, into sums[0] to sums[range.count - 1].
void sumChannels(const cv::Mat& img, ChannelRange range, MaskedSum* sums);

/// Sums and covariances of the channels of a float image.
ChannelCovariance covarianceOf(const cv::Mat& img, ChannelRange range);

/// Writes the covariances into the elements of a CV_32F matrix of at least as many rows and columns.
void copyCovariance(const ChannelCovariance& statistics, cv::Mat& cov);

/// Means of the channels of a float image in which a value has as much weight as its nearest integer (halves away from
/// zero) is frequent in its channel; into means[0] to means[range.count - 1]. NaN for a channel in which nothing
/// counts.
void weightedMeans(const cv::Mat& img, ChannelRange range, float* means);

/// Statistics of weighted pixels.
struct WeightedStatistics {
    double means[3];  ///< sum of weight x value over the sum of the weights
    double
        frequentMeans[3];  ///< as `weightedMeans`, a rounded value being as frequent as the weights of its pixels say
    double covariance[3][3];  ///< sum of weight x deviations over the sum of the weights in pixels less 1; 0 of up to 1
};

/// Sums run in double, pixel by pixel. There is no NaN.
/// @param img      1 x N, float
/// @param weights  1 x N, CV_16UC1, 65535 for a pixel
WeightedStatistics weightedStatistics(const cv::Mat& img, const cv::Mat& weights, ChannelRange range);

/// The line that tells a sum and a count.
std::string sumLine(const MaskedSum& sum);

/// The lines of `channels` sums.
std::string sumLines(const MaskedSum* sums, int channels);

/// The three lines that tell the sums and the means of two planes.
std::string pairLines(const MaskedSum& a, const MaskedSum& b);

/// `pairLines` of every pair of channels, row by row of the covariance matrix.
std::string covarianceLines(const ChannelCovariance& statistics);

}  // namespace likeness
