// darkroom index: photographs analysed once, in an archive.
#include "archive/approximate_index.hpp"
#include "archive/index_run.hpp"
#include "batch/image_files.hpp"
#include "batch/shard.hpp"
#include "batch/stop_signals.hpp"
#include "commands/subcommands.hpp"
#include "console/comparison_warnings.hpp"
#include "console/isolation_options.hpp"
#include "console/model_options.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "console/part_options.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "photofile/counted_part.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <system_error>

namespace likeness::darkroom {
namespace {

namespace fs = std::filesystem;

struct IndexArguments {
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

/// The lines of a text, which are names of files and folders; none of them empty.
template <typename Take>
void forEachLine(std::istream& in, const std::string& name, const Take& take) {
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (!line.empty()) {
            take(line);
        }
    }
    if (in.bad()) {
        throw Refusal("cannot read " + name);
    }
}

/// What is named, with the image files of folders in their place; by the bytes of the paths, none twice.
PathNames photographsAsked(const Console& console, const IndexArguments& options) {
    PathNames paths;
    std::vector<LeftOutFile> leftOut;
    const Shard shard = options.shard.empty() ? Shard() : parseShard(options.shard);
    std::size_t others = 0;  // of other shards
    const auto take = [&](const std::string& path) {
        if (!isUtf8(path)) {
            throw Refusal("PHOTOS: the name '" + path + "' is not UTF-8");
        }
        if (shard.holds(path)) {
            paths.add(path);
        } else {
            ++others;
        }
    };
    const auto takeNamed = [&](const std::string& name) {
        std::error_code error;
        if (!fs::is_directory(name, error)) {
            take(name);
            return;
        }
        for (const ImageFile& file : imageFilesIn("PHOTOS", name, leftOut)) {
            if (isUtf8(file.path)) {
                take(file.path);
            } else {
                leftOut.push_back({file.path, "has a name that is not UTF-8"});
            }
        }
    };
    for (const std::string& path : options.photographs) {
        if (path == "-") {
            forEachLine(std::cin, "standard input", takeNamed);
        } else {
            takeNamed(path);
        }
    }
    for (const std::string& list : options.lists) {
        std::error_code error;
        std::ifstream file(list, std::ios::binary);
        if (!file || fs::is_directory(list, error)) {
            throw Refusal("--list: cannot read '" + list + "'");
        }
        forEachLine(file, "'" + list + "'", takeNamed);
    }
    constexpr std::size_t told = 20;
    for (std::size_t k = 0; k < std::min(told, leftOut.size()); ++k) {
        console.tell("left out: '" + leftOut[k].path + "' " + leftOut[k].why);
    }
    if (leftOut.size() > told) {
        console.tell(fmt::format("left out: ... and {} more", leftOut.size() - told));
    }
    if (paths.empty() && others == 0) {
        throw Refusal("PHOTOS: there are no photographs");
    }
    paths.sortUnique();
    return paths;
}

ExitStatus statusOf(int signal) {
    return signal == SIGINT ? ExitStatus::interrupted : ExitStatus::terminated;
}

ExitStatus index(const Console& console, const IndexArguments& options) {
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
    const ChosenModel model = chosenModel(options.model);
    IndexRunOptions how;
    how.update = options.update;
    how.resume = options.resume;
    how.overwrite = options.overwrite;
    how.retryFailed = options.retryFailed;
    how.approximate = options.approximate;
    how.jobs = static_cast<unsigned>(options.jobs);
    how.mostPixels = console.mostPixels();
    how.isolation = options.isolation.limits();
    how.analysis = model.analysis(false);
    const PathNames paths = photographsAsked(console, options);
    OutputPlan plan(console, options.lists, InputKind::others);
    plan.mayRead(options.model.viewing.conditions);
    plan.mayRead(options.part.mask);
    plan.file("--output", options.output);
    if (options.approximate) {
        plan.aside("--approximate", approximateIndexPath(options.output));
    }
    refuseIndexOutput(options.output, paths, how);
    warnOfModel(console, model);
    how.profiles = profilesWith(chosenPart(options.part), console.profiles());
    how.profiles.whiteLuminance = model.whiteLuminance;
    const StopSignals signals;
    BatchEvents events;
    events.tell = [&](const std::string& line) { console.tell(line); };
    events.warn = [&](const std::string& line) { console.warn(line); };
    events.progress = [&](const std::string& line) { console.showProgress(line); };
    events.stops = [&] { return signals.received() != 0; };
    const IndexEnd end = IndexRun(paths, options.output, how, events).run();
    if (!end.whole()) {
        console.tell(fmt::format("stopped by {}: {} of {} analysed, --resume does the others",
                                 signals.received() == SIGINT ? "SIGINT" : "SIGTERM", end.analysed,
                                 numberOf(end.photographs, "photograph")));
        return statusOf(signals.received());
    }
    if (const int late = signals.received(); late != 0) {
        return statusOf(late);
    }
    return end.failed == 0 ? ExitStatus::done : ExitStatus::outsideLimits;
}

}  // namespace

Action declareIndex(OptionParser& app) {
    auto options = std::make_shared<IndexArguments>();
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
