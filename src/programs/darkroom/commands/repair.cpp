// darkroom repair: what can be read of a damaged or unfinished archive.
#include "archive/archive_writer.hpp"
#include "commands/subcommands.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"

#include <filesystem>
#include <memory>

namespace likeness::darkroom {
namespace {

struct RepairArguments {
    std::string archive;
    std::string output;
    bool overwrite = false;
};

ExitStatus repair(const Console& console, const RepairArguments& options) {
    OutputPlan plan(console, {options.archive}, InputKind::others);
    plan.file("--output", options.output);
    std::error_code error;
    if (std::filesystem::exists(options.output, error) && !options.overwrite) {
        throw Refusal("--output: '" + options.output + "' exists; --overwrite replaces it");
    }
    if (std::filesystem::exists(options.output, error) && std::filesystem::file_size(options.output, error) > 0 &&
        !isArchive(options.output)) {
        throw Refusal("--output: '" + options.output + "' is no archive, and is not replaced");
    }
    const ArchiveFile archive(options.archive);
    for (const std::string& damage : archive.damage()) {
        console.warn("'" + options.archive + "': " + damage);
    }
    const ArchiveUnion readable({&archive});
    for (const std::string& damage : readable.damage()) {
        console.warn(damage);
    }
    writeArchive(options.output, archive.origin(), readable.entries());
    console.tell(numberOf(readable.size(), "photograph") + (readable.size() == 1 ? " is" : " are") + " in '" +
                 options.output + "'; darkroom index --update adds what is missing");
    return ExitStatus::done;
}

}  // namespace

Action declareRepair(OptionParser& app) {
    auto options = std::make_shared<RepairArguments>();
    app.addOption("ARCHIVE", options->archive, "Damaged or unfinished archive; it stays as it is")->required();
    app.addOption("-o,--output", options->output,
                  optionText("Archive of what can be read", "--output repaired.likeness"))
        ->typeName("FILE")
        ->required();
    app.addFlag("--overwrite", options->overwrite, optionText("Replace an existing output", "--overwrite"));
    return [options](const Console& console) { return repair(console, *options); };
}

}  // namespace likeness::darkroom
