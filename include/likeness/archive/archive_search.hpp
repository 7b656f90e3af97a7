/// @file
/// What is asked of an archive, and what it finds.
#pragma once

#include <likeness/comparison/per_correlate.hpp>
#include <likeness/comparison/photograph_comparison.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace likeness {

/// The coefficients of two photographs: the bits of `compareDistributions`.
struct PairCoefficients {
    LikenessCoefficients five;  ///< of the correlates, 0 to 1
    std::optional<float> hue;   ///< where both have a distribution of it

    /// One of the five, k < 5, or the hue's; 0 where there is none.
    float operator[](std::size_t k) const noexcept { return k < correlateNames.size() ? five[k] : hue.value_or(0); }
};

/// What a pair is ranked by: a number made of its coefficients, the greater the more alike.
struct RankingScore {
    /// How the number is made.
    enum class Kind {
        mean,   ///< of the coefficients, weighted
        least,  ///< of those with a weight
    };

    Kind kind = Kind::mean;  ///< by default the mean of the five
    /// Of the five and of the hue, from 0; they need not add up to 1, but one is above 0.
    std::array<double, 6> weights = {1, 1, 1, 1, 1, 0};

    /// In double: the sum of weight times coefficient in the order of the coefficients, over the sum of the weights.
    double of(const std::array<double, 6>& coefficients) const {
        double sum = 0;
        double total = 0;
        double least = std::numeric_limits<double>::infinity();
        for (std::size_t k = 0; k < weights.size(); ++k) {
            if (weights[k] > 0) {
                sum += weights[k] * coefficients[k];
                total += weights[k];
                least = std::min(least, coefficients[k]);
            }
        }
        return kind == Kind::least ? least : sum / total;
    }

    /// Of a pair.
    double of(const PairCoefficients& coefficients) const {
        std::array<double, 6> values{};
        for (std::size_t k = 0; k < values.size(); ++k) {
            values[k] = static_cast<double>(coefficients[k]);
        }
        return of(values);
    }
};

/// What is asked of a search.
struct ArchiveSearch {
    std::size_t top = 10;             ///< how many, from 1
    RankingScore score = {};          ///< what ranks
    std::array<float, 6> least = {};  ///< what the coefficients and the hue's must reach; 0: anything
    /// Entries that may be found; all without. Called from several threads.
    std::function<bool(std::size_t entry)> among = {};
    unsigned threads = 0;  ///< 0: `threads()`
    /// Whether the index beside the archive leads, which finds most of what is near and takes less time. By the mean of
    /// the five alone.
    bool approximate = false;
    /// Told of what is damaged and can therefore not be found, a line each; without it that is an exception.
    std::function<void(const std::string& line)> damaged = {};
};

/// An entry that a search found.
struct ArchiveHit {
    std::size_t entry = 0;          ///< its number in the archive
    PairCoefficients coefficients;  ///< with what was searched for
    double score = 0;               ///< made of them
};

/// What is asked of a comparison of all with all.
struct ArchivePairSearch {
    RankingScore score = {};          ///< what ranks
    double leastScore = 0;            ///< what it must reach
    std::array<float, 6> least = {};  ///< what the coefficients and the hue's must reach; 0: anything
    /// Not 0: of each entry the so many of the greatest scores; of equal ones the first.
    std::size_t nearest = 0;
    std::size_t most = 10'000'000;  ///< more pairs than these are refused
    unsigned threads = 0;           ///< 0: `threads()`
    /// As of `ArchiveSearch`.
    std::function<void(const std::string& line)> damaged = {};
    /// Told how many entries of so many are done, from one thread at a time; false ends the search with `Cancelled`.
    std::function<bool(std::size_t done, std::size_t entries)> progress = {};
};

/// Two entries, the second one of the other archive where there are two.
struct ArchivePair {
    std::uint32_t first = 0;        ///< number of an entry
    std::uint32_t second = 0;       ///< likewise
    PairCoefficients coefficients;  ///< of the two
    double score = 0;               ///< made of them
};

/// Entries that hang together by pairs.
struct ArchiveCluster {
    std::vector<std::uint32_t> entries;  ///< ascending, two or more
    std::vector<double> means;           ///< of the scores of each with the others of the cluster
    std::size_t representative = 0;      ///< place of the greatest mean; of equal ones the first
};

}  // namespace likeness
