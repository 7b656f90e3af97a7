#pragma once

#include "console/console.hpp"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace likeness::darkroom {

/// When a bar appears, and how often it is drawn.
struct ProgressPace {
    std::chrono::milliseconds patience{1000};
    std::chrono::milliseconds interval{200};
};

/// A bar on the terminal for work that takes more than a second; nothing for shorter work, or where standard error is
/// no terminal. Shows the share of steps done, or, for work in one step, that it goes on.
class Progress {
public:
    /// @param steps  into how many parts of about the same length the work falls
    Progress(const Console& console, std::string title, int steps = 1, ProgressPace pace = {});
    Progress(const Console&& console, std::string title, int steps = 1, ProgressPace pace = {}) = delete;
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// One more step is done.
    void step();

    /// So many steps are done, of so many; both may differ from what was known before.
    void reach(int done, int steps);

private:
    void draw();

    const Console& console_;
    std::string title_;
    int steps_;
    ProgressPace pace_;
    int done_ = 0;
    bool ended_ = false;
    std::mutex mutex_;
    std::condition_variable ending_;
    std::thread painter_;
};

/// The line that a `Progress` shows: title, bar, steps and the time that has passed. One line of plain text, at most 79
/// columns for titles of up to 24.
std::string progressLine(const std::string& title, int done, int steps, double seconds);

}  // namespace likeness::darkroom
