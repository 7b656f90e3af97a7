#pragma once

#include <array>
#include <csignal>

namespace likeness {

/// While the object lives, the first SIGINT or SIGTERM is taken for the wish to stop soon; a second one ends the
/// process at once. One that the process was begun to ignore stays ignored. One object at a time.
class StopSignals {
public:
    StopSignals();
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    /// The signal that came, or 0.
    int received() const noexcept;

private:
    static constexpr std::array<int, 2> signals = {SIGINT, SIGTERM};

    std::array<struct ::sigaction, signals.size()> before_{};
};

}  // namespace likeness
