#include "archive/archive_pairs.hpp"

#include "batch/stable_hash.hpp"
#include "files/number_format.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <limits>
#include <map>
#include <mutex>
#include <numeric>
#include <set>
#include <utility>

namespace likeness {

using namespace archive;

namespace {

/// Lines of damage, each once.
class DamageLines {
public:
    void add(const std::string& line) {
        const std::scoped_lock lock(mutex_);
        if (known_.insert(line).second) {
            fresh_.push_back(line);
        }
    }

    /// Those that came since it was asked before.
    std::vector<std::string> takeFresh() {
        const std::scoped_lock lock(mutex_);
        return std::exchange(fresh_, {});
    }

private:
    std::mutex mutex_;
    std::set<std::string> known_;
    std::vector<std::string> fresh_;
};

/// All with all.
class AllPairs {
public:
    AllPairs(const ArchiveFile& first, const ArchiveFile& second, const PairSearch& asked)
        : first_(first), second_(second), asked_(asked), same_(&first == &second) {}

    void run(EntryRange entries, const PairSink& take) {
        // Small pieces, so that the last ones do not hold up the end; they are given on in their order.
        constexpr std::size_t piece = 16;
        const std::size_t count = entries.end - entries.begin;
        const std::size_t pieces = (count + piece - 1) / piece;
        const auto endOf = [&](std::size_t p) { return std::min(entries.end, entries.begin + (p + 1) * piece); };
        std::atomic<std::size_t> total{asked_.had};
        std::mutex giving;
        std::map<std::size_t, std::vector<ArchivePair>> waiting;
        std::size_t next = 0;
        onThreads(asked_.threads, pieces, [&](std::size_t p) {
            std::vector<ArchivePair> found = ofPiece({entries.begin + p * piece, endOf(p)});
            if ((total += found.size()) > asked_.most) {
                refuseMore();
            }
            const std::scoped_lock lock(giving);
            waiting.emplace(p, std::move(found));
            for (auto first = waiting.begin(); first != waiting.end() && first->first == next;
                 first = waiting.erase(first)) {
                take(endOf(next), first->second, damage_.takeFresh());
                ++next;
            }
            if (asked_.progress) {
                asked_.progress(next == 0 ? 0 : endOf(next - 1) - entries.begin, count);
            }
        });
    }

private:
    /// A photograph of the first archive.
    struct Row {
        std::size_t entry;
        AppearanceDistributions photograph;
        ComparedOnce exact;
        SketchQuery sketch;
        std::vector<ArchivePair> found;
    };

    [[noreturn]] void refuseMore() const {
        throw TooManyPairs("there are more than " + numberOf(asked_.most, "pair") +
                           "; higher limits choose fewer, --most allows more");
    }

    std::vector<ArchivePair> ofPiece(EntryRange entries) {
        std::vector<Row> rows;
        std::vector<ArchivePair> found;
        for (std::size_t entry = entries.begin; entry < entries.end; ++entry) {
            try {
                if (!first_.analysed(entry)) {
                    continue;
                }
                first_.photograph(entry);  // what is found can be recorded
                AppearanceDistributions photograph = first_.distributions(entry);
                if (asked_.nearest > 0) {
                    nearestOf(entry, photograph, found);
                    continue;
                }
                ComparedOnce exact(photograph);
                const SketchQuery sketch(photograph, second_.head().edges.value_or(GroupEdges()));
                rows.push_back({entry, std::move(photograph), std::move(exact), sketch, {}});
            } catch (const ArchiveDamage& damaged) {
                damage_.add(damaged.what());
            }
        }
        // The sketches of a block are read once for all rows of the piece.
        const std::size_t from = same_ ? entries.begin + 1 : 0;
        for (std::size_t b = !rows.empty() && from < second_.size() ? second_.blockOf(from) : second_.blocks();
             b < second_.blocks(); ++b) {
            std::size_t together = 0;
            for (Row& row : rows) {
                try {
                    ofBlock(row, b);
                } catch (const ArchiveDamage& damaged) {
                    damage_.add(damaged.what());
                }
                together += row.found.size();
            }
            if (together > asked_.most) {
                refuseMore();
            }
            if (second_.blocks() > blocksInMemory) {
                second_.forget(b);
            }
        }
        for (const Row& row : rows) {
            found.insert(found.end(), row.found.begin(), row.found.end());
        }
        return found;
    }

    void nearestOf(std::size_t entry, const AppearanceDistributions& photograph, std::vector<ArchivePair>& found) {
        ArchiveSearch search;
        search.top = asked_.nearest;
        search.score = asked_.score;
        search.least = asked_.least;
        if (same_) {
            search.among = [entry](std::size_t other) { return other != entry; };
        }
        std::vector<std::string> lines;
        for (const ArchiveHit& hit : nearestEntries(second_, photograph, search, &lines)) {
            if (hit.score >= asked_.leastScore) {
                found.push_back({static_cast<std::uint32_t>(entry), static_cast<std::uint32_t>(hit.entry),
                                 hit.coefficients, hit.score});
            }
        }
        for (const std::string& line : lines) {
            damage_.add(line);
        }
    }

