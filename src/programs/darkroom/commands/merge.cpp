// darkroom merge: the results of shards as one file in the order of the list, or their archives as one.
#include "archive/archive_writer.hpp"
#include "batch/output_lock.hpp"
#include "batch/result_merge.hpp"
#include "commands/subcommands.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>

namespace likeness::darkroom {
namespace {

struct MergeArguments {
    std::string output;
    std::vector<std::string> inputs;
    bool overwrite = false;
};

ExitStatus mergeArchives(const Console& console, const MergeArguments& options) {
    OutputPlan plan(console, options.inputs, InputKind::others);
    plan.data("OUT", options.output);
    std::error_code error;
    if (std::filesystem::exists(options.output, error) && !options.overwrite) {
        throw Refusal("OUT: '" + options.output + "' exists; --overwrite replaces it");
    }
    std::vector<std::unique_ptr<ArchiveFile>> archives;
    std::vector<const ArchiveFile*> parts;
    for (const std::string& input : options.inputs) {
        archives.push_back(std::make_unique<ArchiveFile>(input));
        const ArchiveFile& archive = *archives.back();
        if (!archive.finished()) {
            throw Refusal("'" + input + "' is unfinished or damaged; darkroom index --resume or repair first");
        }
        if (!archive.origin().agreesWith(archives.front()->origin())) {
            throw Refusal("'" + input + "' was made with other parameters or by another version than '" +
                          options.inputs.front() + "'");
        }
        parts.push_back(&archive);
    }
    const ArchiveUnion all(parts);
    if (!all.damage().empty()) {
        throw Refusal(all.damage().front() + "; darkroom repair keeps what can be read");
    }
    if (all.doubled() > 0) {
        throw Refusal(numberOf(all.doubled(), "photograph is", "photographs are") +
                      " in more than one of the archives; shards of one list have none in common");
    }
    writeArchive(options.output, archives.front()->origin(), all.entries());
    console.tell(numberOf(all.size(), "photograph") + (all.size() == 1 ? " is" : " are") + " in '" + options.output +
                 "'");
    return ExitStatus::done;
}

ExitStatus mergeResults(const Console& console, const MergeArguments& options) {
    const auto archives = std::count_if(options.inputs.begin(), options.inputs.end(), isArchive);
    if (archives > 0) {
        if (static_cast<std::size_t>(archives) != options.inputs.size()) {
            throw Refusal("IN: some are archives and some are not");
        }
        return mergeArchives(console, options);
    }
    resultFormatOf("OUT", options.output);
    OutputPlan plan(console, options.inputs, InputKind::others);
    plan.data("OUT", options.output);
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

Action declareMerge(OptionParser& app) {
    auto options = std::make_shared<MergeArguments>();
    app.addOption("OUT", options->output,
                  "Results file to be written: .db, .sqlite, .sqlite3, .jsonl, .ndjson or .csv; of archives an "
                  "archive")
        ->required();
    app.addOption("IN", options->inputs, "Results of the shards, or their archives, in any order")->required();
    app.addFlag("--overwrite", options->overwrite, optionText("Replace an existing OUT", "--overwrite"));
    return [options](const Console& console) { return mergeResults(console, *options); };
}

}  // namespace likeness::darkroom
