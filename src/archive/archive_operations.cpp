#include "archive/archive_operations.hpp"

#include "archive/approximate_index.hpp"
#include "archive/archive_pairs.hpp"
#include "archive/archive_query.hpp"
#include "archive/archive_writer.hpp"
#include "archive/index_run.hpp"
#include "archive/photograph_index.hpp"
#include "batch/image_files.hpp"
#include "files/refusal.hpp"

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <numeric>
#include <stdexcept>

namespace likeness {
namespace {

/// Hands on what is damaged; without a receiver it is an exception.
void tellDamage(const std::vector<std::string>& damage, const std::function<void(const std::string&)>& damaged) {
    for (const std::string& line : damage) {
        if (!damaged) {
            throw Refusal(line);
        }
        damaged(line);
    }
}

/// A refusal that names an argument of the program, without it.
std::string withoutOption(const std::string& text) {
    for (const std::string option : {"--output: ", "--approximate: ", "--resume: ", "QUERY: ", "ARCHIVE: "}) {
        if (text.rfind(option, 0) == 0) {
            return text.substr(option.size());
        }
    }
    return text;
}

class MappedArchive final : public ArchiveAccess {
public:
    explicit MappedArchive(const std::string& path) : archive_(path) {
        if (!archive_.finished()) {
            throw Refusal("'" + path + "' is unfinished or damaged; darkroom index --resume or repair first");
        }
    }

    std::size_t size() const override { return archive_.size(); }
    AnalysisOptions options() const override { return archive_.origin().options; }
    std::string parameters() const override { return archive_.origin().parameters; }
    std::vector<std::string> damage() const override { return archive_.damage(); }
    std::vector<std::string> check() const override { return archive_.check(); }
    std::string pathOf(std::size_t entry) const override { return std::string(archive_.pathOf(known(entry))); }

    ArchivedPhotograph photograph(std::size_t entry) const override {
        ArchivedPhotograph photograph = archive_.photograph(known(entry));
        photograph.distributions = archive_.distributions(entry);
        return photograph;
    }

    std::optional<std::size_t> find(const std::string& path) const override { return archive_.find(path); }

    AppearanceDistributions distributionsOf(const std::string& path, std::uint64_t mostPixels) const override {
        try {
            return archiveQuery(archive_, path, mostPixels, {}, [](const std::string&) {}).distributions;
        } catch (const MemoryShortage&) {
            throw;
        } catch (const Refusal& refusal) {
            throw Refusal(withoutOption(refusal.what()));
        }
    }

    std::vector<ArchiveHit> nearest(const AppearanceDistributions& photograph,
                                    const ArchiveSearch& search) const override {
        if (search.approximate) {
            std::call_once(indexOpened_, [this] { index_.emplace(archive_); });
            return index_->nearest(photograph, search);
        }
        std::vector<std::string> damage;
        std::vector<ArchiveHit> hits = nearestEntries(archive_, photograph, search, &damage);
        tellDamage(damage, search.damaged);
        return hits;
    }

    std::vector<ArchivePair> pairs(const ArchiveAccess* other, const ArchivePairSearch& search) const override {
        std::optional<ArchiveFile> again;  // each with each, not each pair once
        if (other == this) {
            again.emplace(archive_.path());
        }
        const ArchiveFile& second = other == nullptr ? archive_
                                    : again          ? *again
                                                     : static_cast<const MappedArchive*>(other)->archive_;
        if (!second.origin().agreesWith(archive_.origin())) {
            throw Refusal("'" + second.path() + "' was made with other parameters or by another version than '" +
                          archive_.path() + "'");
        }
        std::vector<std::string> damage;
        std::vector<ArchivePair> pairs = alikePairs(archive_, second, askedBy(search), &damage);
        tellDamage(damage, search.damaged);
        return pairs;
    }

    std::vector<ArchiveCluster> clusters(const ArchivePairSearch& search) const override {
        return clustersOf(archive_, pairs(nullptr, search), search.score, search.threads);
    }

private:
    /// @return  refers to `search`
    static PairSearch askedBy(const ArchivePairSearch& search) {
        PairSearch asked;
        asked.score = search.score;
        asked.leastScore = search.leastScore;
        asked.least = search.least;
        asked.nearest = search.nearest;
        asked.most = search.most;
        asked.threads = search.threads;
        if (search.progress) {
            asked.progress = [&search](std::size_t done, std::size_t entries) {
                if (!search.progress(done, entries)) {
                    throw Cancelled();
                }
            };
        }
        return asked;
    }

