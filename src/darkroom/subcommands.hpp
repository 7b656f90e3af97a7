// The subcommands of `darkroom`. Each has a file of its own in commands/, which declares its options on the parser and
// returns what runs once they are parsed.
#pragma once

#include <CLI/CLI.hpp>
#include <vector>

#include "darkroom/command_line.hpp"

namespace likeness::darkroom {

struct Subcommand {
    const char* name;
    const char* summary;  ///< one line for `darkroom --help`
    Action (*declare)(CLI::App& app);
};

/// All of them, in the order of the help.
const std::vector<Subcommand>& subcommands();

Action declareAppearance(CLI::App& app);
Action declareBatch(CLI::App& app);
Action declareCompare(CLI::App& app);
Action declareMerge(CLI::App& app);
Action declareReport(CLI::App& app);
Action declareStructure(CLI::App& app);
Action declareVerify(CLI::App& app);

}  // namespace likeness::darkroom
