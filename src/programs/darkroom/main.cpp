// The command `darkroom SUBCOMMAND ...`.
#include "commands/subcommands.hpp"
#include "console/command_line.hpp"
#include "console/exit_status.hpp"

#include <unistd.h>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>
#include <string_view>

namespace {

/// Says what there is no memory to say with.
int outOfMemory() noexcept {
    constexpr std::string_view line = "darkroom: out of memory\n";
    [[maybe_unused]] const ::ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
    return static_cast<int>(likeness::darkroom::ExitStatus::couldNotRun);
}

/// Where memory runs out in what may not throw, as in parts of the parser.
[[noreturn]] void endWithoutMemory() noexcept {
    try {
        if (const std::exception_ptr problem = std::current_exception()) {
            std::rethrow_exception(problem);
        }
    } catch (const std::bad_alloc&) {
        ::_exit(outOfMemory());
    } catch (...) {
    }
    std::abort();
}

/// Ahead of the objects that the program's files have: making them takes memory too.
[[gnu::constructor(101)]] void prepareForLackOfMemory() {
    std::set_terminate(endWithoutMemory);
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
