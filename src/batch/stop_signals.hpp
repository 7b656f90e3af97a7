#pragma once

#include <csignal>

namespace likeness {

/// While the object lives, the first SIGINT or SIGTERM is taken for the wish to stop soon; a second one ends the
/// process at once. One object at a time. A file that grows beyond its limit is an error of the write, not a signal.
class StopSignals {
public:
    StopSignals();
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    /// The signal that came, or 0.
    int received() const noexcept;

private:
    struct ::sigaction interrupt_ {};
    struct ::sigaction terminate_ {};
    struct ::sigaction fileSize_ {};
};

}  // namespace likeness
