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

ColorGaussian::ColorGaussian(const PhotographPart& part, int dims) : statistics{}, means{} {
    const cv::Mat counted = part.weights.countedOf(part.photograph);
    if (part.weights.areBinary()) {
        *this = ColorGaussian(counted, dims);
        return;
    }
    const cv::Mat weights = part.weights.countedOf(part.weights.map());
    const WeightedStatistics weighted = weightedStatistics(counted, weights, channelsOf(dims));
    statistics.channels = dims;
    covariance = cv::Mat(dims, dims, CV_32F);
    for (int i = 0; i < dims; ++i) {
        means[i] = static_cast<float>(dims == 2 ? weighted.frequentMeans[i] : weighted.means[i]);
        for (int j = 0; j < dims; ++j) {
            covariance.at<float>(i, j) = static_cast<float>(weighted.covariance[i][j]);
        }
    }
}

ColorGaussians gaussiansOf(const cv::Mat& input, const cv::Mat& target, int dims) {
    return gaussiansOf(PhotographPart{input, {}}, PhotographPart{target, {}}, dims);
}

ColorGaussians gaussiansOf(const PhotographPart& input, const PhotographPart& target, int dims) {
    std::optional<ColorGaussian> found[2];
    numerics::forEachTask(std::min(input.photograph.total(), target.photograph.total()), 2,
                          [&](std::size_t k) { found[k].emplace(k == 0 ? input : target, dims); });
    return {*std::move(found[0]), *std::move(found[1])};
}

std::string transferMessage(const ColorGaussian& input, const ColorGaussian& target) {
    return input.covarianceMessage() + target.covarianceMessage() + input.meansMessage() + target.meansMessage();
}

}  // namespace likeness
