// The subcommands of `darkroom`. Each has a file of its own in commands/ with one function for others, which declares its
// options on the parser and returns what runs once they are parsed. The functions are named in subcommands.cpp alone, so
// that a new one makes no other file compile again.
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

}  // namespace likeness::darkroom
