#pragma once

#include "console/option_parser.hpp"

#include <string>

namespace likeness::darkroom {

/// The man page darkroom(1) as roff text, with every subcommand and option of the parser.
std::string manualPage(const OptionParser& parser);

}  // namespace likeness::darkroom
