// darkroom index: photographs analysed once, in an archive.
#include <likeness/threads.hpp>
#include "archive/approximate_index.hpp"
#include "archive/archive_writer.hpp"
#include "archive/photograph_index.hpp"
#include "batch/batch_summary.hpp"
#include "batch/image_files.hpp"
#include "batch/isolated_analysis.hpp"
#include "batch/ordered_pool.hpp"
#include "batch/output_lock.hpp"
#include "batch/shard.hpp"
#include "batch/stop_signals.hpp"
#include "batch/working_file.hpp"
#include "commands/subcommands.hpp"
#include "console/comparison_warnings.hpp"
#include "console/isolation_options.hpp"
#include "console/model_options.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "console/part_options.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "files/replaced_file.hpp"
#include "photofile/counted_part.hpp"
#include "photofile/decoder_remarks.hpp"

#include <fmt/format.h>
#include <omp.h>
#include <opencv2/core/utility.hpp>
#include <opencv2/core/utils/logger.hpp>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
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
using IndexPool = OrderedPoolOf<ArchivedPhotograph>;

struct Options {
    std::vector<std::string> photographs;
    std::vector<std::string> lists;
    std::string output;
    bool update = false;
    bool resume = false;
    bool overwrite = false;
    bool retryFailed = false;
    bool approximate = false;
    std::string shard;
    int jobs = 0;
    IsolationOptions isolation;
    ModelOptions model;
    PartOptions part;
};

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

/// The lines of a text, which are names of files and folders.
void addLines(std::istream& in, const std::string& name, std::vector<std::string>& paths) {
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (!line.empty()) {
            paths.push_back(line);
        }
    }
    if (in.bad()) {
        throw Refusal("cannot read " + name);
    }
}

/// What is named, with the image files of folders in their place; by the bytes of the paths, none twice.
std::vector<std::string> photographsAsked(const Console& console, const Options& options) {
    std::vector<std::string> named;
    for (const std::string& path : options.photographs) {
        if (path == "-") {
            addLines(std::cin, "standard input", named);
        } else {
            named.push_back(path);
        }
    }
    for (const std::string& list : options.lists) {
        std::error_code error;
        std::ifstream file(list, std::ios::binary);
        if (!file || fs::is_directory(list, error)) {
            throw Refusal("--list: cannot read '" + list + "'");
        }
        addLines(file, "'" + list + "'", named);
    }
    std::vector<std::string> paths;
    std::vector<LeftOutFile> leftOut;
    for (std::string& path : named) {
        std::error_code error;
        if (!fs::is_directory(path, error)) {
            paths.push_back(std::move(path));  // of a million names there is memory for one copy
            continue;
        }
        for (ImageFile& file : imageFilesIn("PHOTOS", path, leftOut)) {
            paths.push_back(std::move(file.path));
        }
    }
    named = {};
    constexpr std::size_t told = 20;
    for (std::size_t k = 0; k < std::min(told, leftOut.size()); ++k) {
        console.tell("left out: '" + leftOut[k].path + "' " + leftOut[k].why);
    }
    if (leftOut.size() > told) {
        console.tell(fmt::format("left out: ... and {} more", leftOut.size() - told));
    }
    std::sort(paths.begin(), paths.end());
    paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
    for (const std::string& path : paths) {
        if (!isUtf8(path)) {
            throw Refusal("PHOTOS: the name '" + path + "' is not UTF-8");
        }
    }
    if (paths.empty()) {
        throw Refusal("PHOTOS: there are no photographs");
    }
    const Shard shard = options.shard.empty() ? Shard() : parseShard(options.shard);
    paths.erase(std::remove_if(paths.begin(), paths.end(), [&](const std::string& path) { return !shard.holds(path); }),
                paths.end());
    return paths;
}

/// OpenMP ends the program where it lacks memory: it takes what it needs for a thread before others are at work.
void prepareOpenMp() {
    ::omp_set_num_threads(1);
#pragma omp parallel
    ::omp_get_thread_num();
}

