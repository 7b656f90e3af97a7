#include "transport/color_gaussian.hpp"

#include "numerics/parallel.hpp"

#include <algorithm>
#include <optional>

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

ColorGaussians gaussiansOf(const cv::Mat& input, const cv::Mat& target, int dims) {
    std::optional<ColorGaussian> found[2];
    numerics::forEachTask(std::min(input.total(), target.total()), 2,
                          [&](std::size_t k) { found[k].emplace(k == 0 ? input : target, dims); });
    return {*std::move(found[0]), *std::move(found[1])};
}

std::string transferMessage(const ColorGaussian& input, const ColorGaussian& target) {
    return input.covarianceMessage() + target.covarianceMessage() + input.meansMessage() + target.meansMessage();
}

}  // namespace likeness
