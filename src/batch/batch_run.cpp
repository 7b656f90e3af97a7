#include "batch/batch_run.hpp"

#include <likeness/threads.hpp>
#include <likeness/version.hpp>
#include "batch/mask_files.hpp"
#include "batch/one_thread_each.hpp"
#include "batch/output_lock.hpp"
#include "batch/pair_bench.hpp"
#include "batch/parameters.hpp"
#include "files/file_checksum.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "photofile/decoder_remarks.hpp"
#include "photofile/opened_file.hpp"

#include <fmt/format.h>
#include <omp.h>

#include <algorithm>
#include <memory>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

namespace likeness {
namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

unsigned processors() {
    return std::max(1U, std::thread::hardware_concurrency());
}

/// Loops on this thread do without others. OpenMP ends the program where it lacks memory: it takes what it needs for a
/// thread here, before others are at work.
void prepareOpenMp() {
    ::omp_set_num_threads(1);
#pragma omp parallel
    ::omp_get_thread_num();
}

/// A table of texts knows no other kind.
CarriedValue::Kind numberKind(const ResultFile& file) {
    return file.format == ResultFormat::csv ? CarriedValue::Kind::text : CarriedValue::Kind::json;
}

void addChecksum(const std::string& path, PhotographAnalysis& analysis) {
    try {
        analysis.facts.sha256 = fingerprintOf(path).sha256;
    } catch (const UnreadableFile& unreadable) {
        if (isOfTheMachine(unreadable.errorNumber())) {
            throw;
        }
        analysis.problem += analysis.problem.empty() ? ": its checksum cannot be made" : "";
    }
    if (analysis.problem.empty() && stampOf(path) != analysis.facts.stamp) {
        analysis.problem = ": it changed while it was read";
    }
}

}  // namespace

BatchRun::BatchRun(const PairList& pairs, const ResultFile& file, BatchOptions options, const BatchEvents& events)
    : pairs_(pairs),
      file_(file),
      options_(std::move(options)),
      events_(events),
      origin_{LIKENESS_VERSION, parameterFingerprint(options_.analysis, options_.profiles),
              options_.analysis.hue ? std::optional(numberKind(file)) : std::nullopt, options_.computed,
              options_.distances ? std::optional(numberKind(file)) : std::nullopt},
      cache_(options_.cache),
      cores_(std::min(static_cast<unsigned>(threads()), processors())) {}

BatchEnd BatchRun::run() {
    const OutputLock lock(file_.path);
    earlier_ = resumeResults(file_, pairs_, origin_, {options_.retryFailed, options_.checksums, options_.root});
    summary_ = std::move(earlier_.summary);
    if (earlier_.dropped > 0) {
        events_.tell(fmt::format("'{}': the last {} bytes are no whole record; they are dropped and made again",
                                 file_.path, earlier_.dropped));
    }
    if (earlier_.damaged) {
        events_.tell("'" + file_.path + "': the end of the database cannot be read; what is missing is made again");
    }
    if (earlier_.upgraded) {
        events_.warn("'" + file_.path +
                     "' has records of an earlier version, without checksums and the photographs' sizes and " +
                     "times; it is written anew, and the photographs are taken for unchanged");
    }
    if (earlier_.changed > 0) {
        events_.tell(fmt::format("photographs of {} have changed since; they are compared again",
                                 numberOf(earlier_.changed, "recorded pair")));
    }
    if (earlier_.withoutChecksums > 0) {
        events_.tell(fmt::format("{} without checksums of the photographs; they are compared again for --checksums",
                                 numberOf(earlier_.withoutChecksums, "pair is recorded", "pairs are recorded")));
    }
    if (earlier_.recorded > 0) {
        events_.tell(fmt::format("{} of {} recorded already", earlier_.recorded, numberOf(pairs_.size(), "pair")));
    }
    compare();
    if (recorded() == pairs_.size()) {
        dropPreviousResults(file_);
    }
    return {pairs_.size(), recorded(), done_ - kept_, secondsSince(begin_), std::move(summary_)};
}

void BatchRun::announcePhotographs() {
    for (std::size_t k = earlier_.recorded; options_.cache > 0 && k < pairs_.size(); ++k) {
        if (known(k) == nullptr) {
            const Pair pair = pairs_.at(k);
            cache_.announce(keyOf(pair, pair.first, firstMaskColumn));
            cache_.announce(keyOf(pair, pair.second, secondMaskColumn));
        }
    }
    cache_.announced();
}

void BatchRun::compare() {
    const OneThreadEach pairsRunAtOnce;
    announcePhotographs();
    const unsigned jobs = options_.jobs > 0 ? options_.jobs : processors();
    if (options_.isolation && recorded() < pairs_.size()) {
        try {
            isolated_.emplace(options_.mostPixels, options_.analysis, options_.profiles, *options_.isolation);
        } catch (const NoProcess& shortage) {
            if (!shortage.isShortage()) {
                throw Refusal(whatIsRecorded(shortage.what()));
            }
            events_.warn(unprotectedWarning);
        }
    }
    const auto writer = writeResults(file_, earlier_.tail);
    begin_ = Clock::now();
    try {
        record(*writer, jobs);
        writer->finish();
    } catch (const Refusal& refusal) {
        throw Refusal(whatIsRecorded(refusal.what()));
    } catch (const std::bad_alloc&) {
        throw Refusal(whatIsRecorded("out of memory; fewer --jobs take less"));
    } catch (const std::system_error& error) {
        throw Refusal(whatIsRecorded(error.what()));
    }
    events_.progress({});
}