/// One run over the photographs that an archive lacks.
class Run {
public:
    Run(const Console& console, const Options& options, std::vector<std::string> paths, const AnalysisOptions& analysis)
        : console_(console),
          options_(options),
          paths_(std::move(paths)),
          analysis_(analysis),
          profiles_(profilesWith(chosenPart(options.part), console.profiles())),
          origin_(originOf(analysis, profiles_)),
          output_(behindLinks(options.output)),
          unfinished_(workingFile(output_, "index")) {}

    ExitStatus run() {
        const StopSignals signals;
        const OutputLock lock(unfinished_, OutputLock::Links::refuse);
        const std::uint64_t keep = readEarlier();
        chooseMissing();
        int signal = 0;
        if (!missing_.empty()) {
            signal = analyseMissing(signals, keep);
        }
        if (done_ < missing_.size()) {
            console_.tell(fmt::format("stopped by {}: {} of {} analysed, --resume does the others",
                                      signal == SIGINT ? "SIGINT" : "SIGTERM", paths_.size() - missing_.size() + done_,
                                      numberOf(paths_.size(), "photograph")));
            return signal == SIGINT ? ExitStatus::interrupted : ExitStatus::terminated;
        }
        return finish(signals);
    }

private:
    std::unique_ptr<Archive> opened(const std::string& path, const char* what) const {
        auto archive = std::make_unique<Archive>(path);
        if (!archive->origin().agreesWith(origin_)) {
            throw Refusal(fmt::format(
                "--output: {} was made with other parameters or by another version ({}, likeness {}; "
                "now {}, likeness {}); --overwrite begins anew",
                what, archive->origin().fingerprint, archive->origin().version, origin_.fingerprint, origin_.version));
        }
        for (const std::string& damage : archive->damage()) {
            if (archive->finished() || archive->head().edges) {
                console_.warn("'" + path + "': " + damage);
            } else {
                console_.tell("'" + path + "': " + damage + "; they are dropped and made again");
            }
        }
        return archive;
    }

    /// What was read of large archives a while ago is not needed in memory any more.
    void forgetNowAndThen(std::size_t k) const {
        constexpr std::size_t aWhile = std::size_t{1} << 15;
        if (k % aWhile == aWhile - 1) {
            for (const auto& archive : archives_) {
                archive->forgetIfLarge();
            }
        }
    }

    /// @return  bytes of the unfinished archive that are whole
    std::uint64_t readEarlier() {
        std::error_code error;
        const std::uintmax_t begun = fs::file_size(unfinished_, error);
        const bool goesOn = options_.resume && !error && begun > 0 && isArchive(unfinished_);
        // What a stopped --overwrite was to replace may be of other parameters, and then has nothing to give.
        const auto isToBeReplaced = [&] { return goesOn && !Archive(output_).origin().agreesWith(origin_); };
        if (!options_.overwrite && (options_.update || options_.resume) && fs::exists(output_, error) &&
            !isToBeReplaced()) {
            archives_.push_back(opened(output_, ("'" + options_.output + "'").c_str()));
        }
        const std::uintmax_t bytes = fs::file_size(unfinished_, error);
        if (error || bytes == 0 || options_.overwrite) {
            return 0;
        }
        if (!isArchive(unfinished_)) {  // stopped before its head was written
            return 0;
        }
        if (!options_.resume) {
            throw Refusal("--output: an earlier run left unfinished work for '" + options_.output +
                          "'; --resume goes on with it, --overwrite begins anew");
        }
        archives_.push_back(opened(unfinished_, "the unfinished work of an earlier run"));
        return archives_.back()->wholeBytes();
    }