    std::size_t known(std::size_t entry) const {
        if (entry >= archive_.size()) {
            throw std::out_of_range("there is no entry " + std::to_string(entry) + " in '" + archive_.path() +
                                    "', which has " + std::to_string(archive_.size()));
        }
        return entry;
    }

    ArchiveFile archive_;
    mutable std::once_flag indexOpened_;
    mutable std::optional<ApproximateIndex> index_;
};

}  // namespace

std::shared_ptr<const ArchiveAccess> openArchive(const std::string& path) {
    return std::make_shared<MappedArchive>(path);
}

std::optional<IndexSummary> indexedArchive(const std::vector<std::string>& paths, const std::string& output,
                                           const IndexOptions& options) {
    using Existing = IndexOptions::Existing;
    // A run sorts what is printed, and sets numbers of threads, for the whole process.
    static std::mutex oneAtATime;
    const std::unique_lock<std::mutex> only(oneAtATime, std::try_to_lock);
    if (!only.owns_lock()) {
        throw Refusal("another index is being made in this process; one at a time uses all processors");
    }
    PathNames names;
    std::vector<LeftOutFile> leftOut;
    for (const std::string& path : paths) {
        std::error_code error;
        if (!std::filesystem::is_directory(path, error)) {
            names.add(path);
            continue;
        }
        for (const ImageFile& file : imageFilesIn("paths", path, leftOut)) {
            names.add(file.path);
        }
    }
    names.sortUnique();
    if (names.empty()) {
        throw Refusal("paths: there are no photographs");
    }
    std::error_code error;
    if (options.existing == Existing::refused && std::filesystem::exists(output, error)) {
        throw Refusal("output: '" + output + "' exists, and is to be neither updated nor replaced");
    }
    IndexRunOptions how;
    how.update = options.existing == Existing::updated;
    how.resume = options.existing == Existing::resumed;
    how.overwrite = options.existing == Existing::replaced;
    how.retryFailed = options.retryFailed;
    how.approximate = options.approximate;
    how.jobs = options.jobs;
    how.mostPixels = options.mostPixels;
    how.analysis = options.analysis;
    how.analysis.maps = false;
    how.profiles = profileChoiceFor("profile", options.profile);
    bool stopped = false;
    BatchEvents events;
    if (options.warn) {
        events.warn = options.warn;
    }
    events.recorded = [&](std::size_t done, std::size_t all) {
        stopped = stopped || (options.progress && !options.progress(done, all));
    };
    events.stops = [&] { return stopped; };
    IndexEnd end;
    try {
        refuseIndexOutput(output, names, how);
        end = IndexRun(names, output, how, events).run();
    } catch (const MemoryShortage&) {
        throw;
    } catch (const Refusal& refusal) {
        throw Refusal(withoutOption(refusal.what()));
    }
    if (!end.whole()) {
        return std::nullopt;
    }
    return IndexSummary{end.photographs, static_cast<std::size_t>(end.failed), end.added, end.changed, end.removed};
}

void writeAnalyses(const std::string& path, const std::vector<ArchivedPhotograph>& photographs,
                   const AnalysisOptions& analysis) {
    std::vector<std::size_t> order(photographs.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::sort(order.begin(), order.end(),
              [&](std::size_t a, std::size_t b) { return photographs[a].path < photographs[b].path; });
    for (std::size_t k = 0; k < order.size(); ++k) {
        const std::string& its = photographs[order[k]].path;
        if (its.empty()) {
            throw std::invalid_argument("writeArchive: a photograph has no path");
        }
        if (k > 0 && its == photographs[order[k - 1]].path) {
            throw std::invalid_argument("writeArchive: '" + its + "' occurs twice");
        }
    }
    writeArchive(path, originOf(analysis, {}),
                 {order.size(), [&](std::size_t k) { return archive::stored(photographs[order[k]]); }});
}

}  // namespace likeness
