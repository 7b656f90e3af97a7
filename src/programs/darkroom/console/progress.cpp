#include "console/progress.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <system_error>
#include <utility>

namespace likeness::darkroom {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int barWidth = 30;

}  // namespace

std::string progressLine(const std::string& title, int done, int steps, double seconds) {
    std::string bar(barWidth, '.');
    if (steps > 1) {
        std::fill_n(bar.begin(), barWidth * std::clamp(done, 0, steps) / steps, '#');
        return fmt::format("{} [{}] {}/{} {:.0f} s", title, bar, done, steps, seconds);
    }
    // No share is known: a block walks through the bar, one place each fifth of a second.
    constexpr int block = 4;
    const int places = barWidth - block + 1;
    std::fill_n(bar.begin() + static_cast<int>(seconds * 5) % places, block, '#');
    return fmt::format("{} [{}] {:.0f} s", title, bar, seconds);
}

Progress::Progress(const Console& console, std::string title, int steps, ProgressPace pace)
    : console_(console), title_(std::move(title)), steps_(steps), pace_(pace) {
    if (console_.showsProgress()) {
        try {
            painter_ = std::thread([this] { draw(); });
        } catch (const std::system_error&) {  // no thread is to be had: the work goes on without a bar
        }
    }
}

Progress::~Progress() {
    {
        const std::scoped_lock lock(mutex_);
        ended_ = true;
    }
    ending_.notify_all();
    if (painter_.joinable()) {
        painter_.join();
        console_.showProgress({});
    }
}

void Progress::step() {
    const std::scoped_lock lock(mutex_);
    ++done_;
}

void Progress::reach(int done, int steps) {
    const std::scoped_lock lock(mutex_);
    done_ = done;
    steps_ = steps;
}

void Progress::draw() {
    const Clock::time_point begin = Clock::now();
    std::unique_lock lock(mutex_);
    bool ended = ending_.wait_for(lock, pace_.patience, [this] { return ended_; });
    while (!ended) {
        const std::chrono::duration<double> seconds = Clock::now() - begin;
        console_.showProgress(progressLine(title_, done_, steps_, seconds.count()));
        ended = ending_.wait_for(lock, pace_.interval, [this] { return ended_; });
    }
}

}  // namespace likeness::darkroom