    void chooseMissing() {
        std::vector<const Archive*> archives;
        for (const auto& archive : archives_) {
            archives.push_back(archive.get());
        }
        const ArchiveUnion known(archives);
        for (const std::string& damage : known.damage()) {
            console_.warn(damage + "; what cannot be read is analysed again");
        }
        for (std::size_t k = 0; k < known.size(); ++k) {
            if (!std::binary_search(paths_.begin(), paths_.end(), known.pathOf(k))) {
                ++removed_;
            }
        }
        for (std::size_t k = 0; k < paths_.size(); ++k) {
            forgetNowAndThen(k);
            const auto place = known.find(paths_[k]);
            if (!place) {
                ++added_;
                missing_.push_back(k);
                continue;
            }
            const ArchivedPhotograph entry = known.archiveOf(*place).photograph(known.entryOf(*place));
            if (!isCurrent(entry) || (options_.retryFailed && !entry.analysed())) {
                ++changed_;
                missing_.push_back(k);
            }
        }
    }

    /// @return  the signal that stopped it, or 0
    int analyseMissing(const StopSignals& signals, std::uint64_t keep) {
        // The photographs are what runs at the same time.
        setThreads(1);
        cv::setNumThreads(1);
        cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
        const unsigned processors = std::max(1U, std::thread::hardware_concurrency());
        const unsigned jobs = options_.jobs > 0 ? static_cast<unsigned>(options_.jobs) : processors;
        begin_ = Clock::now();
        if (const std::optional<WorkLimits> limits = options_.isolation.limits()) {
            try {
                isolated_.emplace(console_.mostPixels(), analysis_, profiles_, *limits);
            } catch (const NoProcess& shortage) {
                if (!shortage.isShortage()) {
                    throw Refusal(whatIsKept(shortage.what()));
                }
                console_.warn(unprotectedWarning);
            }
        }
        try {
            ArchiveWriter writer(unfinished_, origin_, keep);
            analyse(writer, jobs, signals);
            writer.finish();
        } catch (const Refusal& refusal) {
            throw Refusal(whatIsKept(refusal.what()));
        } catch (const std::bad_alloc&) {
            throw Refusal(whatIsKept("out of memory; fewer --jobs take less"));
        } catch (const std::system_error& error) {
            throw Refusal(whatIsKept(error.what()));
        }
        console_.showProgress({});
        return signals.received();
    }

    std::string whatIsKept(const std::string& problem) const {
        return fmt::format("{}; {} of {} analysed, --resume goes on from there", problem,
                           paths_.size() - missing_.size() + done_, numberOf(paths_.size(), "photograph"));
    }

