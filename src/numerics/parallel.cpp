#include "numerics/parallel.hpp"

#include <likeness/threads.hpp>

#include <opencv2/core.hpp>

#include <omp.h>

#include <atomic>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace likeness {
namespace {

constexpr int mostThreads = 1024;

std::atomic<int> toldThreads{0};

/// What LIKENESS_THREADS says; 0 where it is not set or no number from 1.
int threadsOfEnvironment() {
    const char* const text = std::getenv("LIKENESS_THREADS");
    if (text == nullptr || *text == '\0') {
        return 0;
    }
    char* end = nullptr;
    const long count = std::strtol(text, &end, 10);
    return *end == '\0' && count > 0 ? static_cast<int>(std::min<long>(count, mostThreads)) : 0;
}

}  // namespace

int threads() {
    if (const int told = toldThreads.load(std::memory_order_relaxed); told > 0) {
        return told;
    }
    static const int ofEnvironment = threadsOfEnvironment();
    return ofEnvironment > 0 ? ofEnvironment : std::max(1, std::min(cv::getNumThreads(), ::omp_get_max_threads()));
}

void setThreads(int count) {
    if (count < 0) {
        throw std::invalid_argument("setThreads: " + std::to_string(count) +
                                    " threads; at least 1, or 0 for the default");
    }
    toldThreads.store(std::min(count, mostThreads), std::memory_order_relaxed);
}

namespace numerics {
namespace {

thread_local bool isSerial = false;

/// Ranges of one call, handed out to its threads.
class Ranges {
public:
    Ranges(std::size_t total, std::size_t length, const std::function<void(std::size_t, std::size_t)>& work)
        : total_(total), length_(length), work_(work) {}

    /// Works until no range is left.
    void take() {
        const SerialScope scope;
        try {
            for (;;) {
                const std::size_t begin = next_.fetch_add(length_, std::memory_order_relaxed);
                if (begin >= total_) {
                    return;
                }
                work_(begin, std::min(total_, begin + length_));
            }
        } catch (...) {
            next_.store(total_, std::memory_order_relaxed);
            const std::lock_guard<std::mutex> lock(mutex_);
            if (!error_) {
                error_ = std::current_exception();
            }
        }
    }

    /// When all threads are done.
    void rethrow() const {
        if (error_) {
            std::rethrow_exception(error_);
        }
    }

private:
    std::size_t total_;
    std::size_t length_;
    const std::function<void(std::size_t, std::size_t)>& work_;
    std::atomic<std::size_t> next_{0};
    std::mutex mutex_;
    std::exception_ptr error_;
};

}  // namespace

SerialScope::SerialScope() noexcept : before_(std::exchange(isSerial, true)) {}

SerialScope::~SerialScope() {
    isSerial = before_;
}

void inParallel(std::size_t total, std::size_t grain, const std::function<void(std::size_t, std::size_t)>& work) {
    grain = std::max<std::size_t>(1, grain);
    const std::size_t useful = total / grain;  // threads that get enough to do
    const std::size_t count = useful < 2 || isSerial ? 1 : std::min(useful, static_cast<std::size_t>(threads()));
    if (count < 2) {
        if (total > 0) {
            work(0, total);
        }
        return;
    }
    // Several ranges a thread, since another program may have taken a part of a processor.
    constexpr std::size_t rangesOfAThread = 8;
    const std::size_t parts = count * rangesOfAThread;
    Ranges ranges(total, (total + parts - 1) / parts, work);
    std::vector<std::thread> team;
    team.reserve(count - 1);
    try {
        while (team.size() < count - 1) {
            team.emplace_back([&ranges] { ranges.take(); });
        }
    } catch (const std::system_error&) {
        // Those that there are do the work.
    } catch (const std::bad_alloc&) {
    }
    ranges.take();
    for (std::thread& thread : team) {
        thread.join();
    }
    ranges.rethrow();
}

}  // namespace numerics
}  // namespace likeness