std::string BatchRun::whatIsRecorded(const std::string& problem) const {
    return fmt::format("{}; {} of {} recorded, --resume goes on from there", problem, recorded(),
                       numberOf(pairs_.size(), "pair"));
}

void BatchRun::record(ResultWriter& writer, unsigned jobs) {
    const RemarkSorter sorter;
    OrderedPool pool(pairs_.size() - earlier_.recorded, jobs, [this] { return worker(); });
    unsigned workersTold = pool.asked();
    std::vector<ResultRecord> records;
    Clock::time_point shown = begin_;
    constexpr auto pace = std::chrono::milliseconds(100);
    while (pool.take(records, pace)) {
        workersTold = tellOfFewerWorkers(pool, workersTold);
        if (!records.empty()) {
            writer.append(records);
            done_ += records.size();
            for (const ResultRecord& written : records) {
                summary_.add(written.outcome);
                failedNow_ += written.outcome.compared() ? 0U : 1U;
            }
            events_.recorded(recorded(), pairs_.size());
        }
        if (events_.stops()) {
            pool.stop();
        }
        if (Clock::now() - shown > 2 * pace) {
            shown = Clock::now();
            events_.progress(
                batchProgressLine(done_, failedNow_, pairs_.size() - earlier_.recorded, secondsSince(begin_)));
        }
    }
}

/// @return  how many workers the user knows of now
unsigned BatchRun::tellOfFewerWorkers(const OrderedPool& pool, unsigned told) {
    const unsigned workers = pool.workers();
    if (workers < told) {
        cores_.stopLending();
        events_.warn(fmt::format("threads or memory are short: {} at the same time, not {}; --jobs sets how many",
                                 numberOf(workers, "pair"), pool.asked()));
    }
    return std::min(workers, told);
}

/// What one worker does with a pair.
OrderedPool::Work BatchRun::worker() {
    prepareOpenMp();
    auto bench = std::make_shared<PairBench>(cores_);
    return [this, bench](std::size_t number) {
        const std::size_t k = earlier_.recorded + number;
        Pair pair = pairs_.at(k);
        // Ahead of reading them: a mask that changes meanwhile is another one for the next run.
        const std::vector<CarriedValue> masks =
            maskFilesNow(pairs_.columns(), pair.carried, options_.root, options_.checksums);
        pair.carried.insert(pair.carried.end(), masks.begin(), masks.end());
        if (known(k) != nullptr) {
            ++kept_;
            return recordOf(pair, pairs_.total(), *known(k), origin_);
        }
        const Clock::time_point begin = Clock::now();
        const auto [first, second] =
            bench->analyze(keyOf(pair, pair.first, firstMaskColumn), keyOf(pair, pair.second, secondMaskColumn),
                           [this](const std::string& key, AnalysisTables& tables) { return analysis(key, tables); });
        PairOutcome outcome = compareAnalyses(pair.first, *first, pair.second, *second, options_.analysis);
        if (options_.distances && outcome.compared()) {
            outcome.distances = distancesOf(first->distributions, second->distributions);
        }
        ResultRecord record = recordOf(pair, pairs_.total(), std::move(outcome), origin_);
        record.milliseconds = 1000 * secondsSince(begin);
        return record;
    };
}

/// A photograph and its mask: their files, with a byte 0 between them where there is a mask.
std::string BatchRun::keyOf(const Pair& pair, const std::string& path, const char* maskColumn) const {
    const std::string key = pathUnder(options_.root, path);
    const std::string mask = maskIn(pair.carried, maskColumn);
    return mask.empty() ? key : key + '\0' + pathUnder(options_.root, mask);
}

AnalysisCache::Shared BatchRun::analysis(const std::string& key, AnalysisTables& tables) {
    return cache_.get(key, [&] {
        const std::size_t end = key.find('\0');
        const std::string place = key.substr(0, end);
        const std::string mask = end == std::string::npos ? std::string() : key.substr(end + 1);
        std::optional<PhotographAnalysis> made =
            options_.known && mask.empty() ? options_.known(place) : std::optional<PhotographAnalysis>();
        if (!made) {
            made = isolated_ ? isolated_->analyze(place, mask)
                             : analyzePhotograph(place, tables, options_.mostPixels, options_.analysis,
                                                 withMask(options_.profiles, mask));
        }
        if (options_.checksums && made->facts.stamp) {
            addChecksum(place, *made);
        }
        return *std::move(made);
    });
}

const PairOutcome* BatchRun::known(std::size_t k) const {
    return earlier_.known.empty() ? nullptr : earlier_.known[k].get();
}

}  // namespace likeness
