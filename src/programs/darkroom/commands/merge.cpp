// darkroom merge: the results of shards as one file in the order of the list.
#include "batch/output_lock.hpp"
#include "batch/result_merge.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "console/subcommands.hpp"
#include "files/refusal.hpp"

#include <fmt/format.h>

#include <filesystem>
#include <memory>

namespace likeness::darkroom {
namespace {

struct Options {
    std::string output;
    std::vector<std::string> inputs;
    bool overwrite = false;
};

ExitStatus mergeResults(const Session& session, const Options& options) {
    resultFormatOf("OUT", options.output);
    checkOutputFile("OUT", options.output);
    checkNotAnInput(options.output, options.inputs);
    if (!options.overwrite && std::filesystem::exists(options.output)) {
        throw Refusal("OUT: '" + options.output + "' exists; --overwrite replaces it");
    }
    const OutputLock lock(options.output);
    const ResultMerge merge(options.inputs);
    merge.write(options.output);
    session.tell(fmt::format("{} pairs, {} failed, are in '{}'", merge.pairs(), merge.failed(), options.output));
    return ExitStatus::done;
}

}  // namespace

Action declareMerge(CLI::App& app) {
    auto options = std::make_shared<Options>();
    app.add_option("OUT", options->output,
                   "Results file to be written: .db, .sqlite, .sqlite3, .jsonl, .ndjson or .csv")
        ->required();
    app.add_option("IN", options->inputs, "Results of the shards, in any order")->required();
    app.add_flag("--overwrite", options->overwrite, optionText("Replace an existing OUT", "--overwrite"));
    return [options](const Session& session) { return mergeResults(session, *options); };
}

}  // namespace likeness::darkroom
