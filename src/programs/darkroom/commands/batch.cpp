// darkroom batch: many pairs of photographs, compared and recorded so that nothing is lost.
#include <likeness/threads.hpp>
#include <likeness/version.hpp>
#include "archive/archive.hpp"
#include "archive/photograph_index.hpp"
#include "batch/analysis_cache.hpp"
#include "batch/batch_summary.hpp"
#include "batch/earlier_results.hpp"
#include "batch/ordered_pool.hpp"
#include "batch/output_lock.hpp"
#include "batch/pair_bench.hpp"
#include "batch/parameters.hpp"
#include "batch/stop_signals.hpp"
#include "commands/subcommands.hpp"
#include "console/comparison_warnings.hpp"
#include "console/list_options.hpp"
#include "console/model_options.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "console/score_prediction.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "files/replaced_file.hpp"
#include "photofile/decoder_remarks.hpp"

#include <fmt/format.h>
#include <omp.h>
#include <opencv2/core/utility.hpp>
#include <opencv2/core/utils/logger.hpp>

#include <sys/stat.h>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <memory>
#include <new>
#include <optional>
#include <system_error>
#include <thread>

namespace likeness::darkroom {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

struct Options {
    ListOptions list;
    std::vector<std::string> folders;
    bool allowUnpaired = false;
    std::string root;
    bool printList = false;
    std::string output = "results.db";
    bool resume = false;
    bool retryFailed = false;
    int jobs = 0;
    int cache = 1000;
    bool timing = false;
    std::string archive;
    bool check = false;
    std::string predict;
    ModelOptions model;
};

/// Columns of --predict, behind those of the list.
constexpr const char* predictionNames[] = {"predicted", "predicted_low", "predicted_high", "predicted_outside"};

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

void checkCombination(const Console& console, const Options& options) {
    if (console.diagnostics().wantsFiles()) {
        throw Refusal("--dumps: a batch keeps no diagnostic files; darkroom compare keeps those of one pair");
    }
    if (options.list.path.empty() == options.folders.empty()) {
        throw Refusal(options.folders.empty() ? "LIST or --folders is required"
                                              : "LIST and --folders exclude each other");
    }
    if (options.allowUnpaired && options.folders.empty()) {
        throw Refusal("--allow-unpaired: there are no --folders");
    }
    if (!options.root.empty() && !options.folders.empty()) {
        throw Refusal("--root applies to LIST, not to --folders");
    }
    if (!options.list.format.empty() && !options.folders.empty()) {
        throw Refusal("--list-format: there is no LIST");
    }
    if (options.check && options.archive.empty()) {
        throw Refusal("--check: there is no --archive");
    }
    if (options.retryFailed && !options.resume) {
        throw Refusal("--retry-failed: there is no --resume");
    }
    checkReadFolder("--root", options.root);
}

ResultFile checkedOutput(const Console& console, const Options& options) {
    ResultFile file;
    file.path = behindLinks(options.output);
    file.format = resultFormatOf("--output", options.output);
    if (options.timing) {
        if (file.format == ResultFormat::sqlite) {
            throw Refusal("--timing: a database has the times in its table 'timing'");
        }
        file.timing = file.path + ".timing.csv";
    }
    OutputPlan plan(console, {options.list.path}, InputKind::others);
    plan.mayRead(options.archive);
    plan.mayRead(options.model.viewing.conditions);
    plan.mayRead(options.predict);
    plan.file("--output", options.output);
    plan.aside("--output", previousResults(options.output));
    std::error_code error;
    const fs::file_status status = fs::status(options.output, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw Refusal("--output: '" + options.output + "' is not a regular file");
    }
    if (!options.resume && (fs::exists(status) || fs::exists(previousResults(file.path), error))) {
        throw Refusal("--output: '" + options.output + "' exists; --resume goes on with it");
    }
    if (!file.timing.empty()) {
        plan.file("--timing", file.timing);
        if (!options.resume && fs::exists(file.timing, error)) {
            throw Refusal("--timing: '" + file.timing + "' exists; move it away");
        }
    }
    return file;
}

PairList pairsAsked(const Console& console, const Options& options) {
    if (options.folders.empty()) {
        return options.list.read();
    }
    FolderPairs folders = pairFolders(options.folders[0], options.folders[1], options.list.shardAsked());
    constexpr std::size_t named = 20;
    for (std::size_t k = 0; k < std::min(named, folders.unpaired.size()); ++k) {
        console.warn("'" + folders.unpaired[k] + "' has no partner");
    }
    if (folders.unpaired.size() > named) {
        console.warn(fmt::format("... and {} more have no partner", folders.unpaired.size() - named));
    }
    for (std::size_t k = 0; k < std::min(named, folders.leftOut.size()); ++k) {
        console.tell("left out: '" + folders.leftOut[k].path + "' " + folders.leftOut[k].why);
    }
    if (folders.leftOut.size() > named) {
        console.tell(fmt::format("left out: ... and {} more", folders.leftOut.size() - named));
    }
    if (!folders.leftOut.empty()) {
        console.tell(numberOf(folders.leftOut.size(), "file") + " of the folders left out, " +
                     numberOf(folders.pairs.size(), "pair") + " found");
    }
    if (!folders.unpaired.empty() && !options.allowUnpaired) {
        throw Refusal("--folders: " + numberOf(folders.unpaired.size(), "file has", "files have") +
                      " no partner; --allow-unpaired compares the others");
    }
    return std::move(folders.pairs);
}

/// Loops on this thread do without others. OpenMP ends the program where it lacks memory: it takes what it needs for a
/// thread here, before others are at work.
void prepareOpenMp() {
    ::omp_set_num_threads(1);
#pragma omp parallel
    ::omp_get_thread_num();
}

unsigned processors() {
    return std::max(1U, std::thread::hardware_concurrency());
}

/// One run over the pairs that an output lacks.
class Run {
public:
    Run(const Console& console, const Options& options, const PairList& pairs, const ResultFile& file,
        const AnalysisOptions& analysis)
        : console_(console),
          options_(options),
          pairs_(pairs),
          file_(file),
          analysis_(analysis),
          origin_{LIKENESS_VERSION, parameterFingerprint(analysis, console.profiles()), hueKind(file, analysis),
                  predictionColumns(options, file, analysis, console)},
          cache_(static_cast<std::size_t>(options.cache)),
          cores_(std::min(static_cast<unsigned>(threads()), processors())) {
        if (!options.archive.empty()) {
            archive_.emplace(options.archive);
            if (!archive_->origin().agreesWith(originOf(analysis, console.profiles()))) {
                throw Refusal("--archive: '" + options.archive + "' was made with other parameters (" +
                              archive_->origin().fingerprint + ", likeness " + archive_->origin().version +
                              ") than this batch has (" + origin_.parameters + ", likeness " + origin_.version + ")");
            }
            for (const std::string& damage : archive_->damage()) {
                console.warn("'" + options.archive + "': " + damage + "; what stands there is analysed");
            }
        }
    }

