// A subcommand of `darkroom`, as the command line takes it.
#pragma once

#include "console/console.hpp"
#include "console/exit_status.hpp"
#include "console/option_parser.hpp"

#include <functional>

namespace likeness::darkroom {

/// What a subcommand does once its options are parsed. Throws a `Refusal` where it cannot.
using Action = std::function<ExitStatus(const Console& console)>;

struct Subcommand {
    const char* name;
    const char* summary;  ///< one line for `darkroom --help`
    Action (*declare)(OptionParser& app);
    bool onImages = true;                 ///< works on images, and so has diagnostics to keep and something to say
    bool onPixels = true;                 ///< has loops over pixels that use more than one thread
    const char* otherSpelling = nullptr;  ///< of its name
    bool showsOptionsOfAll = false;       ///< needs the parser with the options of every subcommand
};

}  // namespace likeness::darkroom