    void ofBlock(Row& row, std::size_t number) {
        const std::size_t from = same_ ? row.entry + 1 : 0;
        const BlockPlace& place = second_.block(number);
        const std::string_view sketches = second_.sketches(number);
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(sketches.data());
        std::array<std::array<float, sketchLanes>, 5> eight{};
        std::array<double, 6> coefficients{};
        coefficients[hueNumber] = hueBound;
        const std::size_t begin = std::max<std::size_t>(from, place.firstEntry) - place.firstEntry;
        for (std::size_t i = begin / sketchLanes * sketchLanes; i < place.entries; i += sketchLanes) {
            row.sketch.bounds(bytes + i * sketchBytes, eight);
            const std::size_t end = std::min<std::size_t>(sketchLanes, place.entries - i);
            for (std::size_t lane = begin > i ? begin - i : 0; lane < end; ++lane) {
                bool reaches = true;
                for (std::size_t k = 0; k < eight.size(); ++k) {
                    coefficients[k] = static_cast<double>(eight[k][lane]);
                    reaches = reaches && eight[k][lane] >= asked_.least[k];
                }
                if (reaches && asked_.score.of(coefficients) * (1 + 1e-6) >= asked_.leastScore) {
                    try {
                        compare(row, place.firstEntry + i + lane);
                    } catch (const ArchiveDamage& damaged) {
                        damage_.add(damaged.what());
                    }
                }
            }
        }
    }

    void compare(Row& row, std::size_t other) {
        if (compared_.fetch_add(1, std::memory_order_relaxed) % ArchiveFile::worthForgetting == 0) {
            second_.forgetIfLarge();
        }
        std::uint64_t pixels = 0;
        const std::string_view histograms = second_.histograms(other, pixels);
        if (histograms.empty()) {
            return;
        }
        ArchivePair pair{static_cast<std::uint32_t>(row.entry), static_cast<std::uint32_t>(other), {}, 0};
        try {
            pair.coefficients = row.exact.with(histograms, pixels);
        } catch (const HistogramDamage& damage) {
            throw ArchiveDamage("'" + second_.path() + "', entry " + std::to_string(other + 1) + ": " + damage.what());
        }
        pair.score = asked_.score.of(pair.coefficients);
        bool reaches = pair.score >= asked_.leastScore;
        for (std::size_t k = 0; k < asked_.least.size(); ++k) {
            reaches = reaches && pair.coefficients[k] >= asked_.least[k];
        }
        if (reaches) {
            row.found.push_back(pair);
        }
    }

    static constexpr double hueBound = 1.001;  // as in a search
    static constexpr std::size_t blocksInMemory = 16;

