// The subcommands of `darkroom`. Each has a file of its own with one function for others, which declares its options on the
// parser and returns what runs once they are parsed.
#pragma once

#include "console/subcommand.hpp"

#include <vector>

namespace likeness::darkroom {

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
Action declareFit(CLI::App& app);
Action declareFuse(CLI::App& app);
Action declareIndex(CLI::App& app);
Action declareInfo(CLI::App& app);
Action declareManual(CLI::App& app);
Action declareMatchBrightness(CLI::App& app);
Action declareMerge(CLI::App& app);
Action declareRepair(CLI::App& app);
Action declarePairs(CLI::App& app);
Action declareReport(CLI::App& app);
Action declareSearch(CLI::App& app);
Action declareSelftest(CLI::App& app);
Action declareSmooth(CLI::App& app);
Action declareStack(CLI::App& app);
Action declareStructure(CLI::App& app);
Action declareSweep(CLI::App& app);
Action declareTint(CLI::App& app);
Action declareTransfer(CLI::App& app);
Action declareVerify(CLI::App& app);
Action declareWhite(CLI::App& app);

/// All of them, in the order of the help.
const std::vector<Subcommand>& subcommands();

}  // namespace likeness::darkroom
