// The command `darkroom SUBCOMMAND ...`.
#include "commands/subcommands.hpp"
#include "console/command_line.hpp"

#include <csignal>

int main(int argc, char** argv) {
    std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is an error of the write that meets the limit
    likeness::darkroom::CommandLine commandLine(likeness::darkroom::subcommands());
    return static_cast<int>(commandLine.run(argc, argv));
}
