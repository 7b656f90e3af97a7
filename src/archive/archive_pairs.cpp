#include "archive/archive_pairs.hpp"

#include "files/number_format.hpp"

#include <algorithm>
#include <atomic>
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
        lines_.insert(line);
    }
    std::vector<std::string> lines() const { return {lines_.begin(), lines_.end()}; }

private:
    std::mutex mutex_;
    std::set<std::string> lines_;
};

/// All with all.
class AllPairs {
public:
    AllPairs(const Archive& first, const Archive& second, const PairSearch& asked)
        : first_(first), second_(second), asked_(asked), same_(&first == &second) {}

    std::vector<ArchivePair> run(DamageLines& damage) {
        // Small pieces, so that the last ones do not hold up the end; the results are put together in their order.
        constexpr std::size_t piece = 16;
        const std::size_t pieces = (first_.size() + piece - 1) / piece;
        std::vector<std::vector<ArchivePair>> found(pieces);
        std::atomic<std::size_t> count{0};
        std::mutex progressing;
        std::size_t done = 0;
        onThreads(asked_.threads, pieces, [&](std::size_t p) {
            const std::size_t end = std::min(first_.size(), (p + 1) * piece);
            for (std::size_t entry = p * piece; entry < end; ++entry) {
                try {
                    ofEntry(entry, found[p], damage);
                } catch (const ArchiveDamage& damaged) {
                    damage.add(damaged.what());
                }
                if (found[p].size() > asked_.most) {
                    break;
                }
            }
            if ((count += found[p].size()) > asked_.most) {
                throw Refusal("there are more than " + numberOf(asked_.most, "pair") +
                              "; higher limits choose fewer, --most allows more");
            }
            const std::scoped_lock lock(progressing);
            done += end - p * piece;
            if (asked_.progress) {
                asked_.progress(done, first_.size());
            }
        });
        std::vector<ArchivePair> all;
        all.reserve(count);
        for (std::vector<ArchivePair>& some : found) {
            all.insert(all.end(), some.begin(), some.end());
            some = {};
        }
        return all;
    }

private:
    void ofEntry(std::size_t entry, std::vector<ArchivePair>& found, DamageLines& damage) const {
        if (!first_.analysed(entry)) {
            return;
        }
        first_.photograph(entry);  // what is found can be recorded
        const AppearanceDistributions photograph = first_.distributions(entry);
        if (asked_.nearest > 0) {
            nearestOf(entry, photograph, found, damage);
            return;
        }
        const ComparedOnce exact(photograph);
        const SketchQuery sketch(photograph, second_.head().edges.value_or(GroupEdges()));
        const std::size_t from = same_ ? entry + 1 : 0;
        for (std::size_t b = from < second_.size() ? second_.blockOf(from) : second_.blocks(); b < second_.blocks();
             ++b) {
            try {
                ofBlock(entry, from, b, exact, sketch, found, damage);
            } catch (const ArchiveDamage& damaged) {
                damage.add(damaged.what());
            }
        }
    }