    ExitStatus run() {
        const StopSignals signals;
        const OutputLock lock(file_.path);
        earlier_ = resumeResults(file_, pairs_, origin_, options_.retryFailed);
        summary_ = std::move(earlier_.summary);
        if (earlier_.dropped > 0) {
            console_.tell(fmt::format("'{}': the last {} bytes are no whole record; they are dropped and made again",
                                      file_.path, earlier_.dropped));
        }
        if (earlier_.recorded > 0) {
            console_.tell(fmt::format("{} of {} recorded already", earlier_.recorded, numberOf(pairs_.size(), "pair")));
        }
        compare(signals);
        const bool whole = recorded() == pairs_.size();
        if (whole) {
            dropPreviousResults(file_);
        }
        return tellEnd(signals.received(), whole);
    }

private:
    static std::optional<ComputedColumns> predictionColumns(const Options& options, const ResultFile& file,
                                                            const AnalysisOptions& analysis, const Console& console) {
        if (options.predict.empty()) {
            return std::nullopt;
        }
        const auto predictor = std::make_shared<ScorePredictor>(options.predict, analysis, console.profiles(),
                                                                [&](const std::string& line) { console.warn(line); });
        ComputedColumns columns;
        columns.names.assign(std::begin(predictionNames), std::end(predictionNames));
        columns.kind = file.format == ResultFormat::csv ? CarriedValue::Kind::text : CarriedValue::Kind::json;
        columns.values = [predictor](const PairOutcome& outcome) {
            ComparedNumbers numbers;
            for (std::size_t k = 0; k < correlateNames.size(); ++k) {
                numbers.coefficients[k] = static_cast<double>(outcome.coefficients[k]);
            }
            if (outcome.hue) {
                numbers.hue = static_cast<double>(*outcome.hue);
            }
            const ScorePrediction prediction = predictor->predict(numbers).prediction;
            const auto text = [](double value) { return std::isfinite(value) ? nineDigits(value) : std::string(); };
            return std::vector<std::string>{text(prediction.score), text(prediction.low), text(prediction.high),
                                            prediction.outside ? "1" : "0"};
        };
        // What a batch does not record is refused before the first pair.
        PairOutcome example;
        if (analysis.hue) {
            example.hue = 1.0F;
        }
        columns.values(example);
        return columns;
    }

