#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace likeness::darkroom {

/// The man page darkroom(1) as roff text, with every subcommand and option of the parser.
std::string manualPage(const CLI::App& parser);

}  // namespace likeness::darkroom
