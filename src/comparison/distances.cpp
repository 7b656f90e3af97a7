#include <likeness/comparison/distances.hpp>

#include <likeness/appearance/uniform_space.hpp>
#include "numerics/argument_check.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <stdexcept>
#include <vector>

namespace likeness {
namespace {

constexpr double noDistance = std::numeric_limits<double>::quiet_NaN();

double meanOf(const BinProbabilities& probabilities) {
    double sum = 0;
    double total = 0;
    for (const auto& [bin, probability] : probabilities) {
        sum += static_cast<double>(bin) * static_cast<double>(probability);
        total += static_cast<double>(probability);
    }
    return sum / total;
}

/// p log2(p / m) where m is the mean of p and another; 0 of 0.
double partOfDivergence(double p, double mean) {
    return p > 0 ? p * std::log2(p / mean) : 0;
}

/// A distribution of weights by steps of 0.01.
class FineHistogram {
public:
    void add(double value) {
        const double step = std::clamp(std::nearbyint(value * stepsPerUnit), 0.0, mostSteps - 1.0);
        const auto index = static_cast<std::size_t>(step);
        if (index >= counts_.size()) {
            counts_.resize(index + 1, 0);
        }
        ++counts_[index];
        ++total_;
    }

    double distanceTo(const FineHistogram& other) const {
        double ahead = 0;
        double sum = 0;
        for (std::size_t i = 0; i < std::max(counts_.size(), other.counts_.size()); ++i) {
            ahead += share(i) - other.share(i);
            sum += std::abs(ahead);
        }
        return sum / stepsPerUnit;
    }

    bool empty() const { return total_ == 0; }

private:
    double share(std::size_t i) const { return i < counts_.size() ? counts_[i] / total_ : 0; }

    static constexpr double stepsPerUnit = 100;
    static constexpr double mostSteps = 1e6;  // far above what a display shows

    std::vector<double> counts_;
    double total_ = 0;
};

/// A photograph in J', M' and hue.
struct UniformDistributions {
    FineHistogram lightness;
    FineHistogram colorfulness;
    std::array<double, 360> hue{};  ///< M' by degree
    double sumOfColorfulness = 0;
    double pixels = 0;
};

/// Calls take(color, colorfulness, hueDegrees) for every pixel that counts.
template <typename Take>
void forEachUniformColor(const char* operation, const AppearanceMaps& maps, const Take& take) {
    requireType(operation, CV_32F,
                {{"lightness", maps.lightness}, {"colorfulness", maps.colorfulness}, {"hueDegrees", maps.hueDegrees}});
    requireRoom(operation, maps.lightness.size(), CV_32F,
                {{"colorfulness", maps.colorfulness}, {"hueDegrees", maps.hueDegrees}});
    for (int i = 0; i < maps.lightness.rows; ++i) {
        const auto* const J = maps.lightness.ptr<float>(i);
        const auto* const M = maps.colorfulness.ptr<float>(i);
        const auto* const h = maps.hueDegrees.ptr<float>(i);
        for (int j = 0; j < maps.lightness.cols; ++j) {
            Correlates correlates;
            correlates.lightness = static_cast<double>(J[j]);
            correlates.colorfulness = static_cast<double>(M[j]);
            correlates.hueDegrees = std::isnan(h[j]) ? 0 : static_cast<double>(h[j]);
            const UniformColor color = uniformColorOf(correlates);
            const double colorfulness = std::hypot(color.a, color.b);
            if (!(std::isfinite(color.lightness) && std::isfinite(colorfulness))) {
                continue;
            }
            take(color, colorfulness, correlates.hueDegrees);
        }
    }
}

UniformDistributions uniformDistributions(const AppearanceMaps& maps) {
    UniformDistributions result;
    forEachUniformColor("uniformDistances", maps,
                        [&result](const UniformColor& color, double colorfulness, double hueDegrees) {
                            result.lightness.add(color.lightness);
                            result.colorfulness.add(colorfulness);
                            const int degree = static_cast<int>(std::lround(hueDegrees)) % 360;
                            result.hue[static_cast<std::size_t>(degree < 0 ? degree + 360 : degree)] += colorfulness;
                            result.sumOfColorfulness += colorfulness;
                            ++result.pixels;
                        });
    return result;
}

std::vector<UniformColor> uniformColors(const AppearanceMaps& maps) {
    std::vector<UniformColor> colors;
    colors.reserve(maps.lightness.total());
    forEachUniformColor("slicedWasserstein", maps,
                        [&colors](const UniformColor& color, double, double) { colors.push_back(color); });
    return colors;
}

/// Steps of SplitMix64 (Steele, Lea, Flood, OOPSLA 2014): the same numbers on every machine.
class EvenNumbers {
public:
    explicit EvenNumbers(std::uint64_t seed) : state_(seed) {}

