#pragma once

#include <array>

namespace likeness::darkroom {

/// What `darkroom` tells its caller when it ends.
enum class ExitStatus : int {
    done = 0,           ///< the work is done, and within the limits that were asked for
    outsideLimits = 1,  ///< carried out, and what was looked at is not all right: see the table
    couldNotRun = 2,    ///< wrong arguments, unreadable or unwritable files, or an error on the way
    interrupted = 130,  ///< a batch, or work on many photographs, stopped by SIGINT, with everything at hand recorded
    terminated = 143,   ///< the same by SIGTERM
};

struct ExitStatusText {
    ExitStatus status;
    const char* text;
};

/// The one table of what each means, which the man page has too; the help has it in one line.
inline constexpr std::array<ExitStatusText, 5> exitStatusTexts = {{
    {ExitStatus::done, "The work is done, and within the limits that were asked for."},
    {ExitStatus::outsideLimits,
     "Carried out, and not all is right. Of many photographs: some failed. Of compare: a coefficient is outside the "
     "limits. Of batch: all pairs are recorded, some as failed. Of search and pairs: the archive is damaged, and what "
     "can be read was searched. Of info: a file cannot be read. Of verify and selftest: something failed, is missing "
     "or "
     "does not agree."},
    {ExitStatus::couldNotRun,
     "Could not run: wrong arguments, unreadable or unwritable files, or an error on the way."},
    {ExitStatus::interrupted,
     "A batch, or work on many photographs, was stopped by SIGINT; what was at hand is finished and recorded."},
    {ExitStatus::terminated, "The same by SIGTERM."},
}};

}  // namespace likeness::darkroom
