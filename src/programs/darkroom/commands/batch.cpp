// darkroom batch: many pairs of photographs, compared and recorded so that nothing is lost.
#include "archive/archived_analyses.hpp"
#include "batch/batch_run.hpp"
#include "batch/mask_files.hpp"
#include "batch/output_columns.hpp"
#include "batch/parameters.hpp"
#include "batch/stop_signals.hpp"
#include "commands/subcommands.hpp"
#include "console/comparison_warnings.hpp"
#include "console/isolation_options.hpp"
#include "console/list_options.hpp"
#include "console/model_options.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "console/part_options.hpp"
#include "console/score_prediction.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "files/replaced_file.hpp"
#include "photofile/counted_part.hpp"
#include "scores/score_predictor.hpp"

#include <fmt/format.h>

#include <sys/stat.h>
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>

namespace likeness::darkroom {
namespace {

namespace fs = std::filesystem;

struct BatchArguments {
    ListOptions list;
    std::vector<std::string> folders;
    bool allowUnpaired = false;
    std::string root;
    bool printList = false;
    std::string output = "results.db";
    bool resume = false;
    bool retryFailed = false;
    bool checksums = false;
    int jobs = 0;
    int cache = 1000;
    bool timing = false;
    bool distances = false;
    IsolationOptions isolation;
    std::string archive;
    bool check = false;
    std::string predict;
    ModelOptions model;
    PartOptions part;
};

void checkCombination(const Console& console, const BatchArguments& options) {
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
    options.isolation.limits();
    checkReadFolder("--root", options.root);
}

ResultFile checkedOutput(const Console& console, const BatchArguments& options) {
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
    plan.data("--output", options.output);
    plan.aside("--output", previousResults(options.output));
    std::error_code error;
    const fs::file_status status = fs::status(options.output, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw Refusal("--output: '" + options.output + "' is not a regular file");
    }
    if (!options.resume && (fs::exists(status) || fs::exists(previousResults(file.path), error))) {
        throw Refusal("--output: '" + options.output + "' exists; --resume goes on with it");
    }
    refuseLeftJournals(file.path, file.format);
    if (!file.timing.empty()) {
        plan.file("--timing", file.timing);
        if (!options.resume && fs::exists(file.timing, error)) {
            throw Refusal("--timing: '" + file.timing + "' exists; move it away");
        }
    }
    return file;
}

PairList pairsAsked(const Console& console, const BatchArguments& options) {
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

ProfileChoice profilesAsked(const Console& console, const BatchArguments& options) {
    ProfileChoice profiles = profilesWith(chosenPart(options.part), console.profiles());
    profiles.whiteLuminance = chosenModel(options.model).whiteLuminance;
    return profiles;
}

ExitStatus tellEnd(const Console& console, const ResultFile& file, const BatchEnd& end, int signal) {
    if (!end.whole()) {
        console.tell(fmt::format("stopped by {}: {} of {} recorded, --resume does the others",
                                 signal == SIGINT ? "SIGINT" : "SIGTERM", end.recorded, numberOf(end.pairs, "pair")));
        return signal == SIGINT ? ExitStatus::interrupted : ExitStatus::terminated;
    }
    console.tell(fmt::format("{}, {} failed; {} in this run in {}, {:.1f} pairs/s",
                             numberOf(end.summary.pairs(), "pair"), end.summary.failed(), end.done,
                             durationText(end.seconds),
                             end.seconds > 0 ? static_cast<double>(end.done) / end.seconds : 0.0));
    if (end.summary.withRemarks() > 0) {
        console.tell("the decoders had remarks on " + numberOf(end.summary.withRemarks(), "pair") +
                     ", recorded as 'remarks'");
    }
    for (const std::string& line : end.summary.table()) {
        console.tell(line);
    }
    console.tell("results are in '" + file.path + "'");
    return end.summary.failed() == 0 ? ExitStatus::done : ExitStatus::outsideLimits;
}

/// One run over the pairs that an output lacks.
ExitStatus run(const Console& console, const BatchArguments& options, const PairList& pairs, const ResultFile& file,
               const AnalysisOptions& analysis) {
    std::optional<StopSignals> signals;
    BatchEvents events;
    events.tell = [&](const std::string& line) { console.tell(line); };
    events.warn = [&](const std::string& line) { console.warn(line); };
    events.progress = [&](const std::string& line) { console.showProgress(line); };
    events.stops = [&] { return signals->received() != 0; };
    BatchOptions how;
    how.root = options.root;
    how.retryFailed = options.retryFailed;
    how.checksums = options.checksums;
    how.jobs = static_cast<unsigned>(options.jobs);
    how.cache = static_cast<std::size_t>(options.cache);
    how.isolation = options.isolation.limits();
    how.mostPixels = console.mostPixels();
    how.analysis = analysis;
    how.profiles = profilesAsked(console, options);
    if (!options.predict.empty()) {
        const auto predictor =
            std::make_shared<ScorePredictor>("--predict", options.predict, analysis, how.profiles, events.warn);
        if (!maskFileColumns(pairs.columns()).empty()) {
            events.warn(predictor->maskRemark());
        }
        how.computed = predictedColumns(predictor, file.format, analysis.hue.has_value(), options.distances);
    }
    how.distances = options.distances;
    std::optional<ArchivedAnalyses> archived;
    how.known = [&](const std::string& path) {
        return archived ? archived->of(path) : std::optional<PhotographAnalysis>();
    };
    BatchRun batch(pairs, file, how, events);
    if (!options.archive.empty()) {
        // A record's checksum is that of the file that its numbers are of.
        archived.emplace("--archive", options.archive, options.check || how.checksums, analysis, how.profiles,
                         batch.origin(), events.warn);
    }
    signals.emplace();
    const BatchEnd end = batch.run();
    return tellEnd(console, file, end, signals->received());
}

ExitStatus runBatch(const Console& console, const BatchArguments& options) {
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
    file.columns =
        outputColumns(pairs.columns(), {options.distances, !options.predict.empty(), analysis.hue.has_value(), "--"});
    warnOfModel(console, model);
    if (console.verbose()) {
        const ProfileChoice profiles = profilesAsked(console, options);
        console.tell("parameters " + parameterFingerprint(analysis, profiles) + ": " +
                     comparisonParameters(analysis, profiles));
    }
    return run(console, options, pairs, file, analysis);
}

}  // namespace

Action declareBatch(OptionParser& app) {
    auto options = std::make_shared<BatchArguments>();
    app.addOption(
        "LIST", options->list.path,
        "List of pairs with the columns first, second and, if need be, id, first_mask, second_mask: CSV, TSV or "
        "JSON Lines; - reads standard input");
    addListOptions(app, options->list);
    app.addOption("--folders", options->folders,
                  optionText("In place of a list: two folders, whose image files are paired by relative path without "
                             "extension",
                             "--folders before after"))
        ->typeName("A B")
        ->expected(2);
    app.addFlag("--allow-unpaired", options->allowUnpaired,
                optionText("Compare what has a partner although some files have none", "--allow-unpaired"));
    app.addOption("--root", options->root,
                  optionText("Folder that relative paths of the list start from; by default the working directory",
                             "--root /data/photographs"))
        ->typeName("DIR");
    app.addFlag("--print-list", options->printList,
                optionText("Print the pairs as a CSV list on standard output and compare nothing", "--print-list"));
    app.addOption("-o,--output", options->output,
                  optionText("Results: .db, .sqlite or .sqlite3 (SQLite), .jsonl or .ndjson (JSON Lines), .csv; an "
                             "existing file is refused without --resume",
                             "--output results.csv"))
        ->typeName("FILE")
        ->showDefault();
    app.addFlag("--resume", options->resume,
                optionText("Go on with an existing output: do exactly what is missing", "--resume"));
    app.addFlag("--retry-failed", options->retryFailed,
                optionText("With --resume: compare again the pairs that are recorded as failed", "--retry-failed"));
    app.addFlag("--checksums", options->checksums,
                optionText("Record the SHA-256 of the photographs too; with --resume, what is recorded without or with "
                           "another one is compared again",
                           "--checksums"));
    app.addOption(
           "--jobs", options->jobs,
           optionText(
               "Pairs at the same time, 1 to 1024; by default as many as there are processors. Where one is idle, "
               "both photographs of a pair are analysed at the same time; LIKENESS_THREADS says how many there are",
               "--jobs 8"))
        ->typeName("N")
        ->check(integerBetween(1, 1024));
    app.addOption(
           "--cache", options->cache,
           optionText("How many analysed photographs are kept of those that occur again, 0 to 1000000", "--cache 5000"))
        ->typeName("N")
        ->check(integerBetween(0, 1000000))
        ->showDefault();
    app.addFlag("--timing", options->timing,
                optionText("For .jsonl and .csv: write how many milliseconds each pair took into OUTPUT.timing.csv",
                           "--timing"));
    app.addFlag(
        "--distances", options->distances,
        optionText("Record distances of the distributions too, by correlate, in further columns", "--distances"));
    app.addOption(
           "--archive", options->archive,
           optionText("Archive of darkroom index: what it has of a photograph is taken from it where path, size and "
                      "time of change agree",
                      "--archive photos.likeness"))
        ->typeName("FILE");
    app.addFlag("--check", options->check,
                optionText("With --archive: the SHA-256 of the file must agree, in place of size and time", "--check"));
    addPartOptionsWithoutMask(app, options->part);
    addPredictOption(app, options->predict);
    addIsolationOptions(app, options->isolation);
    addModelOptions(app, options->model);
    addHueOptions(app, options->model);
    return [options](const Console& console) { return runBatch(console, *options); };
}

}  // namespace likeness::darkroom
