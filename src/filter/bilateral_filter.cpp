#include "filter/bilateral_filter.hpp"

#include "numerics/image_walk.hpp"
#include "numerics/parallel.hpp"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace likeness {
namespace {

struct Range {
    float least = std::numeric_limits<float>::infinity();
    float greatest = -std::numeric_limits<float>::infinity();
    bool hasNaN = false;
};

Range rangeOf(const cv::Mat& image) {
    Range range;
    const ImageWalk walk = walkOver(image);
    const std::size_t count = static_cast<std::size_t>(walk.cols) * static_cast<std::size_t>(image.channels());
    for (int i = 0; i < walk.rows; ++i) {
        const float* const values = image.ptr<float>(i);
        for (std::size_t j = 0; j < count; ++j) {
            range.hasNaN = range.hasNaN || std::isnan(values[j]);
            range.least = values[j] < range.least ? values[j] : range.least;
            range.greatest = values[j] > range.greatest ? values[j] : range.greatest;
        }
    }
    return range;
}

/// Whether the library would take a smaller range for that of the image.
bool losesExtremes(const cv::Mat& image) {
    const Range range = rangeOf(image);
    if (!range.hasNaN || !(range.least <= range.greatest)) {
        return false;
    }
    double least = 0;
    double greatest = 0;
    cv::minMaxLoc(image.reshape(1), &least, &greatest);
    return !(least <= static_cast<double>(range.least) && greatest >= static_cast<double>(range.greatest));
}

/// A neighbour and what its distance weighs.
struct Neighbor {
    int row;
    int col;
    float weight;
};

std::vector<Neighbor> neighborsWithin(int radius, double spaceSigma) {
    const double coefficient = -0.5 / (spaceSigma * spaceSigma);
    std::vector<Neighbor> neighbors;
    for (int row = -radius; row <= radius; ++row) {
        for (int col = -radius; col <= radius; ++col) {
            const double distance = std::sqrt(static_cast<double>(row) * row + static_cast<double>(col) * col);
            if (distance <= radius && (row != 0 || col != 0)) {
                neighbors.push_back({row, col, static_cast<float>(std::exp(distance * distance * coefficient))});
            }
        }
    }
    return neighbors;
}

template <int channels>
bool anyNaN(const float* pixel) {
    return std::any_of(pixel, pixel + channels, [](float value) { return std::isnan(value); });
}

template <int channels>
void filterPixels(const cv::Mat& bordered, cv::Mat& result, int radius, double valueSigma, double spaceSigma) {
    const std::vector<Neighbor> neighbors = neighborsWithin(radius, spaceSigma);
    const double coefficient = -0.5 / (valueSigma * valueSigma);
    numerics::inParallel(static_cast<std::size_t>(result.rows), 1, [&](std::size_t begin, std::size_t end) {
        for (auto i = static_cast<int>(begin); i < static_cast<int>(end); ++i) {
            for (int j = 0; j < result.cols; ++j) {
                const float* const own = bordered.ptr<float>(i + radius, j + radius);
                const bool ownIsNaN = anyNaN<channels>(own);
                float weights = 0;
                float sums[channels] = {};
                for (const Neighbor& neighbor : neighbors) {
                    const float* const other =
                        bordered.ptr<float>(i + radius + neighbor.row, j + radius + neighbor.col);
                    if (anyNaN<channels>(other)) {
                        continue;
                    }
                    float weight = neighbor.weight;
                    if (!ownIsNaN) {
                        double difference = 0;
                        for (int c = 0; c < channels; ++c) {
                            difference += std::abs(static_cast<double>(other[c]) - static_cast<double>(own[c]));
                        }
                        weight *= static_cast<float>(std::exp(difference * difference * coefficient));
                    }
                    weights += weight;
                    for (int c = 0; c < channels; ++c) {
                        sums[c] += weight * other[c];
                    }
                }
                float* const out = result.ptr<float>(i, j);
                for (int c = 0; c < channels; ++c) {
                    out[c] = ownIsNaN ? sums[c] / weights : (sums[c] + own[c]) / (weights + 1);
                }
            }
        }
    });
}

}  // namespace

void bilateralFilterByDefinition(const cv::Mat& image, cv::Mat& result, int diameter, double valueSigma,
                                 double spaceSigma) {
    const Range range = rangeOf(image);
    if (range.least <= range.greatest && range.greatest - range.least < std::numeric_limits<float>::epsilon()) {
        image.copyTo(result);  // as the library does: NaN stays
        return;
    }
    valueSigma = valueSigma > 0 ? valueSigma : 1;
    spaceSigma = spaceSigma > 0 ? spaceSigma : 1;
    const int radius = std::max(diameter > 0 ? diameter / 2 : cvRound(spaceSigma * 1.5), 1);
    cv::Mat bordered;
    cv::copyMakeBorder(image, bordered, radius, radius, radius, radius, cv::BORDER_REFLECT_101);
    result.create(image.size(), image.type());
    if (image.channels() == 1) {
        filterPixels<1>(bordered, result, radius, valueSigma, spaceSigma);
    } else {
        filterPixels<3>(bordered, result, radius, valueSigma, spaceSigma);
    }
}

void bilateralFilter(const cv::Mat& image, cv::Mat& result, int diameter, double valueSigma, double spaceSigma) {
    if (image.depth() == CV_32F && (image.channels() == 1 || image.channels() == 3) && losesExtremes(image)) {
        bilateralFilterByDefinition(image, result, diameter, valueSigma, spaceSigma);
        return;
    }
    cv::bilateralFilter(image, result, diameter, valueSigma, spaceSigma, cv::BORDER_REFLECT_101);
}

}  // namespace likeness
