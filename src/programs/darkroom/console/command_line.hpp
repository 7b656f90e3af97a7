// The command line `darkroom SUBCOMMAND ...`: the parser with every subcommand, and what is done with its outcome.
#pragma once

#include "console/console.hpp"
#include "console/exit_status.hpp"
#include "console/option_parser.hpp"
#include "console/subcommand.hpp"

#include <memory>
#include <string>
#include <vector>

namespace likeness::darkroom {

/// Parser and subcommands. The options' values live as long as this object. There are hundreds of options, and declaring
/// them takes as long as loading the image library: a run declares those of the subcommand that it is for.
class CommandLine {
public:
    /// @param subcommands  in the order of the help; they live as long as this object
    explicit CommandLine(const std::vector<Subcommand>& subcommands);

    /// Parses the arguments and runs the subcommand that they name.
    /// @return  exit status of the program
    ExitStatus run(int argc, const char* const* argv);

    /// The parser with the options of every subcommand, to be looked at.
    const OptionParser& parser();

private:
    struct Entry {
        const Subcommand* subcommand = nullptr;
        OptionParser* parser = nullptr;
        Action action;  ///< none before its options are declared
        std::shared_ptr<CommonOptions> common;
    };

    void declare(Entry& entry);
    void declareWhatIsNamed(const std::string& word);

    OptionParser app_;
    std::vector<Entry> entries_;
};

}  // namespace likeness::darkroom
