// What becomes of a call in a forked process: threads of the parent's do not follow there.
#pragma once

#include "support/process.hpp"

#include <unistd.h>
#include <cstdlib>

namespace likeness::testing {

/// Runs `action` in a forked child that is ended by a signal where it takes longer than `seconds`.
/// @param action  returns whether all is well; must report nothing to the test framework
/// @return        status as in `Outcome`: 0 where all is well, 1000 + SIGALRM where the child hung
template <typename Action>
int statusOfForked(Action action, unsigned seconds = 60) {
    const ::pid_t child = ::fork();
    if (child < 0) {
        return -1;
    }
    if (child == 0) {
        ::alarm(seconds);
        int status = 3;
        try {
            status = action() ? 0 : 2;
        } catch (...) {
        }
        ::_exit(status);
    }
    return statusOf(child);
}

}  // namespace likeness::testing
