// Counting the steps of an operation whose parts may run on several threads.
#pragma once

#include <likeness/diagnostics/watch.hpp>

#include <exception>
#include <mutex>

namespace likeness {

/// Tells a caller's `Watch` of one step after the other, from one thread at a time. Once the caller has ended the
/// operation, every call throws what ended it, so that no thread begins anything more.
class StepCount {
public:
    StepCount(const Watch& watch, int total) : watch_(watch), total_(total) {}
    StepCount(const StepCount&) = delete;
    StepCount& operator=(const StepCount&) = delete;

    /// A step is done.
    void step() {
        const std::lock_guard<std::mutex> lock(mutex_);
        throwEnd();
        try {
            watch_.step(++done_, total_);
        } catch (...) {
            end_ = std::current_exception();
            throw;
        }
    }

    /// Throws where the operation has been ended.
    void check() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        throwEnd();
    }

private:
    void throwEnd() const {
        if (end_) {
            std::rethrow_exception(end_);
        }
    }

    const Watch& watch_;
    int total_;
    int done_ = 0;
    std::exception_ptr end_;
    mutable std::mutex mutex_;
};

}  // namespace likeness
