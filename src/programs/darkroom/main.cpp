// The command `darkroom SUBCOMMAND ...`.
#include "commands/subcommands.hpp"
#include "console/command_line.hpp"
#include "console/exit_status.hpp"

#include <unistd.h>
#include <csignal>
#include <new>
#include <string_view>

namespace {

/// Says what there is no memory to say with.
int outOfMemory() noexcept {
    constexpr std::string_view line = "darkroom: out of memory\n";
    [[maybe_unused]] const ::ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
    return static_cast<int>(likeness::darkroom::ExitStatus::couldNotRun);
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is an error of the write that meets the limit
    try {
        likeness::darkroom::CommandLine commandLine(likeness::darkroom::subcommands());
        return static_cast<int>(commandLine.run(argc, argv));
    } catch (const std::bad_alloc&) {
        return outOfMemory();
    }
}