    void nearestOf(std::size_t entry, const AppearanceDistributions& photograph, std::vector<ArchivePair>& found,
                   DamageLines& damage) const {
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
            damage.add(line);
        }
    }

    void ofBlock(std::size_t entry, std::size_t from, std::size_t number, const ComparedOnce& exact,
                 const SketchQuery& sketch, std::vector<ArchivePair>& found, DamageLines& damage) const {
        const BlockPlace& place = second_.block(number);
        const std::string_view sketches = second_.sketches(number);
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(sketches.data());
        std::array<std::array<float, sketchLanes>, 5> eight{};
        std::array<double, 6> coefficients{};
        coefficients[hueNumber] = hueBound;
        const std::size_t begin = std::max<std::size_t>(from, place.firstEntry) - place.firstEntry;
        for (std::size_t i = begin / sketchLanes * sketchLanes; i < place.entries; i += sketchLanes) {
            sketch.bounds(bytes + i * sketchBytes, eight);
            const std::size_t end = std::min<std::size_t>(sketchLanes, place.entries - i);
            for (std::size_t lane = begin > i ? begin - i : 0; lane < end; ++lane) {
                bool reaches = true;
                for (std::size_t k = 0; k < eight.size(); ++k) {
                    coefficients[k] = static_cast<double>(eight[k][lane]);
                    reaches = reaches && eight[k][lane] >= asked_.least[k];
                }
                if (reaches && asked_.score.of(coefficients) * (1 + 1e-6) >= asked_.leastScore) {
                    try {
                        compare(entry, place.firstEntry + i + lane, exact, found);
                    } catch (const ArchiveDamage& damaged) {
                        damage.add(damaged.what());
                    }
                }
            }
        }
    }

    void compare(std::size_t entry, std::size_t other, const ComparedOnce& exact,
                 std::vector<ArchivePair>& found) const {
        if (compared_.fetch_add(1, std::memory_order_relaxed) % Archive::worthForgetting == 0) {
            second_.forgetIfLarge();
        }
        std::uint64_t pixels = 0;
        const std::string_view histograms = second_.histograms(other, pixels);
        if (histograms.empty()) {
            return;
        }
        ArchivePair pair{static_cast<std::uint32_t>(entry), static_cast<std::uint32_t>(other), {}, 0};
        try {
            pair.coefficients = exact.with(histograms, pixels);
        } catch (const HistogramDamage& damage) {
            throw ArchiveDamage("'" + second_.path() + "', entry " + std::to_string(other + 1) + ": " + damage.what());
        }
        pair.score = asked_.score.of(pair.coefficients);
        bool reaches = pair.score >= asked_.leastScore;
        for (std::size_t k = 0; k < asked_.least.size(); ++k) {
            reaches = reaches && pair.coefficients[k] >= asked_.least[k];
        }
        if (reaches) {
            found.push_back(pair);
        }
    }

    static constexpr double hueBound = 1.001;  // as in a search

    const Archive& first_;
    const Archive& second_;
    const PairSearch& asked_;
    bool same_;
    mutable std::atomic<std::size_t> compared_{0};
};

/// Entries in sets that are joined (Galler and Fischer, 1964), each named by its least entry.
class JoinedSets {
public:
    std::uint32_t of(std::uint32_t entry) {
        std::uint32_t* above = &above_.try_emplace(entry, entry).first->second;
        while (*above != entry) {
            std::uint32_t& next = above_.at(*above);
            entry = *above;
            *above = next;  // halves the way for who comes next
            above = &next;
        }
        return entry;
    }

    void join(std::uint32_t first, std::uint32_t second) {
        const std::uint32_t a = of(first);
        const std::uint32_t b = of(second);
        above_[std::max(a, b)] = std::min(a, b);
    }

    std::map<std::uint32_t, std::vector<std::uint32_t>> sets() {
        std::map<std::uint32_t, std::vector<std::uint32_t>> sets;
        for (const auto& [entry, above] : above_) {
            sets[of(entry)].push_back(entry);
        }
        return sets;
    }

private:
    std::map<std::uint32_t, std::uint32_t> above_;
};

}  // namespace

std::vector<ArchivePair> alikePairs(const Archive& first, const Archive& second, const PairSearch& search,
                                    std::vector<std::string>* damage) {
    for (const Archive* archive : {&first, &second}) {
        if (!archive->head().edges) {
            throw Refusal("'" + archive->path() + "' is unfinished; darkroom index --resume goes on with it");
        }
        if (archive->size() > std::numeric_limits<std::uint32_t>::max()) {
            throw Refusal("'" + archive->path() + "' has more than 2^32 photographs; shards of it can be compared");
        }
    }
    DamageLines lines;
    std::vector<ArchivePair> pairs = AllPairs(first, second, search).run(lines);
    if (damage != nullptr) {
        *damage = lines.lines();
    }
    return pairs;
}

std::vector<ArchiveCluster> clustersOf(const Archive& archive, const std::vector<ArchivePair>& pairs,
                                       const RankingScore& score, unsigned threads) {
    JoinedSets joined;
    for (const ArchivePair& pair : pairs) {
        joined.join(pair.first, pair.second);
    }
    std::vector<ArchiveCluster> clusters;
    for (auto& [least, entries] : joined.sets()) {
        ArchiveCluster cluster;
        cluster.entries = std::move(entries);
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
            }
            cluster.means[i] = sum / static_cast<double>(cluster.entries.size() - 1);
        });
        cluster.representative = static_cast<std::size_t>(std::max_element(cluster.means.begin(), cluster.means.end()) -
                                                          cluster.means.begin());
        clusters.push_back(std::move(cluster));
    }
    return clusters;
}

}  // namespace likeness
