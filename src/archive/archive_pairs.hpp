// Pairs of entries of archives that look alike.
#pragma once

#include "archive/archive_search.hpp"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace likeness {

/// Two entries, the second one of the other archive where there are two.
struct ArchivePair {
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    PairCoefficients coefficients;
    double score = 0;
};

/// What is asked of a comparison of all with all.
struct PairSearch {
    RankingScore score = {};
    double leastScore = 0;            ///< and what it must reach
    std::array<float, 6> least = {};  ///< what the coefficients must reach; 0: anything
    /// Not 0: of each entry the so many of the greatest scores; of equal ones the first.
    std::size_t nearest = 0;
    std::size_t most = 10'000'000;  ///< more pairs than these are refused
    unsigned threads = 1;
    /// Told how many entries of so many are done; called from one thread at a time. What it throws ends the search.
    std::function<void(std::size_t done, std::size_t entries)> progress = {};
};

/// All pairs that reach the limits: of one archive each pair once, the earlier entry first; of two each entry of the
/// first with each of the second. With `nearest`, each entry with those that it is nearest to, itself left out. In the
/// order of the first entry, then of the second, with `nearest` of the falling score. The same pairs as if all were
/// compared, for any number of threads.
///
/// @param second  the other archive, or the same one
/// @param damage  receives a line for each damaged block or entry, which is in no pair
/// @throws Refusal  if there are more than `most`
std::vector<ArchivePair> alikePairs(const Archive& first, const Archive& second, const PairSearch& search,
                                    std::vector<std::string>* damage = nullptr);

/// Entries that hang together by pairs.
struct ArchiveCluster {
    std::vector<std::uint32_t> entries;  ///< ascending, two or more
    std::vector<double> means;           ///< of the scores of each with the others of the cluster
    std::size_t representative = 0;      ///< place of the greatest mean; of equal ones the first
};

/// The connected components of the pairs of one archive, in the order of their first entries.
std::vector<ArchiveCluster> clustersOf(const Archive& archive, const std::vector<ArchivePair>& pairs,
                                       const RankingScore& score, unsigned threads);

}  // namespace likeness
