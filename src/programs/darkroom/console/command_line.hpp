// The command line `darkroom SUBCOMMAND ...`: the parser with every subcommand, and what is done with its outcome.
#pragma once

#include "console/console.hpp"
#include "console/exit_status.hpp"
#include "console/option_parser.hpp"
#include "console/subcommand.hpp"

#include <map>
#include <memory>
#include <vector>

namespace likeness::darkroom {

/// Parser and subcommands. The options' values live as long as this object.
class CommandLine {
public:
    /// @param subcommands  in the order of the help
    explicit CommandLine(const std::vector<Subcommand>& subcommands);

    /// Parses the arguments and runs the subcommand that they name.
    /// @return  exit status of the program
    ExitStatus run(int argc, const char* const* argv);

    /// The parser, to be looked at: for the man page, the completions and the tests.
    const OptionParser& parser() const noexcept { return app_; }

private:
    struct Entry {
        Action action;
        std::shared_ptr<CommonOptions> common;
        bool onPixels = false;
    };

    OptionParser app_;
    std::map<const OptionParser*, Entry> entries_;
};

}  // namespace likeness::darkroom