    /// A table of texts knows no other kind.
    static std::optional<CarriedValue::Kind> hueKind(const ResultFile& file, const AnalysisOptions& analysis) {
        if (!analysis.hue) {
            return std::nullopt;
        }
        return file.format == ResultFormat::csv ? CarriedValue::Kind::text : CarriedValue::Kind::json;
    }

    std::size_t recorded() const { return earlier_.recorded + done_; }

    void compare(const StopSignals& signals) {
        // The pairs are what runs at the same time.
        setThreads(1);
        cv::setNumThreads(1);
        cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
        for (std::size_t k = earlier_.recorded; options_.cache > 0 && k < pairs_.size(); ++k) {
            if (known(k) == nullptr) {
                const Pair pair = pairs_.at(k);
                cache_.announce(located(pair.first));
                cache_.announce(located(pair.second));
            }
        }
        cache_.announced();
        const unsigned jobs = options_.jobs > 0 ? static_cast<unsigned>(options_.jobs) : processors();
        const auto writer = writeResults(file_, earlier_.tail);
        begin_ = Clock::now();
        try {
            record(*writer, jobs, signals);
            writer->finish();
        } catch (const Refusal& refusal) {
            throw Refusal(whatIsRecorded(refusal.what()));
        } catch (const std::bad_alloc&) {
            throw Refusal(whatIsRecorded("out of memory; fewer --jobs take less"));
        } catch (const std::system_error& error) {
            throw Refusal(whatIsRecorded(error.what()));
        }
        console_.showProgress({});
    }

    std::string whatIsRecorded(const std::string& problem) const {
        return fmt::format("{}; {} of {} recorded, --resume goes on from there", problem, recorded(),
                           numberOf(pairs_.size(), "pair"));
    }

