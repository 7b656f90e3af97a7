#include "transport/color_gaussian.hpp"

#include <algorithm>

namespace likeness {

ColorGaussian::ColorGaussian(const cv::Mat& img, int dims)
    : statistics(covarianceOf(img, channelsOf(dims))), covariance(dims, dims, CV_32F), means{} {
    copyCovariance(statistics, covariance);
    if (dims == 2) {
        weightedMeans(img, chromaChannels, means);
        return;
    }
    for (int i = 0; i < dims; ++i) {
        means[i] = statistics.sums[i].mean();
    }
}

std::string transferMessage(const ColorGaussian& input, const ColorGaussian& target) {
    return input.covarianceMessage() + target.covarianceMessage() + input.meansMessage() + target.meansMessage();
}

}  // namespace likeness
