#pragma once

namespace likeness::darkroom {

/// What `darkroom` tells its caller when it ends; the man page has the same table.
enum class ExitStatus : int {
    done = 0,           ///< the work is done, and within the limits that were asked for
    outsideLimits = 1,  ///< compared, and outside the limits; of a batch, done with pairs that failed
    couldNotRun = 2,    ///< wrong arguments, unreadable or unwritable files, or an error on the way
    interrupted = 130,  ///< a batch stopped by SIGINT, with everything at hand recorded
    terminated = 143,   ///< the same by SIGTERM
};

}  // namespace likeness::darkroom