    void analyse(ArchiveWriter& writer, unsigned jobs, const StopSignals& signals) {
        const RemarkSorter sorter;
        IndexPool pool(missing_.size(), jobs, [this] {
            prepareOpenMp();
            auto tables = std::make_shared<AnalysisTables>();
            return [this, tables](std::size_t number) {
                const std::string& path = paths_[missing_[number]];
                return indexedPhotograph(path, [&] {
                    return isolated_ ? isolated_->analyze(path)
                                     : analyzePhotograph(path, *tables, console_.mostPixels(), analysis_, profiles_);
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
        const auto write = [&] {
            if (!gathered.empty()) {
                writer.append(gathered);
                done_ += gathered.size();
                gathered.clear();
            }
            written = Clock::now();
        };
        try {
            while (pool.take(ready, pace)) {
                if (const unsigned workers = pool.workers(); workers < workersTold) {
                    console_.warn(
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
                if (signals.received() != 0) {
                    pool.stop();
                }
                if (Clock::now() - shown > 2 * pace) {
                    shown = Clock::now();
                    console_.showProgress(batchProgressLine(done_ + gathered.size(), failedNow_, missing_.size(),
                                                            secondsSince(begin_), "photographs"));
                }
            }
        } catch (const Refusal&) {
            write();  // what was made before the machine failed
            throw;
        }
        write();
    }

    /// Writes the archive of what earlier runs and this one have.
    ExitStatus finish(const StopSignals& signals) {
        std::error_code error;
        if (!missing_.empty()) {
            // It has grown since it was opened.
            if (!archives_.empty() && archives_.back()->path() == unfinished_) {
                archives_.pop_back();
            }
            archives_.push_back(opened(unfinished_, "the unfinished work"));
        }
        std::vector<const Archive*> archives;
        for (const auto& archive : archives_) {
            archives.push_back(archive.get());
        }
        ArchiveUnion all(archives);
        all.select([&](std::size_t k) { return std::binary_search(paths_.begin(), paths_.end(), all.pathOf(k)); });
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
                console_.warn("cannot read '" + entry.path + "'" + entry.problem);
            }
        }
        if (failed > told) {
            console_.warn(fmt::format("... and {} more cannot be read", failed - told));
        }
        fs::remove(unfinished_, error);
        console_.tell(fmt::format("{}, {} failed; {} added, {} changed, {} removed{}",
                                  numberOf(all.size(), "photograph"), failed, added_, changed_, removed_,
                                  missing_.empty() ? "" : " in " + durationText(secondsSince(begin_))));
        console_.tell("archive is in '" + output_ + "'");
        if (options_.approximate) {
            archives_.clear();
            makeApproximateIndex(signals);
        }
        if (const int late = signals.received(); late != 0) {
            return late == SIGINT ? ExitStatus::interrupted : ExitStatus::terminated;
        }
        return failed == 0 ? ExitStatus::done : ExitStatus::outsideLimits;
    }

    /// Of the archive that is finished; what is there of it and fits is kept.
    void makeApproximateIndex(const StopSignals& signals) {
        const Archive archive(output_);
        const auto tellRecall = [this](double recall, std::size_t photographs) {
            console_.tell(fmt::format("approximate index: recall at 10 {:.3f}, measured on {}", recall,
                                      numberOf(photographs, "photograph")));
        };
        try {
            const ApproximateIndex index(archive);
            tellRecall(index.recall(), index.sample());
            return;
        } catch (const Refusal&) {  // there is none that fits
        }
        Clock::time_point shown = Clock::now();
        ApproximateRecall made;
        const auto show = [&](std::size_t done, std::size_t all) {
            if (Clock::now() - shown > std::chrono::milliseconds(200)) {
                shown = Clock::now();
                console_.showProgress(fmt::format("{}/{} photographs in the approximate index", done, all));
            }
            return signals.received() == 0;
        };
        try {
            made = buildApproximateIndex(archive, show);
        } catch (const Refusal&) {
            if (signals.received() == 0) {
                throw;
            }
            console_.showProgress({});
            console_.tell("stopped: the archive is whole, the approximate index is not made");
            return;
        }
        console_.showProgress({});
        tellRecall(made.recall, made.photographs);
        console_.tell(fmt::format("approximate index: a search takes {:.2g} ms, an exact one {:.2g} ms",
                                  1000 * made.approximateSeconds, 1000 * made.exactSeconds));
    }

    const Console& console_;
    const Options& options_;
    std::vector<std::string> paths_;
    AnalysisOptions analysis_;
    ProfileChoice profiles_;
    ArchiveOrigin origin_;
    std::optional<IsolatedAnalyses> isolated_;
    std::string output_;
    std::string unfinished_;
    std::vector<std::unique_ptr<Archive>> archives_;  ///< of earlier runs, the later ones last
    std::vector<std::size_t> missing_;                ///< numbers of the paths that are to be analysed
    std::size_t added_ = 0;
    std::size_t changed_ = 0;
    std::size_t removed_ = 0;
    std::size_t done_ = 0;
    std::uint64_t failedNow_ = 0;
    Clock::time_point begin_ = Clock::now();
};

ExitStatus index(const Console& console, const Options& options) {
    if (console.diagnostics().wantsFiles()) {
        throw Refusal("--dumps: an index keeps no diagnostic files; darkroom compare keeps those of one pair");
    }
    if (options.photographs.empty() && options.lists.empty()) {
        throw Refusal("PHOTOS or --list is required");
    }
    if (options.overwrite && (options.update || options.resume)) {
        throw Refusal(std::string("--overwrite begins anew and excludes ") +
                      (options.update ? "--update" : "--resume"));
    }
    if (options.retryFailed && !options.update && !options.resume) {
        throw Refusal("--retry-failed: there is no --update or --resume");
    }
    options.isolation.limits();
    const ChosenModel model = chosenModel(options.model);
    const AnalysisOptions analysis = model.analysis(false);
    std::vector<std::string> paths = photographsAsked(console, options);
    OutputPlan plan(console, options.lists, InputKind::others);
    plan.mayRead(options.model.viewing.conditions);
    plan.mayRead(options.part.mask);
    plan.file("--output", options.output);
    std::error_code error;
    const fs::file_status status = fs::status(options.output, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw Refusal("--output: '" + options.output + "' is not a regular file");
    }
    if (fs::exists(status) && !options.update && !options.resume && !options.overwrite) {
        throw Refusal("--output: '" + options.output +
                      "' exists; --update brings it up to date, --resume goes on with it, --overwrite begins anew");
    }
    if (fs::exists(status) && fs::file_size(options.output, error) > 0 && !isArchive(options.output)) {
        throw Refusal("--output: '" + options.output + "' is no archive, and is not replaced");
    }
    if (!paths.empty() && std::binary_search(paths.begin(), paths.end(), options.output)) {
        throw Refusal("--output: '" + options.output + "' is among the photographs; choose another name");
    }
    if (options.approximate) {
        plan.aside("--approximate", approximateIndexPath(options.output));
        if (isForeignApproximateIndex(approximateIndexPath(options.output))) {
            throw Refusal("--approximate: '" + approximateIndexPath(options.output) +
                          "' is no approximate index, and is not replaced; move it away");
        }
    }
    warnOfModel(console, model);
    return Run(console, options, std::move(paths), analysis).run();
}

}  // namespace

Action declareIndex(OptionParser& app) {
    auto options = std::make_shared<Options>();
    app.addOption("PHOTOS", options->photographs,
                  "Photographs, and folders whose image files are taken with those of their subfolders; - reads names "
                  "from standard input, one a line");
    app.addOption("--list", options->lists,
                  optionText("File with names of photographs and folders, one a line", "--list names.txt"))
        ->typeName("FILE")
        ->expected(1)
        ->allowExtraArguments(false)
        ->takeAll();
    app.addOption("-o,--output", options->output,
                  optionText("Archive; an existing one is refused without --update, --resume or --overwrite",
                             "--output archive.likeness"))
        ->typeName("FILE")
        ->required();
    app.addFlag("--update", options->update,
                optionText("Bring an archive up to date: analyse what is new or has another size or time, leave out "
                           "what is not named any more",
                           "--update"));
    app.addFlag(
        "--resume", options->resume,
        optionText("Go on where a run was stopped; with an archive that is whole the same as --update", "--resume"));
    app.addFlag("--overwrite", options->overwrite,
                optionText("Replace an existing archive, and drop what a stopped run left", "--overwrite"));
    app.addFlag("--retry-failed", options->retryFailed,
                optionText("With --update or --resume: read again what could not be read", "--retry-failed"));
    app.addFlag("--approximate", options->approximate,
                optionText("Make an index for search --approximate too, in OUTPUT.nearest", "--approximate"));
    app.addOption("--shard", options->shard,
                  optionText("Only the I-th of N parts of the photographs, I from 1 to N; the part depends on the path "
                             "alone. darkroom merge joins the archives",
                             "--shard 3/16"))
        ->typeName("I/N");
    app.addOption("--jobs", options->jobs,
                  optionText("Photographs at the same time, 1 to 1024; by default as many as there are processors",
                             "--jobs 8"))
        ->typeName("N")
        ->check(integerBetween(1, 1024));
    addPartOptions(app, options->part);
    addIsolationOptions(app, options->isolation);
    addModelOptions(app, options->model);
    addHueOptions(app, options->model);
    return [options](const Console& console) { return index(console, *options); };
}

}  // namespace likeness::darkroom
