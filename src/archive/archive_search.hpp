// The entries of an archive that look most like a photograph.
#pragma once

#include "archive/archive_file.hpp"
#include "archive/exact_comparison.hpp"

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace likeness {

/// What a pair is ranked by: a number made of its coefficients, the greater the more alike.
struct RankingScore {
    enum class Kind {
        mean,   ///< of the coefficients, weighted
        least,  ///< of those with a weight
    };

    Kind kind = Kind::mean;
    /// Of the five and of the hue, from 0; they need not add up to 1, but one is above 0.
    std::array<double, 6> weights = {1, 1, 1, 1, 1, 0};

    /// In double: the sum of weight times coefficient in the order of the coefficients, over the sum of the weights.
    double of(const std::array<double, 6>& coefficients) const;
    double of(const PairCoefficients& coefficients) const;
};

/// What is asked of a search.
struct ArchiveSearch {
    std::size_t top = 10;  ///< how many, from 1
    RankingScore score = {};
    std::array<float, 6> least = {};  ///< what the coefficients must reach; 0: anything
    /// Entries that may be found; all without. Called from several threads.
    std::function<bool(std::size_t entry)> among = {};
    unsigned threads = 1;
};

struct ArchiveHit {
    std::size_t entry = 0;
    PairCoefficients coefficients;
    double score = 0;
};

/// What a search did.
struct SearchEffort {
    std::size_t bounded = 0;   ///< entries whose bound was looked at
    std::size_t compared = 0;  ///< and that were compared
};

/// The entries of the greatest scores, the greatest first; of equal scores the first in the archive. The same as if all
/// were compared, for any number of threads: an entry is left out only where a bound on its score is below that of the
/// last one found.
///
/// @param damage  receives a line for each damaged block or entry, which cannot be found
/// @throws std::invalid_argument  `top` is 0, a weight below 0, none above
std::vector<ArchiveHit> nearestEntries(const ArchiveFile& archive, const AppearanceDistributions& photograph,
                                       const ArchiveSearch& search, std::vector<std::string>* damage = nullptr,
                                       SearchEffort* effort = nullptr);

/// Calls work(k) for k below `count` on so many threads, the caller's among them.
/// @throws what the work throws: the first of several
void onThreads(unsigned threads, std::size_t count, const std::function<void(std::size_t k)>& work);

}  // namespace likeness
