#include "archive/archive_search.hpp"

#include <algorithm>
#include <atomic>
#include <exception>
#include <limits>
#include <mutex>
#include <set>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>

namespace likeness {

using namespace archive;

namespace {

/// Entries whose bounds are in memory at the same time, in whole blocks: 4 bytes for each.
constexpr std::size_t entriesAtOnce = std::size_t{1} << 20;

constexpr std::size_t blocksInMemory = 16;

constexpr float impossible = -1;  // bound of what cannot be found

bool before(const ArchiveHit& first, const ArchiveHit& second) {
    return first.score > second.score || (first.score == second.score && first.entry < second.entry);
}

/// Of an unfinished archive, the entries that a later one of the same path stands for; empty of another.
std::vector<bool> supersededEntries(const ArchiveFile& archive) {
    if (archive.finished()) {
        return {};
    }
    std::vector<bool> superseded(archive.size());
    std::unordered_map<std::string_view, std::size_t> last;
    last.reserve(archive.size());
    for (std::size_t entry = 0; entry < archive.size(); ++entry) {
        try {
            const auto [place, fresh] = last.try_emplace(archive.pathOf(entry), entry);
            if (!fresh) {
                superseded[std::exchange(place->second, entry)] = true;
            }
        } catch (const ArchiveDamage&) {  // told of where it is compared
        }
    }
    return superseded;
}

/// One search.
class Search {
public:
    Search(const ArchiveFile& archive, const AppearanceDistributions& photograph, const ArchiveSearch& asked)
        : archive_(archive),
          asked_(asked),
          exact_(photograph),
          superseded_(supersededEntries(archive)),
          sketch_(photograph, archive.head().edges.value_or(GroupEdges())) {}

    void run() {
        std::size_t block = 0;
        while (block < archive_.blocks()) {
            const std::size_t firstBlock = block;
            const std::size_t firstEntry = archive_.block(block).firstEntry;
            std::size_t entries = 0;
            while (block < archive_.blocks() &&
                   (entries == 0 || entries + archive_.block(block).entries <= entriesAtOnce)) {
                entries += archive_.block(block++).entries;
            }
            bounds_.assign(entries, impossible);
            onThreads(asked_.threads, block - firstBlock,
                      [&](std::size_t b) { boundBlock(firstBlock + b, firstEntry); });
            settle(firstEntry);
        }
    }

    std::vector<ArchiveHit> take() { return std::move(found_); }
    std::vector<std::string> damage() const { return {damage_.begin(), damage_.end()}; }
    SearchEffort effort() const { return {bounded_, compared_}; }

private:
    void tell(const ArchiveDamage& damage) {
        const std::scoped_lock lock(mutex_);
        damage_.insert(damage.what());
    }

    void boundBlock(std::size_t number, std::size_t firstEntry) {
        const BlockPlace& place = archive_.block(number);
        float* const bounds = bounds_.data() + (place.firstEntry - firstEntry);
        try {
            if (!archive_.head().edges) {
                std::fill(bounds, bounds + place.entries, std::numeric_limits<float>::max());
                return;
            }
            const std::string_view sketches = archive_.sketches(number);
            const auto* const bytes = reinterpret_cast<const std::uint8_t*>(sketches.data());
            std::array<std::array<float, sketchLanes>, 5> eight{};
            std::array<double, 6> coefficients{};
            coefficients[hueNumber] = hueBound;
            for (std::size_t i = 0; i < place.entries; i += sketchLanes) {
                sketch_.bounds(bytes + i * sketchBytes, eight);
                const std::size_t here = std::min<std::size_t>(sketchLanes, place.entries - i);
                for (std::size_t lane = 0; lane < here; ++lane) {
                    bool reaches = true;
                    for (std::size_t k = 0; k < eight.size(); ++k) {
                        coefficients[k] = static_cast<double>(eight[k][lane]);
                        reaches = reaches && eight[k][lane] >= asked_.least[k];
                    }
                    // Up to the next float, and a little more for the rounding of the score.
                    const double bound = asked_.score.of(coefficients) * (1 + 1e-6);
                    bounds[i + lane] = reaches ? static_cast<float>(bound) : impossible;
                }
            }
            if (archive_.blocks() > blocksInMemory) {
                archive_.forget(number);
            }
        } catch (const ArchiveDamage& damage) {
            tell(damage);
        }
    }

    /// Score that an entry must reach to be found.
    double threshold() const { return found_.size() < asked_.top ? 0.0 : found_.back().score; }

    void compare(const std::vector<std::uint32_t>& candidates, std::size_t begin, std::size_t end,
                 std::size_t firstEntry) {
        std::vector<std::optional<ArchiveHit>> hits(end - begin);
        constexpr std::size_t piece = 32;
        onThreads(asked_.threads, (hits.size() + piece - 1) / piece, [&](std::size_t p) {
            for (std::size_t i = p * piece; i < std::min(hits.size(), (p + 1) * piece); ++i) {
                hits[i] = compared(firstEntry + candidates[begin + i]);
            }
        });
        for (const std::optional<ArchiveHit>& hit : hits) {
            if (hit) {
                found_.insert(std::upper_bound(found_.begin(), found_.end(), *hit, before), *hit);
                if (found_.size() > asked_.top) {
                    found_.pop_back();
                }
            }
        }
        compared_ += hits.size();
        sinceForgotten_ += hits.size();
        if (sinceForgotten_ >= ArchiveFile::worthForgetting) {
            sinceForgotten_ = 0;
            archive_.forgetIfLarge();
        }
    }

