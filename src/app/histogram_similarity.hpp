// How much the value distributions of two maps overlap: histograms of rounded values and the Bhattacharyya coefficient
// (Bhattacharyya, "On a measure of divergence between two statistical populations", Bull. Calcutta Math. Soc. 35,
// 1943).
//
// A map is CV_32F of any size. The bin of a value is the nearest integer, halves away from zero; a value outside the
// range of int, infinite ones too, has the bin of the smallest int. NaN has no bin and is not counted. Bins count in
// float and so stop at 2^24.
#pragma once

#include <cstdint>
#include <map>
#include <opencv2/core.hpp>
#include <vector>

namespace likeness {

/// Probability of every bin that holds a value, by ascending bin.
using BinProbabilities = std::map<int, float>;

/// Adds the relative frequency of each bin of `map` to `probs`, which should be empty. A map without a value that has a
/// bin adds nothing.
void computeFreqProbs(const cv::Mat& map, std::map<int, float>& probs);

/// The same for a map whose element i stands for counts[i] equal values: what `computeFreqProbs` gives for the map in
/// which each is repeated.
/// @param map     1 x N
/// @param counts  N numbers with a sum below 2^31
BinProbabilities weightedBinProbabilities(const cv::Mat& map, const std::vector<std::uint32_t>& counts);

/// Share, 0..1, of the values that are NaN and so in no bin, of the map in which element i is repeated counts[i] times;
/// 0 for no values.
double weightedNanShare(const cv::Mat& map, const std::vector<std::uint32_t>& counts);

/// Bhattacharyya coefficient over the bins 0 to 999, in float: 0 for no overlap, 1 for equal distributions. Other bins
/// do not contribute, even where both distributions hold them.
float bhattacharyyaCoefficient(const BinProbabilities& first, const BinProbabilities& second);

/// The coefficient of two maps, which may differ in size.
float getBhattacharyaCoeff(const cv::Mat& first, const cv::Mat& second);

}  // namespace likeness
