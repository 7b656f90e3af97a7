#pragma once

#include <likeness/diagnostics/watch.hpp>
#include "console/console.hpp"
#include "console/progress.hpp"

namespace likeness::darkroom {

/// What an operation of the library shows while it runs: files with --dumps, messages with --verbose.
inline Watch watchOf(const Console& console) {
    Watch watch;
    watch.diagnostics = &console.diagnostics();
    return watch;
}

/// The same, with the operation's steps on a bar. Both must outlive the operation.
inline Watch watchOf(const Console& console, Progress& progress) {
    Watch watch = watchOf(console);
    watch.progress = [&progress](int done, int total) {
        progress.reach(done, total);
        return true;
    };
    return watch;
}

}  // namespace likeness::darkroom
