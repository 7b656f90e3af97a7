#pragma once

#include <array>

namespace likeness::darkroom {

/// What `darkroom` tells its caller when it ends.
enum class ExitStatus : int {
    done = 0,           ///< the work is done, and within the limits that were asked for
    outsideLimits = 1,  ///< compared, and outside the limits; of a batch, done with pairs that failed
    couldNotRun = 2,    ///< wrong arguments, unreadable or unwritable files, or an error on the way
    interrupted = 130,  ///< a batch stopped by SIGINT, with everything at hand recorded
    terminated = 143,   ///< the same by SIGTERM
};

struct ExitStatusText {
    ExitStatus status;
    const char* text;
};

/// The table of the man page; the help has it in one line.
inline constexpr std::array<ExitStatusText, 5> exitStatusTexts = {{
    {ExitStatus::done, "The work is done, and within the limits that were asked for."},
    {ExitStatus::outsideLimits,
     "Compared, and outside the limits. Of batch, verify, selftest: something failed, is missing or does not agree."},
    {ExitStatus::couldNotRun,
     "Could not run: wrong arguments, unreadable or unwritable files, or an error on the way."},
    {ExitStatus::interrupted, "A batch was stopped by SIGINT; what was at hand is finished and recorded."},
    {ExitStatus::terminated, "The same by SIGTERM."},
}};

}  // namespace likeness::darkroom