    std::optional<ArchiveHit> compared(std::size_t entry) {
        try {
            if ((!superseded_.empty() && superseded_[entry]) || (asked_.among && !asked_.among(entry))) {
                return std::nullopt;
            }
            std::uint64_t pixels = 0;
            const std::string_view histograms = archive_.histograms(entry, pixels);
            if (histograms.empty()) {
                return std::nullopt;
            }
            ArchiveHit hit{entry, exact_.with(histograms, pixels), 0};
            for (std::size_t k = 0; k < asked_.least.size(); ++k) {
                if (!(hit.coefficients[k] >= asked_.least[k])) {
                    return std::nullopt;
                }
            }
            hit.score = asked_.score.of(hit.coefficients);
            archive_.pathOf(entry);  // what is found can be named
            return hit;
        } catch (const ArchiveDamage& damage) {
            tell(damage);
        } catch (const HistogramDamage& damage) {
            tell(ArchiveDamage("'" + archive_.path() + "', entry " + std::to_string(entry + 1) + ": " + damage.what()));
        }
        return std::nullopt;
    }

    /// Compares in the order of falling bounds until they are below the last score.
    void settle(std::size_t firstEntry) {
        bounded_ += bounds_.size();
        const auto falling = [this](std::uint32_t a, std::uint32_t b) {
            return bounds_[a] > bounds_[b] || (bounds_[a] == bounds_[b] && a < b);
        };
        std::vector<std::uint32_t> candidates;
        std::size_t done = 0;
        // Twice as many in each round: those of the greatest bounds set the threshold for the others.
        for (std::size_t round = std::max<std::size_t>(asked_.top, 64); done < bounds_.size();
             round = std::min(2 * round, bounds_.size())) {
            const double least = threshold();
            if (candidates.empty() && done == 0) {
                const bool full = found_.size() == asked_.top;
                for (std::size_t i = 0; i < bounds_.size(); ++i) {
                    if (bounds_[i] != impossible && (!full || static_cast<double>(bounds_[i]) >= least)) {
                        candidates.push_back(static_cast<std::uint32_t>(i));
                    }
                }
            }
            const std::size_t end = std::min(candidates.size(), done + round);
            if (done >= candidates.size()) {
                return;
            }
            const auto begin = candidates.begin() + static_cast<std::ptrdiff_t>(done);
            if (end < candidates.size()) {
                std::nth_element(begin, candidates.begin() + static_cast<std::ptrdiff_t>(end), candidates.end(),
                                 falling);
            }
            // What is left has bounds below those of this round.
            while (done < end) {
                const std::size_t some = std::min(end, done + ArchiveFile::worthForgetting);
                compare(candidates, done, some, firstEntry);
                done = some;
            }
            if (found_.size() == asked_.top) {
                const double last = threshold();
                candidates.erase(
                    std::remove_if(candidates.begin() + static_cast<std::ptrdiff_t>(done), candidates.end(),
                                   [&](std::uint32_t i) { return static_cast<double>(bounds_[i]) < last; }),
                    candidates.end());
            }
        }
    }

    /// No coefficient of hue is known to be less; one of 360 floats may exceed 1 a little.
    static constexpr double hueBound = 1.001;

    const ArchiveFile& archive_;
    const ArchiveSearch& asked_;
    ComparedOnce exact_;
    std::vector<bool> superseded_;
    SketchQuery sketch_;
    std::vector<float> bounds_;
    std::vector<ArchiveHit> found_;
    std::mutex mutex_;
    std::set<std::string> damage_;
    std::size_t bounded_ = 0;
    std::size_t compared_ = 0;
    std::size_t sinceForgotten_ = 0;
};

}  // namespace

void onThreads(unsigned threads, std::size_t count, const std::function<void(std::size_t k)>& work) {
    std::atomic<std::size_t> next{0};
    std::mutex mutex;
    std::exception_ptr failure;
    const auto run = [&] {
        try {
            for (std::size_t k = next++; k < count; k = next++) {
                work(k);
            }
        } catch (...) {
            const std::scoped_lock lock(mutex);
            failure = failure ? failure : std::current_exception();
            next = count;
        }
    };
    std::vector<std::thread> others;
    const std::size_t wanted = std::min<std::size_t>(threads, count);
    try {
        while (others.size() + 1 < wanted) {
            others.emplace_back(run);
        }
    } catch (const std::system_error&) {  // those that there are do all
    }
    run();
    for (std::thread& other : others) {
        other.join();
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

std::vector<ArchiveHit> nearestEntries(const ArchiveFile& archive, const AppearanceDistributions& photograph,
                                       const ArchiveSearch& search, std::vector<std::string>* damage,
                                       SearchEffort* effort) {
    const auto& weights = search.score.weights;
    if (search.top == 0 || !std::all_of(weights.begin(), weights.end(), [](double w) { return w >= 0; }) ||
        std::all_of(weights.begin(), weights.end(), [](double w) { return w == 0; })) {
        throw std::invalid_argument(
            "nearestEntries: one or more, by weights from 0 of which one is above, are expected");
    }
    Search run(archive, photograph, search);
    run.run();
    if (damage != nullptr) {
        *damage = run.damage();
    }
    if (effort != nullptr) {
        *effort = run.effort();
    }
    return run.take();
}

}  // namespace likeness
