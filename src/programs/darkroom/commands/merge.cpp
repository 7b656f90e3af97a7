// darkroom merge: the results of shards as one file in the order of the list.
#include "batch/output_lock.hpp"
#include "batch/result_merge.hpp"
#include "commands/subcommands.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"

#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <optional>

namespace likeness::darkroom {
namespace {

struct Options {
    std::string output;
    std::vector<std::string> inputs;
    bool overwrite = false;
};

ExitStatus mergeResults(const Console& console, const Options& options) {
    resultFormatOf("OUT", options.output);
    OutputPlan plan(console, options.inputs);
    plan.file("OUT", options.output);
    if (!options.overwrite && std::filesystem::exists(options.output)) {
        throw Refusal("OUT: '" + options.output + "' exists; --overwrite replaces it");
    }
    // A batch that goes on with the file that is to be replaced would write into nothing.
    std::optional<OutputLock> lock;
    if (std::filesystem::is_regular_file(options.output)) {
        lock.emplace(options.output);
    }
    const ResultMerge merge(options.inputs, options.output);
    if (!merge.assumption().empty()) {
        console.warn(merge.assumption());
    }
    merge.write(options.output, options.overwrite);
    console.tell(fmt::format("{}, {} failed, {} in '{}'", numberOf(merge.pairs(), "pair"), merge.failed(),
                             merge.pairs() == 1 ? "is" : "are", options.output));
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
    return [options](const Console& console) { return mergeResults(console, *options); };
}

}  // namespace likeness::darkroom
