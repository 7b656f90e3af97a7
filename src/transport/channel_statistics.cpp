#include "transport/channel_statistics.hpp"

#include "diagnostics/number_text.hpp"
#include "numerics/image_walk.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <type_traits>
#include <vector>

namespace likeness {
namespace {

/// Calls body(values) for each pixel, `values` pointing to its element of channel `first`.
template <typename Body>
void forEachPixel(const cv::Mat& img, int first, Body body) {
    const int step = img.channels();
    const ImageWalk walk = walkOver(img);
    for (int i = 0; i < walk.rows; ++i) {
        const float* pixel = img.ptr<float>(i) + first;
        for (int j = 0; j < walk.cols; ++j, pixel += step) {
            body(pixel);
        }
    }
}

/// Calls body(std::integral_constant<int, count>): loops over channels are unrolled and their sums kept in registers.
template <typename Body>
void withChannelCount(int count, Body body) {
    switch (count) {
        case 1:
            return body(std::integral_constant<int, 1>());
        case 2:
            return body(std::integral_constant<int, 2>());
        case 3:
            return body(std::integral_constant<int, 3>());
        default:
            CV_Error(cv::Error::StsOutOfRange, "statistics are taken of one to three channels");
    }
}

/// How often each rounded value occurs in a channel; then the weight of each.
class RoundedValues {
public:
    RoundedValues() : counts_(denseKeys), weights_(denseKeys) {}

    void add(float value) {
        if (isDense(value)) {
            ++counts_[denseKey(value)];
            ++total_;
        } else if (!std::isnan(value)) {
            ++sparseCounts_[std::round(value)];
            ++total_;
        }
    }

    void findWeights() {
        const auto total = static_cast<float>(total_);
        const auto weight = [total](std::uint32_t count) { return frequency(count) / total; };
        for (std::size_t key = 0; key < denseKeys; ++key) {
            weights_[key] = weight(counts_[key]);
        }
        for (const auto& [key, count] : sparseCounts_) {
            sparseWeights_[key] = weight(count);
        }
    }

    /// Of a value that was added.
    float weightOf(float value) const {
        return isDense(value) ? weights_[denseKey(value)] : sparseWeights_.find(std::round(value))->second;
    }

private:
    static constexpr int firstDense = -1024;
    static constexpr std::size_t denseKeys = 2048;

    static bool isDense(float value) noexcept { return std::abs(value) < 1023; }

    static std::size_t denseKey(float value) noexcept {
        const double v = value;  // the sum with a half is exact
        return static_cast<std::size_t>(static_cast<int>(v < 0 ? v - 0.5 : v + 0.5) - firstDense);
    }

    /// Frequencies count by adding 1 in float, and so stop at 2^24.
    static float frequency(std::uint32_t count) noexcept {
        return static_cast<float>(std::min(count, std::uint32_t{1} << 24));
    }

