#include "app/histogram_similarity.hpp"

#include <array>
#include <cmath>
#include <limits>

#include "numerics/image_walk.hpp"

namespace likeness {
namespace {

int binOf(float value) noexcept {
    const double v = value;
    if (!(std::abs(v) < 2147483647.5)) {
        return std::numeric_limits<int>::min();
    }
    // Exact for every float: the sum with a half fits into a double, and the conversion cuts off towards zero.
    return static_cast<int>(v < 0 ? v - 0.5 : v + 0.5);
}

/// How many values each bin received.
class BinCounts {
public:
    void add(float value, std::uint32_t times) {
        if (std::isnan(value)) {
            return;
        }
        const int bin = binOf(value);
        total_ += times;
        if (bin >= firstDense && bin < firstDense + denseBins) {
            dense_[static_cast<std::size_t>(bin - firstDense)] += times;
        } else {
            sparse_[bin] += times;
        }
    }

    /// Visits (bin, count) of every bin that is not empty.
    template <typename Visit>
    void forEach(Visit visit) const {
        for (const auto& [bin, count] : sparse_) {
            visit(bin, count);
        }
        for (int i = 0; i < denseBins; ++i) {
            const std::uint64_t count = dense_[static_cast<std::size_t>(i)];
            if (count > 0) {
                visit(firstDense + i, count);
            }
        }
    }

    std::uint64_t total() const noexcept { return total_; }

private:
    static constexpr int firstDense = -256;
    static constexpr int denseBins = 2048;

    std::array<std::uint64_t, denseBins> dense_{};
    std::map<int, std::uint64_t> sparse_;
    std::uint64_t total_ = 0;
};

/// Adds 1 to `entry` `times` times in float; from 2^24 on that changes nothing.
float countedUp(float entry, std::uint64_t times) {
    constexpr std::uint64_t limit = std::uint64_t{1} << 24;
    if (entry == 0.0F) {
        return static_cast<float>(times < limit ? times : limit);
    }
    for (float next = entry + 1.0F; times > 0 && next != entry; --times, next = entry + 1.0F) {
        entry = next;
    }
    return entry;
}

void addTo(BinProbabilities& probabilities, const BinCounts& counts) {
    counts.forEach([&](int bin, std::uint64_t count) {
        float& entry = probabilities[bin];
        entry = countedUp(entry, count);
    });
    const auto total = static_cast<float>(counts.total());
    for (auto& [bin, entry] : probabilities) {
        entry /= total;
    }
}

}  // namespace

void computeFreqProbs(const cv::Mat& map, std::map<int, float>& probs) {
    BinCounts counts;
    const ImageWalk walk = walkOver(map);
    for (int i = 0; i < walk.rows; ++i) {
        const float* const values = map.ptr<float>(i);
        for (int j = 0; j < walk.cols; ++j) {
            counts.add(values[j], 1);
        }
    }
    addTo(probs, counts);
}

BinProbabilities weightedBinProbabilities(const cv::Mat& map, const std::vector<std::uint32_t>& counts) {
    BinCounts binCounts;
    const float* const values = map.ptr<float>(0);
    for (std::size_t i = 0; i < counts.size(); ++i) {
        binCounts.add(values[i], counts[i]);
    }
    BinProbabilities probabilities;
    addTo(probabilities, binCounts);
    return probabilities;
}

double weightedNanShare(const cv::Mat& map, const std::vector<std::uint32_t>& counts) {
    const float* const values = map.ptr<float>(0);
    std::uint64_t missing = 0;
    std::uint64_t total = 0;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        missing += std::isnan(values[i]) ? counts[i] : 0U;
        total += counts[i];
    }
    return total == 0 ? 0.0 : static_cast<double>(missing) / static_cast<double>(total);
}

float bhattacharyyaCoefficient(const BinProbabilities& first, const BinProbabilities& second) {
    constexpr int lastBin = 999;
    float sum = 0.0F;
    const auto end = first.upper_bound(lastBin);
    for (auto p = first.lower_bound(0); p != end; ++p) {
        const auto r = second.find(p->first);
        if (r != second.end()) {
            sum += std::sqrt(r->second * p->second);
        }
    }
    return sum;
}

float getBhattacharyaCoeff(const cv::Mat& first, const cv::Mat& second) {
    BinProbabilities firstProbabilities;
    BinProbabilities secondProbabilities;
    computeFreqProbs(first, firstProbabilities);
    computeFreqProbs(second, secondProbabilities);
    return bhattacharyyaCoefficient(firstProbabilities, secondProbabilities);
}

}  // namespace likeness
