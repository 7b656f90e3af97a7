/// @file
/// How much the value distributions of two maps overlap: histograms of rounded values and the Bhattacharyya coefficient
/// (Bhattacharyya, "On a measure of divergence between two statistical populations", Bull. Calcutta Math. Soc. 35,
/// 1943).
///
/// A map is CV_32F of any size. The bin of a value is the nearest integer, halves away from zero; a value outside the
/// range of int, infinite ones too, has the bin of the smallest int. NaN has no bin and is not counted. Bins count in
/// float and so stop at 2^24. A map of another type raises std::invalid_argument.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace likeness {

/// Probability of every bin that holds a value, by ascending bin.
using BinProbabilities = std::map<int, float>;

/// How many values each bin received.
class LIKENESS_API BinCounts {
public:
    /// Counts a value so many times; NaN is in no bin.
    void add(float value, std::uint32_t times = 1) {
        if (std::isnan(value)) {
            missing_ += times;
        } else {
            addToBin(binOf(value), times);
        }
    }

    /// Counts so many values in a bin.
    void addToBin(int bin, std::uint64_t times) {
        total_ += times;
        if (bin >= firstDense && bin < firstDense + denseBins) {
            dense_[static_cast<std::size_t>(bin - firstDense)] += times;
        } else {
            sparse_[bin] += times;
        }
    }

    /// Counts so many values that are NaN.
    void addMissing(std::uint64_t times) noexcept { missing_ += times; }

    /// Counts every value of a CV_32F map.
    void add(const cv::Mat& map);

    /// A map whose element i stands for counts[i] equal values.
    /// @param map     1 x N
    /// @param counts  N numbers
    void add(const cv::Mat& map, const std::vector<std::uint32_t>& counts);

    /// What `computeFreqProbs` gives for a map of these values.
    BinProbabilities probabilities() const;

    /// Share of each bin among all that were counted: divided in double and rounded to float, and without an end to
    /// counting.
    BinProbabilities shares() const;

    /// Share, 0..1, of the values that are NaN and so in no bin; 0 of no values.
    double nanShare() const noexcept;

    /// The bin of a value that is not NaN: the nearest integer, halves away from 0; that of values beyond the range of
    /// int is the least int.
    static int binOf(float value) noexcept;

private:
    friend void addProbabilities(const BinCounts& counts, BinProbabilities& probabilities);

    static constexpr int firstDense = -256;
    static constexpr int denseBins = 2048;

    std::array<std::uint64_t, denseBins> dense_{};
    std::map<int, std::uint64_t> sparse_;
    std::uint64_t total_ = 0;
    std::uint64_t missing_ = 0;
};

/// Adds the relative frequency of each bin of `map` to `probs`, which should be empty. A map without a value that has a
/// bin adds nothing.
LIKENESS_API void computeFreqProbs(const cv::Mat& map, std::map<int, float>& probs);

/// Bhattacharyya coefficient over the bins 0 to 999, in float: 0 for no overlap, 1 for equal distributions. Other bins
/// do not contribute, even where both distributions hold them.
LIKENESS_API float bhattacharyyaCoefficient(const BinProbabilities& first, const BinProbabilities& second);

/// The same over all bins, so that equal distributions have 1 wherever their bins lie.
LIKENESS_API float bhattacharyyaCoefficientOfAllBins(const BinProbabilities& first, const BinProbabilities& second);

/// The coefficient of two maps, over the bins 0 to 999, which may differ in size.
LIKENESS_API float getBhattacharyaCoeff(const cv::Mat& first, const cv::Mat& second);

}  // namespace likeness
