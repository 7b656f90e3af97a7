#include "archive/index_run.hpp"

#include <likeness/threads.hpp>
#include "archive/approximate_index.hpp"
#include "archive/photograph_index.hpp"
#include "batch/batch_summary.hpp"
#include "batch/one_thread_each.hpp"
#include "batch/ordered_pool.hpp"
#include "batch/output_lock.hpp"
#include "batch/working_file.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "files/replaced_file.hpp"
#include "photofile/decoder_remarks.hpp"

#include <fmt/format.h>
#include <omp.h>

#include <algorithm>
#include <filesystem>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

namespace likeness {
namespace {

namespace fs = std::filesystem;
using IndexPool = OrderedPoolOf<ArchivedPhotograph>;

double secondsSince(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// OpenMP ends the program where it lacks memory: it takes what it needs for a thread before others are at work.
void prepareOpenMp() {
    ::omp_set_num_threads(1);
#pragma omp parallel
    ::omp_get_thread_num();
}

}  // namespace

void refuseIndexOutput(const std::string& output, const PathNames& paths, const IndexRunOptions& options) {
    std::error_code error;
    const fs::file_status status = fs::status(output, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw Refusal("--output: '" + output + "' is not a regular file");
    }
    if (fs::exists(status) && !options.update && !options.resume && !options.overwrite) {
        throw Refusal("--output: '" + output +
                      "' exists; --update brings it up to date, --resume goes on with it, --overwrite begins anew");
    }
    if (fs::exists(status) && fs::file_size(output, error) > 0 && !isArchive(output)) {
        throw Refusal("--output: '" + output + "' is no archive, and is not replaced");
    }
    if (paths.contains(output)) {
        throw Refusal("--output: '" + output + "' is among the photographs; choose another name");
    }
    if (options.approximate && isForeignApproximateIndex(approximateIndexPath(output))) {
        throw Refusal("--approximate: '" + approximateIndexPath(output) +
                      "' is no approximate index, and is not replaced; move it away");
    }
}

IndexRun::IndexRun(const PathNames& paths, std::string output, IndexRunOptions options, const BatchEvents& events)
    : paths_(paths),
      named_(std::move(output)),
      output_(behindLinks(named_)),
      options_(std::move(options)),
      events_(events),
      origin_(originOf(options_.analysis, options_.profiles)),
      unfinished_(workingFile(output_, "index")) {}

IndexEnd IndexRun::run() {
    const OutputLock lock(unfinished_, OutputLock::Links::refuse, output_);
    const std::uint64_t keep = readEarlier();
    chooseMissing();
    if (!missing_.empty()) {
        const OneThreadEach photographsRunAtOnce;
        analyseMissing(keep);
    }
    IndexEnd end{paths_.size(), paths_.size() - missing_.size() + done_, 0, added_, changed_, removed_, false};
    if (end.whole()) {
        finish(end);
    }
    return end;
}

std::unique_ptr<ArchiveFile> IndexRun::opened(const std::string& path, const char* what) const {
    auto archive = std::make_unique<ArchiveFile>(path);
    if (!archive->origin().agreesWith(origin_)) {
        throw Refusal(fmt::format(
            "--output: {} was made with other parameters or by another version ({}, likeness {}; "
            "now {}, likeness {}); --overwrite begins anew",
            what, archive->origin().fingerprint, archive->origin().version, origin_.fingerprint, origin_.version));
    }
    for (const std::string& damage : archive->damage()) {
        if (archive->finished() || archive->head().edges) {
            events_.warn("'" + path + "': " + damage);
        } else {
            events_.tell("'" + path + "': " + damage + "; they are dropped and made again");
        }
    }
    return archive;
}

/// What was read of large archives a while ago is not needed in memory any more.
void IndexRun::forgetNowAndThen(std::size_t k) const {
    constexpr std::size_t aWhile = std::size_t{1} << 15;
    if (k % aWhile == aWhile - 1) {
        for (const auto& archive : archives_) {
            archive->forgetIfLarge();
        }
    }
}

std::uint64_t IndexRun::readEarlier() {
    std::error_code error;
    const std::uintmax_t begun = fs::file_size(unfinished_, error);
    const bool goesOn = options_.resume && !error && begun > 0 && isArchive(unfinished_);
    // What a stopped --overwrite was to replace may be of other parameters, and then has nothing to give.
    const auto isToBeReplaced = [&] { return goesOn && !ArchiveFile(output_).origin().agreesWith(origin_); };
    if (!options_.overwrite && (options_.update || options_.resume) && fs::exists(output_, error) &&
        !isToBeReplaced()) {
        archives_.push_back(opened(output_, ("'" + named_ + "'").c_str()));
    }
    const std::uintmax_t bytes = fs::file_size(unfinished_, error);
    if (error || bytes == 0 || options_.overwrite) {
        return 0;
    }
    if (!isArchive(unfinished_)) {  // stopped before its head was written
        return 0;
    }
    if (!options_.resume) {
        throw Refusal("--output: an earlier run left unfinished work for '" + named_ +
                      "'; --resume goes on with it, --overwrite begins anew");
    }
    archives_.push_back(opened(unfinished_, "the unfinished work of an earlier run"));
    return archives_.back()->wholeBytes();
}

std::vector<const ArchiveFile*> IndexRun::archives() const {
    std::vector<const ArchiveFile*> archives;
    for (const auto& archive : archives_) {
        archives.push_back(archive.get());
    }
    return archives;
}

void IndexRun::chooseMissing() {
    const ArchiveUnion known(archives());
    for (const std::string& damage : known.damage()) {
        events_.warn(damage + "; what cannot be read is analysed again");
    }
    for (std::size_t k = 0; k < known.size(); ++k) {
        const std::string_view path = known.pathOf(k);
        if (paths_.contains(path)) {
            continue;
        }
        ++removed_;
        // A disk that is not mounted is no reason to forget what it holds.
        for (std::size_t end = path.rfind('/'); end != std::string_view::npos && end > 0;
             end = path.rfind('/', end - 1)) {
            for (const std::string_view folder : {path.substr(0, end), path.substr(0, end + 1)}) {
                if (paths_.contains(folder)) {
                    throw Refusal(
                        "PHOTOS: '" + std::string(folder) +
                        "' is no folder now, and the archive has photographs of it; leave it out to have them "
                        "removed");
                }
            }
        }
    }
    for (std::size_t k = 0; k < paths_.size(); ++k) {
        forgetNowAndThen(k);
        const auto place = known.find(paths_[k]);
        if (!place) {
            ++added_;
            missing_.push_back(static_cast<std::uint32_t>(k));
            continue;
        }
        const ArchivedPhotograph entry = known.archiveOf(*place).photograph(known.entryOf(*place));
        if (!isCurrent(entry) || (options_.retryFailed && !entry.analysed())) {
            ++changed_;
            missing_.push_back(static_cast<std::uint32_t>(k));
        }
    }
}

void IndexRun::analyseMissing(std::uint64_t keep) {
    const unsigned processors = std::max(1U, std::thread::hardware_concurrency());
    const unsigned jobs = options_.jobs > 0 ? options_.jobs : processors;
    begin_ = Clock::now();
    if (const std::optional<WorkLimits> limits = options_.isolation) {
        try {
            isolated_.emplace(options_.mostPixels, options_.analysis, options_.profiles, *limits);
        } catch (const NoProcess& shortage) {
            if (!shortage.isShortage()) {
                throw Refusal(whatIsKept(shortage.what()));
            }
            events_.warn(unprotectedWarning);
        }
    }
    try {
        ArchiveWriter writer(unfinished_, origin_, keep);
        analyse(writer, jobs);
        writer.finish();
    } catch (const Refusal& refusal) {
        throw Refusal(whatIsKept(refusal.what()));
    } catch (const std::bad_alloc&) {
        throw Refusal(whatIsKept("out of memory; fewer --jobs take less"));
    } catch (const std::system_error& error) {
        throw Refusal(whatIsKept(error.what()));
    }
    events_.progress({});
}

std::string IndexRun::whatIsKept(const std::string& problem) const {
    return fmt::format("{}; {} of {} analysed, --resume goes on from there", problem,
                       paths_.size() - missing_.size() + done_, numberOf(paths_.size(), "photograph"));
}

void IndexRun::analyse(ArchiveWriter& writer, unsigned jobs) {
    const RemarkSorter sorter;
    IndexPool pool(missing_.size(), jobs, [this] {
        prepareOpenMp();
        auto tables = std::make_shared<AnalysisTables>();
        return [this, tables](std::size_t number) {
            const std::string path(paths_[missing_[number]]);
            return indexedPhotograph(path, [&] {
                return isolated_ ? isolated_->analyze(path)
                                 : analyzePhotograph(path, *tables, options_.mostPixels, options_.analysis,
                                                     options_.profiles);
            });
        };
    });
    std::vector<ArchivedPhotograph> ready;
    std::vector<ArchivedPhotograph> gathered;
    Clock::time_point shown = begin_;
    Clock::time_point written = begin_;
    constexpr auto pace = std::chrono::milliseconds(100);
    constexpr std::size_t worthABlock = 256;
    unsigned workersTold = pool.asked();
    std::size_t toldDone = 0;
    const auto write = [&] {
        if (!gathered.empty()) {
            writer.append(gathered);
            done_ += gathered.size();
            gathered.clear();
        }
        written = Clock::now();
    };
    const auto tellRecorded = [&] {
        if (done_ > toldDone) {
            toldDone = done_;
            events_.recorded(paths_.size() - missing_.size() + done_, paths_.size());
        }
    };
    try {
        while (pool.take(ready, pace)) {
            if (const unsigned workers = pool.workers(); workers < workersTold) {
                events_.warn(
                    fmt::format("threads or memory are short: {} at the same time, not {}; --jobs sets how "
                                "many",
                                numberOf(workers, "photograph"), pool.asked()));
                workersTold = workers;
            }
            for (ArchivedPhotograph& photograph : ready) {
                failedNow_ += photograph.analysed() ? 0U : 1U;
                gathered.push_back(std::move(photograph));
            }
            if (gathered.size() >= worthABlock || Clock::now() - written > 5 * pace) {
                write();
            }
            tellRecorded();
            if (events_.stops()) {
                pool.stop();
            }
            if (Clock::now() - shown > 2 * pace) {
                shown = Clock::now();
                events_.progress(batchProgressLine(done_ + gathered.size(), failedNow_, missing_.size(),
                                                   secondsSince(begin_), "photographs"));
            }
        }
    } catch (const Refusal&) {
        write();  // what was made before the machine failed
        throw;
    }
    write();
    tellRecorded();
}

void IndexRun::finish(IndexEnd& end) {
    std::error_code error;
    if (!missing_.empty()) {
        // It has grown since it was opened.
        if (!archives_.empty() && archives_.back()->path() == unfinished_) {
            archives_.pop_back();
        }
        archives_.push_back(opened(unfinished_, "the unfinished work"));
    }
    ArchiveUnion all(archives());
    all.select([&](std::size_t k) { return paths_.contains(all.pathOf(k)); });
    if (all.size() != paths_.size()) {
        throw Refusal(fmt::format("'{}': only {} of {} can be read back; --resume analyses the others", unfinished_,
                                  all.size(), numberOf(paths_.size(), "photograph")));
    }
    if (!missing_.empty() || removed_ > 0 || archives_.empty() || archives_.back()->path() == unfinished_ ||
        !archives_.back()->finished() || !archives_.back()->damage().empty()) {
        writeArchive(output_, origin_, all.entries());
    }
    std::uint64_t failed = 0;
    constexpr std::uint64_t told = 20;
    for (std::size_t k = 0; k < all.size(); ++k) {
        forgetNowAndThen(k);
        const ArchivedPhotograph entry = all.archiveOf(k).photograph(all.entryOf(k));
        if (!entry.analysed() && ++failed <= told) {
            events_.warn("cannot read '" + entry.path + "'" + entry.problem);
        }
    }
    if (failed > told) {
        events_.warn(fmt::format("... and {} more cannot be read", failed - told));
    }
    fs::remove(unfinished_, error);
    events_.tell(fmt::format("{}, {} failed; {} added, {} changed, {} removed{}", numberOf(all.size(), "photograph"),
                             failed, added_, changed_, removed_,
                             missing_.empty() ? "" : " in " + durationText(secondsSince(begin_))));
    events_.tell("archive is in '" + output_ + "'");
    if (options_.approximate) {
        archives_.clear();
        end.approximate = makeApproximateIndex();
    }
    end.failed = failed;
}

/// Of the archive that is finished; what is there of it and fits is kept.
bool IndexRun::makeApproximateIndex() {
    const ArchiveFile archive(output_);
    const auto tellRecall = [this](double recall, std::size_t photographs) {
        if (photographs == 0) {
            events_.tell("approximate index: its recall is not measured, for want of photographs");
            return;
        }
        events_.tell(fmt::format("approximate index: recall at 10 {:.3f}, measured on {}", recall,
                                 numberOf(photographs, "photograph")));
    };
    try {
        const ApproximateIndex index(archive);
        tellRecall(index.recall(), index.sample());
        return true;
    } catch (const Refusal&) {  // there is none that fits
    }
    Clock::time_point shown = Clock::now();
    ApproximateRecall made;
    const auto show = [&](std::size_t done, std::size_t all) {
        if (Clock::now() - shown > std::chrono::milliseconds(200)) {
            shown = Clock::now();
            events_.progress(fmt::format("{}/{} photographs in the approximate index", done, all));
        }
        return !events_.stops();
    };
    try {
        made = buildApproximateIndex(archive, show);
    } catch (const Refusal&) {
        if (!events_.stops()) {
            throw;
        }
        events_.progress({});
        events_.tell("stopped: the archive is whole, the approximate index is not made");
        return false;
    }
    events_.progress({});
    tellRecall(made.recall, made.photographs);
    if (made.photographs == 0) {
        return true;
    }
    events_.tell(fmt::format("approximate index: a search takes {:.2g} ms, an exact one {:.2g} ms",
                             1000 * made.approximateSeconds, 1000 * made.exactSeconds));
    return true;
}

}  // namespace likeness
