// The subcommands of `darkroom`. Each has a file of its own in commands/, which declares its options on the parser and
// returns what runs once they are parsed.
#pragma once

#include "console/command_line.hpp"

#include <CLI/CLI.hpp>

#include <vector>

namespace likeness::darkroom {

struct Subcommand {
    const char* name;
    const char* summary;  ///< one line for `darkroom --help`
    Action (*declare)(CLI::App& app);
    bool onImages = true;  ///< works on images, and so has diagnostics to keep and something to say
    bool onPixels = true;  ///< has loops over pixels that use more than one thread
};

/// All of them, in the order of the help.
const std::vector<Subcommand>& subcommands();

Action declareAdapt(CLI::App& app);
Action declareAlign(CLI::App& app);
Action declareAppearance(CLI::App& app);
Action declareBatch(CLI::App& app);
Action declareBrighten(CLI::App& app);
Action declareColour(CLI::App& app);
Action declareCompare(CLI::App& app);
Action declareCompletion(CLI::App& app);
Action declareConditions(CLI::App& app);
Action declareConvert(CLI::App& app);
Action declareFuse(CLI::App& app);
Action declareManual(CLI::App& app);
Action declareMatchBrightness(CLI::App& app);
Action declareMerge(CLI::App& app);
Action declareReport(CLI::App& app);
Action declareSelftest(CLI::App& app);
Action declareSmooth(CLI::App& app);
Action declareStack(CLI::App& app);
Action declareStructure(CLI::App& app);
Action declareSweep(CLI::App& app);
Action declareTint(CLI::App& app);
Action declareTransfer(CLI::App& app);
Action declareVerify(CLI::App& app);
Action declareWhite(CLI::App& app);

}  // namespace likeness::darkroom