    void record(ResultWriter& writer, unsigned jobs, const StopSignals& signals) {
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
            }
            if (signals.received() != 0) {
                pool.stop();
            }
            if (Clock::now() - shown > 2 * pace) {
                shown = Clock::now();
                console_.showProgress(
                    batchProgressLine(done_, failedNow_, pairs_.size() - earlier_.recorded, secondsSince(begin_)));
            }
        }
    }

    /// @return  how many workers the user knows of now
    unsigned tellOfFewerWorkers(const OrderedPool& pool, unsigned told) {
        const unsigned workers = pool.workers();
        if (workers < told) {
            cores_.stopLending();
            console_.warn(fmt::format("threads or memory are short: {} at the same time, not {}; --jobs sets how many",
                                      numberOf(workers, "pair"), pool.asked()));
        }
        return std::min(workers, told);
    }

    /// What one worker does with a pair.
    OrderedPool::Work worker() {
        prepareOpenMp();
        auto bench = std::make_shared<PairBench>(cores_);
        return [this, bench](std::size_t number) {
            const std::size_t k = earlier_.recorded + number;
            const Pair pair = pairs_.at(k);
            if (known(k) != nullptr) {
                return recordOf(pair, pairs_.total(), *known(k), origin_);
            }
            const Clock::time_point begin = Clock::now();
            const auto [first, second] = bench->analyze(
                pair.first, pair.second,
                [this](const std::string& path, AnalysisTables& tables) { return analysis(path, tables); });
            ResultRecord record = recordOf(
                pair, pairs_.total(), compareAnalyses(pair.first, *first, pair.second, *second, analysis_), origin_);
            record.milliseconds = 1000 * secondsSince(begin);
            return record;
        };
    }

    AnalysisCache::Shared analysis(const std::string& path, AnalysisTables& tables) {
        const std::string place = located(path);
        return cache_.get(place, [&] {
            if (std::optional<PhotographAnalysis> archived = fromArchive(place)) {
                return *std::move(archived);
            }
            return analyzePhotograph(place, tables, console_.mostPixels(), analysis_, console_.profiles());
        });
    }

    /// The analysis that the archive has of a file, where the file is still the same.
    std::optional<PhotographAnalysis> fromArchive(const std::string& path) const {
        try {
            const std::optional<std::size_t> entry = archive_ ? archive_->find(path) : std::nullopt;
            if (!entry) {
                return std::nullopt;
            }
            ArchivedPhotograph photograph = archive_->photograph(*entry);
            const bool same = options_.check ? hasChecksum(photograph) : isCurrent(photograph);
            if (!same || !photograph.analysed()) {
                return std::nullopt;
            }
            photograph.distributions = archive_->distributions(*entry);
            return analysisOf(std::move(photograph));
        } catch (const ArchiveDamage&) {  // it is analysed
            return std::nullopt;
        }
    }

    std::string located(const std::string& path) const {
        return options_.root.empty() ? path : (fs::path(options_.root) / path).string();
    }

    const PairOutcome* known(std::size_t k) const { return earlier_.known.empty() ? nullptr : earlier_.known[k].get(); }

    ExitStatus tellEnd(int signal, bool whole) const {
        const double seconds = secondsSince(begin_);
        if (!whole) {
            console_.tell(fmt::format("stopped by {}: {} of {} recorded, --resume does the others",
                                      signal == SIGINT ? "SIGINT" : "SIGTERM", recorded(),
                                      numberOf(pairs_.size(), "pair")));
            return signal == SIGINT ? ExitStatus::interrupted : ExitStatus::terminated;
        }
        console_.tell(fmt::format("{}, {} failed; {} in this run in {}, {:.1f} pairs/s",
                                  numberOf(summary_.pairs(), "pair"), summary_.failed(), done_, durationText(seconds),
                                  seconds > 0 ? static_cast<double>(done_) / seconds : 0.0));
        if (summary_.withRemarks() > 0) {
            console_.tell("the decoders had remarks on " + numberOf(summary_.withRemarks(), "pair") +
                          ", recorded as 'remarks'");
        }
        for (const std::string& line : summary_.table()) {
            console_.tell(line);
        }
        console_.tell("results are in '" + file_.path + "'");
        return summary_.failed() == 0 ? ExitStatus::done : ExitStatus::outsideLimits;
    }

    const Console& console_;
    const Options& options_;
    const PairList& pairs_;
    const ResultFile& file_;
    AnalysisOptions analysis_;
    ResultOrigin origin_;
    AnalysisCache cache_;
    std::optional<Archive> archive_;
    FreeCores cores_;  ///< of the threads that were allowed before each worker was given one
    EarlierResults earlier_;
    BatchSummary summary_;
    std::size_t done_ = 0;
    std::uint64_t failedNow_ = 0;
    Clock::time_point begin_ = Clock::now();
};