    const ArchiveFile& first_;
    const ArchiveFile& second_;
    const PairSearch& asked_;
    bool same_;
    DamageLines damage_;
    std::atomic<std::size_t> compared_{0};
};

/// How many comparisons the entries before one have, of `entries`, where each is compared with all behind it.
std::uint64_t comparisonsBefore(std::uint64_t entry, std::uint64_t entries) {
    return entry * (entries - 1) - entry * (entry - 1) / 2;
}

void refuseUnfit(const ArchiveFile& first, const ArchiveFile& second) {
    for (const ArchiveFile* archive : {&first, &second}) {
        if (!archive->head().edges) {
            throw Refusal("'" + archive->path() + "' is unfinished; darkroom index --resume goes on with it");
        }
        if (archive->size() > std::numeric_limits<std::uint32_t>::max()) {
            throw Refusal("'" + archive->path() + "' has more than 2^32 photographs; shards of it can be compared");
        }
    }
}

}  // namespace

EntryRange entriesOfShard(const ArchiveFile& first, const ArchiveFile& second, const PairSearch& search, Shard shard) {
    const std::uint64_t entries = first.size();
    if (&first != &second || search.nearest > 0 || entries < 2) {
        // Both factors are below 2^32.
        return {entries * (shard.index - 1) / shard.count, entries * shard.index / shard.count};
    }
    const std::uint64_t total = comparisonsBefore(entries - 1, entries);
    const auto begin = [&](std::uint32_t part) -> std::size_t {
        if (part == shard.count) {
            return entries;
        }
        const std::uint64_t wanted = total / shard.count * part + total % shard.count * part / shard.count;
        std::uint64_t low = 0;
        std::uint64_t high = entries;
        while (low < high) {
            const std::uint64_t middle = low + (high - low) / 2;
            if (comparisonsBefore(middle, entries) < wanted) {
                low = middle + 1;
            } else {
                high = middle;
            }
        }
        return low;
    };
    return {begin(shard.index - 1), begin(shard.index)};
}

std::string fingerprintOfPairs(const ArchiveFile& first, const ArchiveFile& second, const PairSearch& search) {
    std::string text = "pairs 1 " + first.identity() + ' ' + second.identity() + (&first == &second ? " same" : " two");
    fmt::format_to(std::back_inserter(text), " {} {} {}", static_cast<int>(search.score.kind), search.leastScore,
                   search.nearest);
    for (std::size_t k = 0; k < search.least.size(); ++k) {
        fmt::format_to(std::back_inserter(text), " {} {}", search.score.weights[k], search.least[k]);
    }
    return fmt::format("{:016x}", mixed(fnv1a(text)));
}

void findAlikePairs(const ArchiveFile& first, const ArchiveFile& second, const PairSearch& search, EntryRange entries,
                    const PairSink& take) {
    refuseUnfit(first, second);
    AllPairs(first, second, search).run(entries, take);
}

std::vector<ArchivePair> alikePairs(const ArchiveFile& first, const ArchiveFile& second, const PairSearch& search,
                                    std::vector<std::string>* damage) {
    std::vector<ArchivePair> all;
    std::set<std::string> lines;
    findAlikePairs(first, second, search, {0, first.size()},
                   [&](std::size_t, const std::vector<ArchivePair>& pairs, const std::vector<std::string>& fresh) {
                       all.insert(all.end(), pairs.begin(), pairs.end());
                       lines.insert(fresh.begin(), fresh.end());
                   });
    if (damage != nullptr) {
        damage->assign(lines.begin(), lines.end());
    }
    return all;
}

JoinedEntries::JoinedEntries(std::size_t entries) : above_(entries) {
    std::iota(above_.begin(), above_.end(), 0U);
}

std::uint32_t JoinedEntries::of(std::uint32_t entry) {
    while (above_[entry] != entry) {
        above_[entry] = above_[above_[entry]];  // halves the way for who comes next
        entry = above_[entry];
    }
    return entry;
}

void JoinedEntries::join(std::uint32_t first, std::uint32_t second) {
    const std::uint32_t a = of(first);
    const std::uint32_t b = of(second);
    above_[std::max(a, b)] = std::min(a, b);
}

std::vector<std::vector<std::uint32_t>> JoinedEntries::sets() {
    // The least entry of a set names it, and so comes before the others.
    std::vector<std::vector<std::uint32_t>> sets;
    std::map<std::uint32_t, std::size_t> places;
    for (std::uint32_t entry = 0; entry < above_.size(); ++entry) {
        const std::uint32_t name = of(entry);
        if (name == entry) {
            continue;
        }
        const auto [place, fresh] = places.try_emplace(name, sets.size());
        if (fresh) {
            sets.push_back({name});
        }
        sets[place->second].push_back(entry);
    }
    std::sort(sets.begin(), sets.end(), [](const auto& a, const auto& b) { return a.front() < b.front(); });
    return sets;
}

std::vector<ArchiveCluster> clustersOf(const ArchiveFile& archive, JoinedEntries& joined, const RankingScore& score,
                                       unsigned threads,
                                       const std::function<void(std::size_t done, std::size_t entries)>& progress) {
    std::vector<ArchiveCluster> clusters;
    std::size_t entries = 0;
    for (std::vector<std::uint32_t>& set : joined.sets()) {
        entries += set.size();
        clusters.push_back({std::move(set), {}, 0});
    }
    std::mutex telling;
    std::size_t done = 0;
    std::atomic<std::size_t> compared{0};
    for (ArchiveCluster& cluster : clusters) {
        cluster.means.resize(cluster.entries.size());
        onThreads(threads, cluster.entries.size(), [&](std::size_t i) {
            const ComparedOnce exact(archive.distributions(cluster.entries[i]));
            double sum = 0;
            for (const std::uint32_t other : cluster.entries) {
                if (other != cluster.entries[i]) {
                    std::uint64_t pixels = 0;
                    const std::string_view histograms = archive.histograms(other, pixels);
                    sum += score.of(exact.with(histograms, pixels));
                }
                if (compared.fetch_add(1, std::memory_order_relaxed) % ArchiveFile::worthForgetting == 0) {
                    archive.forgetIfLarge();
                }
            }
            cluster.means[i] = sum / static_cast<double>(cluster.entries.size() - 1);
            const std::scoped_lock lock(telling);
            ++done;
            if (progress) {
                progress(done, entries);
            }
        });
        cluster.representative = static_cast<std::size_t>(std::max_element(cluster.means.begin(), cluster.means.end()) -
                                                          cluster.means.begin());
    }
    return clusters;
}

std::vector<ArchiveCluster> clustersOf(const ArchiveFile& archive, const std::vector<ArchivePair>& pairs,
                                       const RankingScore& score, unsigned threads) {
    JoinedEntries joined(archive.size());
    for (const ArchivePair& pair : pairs) {
        joined.join(pair.first, pair.second);
    }
    return clustersOf(archive, joined, score, threads);
}

}  // namespace likeness
