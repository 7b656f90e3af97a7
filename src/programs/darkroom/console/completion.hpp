#pragma once

#include "console/option_parser.hpp"

#include <string>

namespace likeness::darkroom {

/// A script that completes the command line in bash: subcommands, options, words to choose from; files where a file is
/// wanted, folders where a folder is. To be sourced.
std::string bashCompletion(const OptionParser& parser);

/// The same for zsh, to be found as _darkroom in a folder of $fpath or to be sourced after compinit.
std::string zshCompletion(const OptionParser& parser);

}  // namespace likeness::darkroom