    std::vector<std::uint32_t> counts_;
    std::vector<float> weights_;
    std::map<float, std::uint32_t> sparseCounts_;
    std::map<float, float> sparseWeights_;
    int total_ = 0;
};

/// Weights of the pixels with each rounded value of a channel.
class RoundedWeights {
public:
    double& of(float value) {
        const float rounded = std::round(value);
        return std::abs(rounded) < half ? dense_[static_cast<std::size_t>(static_cast<int>(rounded) + half)]
                                        : sparse_[rounded];
    }

private:
    static constexpr int half = 1024;
    std::vector<double> dense_ = std::vector<double>(std::size_t{2} * half);
    std::map<float, double> sparse_;
};

}  // namespace

void sumChannels(const cv::Mat& img, ChannelRange range, MaskedSum* sums) {
    withChannelCount(range.count, [&](auto channels) {
        constexpr int n = channels;
        MaskedSum running[n];
        forEachPixel(img, range.first, [&running](const float* values) {
            for (int k = 0; k < n; ++k) {
                running[k].add(values[k]);
            }
        });
        std::copy(running, running + n, sums);
    });
}

ChannelCovariance covarianceOf(const cv::Mat& img, ChannelRange range) {
    ChannelCovariance result = {};
    result.channels = range.count;
    sumChannels(img, range, result.sums);
    withChannelCount(range.count, [&](auto channels) {
        constexpr int n = channels;
        float mean[n];
        float sum[n][n] = {};
        for (int k = 0; k < n; ++k) {
            mean[k] = result.sums[k].mean();
        }
        forEachPixel(img, range.first, [&mean, &sum](const float* values) {
            for (int i = 0; i < n; ++i) {
                if (!std::isnan(values[i])) {
                    for (int j = 0; j < n; ++j) {
                        sum[i][j] += coDeviation(values[i], mean[i], values[j], mean[j]);
                    }
                }
            }
        });
        for (int i = 0; i < n; ++i) {
            for (int j = 0; j < n; ++j) {
                result.covariance[i][j] = sampleCovariance(sum[i][j], result.sums[i].count);
            }
        }
    });
    return result;
}

void weightedMeans(const cv::Mat& img, ChannelRange range, float* means) {
    withChannelCount(range.count, [&](auto channels) {
        constexpr int n = channels;
        RoundedValues rounded[n];
        forEachPixel(img, range.first, [&rounded](const float* values) {
            for (int k = 0; k < n; ++k) {
                rounded[k].add(values[k]);
            }
        });
        for (RoundedValues& values : rounded) {
            values.findWeights();
        }
        float weightedSum[n] = {};
        float weightSum[n] = {};
        forEachPixel(img, range.first, [&rounded, &weightedSum, &weightSum](const float* values) {
            for (int k = 0; k < n; ++k) {
                if (!std::isnan(values[k])) {
                    const float weight = rounded[k].weightOf(values[k]);
                    weightedSum[k] += weight * values[k];
                    weightSum[k] += weight;
                }
            }
        });
        for (int k = 0; k < n; ++k) {
            means[k] = weightedSum[k] / weightSum[k];
        }
    });
}

WeightedStatistics weightedStatistics(const cv::Mat& img, const cv::Mat& weights, ChannelRange range) {
    constexpr double pixel = 65535;
    WeightedStatistics result{};
    const auto* const weight = weights.ptr<ushort>(0);
    const auto forEach = [&](auto body) {
        const float* values = img.ptr<float>(0) + range.first;
        for (int j = 0; j < img.cols; ++j, values += img.channels()) {
            body(values, weight[j] / pixel);
        }
    };
    double all = 0;
    RoundedWeights frequencies[3];
    forEach([&](const float* values, double share) {
        all += share;
        for (int k = 0; k < range.count; ++k) {
            result.means[k] += share * static_cast<double>(values[k]);
            frequencies[k].of(values[k]) += share;
        }
    });
    for (int k = 0; k < range.count; ++k) {
        result.means[k] /= all;
    }
    double frequentSum[3] = {};
    double frequentWeights[3] = {};
    forEach([&](const float* values, double share) {
        for (int i = 0; i < range.count; ++i) {
            const double frequency = frequencies[i].of(values[i]) / all;
            frequentSum[i] += share * frequency * static_cast<double>(values[i]);
            frequentWeights[i] += share * frequency;
            for (int j = 0; j < range.count; ++j) {
                result.covariance[i][j] += share * (static_cast<double>(values[i]) - result.means[i]) *
                                           (static_cast<double>(values[j]) - result.means[j]);
            }
        }
    });
    for (int i = 0; i < range.count; ++i) {
        result.frequentMeans[i] = frequentSum[i] / frequentWeights[i];
        for (int j = 0; j < range.count; ++j) {
            result.covariance[i][j] = all > 1 ? result.covariance[i][j] / (all - 1) : 0;
        }
    }
    return result;
}

std::string sumLine(const MaskedSum& sum) {
    return numberText(sum.sum) + ' ' + std::to_string(sum.count) + '\n';
}

std::string sumLines(const MaskedSum* sums, int channels) {
    std::string lines;
    for (int k = 0; k < channels; ++k) {
        lines += sumLine(sums[k]);
    }
    return lines;
}

std::string pairLines(const MaskedSum& a, const MaskedSum& b) {
    return sumLine(a) + sumLine(b) + numberText(a.mean()) + ' ' + numberText(b.mean()) + '\n';
}

void copyCovariance(const ChannelCovariance& statistics, cv::Mat& cov) {
    for (int i = 0; i < statistics.channels; ++i) {
        std::copy(statistics.covariance[i], statistics.covariance[i] + statistics.channels, cov.ptr<float>(i));
    }
}

std::string covarianceLines(const ChannelCovariance& statistics) {
    std::string lines;
    for (int i = 0; i < statistics.channels; ++i) {
        for (int j = 0; j < statistics.channels; ++j) {
            lines += pairLines(statistics.sums[i], statistics.sums[j]);
        }
    }
    return lines;
}

}  // namespace likeness
