// The command `darkroom SUBCOMMAND ...`.
#include "console/command_line.hpp"

int main(int argc, char** argv) {
    likeness::darkroom::CommandLine commandLine;
    return static_cast<int>(commandLine.run(argc, argv));
}
