#include <likeness/comparison/histogram_similarity.hpp>

#include "numerics/argument_check.hpp"
#include "numerics/image_walk.hpp"

#include <cmath>
#include <limits>

namespace likeness {
namespace {

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

float sumOverBins(BinProbabilities::const_iterator begin, BinProbabilities::const_iterator end,
                  const BinProbabilities& second) {
    float sum = 0.0F;
    for (auto p = begin; p != end; ++p) {
        const auto r = second.find(p->first);
        if (r != second.end()) {
            sum += std::sqrt(r->second * p->second);
        }
    }
    return sum;
}

}  // namespace

int BinCounts::binOf(float value) noexcept {
    const double v = value;
    if (!(std::abs(v) < 2147483647.5)) {
        return std::numeric_limits<int>::min();
    }
    // Exact for every float: the sum with a half fits into a double, and the conversion cuts off towards zero.
    return static_cast<int>(v < 0 ? v - 0.5 : v + 0.5);
}

void BinCounts::add(const cv::Mat& map) {
    requireType("BinCounts::add", CV_32F, {{"map", map}});
    const ImageWalk walk = walkOver(map);
    for (int i = 0; i < walk.rows; ++i) {
        const float* const values = map.ptr<float>(i);
        for (int j = 0; j < walk.cols; ++j) {
            add(values[j]);
        }
    }
}

void BinCounts::add(const cv::Mat& map, const std::vector<std::uint32_t>& counts) {
    requireRoom("BinCounts::add", {static_cast<int>(counts.size()), 1}, CV_32F, {{"map", map}});
    const float* const values = map.ptr<float>(0);
    for (std::size_t i = 0; i < counts.size(); ++i) {
        add(values[i], counts[i]);
    }
}

void addProbabilities(const BinCounts& counts, BinProbabilities& probabilities) {
    const auto count = [&probabilities](int bin, std::uint64_t times) {
        float& entry = probabilities[bin];
        entry = countedUp(entry, times);
    };
    for (const auto& [bin, times] : counts.sparse_) {
        count(bin, times);
    }
    for (int i = 0; i < BinCounts::denseBins; ++i) {
        const std::uint64_t times = counts.dense_[static_cast<std::size_t>(i)];
        if (times > 0) {
            count(BinCounts::firstDense + i, times);
        }
    }
    const auto total = static_cast<float>(counts.total_);
    for (auto& [bin, entry] : probabilities) {
        entry /= total;
    }
}

BinProbabilities BinCounts::probabilities() const {
    BinProbabilities result;
    addProbabilities(*this, result);
    return result;
}

BinProbabilities BinCounts::shares() const {
    BinProbabilities result;
    const auto share = [this](std::uint64_t times) {
        return static_cast<float>(static_cast<double>(times) / static_cast<double>(total_));
    };
    for (const auto& [bin, times] : sparse_) {
        result[bin] = share(times);
    }
    for (int i = 0; i < denseBins; ++i) {
        const std::uint64_t times = dense_[static_cast<std::size_t>(i)];
        if (times > 0) {
            result[firstDense + i] = share(times);
        }
    }
    return result;
}

double BinCounts::nanShare() const noexcept {
    const std::uint64_t all = total_ + missing_;
    return all == 0 ? 0.0 : static_cast<double>(missing_) / static_cast<double>(all);
}

void computeFreqProbs(const cv::Mat& map, std::map<int, float>& probs) {
    requireType("computeFreqProbs", CV_32F, {{"map", map}});
    BinCounts counts;
    counts.add(map);
    addProbabilities(counts, probs);
}

float bhattacharyyaCoefficient(const BinProbabilities& first, const BinProbabilities& second) {
    constexpr int lastBin = 999;
    return sumOverBins(first.lower_bound(0), first.upper_bound(lastBin), second);
}

float bhattacharyyaCoefficientOfAllBins(const BinProbabilities& first, const BinProbabilities& second) {
    return sumOverBins(first.begin(), first.end(), second);
}

float getBhattacharyaCoeff(const cv::Mat& first, const cv::Mat& second) {
    requireType("getBhattacharyaCoeff", CV_32F, {{"first", first}, {"second", second}});
    BinProbabilities firstProbabilities;
    BinProbabilities secondProbabilities;
    computeFreqProbs(first, firstProbabilities);
    computeFreqProbs(second, secondProbabilities);
    return bhattacharyyaCoefficient(firstProbabilities, secondProbabilities);
}

}  // namespace likeness
