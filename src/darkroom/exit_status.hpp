#pragma once

namespace likeness::darkroom {

/// What `darkroom` tells its caller when it ends; the man page has the same table.
enum class ExitStatus : int {
    done = 0,           ///< the work is done, and within the limits that were asked for
    outsideLimits = 1,  ///< compared, and outside the limits
    couldNotRun = 2,    ///< wrong arguments, unreadable or unwritable files, or an error on the way
};

}  // namespace likeness::darkroom
