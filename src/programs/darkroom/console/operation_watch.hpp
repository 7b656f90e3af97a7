#pragma once

#include <likeness/diagnostics/watch.hpp>
#include "console/progress.hpp"
#include "console/session.hpp"

namespace likeness::darkroom {

/// What an operation of the library shows while it runs: files with --dumps, messages with --verbose.
inline Watch watchOf(const Session& session) {
    Watch watch;
    watch.diagnostics = &session.diagnostics();
    return watch;
}

/// The same, with the operation's steps on a bar. Both must outlive the operation.
inline Watch watchOf(const Session& session, Progress& progress) {
    Watch watch = watchOf(session);
    watch.progress = [&progress](int done, int total) {
        progress.reach(done, total);
        return true;
    };
    return watch;
}

}  // namespace likeness::darkroom
