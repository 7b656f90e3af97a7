#include "batch/reading_faults.hpp"

#include <unistd.h>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

namespace likeness {
namespace {

/// A piece at a time, all of it used.
[[noreturn]] void takeMemory() {
    constexpr std::size_t piece = std::size_t{1} << 24;
    constexpr std::size_t page = 4096;
    std::vector<std::unique_ptr<volatile char[]>> taken;
    for (;;) {
        taken.push_back(std::make_unique<volatile char[]>(piece));
        for (std::size_t place = 0; place < piece; place += page) {
            taken.back()[place] = 1;
        }
    }
}

}  // namespace

void actOnReadingFault(const std::string& path) {
    static const bool wanted = std::getenv("LIKENESS_READING_FAULTS") != nullptr;
    if (!wanted) {
        return;
    }
    const std::string_view name = std::string_view(path).substr(path.rfind('/') + 1);
    const auto begins = [name](std::string_view with) { return name.substr(0, with.size()) == with; };
    if (begins("crash-")) {
        std::signal(SIGSEGV, SIG_DFL);
        std::raise(SIGSEGV);
    } else if (begins("exit-")) {
        ::_exit(3);
    } else if (begins("killed-")) {
        std::raise(SIGKILL);
    } else if (begins("hang-")) {
        for (;;) {
            ::pause();
        }
    } else if (begins("memory-")) {
        takeMemory();
    }
}

}  // namespace likeness
