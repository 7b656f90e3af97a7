// The command `darkroom SUBCOMMAND ...`.
#include <csignal>

#include "darkroom/command_line.hpp"

int main(int argc, char** argv) {
    std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is an error of the write that meets the limit
    likeness::darkroom::CommandLine commandLine;
    return static_cast<int>(commandLine.run(argc, argv));
}
