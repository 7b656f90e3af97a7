#pragma once

#include <array>
#include <csignal>
#include <functional>
#include <thread>

namespace likeness {

/// While it lives, an interruption of the program (SIGINT, SIGTERM, SIGHUP) has something done before the program ends
/// by that signal. A signal that the caller has the program ignore stays ignored. One object at a time.
class InterruptCleanup {
public:
    /// @param cleanUp  runs on a thread of its own, beside whatever the others are doing
    explicit InterruptCleanup(std::function<void()> cleanUp);
    ~InterruptCleanup();
    InterruptCleanup(const InterruptCleanup&) = delete;
    InterruptCleanup& operator=(const InterruptCleanup&) = delete;

private:
    static constexpr std::array<int, 3> signals = {SIGINT, SIGTERM, SIGHUP};

    void await();

    std::function<void()> cleanUp_;
    std::array<int, 2> pipe_ = {-1, -1};
    std::array<struct ::sigaction, signals.size()> before_{};
    std::thread waiting_;
};

}  // namespace likeness
