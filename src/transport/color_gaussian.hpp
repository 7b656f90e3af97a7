#pragma once

#include <likeness/color/pixel_weights.hpp>
#include "transport/channel_statistics.hpp"

#include <opencv2/core.hpp>

#include <string>

namespace likeness {

inline constexpr ChannelRange chromaChannels = {1, 2};

/// What a transfer of `dims` dimensions, 2 or 3, knows of an image's colours.
struct ColorGaussian {
    ChannelCovariance statistics;
    cv::Mat covariance;  ///< dims x dims CV_32F
    float means[3];      ///< `dims` of them, as `computeWeightedMeanVector` has them

    ColorGaussian(const cv::Mat& img, int dims);

    /// Of the pixels that count. Without messages where weights are neither 0 nor 1: there are no sums in float.
    ColorGaussian(const PhotographPart& part, int dims);

    std::string covarianceMessage() const { return covarianceLines(statistics); }

    /// Weighted means are found without a message.
    std::string meansMessage() const {
        return statistics.channels == 2 ? std::string() : sumLines(statistics.sums, statistics.channels);
    }
};

struct ColorGaussians {
    ColorGaussian input;
    ColorGaussian target;
};

/// Of both images at the same time.
ColorGaussians gaussiansOf(const cv::Mat& input, const cv::Mat& target, int dims);

/// Of the parts that count.
ColorGaussians gaussiansOf(const PhotographPart& input, const PhotographPart& target, int dims);

/// The lines that a transfer tells of the two images.
std::string transferMessage(const ColorGaussian& input, const ColorGaussian& target);

}  // namespace likeness
