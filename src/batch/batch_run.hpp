// One run over a list of pairs: what is missing of a results file is compared and recorded.
#pragma once

#include <likeness/comparison/analysis.hpp>
#include "batch/analysis_cache.hpp"
#include "batch/batch_summary.hpp"
#include "batch/earlier_results.hpp"
#include "batch/free_cores.hpp"
#include "batch/isolated_analysis.hpp"
#include "batch/ordered_pool.hpp"
#include "batch/pair_list.hpp"
#include "batch/result_store.hpp"
#include "photofile/managed_colors.hpp"
#include "photofile/photograph_reader.hpp"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace likeness {

/// How a batch is run.
struct BatchOptions {
    std::string root;          ///< folder that relative paths start from; empty: the working directory
    bool retryFailed = false;  ///< compare again what is recorded as failed
    bool checksums = false;    ///< record the SHA-256 of the photographs too
    unsigned jobs = 0;         ///< pairs at the same time; 0: as many as there are processors
    std::size_t cache = 1000;  ///< analysed photographs that are kept of those that occur again
    std::uint64_t mostPixels = usualMostPixels;
    /// What a photograph may take, which is then read and analysed in a process of its own: one that takes more, or
    /// crashes its reader, has failed, and the run goes on. Without a value they are read in this process. With one, the
    /// run is begun while no other threads of the program are at work.
    std::optional<WorkLimits> isolation{};
    AnalysisOptions analysis{};  ///< maps are not made
    bool distances = false;      ///< record distances too, in the columns `distanceColumns`
    ProfileChoice profiles{};

    /// Further columns of the records; their names are among those of the output.
    std::optional<ComputedColumns> computed{};

    /// What is known of a photograph without reading it; nothing where it is to be read. Called on several threads.
    std::function<std::optional<PhotographAnalysis>(const std::string& path)> known{};
};

/// What a run says while it is under way, on the thread that runs it. A function that is left as it is does nothing; none
/// may be empty.
struct BatchEvents {
    using Line = std::function<void(const std::string& line)>;

    Line tell = [](const std::string&) {};      ///< what was found and done
    Line warn = [](const std::string&) {};      ///< what the user should know although the run goes on
    Line progress = [](const std::string&) {};  ///< how far it is; an empty line when it ends
    /// Some more pairs, or photographs of an archive, are in the file.
    std::function<void(std::size_t recorded, std::size_t all)> recorded = [](std::size_t, std::size_t) {};
    std::function<bool()> stops = [] { return false; };  ///< asked several times a second; true: stop soon
};

/// What came of a run.
struct BatchEnd {
    std::size_t pairs = 0;     ///< of the list
    std::size_t recorded = 0;  ///< all of them, unless the run was stopped
    std::size_t done = 0;      ///< of these, compared by this run
    double seconds = 0;        ///< of this run
    BatchSummary summary;      ///< of all that are recorded

    bool whole() const noexcept { return recorded == pairs; }
};

/// A run over the pairs that an output lacks. Runs once; the pairs, the output and the events must outlive it. While it
/// runs, operations and the image library have one thread each (`setThreads`), since the pairs are what runs at the same
/// time; the numbers of before hold again afterwards.
class BatchRun {
public:
    BatchRun(const PairList& pairs, const ResultFile& file, BatchOptions options, const BatchEvents& events);

    /// Version and parameters that the records get.
    const ResultOrigin& origin() const noexcept { return origin_; }

    /// Compares what is missing, under the lock of the output.
    /// @throws Refusal  what `OutputLock` and `resumeResults` throw; and where the machine fails, with the reason and how
    ///                  much is recorded: --resume goes on from there
    BatchEnd run();

private:
    using Clock = std::chrono::steady_clock;

    std::size_t recorded() const { return earlier_.recorded + done_; }
    void compare();
    void announcePhotographs();
    std::string whatIsRecorded(const std::string& problem) const;
    void record(ResultWriter& writer, unsigned jobs);
    unsigned tellOfFewerWorkers(const OrderedPool& pool, unsigned told);
    OrderedPool::Work worker();
    std::string keyOf(const Pair& pair, const std::string& path, const char* maskColumn) const;
    AnalysisCache::Shared analysis(const std::string& key, AnalysisTables& tables);
    const PairOutcome* known(std::size_t k) const;

    const PairList& pairs_;
    const ResultFile& file_;
    BatchOptions options_;
    const BatchEvents& events_;
    ResultOrigin origin_;
    AnalysisCache cache_;
    std::optional<IsolatedAnalyses> isolated_;
    FreeCores cores_;  ///< of the threads that were allowed before each worker was given one
    EarlierResults earlier_;
    BatchSummary summary_;
    std::size_t done_ = 0;
    std::atomic<std::size_t> kept_{0};  ///< of these, those that an earlier run had compared
    std::uint64_t failedNow_ = 0;
    Clock::time_point begin_ = Clock::now();
};

}  // namespace likeness