ExitStatus runBatch(const Console& console, const Options& options) {
    checkCombination(console, options);
    options.list.shardAsked();
    const ChosenModel model = chosenModel(options.model);
    const AnalysisOptions analysis = model.analysis(false);
    if (options.printList) {
        std::cout << csvList(pairsAsked(console, options));
        return ExitStatus::done;
    }
    ResultFile file = checkedOutput(console, options);
    const PairList pairs = pairsAsked(console, options);
    file.columns = pairs.columns();
    if (!options.predict.empty()) {
        for (const char* const name : predictionNames) {
            for (const std::string& column : file.columns) {
                if (lowerCase(column) == name) {
                    throw Refusal("--predict: the list has a column '" + column +
                                  "', which is the name of a column of the results");
                }
            }
        }
        file.columns.insert(file.columns.end(), std::begin(predictionNames), std::end(predictionNames));
    }
    if (analysis.hue) {
        if (std::find(file.columns.begin(), file.columns.end(), hueColumn) != file.columns.end()) {
            throw Refusal(std::string("--hue: the list has a column '") + hueColumn +
                          "', which is the name of the hue's coefficient in the results");
        }
        file.columns.emplace_back(hueColumn);
    }
    warnOfModel(console, model);
    if (console.verbose()) {
        console.tell("parameters " + parameterFingerprint(analysis, console.profiles()) + ": " +
                     comparisonParameters(analysis, console.profiles()));
    }
    return Run(console, options, pairs, file, analysis).run();
}

}  // namespace

Action declareBatch(CLI::App& app) {
    auto options = std::make_shared<Options>();
    app.add_option("LIST", options->list.path,
                   "List of pairs with the columns first, second and, if need be, id: CSV, TSV or JSON Lines; - reads "
                   "standard input");
    addListOptions(app, options->list);
    app.add_option("--folders", options->folders,
                   optionText("In place of a list: two folders, whose image files are paired by relative path without "
                              "extension",
                              "--folders before after"))
        ->type_name("A B")
        ->expected(2);
    app.add_flag("--allow-unpaired", options->allowUnpaired,
                 optionText("Compare what has a partner although some files have none", "--allow-unpaired"));
    app.add_option("--root", options->root,
                   optionText("Folder that relative paths of the list start from; by default the working directory",
                              "--root /data/photographs"))
        ->type_name("DIR");
    app.add_flag("--print-list", options->printList,
                 optionText("Print the pairs as a CSV list on standard output and compare nothing", "--print-list"));
    app.add_option("-o,--output", options->output,
                   optionText("Results: .db, .sqlite or .sqlite3 (SQLite), .jsonl or .ndjson (JSON Lines), .csv; an "
                              "existing file is refused without --resume",
                              "--output results.csv"))
        ->type_name("FILE")
        ->capture_default_str();
    app.add_flag("--resume", options->resume,
                 optionText("Go on with an existing output: do exactly what is missing", "--resume"));
    app.add_flag("--retry-failed", options->retryFailed,
                 optionText("With --resume: compare again the pairs that are recorded as failed", "--retry-failed"));
    app.add_option(
           "--jobs", options->jobs,
           optionText(
               "Pairs at the same time, 1 to 1024; by default as many as there are processors. Where one is idle, "
               "both photographs of a pair are analysed at the same time; LIKENESS_THREADS says how many there are",
               "--jobs 8"))
        ->type_name("N")
        ->check(integerBetween(1, 1024));
    app.add_option(
           "--cache", options->cache,
           optionText("How many analysed photographs are kept of those that occur again, 0 to 1000000", "--cache 5000"))
        ->type_name("N")
        ->check(integerBetween(0, 1000000))
        ->capture_default_str();
    app.add_flag("--timing", options->timing,
                 optionText("For .jsonl and .csv: write how many milliseconds each pair took into OUTPUT.timing.csv",
                            "--timing"));
    app.add_option(
           "--archive", options->archive,
           optionText("Archive of darkroom index: what it has of a photograph is taken from it where path, size and "
                      "time of change agree",
                      "--archive photos.likeness"))
        ->type_name("FILE");
    app.add_flag(
        "--check", options->check,
        optionText("With --archive: the SHA-256 of the file must agree, in place of size and time", "--check"));
    addPredictOption(app, options->predict);
    addModelOptions(app, options->model);
    addHueOptions(app, options->model);
    return [options](const Console& console) { return runBatch(console, *options); };
}

}  // namespace likeness::darkroom