    /// From 0 to below 1.
    double next() {
        std::uint64_t z = state_ += 0x9e3779b97f4a7c15U;
        z = (z ^ z >> 30U) * 0xbf58476d1ce4e5b9U;
        z = (z ^ z >> 27U) * 0x94d049bb133111ebU;
        return static_cast<double>((z ^ z >> 31U) >> 11U) * 0x1p-53;
    }

private:
    std::uint64_t state_;
};

/// On a circle the mass may go either way round: the cumulative difference counts from its median (Rabin, Delon,
/// Gousseau, "Transportation distances on the circle", Journal of Mathematical Imaging and Vision 41, 2011).
double circularDistance(const UniformDistributions& first, const UniformDistributions& second) {
    std::array<double, 360> ahead{};
    double sum = 0;
    for (std::size_t degree = 0; degree < ahead.size(); ++degree) {
        sum += first.hue[degree] / first.sumOfColorfulness - second.hue[degree] / second.sumOfColorfulness;
        ahead[degree] = sum;
    }
    std::array<double, 360> sorted = ahead;
    std::nth_element(sorted.begin(), sorted.begin() + sorted.size() / 2, sorted.end());
    const double median = sorted[sorted.size() / 2];
    double distance = 0;
    for (const double value : ahead) {
        distance += std::abs(value - median);
    }
    return distance;
}

}  // namespace

BinDistances binDistances(const BinProbabilities& first, const BinProbabilities& second) {
    if (first.empty() || second.empty()) {
        return {noDistance, noDistance, noDistance, noDistance};
    }
    BinDistances distances;
    double ahead = 0;
    double before = 0;  // the bin that was left
    auto p = first.begin();
    auto q = second.begin();
    while (p != first.end() || q != second.end()) {
        const bool takesFirst = q == second.end() || (p != first.end() && p->first <= q->first);
        const bool takesSecond = p == first.end() || (q != second.end() && q->first <= p->first);
        const double bin = takesFirst ? p->first : q->first;
        const double ofFirst = takesFirst ? static_cast<double>((p++)->second) : 0;
        const double ofSecond = takesSecond ? static_cast<double>((q++)->second) : 0;
        distances.wasserstein += ahead == 0 ? 0 : std::abs(ahead) * (bin - before);
        before = bin;
        ahead += ofFirst - ofSecond;
        distances.kolmogorovSmirnov = std::max(distances.kolmogorovSmirnov, std::abs(ahead));
        const double mean = (ofFirst + ofSecond) / 2;
        distances.jensenShannon += (partOfDivergence(ofFirst, mean) + partOfDivergence(ofSecond, mean)) / 2;
    }
    distances.meanShift = meanOf(second) - meanOf(first);
    return distances;
}

PerCorrelate<BinDistances> distancesOf(const AppearanceDistributions& first, const AppearanceDistributions& second) {
    PerCorrelate<BinDistances> distances;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        distances[k] = binDistances(first[k], second[k]);
    }
    return distances;
}

UniformDistances uniformDistances(const AppearanceMaps& first, const AppearanceMaps& second) {
    const UniformDistributions a = uniformDistributions(first);
    const UniformDistributions b = uniformDistributions(second);
    if (a.lightness.empty() || b.lightness.empty()) {
        return {noDistance, noDistance, noDistance, noDistance};
    }
    UniformDistances distances;
    distances.lightness = a.lightness.distanceTo(b.lightness);
    distances.colorfulness = a.colorfulness.distanceTo(b.colorfulness);
    if (a.sumOfColorfulness > 0 && b.sumOfColorfulness > 0) {
        const double least = std::min(a.sumOfColorfulness / a.pixels, b.sumOfColorfulness / b.pixels);
        distances.hue = circularDistance(a, b) * least * std::numbers::pi / 180;
    }
    distances.total = std::sqrt(distances.lightness * distances.lightness +
                                distances.colorfulness * distances.colorfulness + distances.hue * distances.hue);
    return distances;
}

double slicedWasserstein(const AppearanceMaps& first, const AppearanceMaps& second, std::uint64_t seed,
                         int directions) {
    constexpr int mostDirections = 100000;
    if (directions < 1 || directions > mostDirections) {
        throw std::invalid_argument("slicedWasserstein: 1 to 100000 directions are expected");
    }
    const std::vector<UniformColor> a = uniformColors(first);
    const std::vector<UniformColor> b = uniformColors(second);
    if (a.empty() || b.empty()) {
        return noDistance;
    }
    // A spiral on the sphere (Fibonacci lattice), whose points have equal areas about them, begun at a random angle and
    // height. A direction and its opposite see the same distance: half of the sphere is enough.
    EvenNumbers random(seed);
    const double turn = random.next();
    const double lift = random.next();
    constexpr double middle = 1000;  // projections are above its negative: what is kept has no sign
    double sum = 0;
    for (int d = 0; d < directions; ++d) {
        const double height = (d + lift) / directions;
        const double angle = 2 * std::numbers::pi * (turn + d / std::numbers::phi);
        const double radius = std::sqrt(1 - height * height);
        const cv::Vec3d direction(height, radius * std::cos(angle), radius * std::sin(angle));
        const auto along = [&direction](const std::vector<UniformColor>& colors) {
            FineHistogram histogram;
            for (const UniformColor& color : colors) {
                histogram.add(middle + direction[0] * color.lightness + direction[1] * color.a +
                              direction[2] * color.b);
            }
            return histogram;
        };
        sum += along(a).distanceTo(along(b));
    }
    return sum / directions;
}

}  // namespace likeness
