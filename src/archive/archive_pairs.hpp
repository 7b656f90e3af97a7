// Pairs of entries of archives that look alike.
#pragma once

#include "archive/archive_search.hpp"
#include "batch/shard.hpp"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace likeness {

/// What is asked of a comparison of all with all.
struct PairSearch {
    RankingScore score = {};
    double leastScore = 0;            ///< and what it must reach
    std::array<float, 6> least = {};  ///< what the coefficients must reach; 0: anything
    /// Not 0: of each entry the so many of the greatest scores; of equal ones the first.
    std::size_t nearest = 0;
    std::size_t most = 10'000'000;  ///< more pairs than these are refused
    std::size_t had = 0;            ///< how many an earlier search found already, which count
    unsigned threads = 1;
    /// Told how many entries of so many of the range are done; called from one thread at a time. What it throws ends the
    /// search.
    std::function<void(std::size_t done, std::size_t entries)> progress = {};
};

/// There are more pairs than were allowed.
class TooManyPairs : public Refusal {
public:
    using Refusal::Refusal;
};

/// Entries of an archive, one behind the other: from `begin` to before `end`.
struct EntryRange {
    std::size_t begin = 0;
    std::size_t end = 0;

    bool operator==(const EntryRange&) const = default;
};

/// The first entries of the pairs of a shard. The ranges of all shards follow upon each other and have about the same
/// number of comparisons.
EntryRange entriesOfShard(const ArchiveFile& first, const ArchiveFile& second, const PairSearch& search, Shard shard);

/// 16 hexadecimal digits that stand for all that the pairs depend on: what is in the archives, score, limits.
std::string fingerprintOfPairs(const ArchiveFile& first, const ArchiveFile& second, const PairSearch& search);

/// Takes what was found for the entries before `next` and behind those of the call before.
/// @param damage  lines that were not given before
using PairSink = std::function<void(std::size_t next, const std::vector<ArchivePair>& pairs,
                                    const std::vector<std::string>& damage)>;

/// Gives the pairs whose first entry is in a range, in their order, while more are looked for. Memory does not grow with
/// their number. See `alikePairs`.
/// @param take  called from one thread at a time; what it throws ends the search
void findAlikePairs(const ArchiveFile& first, const ArchiveFile& second, const PairSearch& search, EntryRange entries,
                    const PairSink& take);

/// All pairs that reach the limits: of one archive each pair once, the earlier entry first; of two each entry of the
/// first with each of the second. With `nearest`, each entry with those that it is nearest to, itself left out. In the
/// order of the first entry, then of the second, with `nearest` of the falling score. The same pairs as if all were
/// compared, for any number of threads.
///
/// @param second  the other archive, or the same one
/// @param damage  receives a line for each damaged block or entry, which is in no pair
/// @throws TooManyPairs  if there are more than `most`
std::vector<ArchivePair> alikePairs(const ArchiveFile& first, const ArchiveFile& second, const PairSearch& search,
                                    std::vector<std::string>* damage = nullptr);

/// Entries that are joined by pairs, in sets (Galler and Fischer, 1964). Takes 4 bytes for each entry of the archive.
class JoinedEntries {
public:
    explicit JoinedEntries(std::size_t entries);

    void join(std::uint32_t first, std::uint32_t second);

    /// The sets of two or more, in the order of their first entries, the entries ascending.
    std::vector<std::vector<std::uint32_t>> sets();

private:
    std::uint32_t of(std::uint32_t entry);

    std::vector<std::uint32_t> above_;
};

/// The sets of one archive, with the means.
/// @param progress  told how many entries of so many are done, from one thread at a time; what it throws ends the work
std::vector<ArchiveCluster> clustersOf(const ArchiveFile& archive, JoinedEntries& joined, const RankingScore& score,
                                       unsigned threads,
                                       const std::function<void(std::size_t done, std::size_t entries)>& progress = {});

/// The connected components of the pairs of one archive, in the order of their first entries.
std::vector<ArchiveCluster> clustersOf(const ArchiveFile& archive, const std::vector<ArchivePair>& pairs,
                                       const RankingScore& score, unsigned threads);

}  // namespace likeness
