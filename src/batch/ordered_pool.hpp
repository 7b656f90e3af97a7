#pragma once

#include "batch/result_record.hpp"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace likeness {

/// Workers that make the records 0..count - 1 at the same time and hand them out in order. A worker runs ahead of the
/// first record that is missing by a bounded number, so that memory stays flat. The numbers are given out in order:
/// when the workers stop early, what is handed out is a beginning without gaps.
class OrderedPool {
public:
    using Work = std::function<ResultRecord(std::size_t number)>;

    /// @param makeWork  called once on every worker's thread: what it returns belongs to that thread
    OrderedPool(std::size_t count, unsigned jobs, std::function<Work()> makeWork);
    /// Stops, and waits for the workers.
    ~OrderedPool();
    OrderedPool(const OrderedPool&) = delete;
    OrderedPool& operator=(const OrderedPool&) = delete;

    /// Waits until the next records are there, at most for `patience`, and moves all that are ready to `records`.
    /// @return  false when all have been handed out, or all that will come after `stop`
    /// @throws what a worker's work threw
    bool take(std::vector<ResultRecord>& records, std::chrono::milliseconds patience);

    /// No worker begins another record; those at hand are finished.
    void stop();

private:
    void run(const std::function<Work()>& makeWork);

    std::size_t count_;
    std::size_t window_;
    std::mutex mutex_;
    std::condition_variable ready_;
    std::condition_variable room_;
    std::map<std::size_t, ResultRecord> done_;
    std::size_t begun_ = 0;
    std::size_t handedOut_ = 0;
    bool stopping_ = false;
    std::exception_ptr failure_;
    std::vector<std::thread> workers_;
};

}  // namespace likeness
