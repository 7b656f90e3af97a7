// The subcommands of `darkroom`. Each has a file of its own with one function for others, which declares its options on the
// parser and returns what runs once they are parsed.
#pragma once

#include "console/subcommand.hpp"

#include <vector>

namespace likeness::darkroom {

Action declareAdapt(OptionParser& app);
Action declareAlign(OptionParser& app);
Action declareAppearance(OptionParser& app);
Action declareBatch(OptionParser& app);
Action declareBrighten(OptionParser& app);
Action declareColour(OptionParser& app);
Action declareCompare(OptionParser& app);
Action declareCompletion(OptionParser& app);
Action declareConditions(OptionParser& app);
Action declareConvert(OptionParser& app);
Action declareFit(OptionParser& app);
Action declareFuse(OptionParser& app);
Action declareIndex(OptionParser& app);
Action declareInfo(OptionParser& app);
Action declareManual(OptionParser& app);
Action declareMatchBrightness(OptionParser& app);
Action declareMerge(OptionParser& app);
Action declareRepair(OptionParser& app);
Action declarePairs(OptionParser& app);
Action declareReport(OptionParser& app);
Action declareSearch(OptionParser& app);
Action declareSelftest(OptionParser& app);
Action declareSmooth(OptionParser& app);
Action declareStack(OptionParser& app);
Action declareStructure(OptionParser& app);
Action declareSweep(OptionParser& app);
Action declareTint(OptionParser& app);
Action declareTransfer(OptionParser& app);
Action declareVerify(OptionParser& app);
Action declareWhite(OptionParser& app);

/// All of them, in the order of the help.
const std::vector<Subcommand>& subcommands();

}  // namespace likeness::darkroom
