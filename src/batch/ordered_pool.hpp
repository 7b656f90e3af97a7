#pragma once

#include "batch/photograph_outcome.hpp"
#include "batch/result_record.hpp"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace likeness {

/// Workers that make the records 0..count - 1 at the same time and hand them out in order. A worker runs ahead of the
/// first record that is missing by a bounded number, so that memory stays flat. The numbers are given out in order:
/// when the workers stop early, what is handed out is a beginning without gaps.
///
/// Where the system has fewer threads to give than are asked for, or not the memory that so many workers need, half of
/// those that it gives do the work: the others give back what they hold, because the work needs room too. Where it
/// gives none, the caller of `take` does the work. Where memory is short for a record while others are being made, half
/// of the workers go, with what they hold, and the record is made again, by the last worker alone if need be. The
/// records are the same.
template <typename Record>
class OrderedPoolOf {
public:
    using Work = std::function<Record(std::size_t number)>;

    /// @param makeWork  called once on every worker's thread: what it returns belongs to that thread. Where it throws
    ///                  `std::bad_alloc` the worker is given up
    OrderedPoolOf(std::size_t count, unsigned jobs, std::function<Work()> makeWork);
    /// Stops, and waits for the workers.
    ~OrderedPoolOf();
    OrderedPoolOf(const OrderedPoolOf&) = delete;
    OrderedPoolOf& operator=(const OrderedPoolOf&) = delete;

    /// Waits until the next records are there, at most for `patience`, and moves all that are ready to `records`.
    /// @return  false when all have been handed out, or all that will come after `stop`
    /// @throws what a worker's work threw (`std::bad_alloc` and `MemoryShortage` only where it was alone), or what
    ///         `makeWork` threw where not one worker could be made
    bool take(std::vector<Record>& records, std::chrono::milliseconds patience);

    /// No worker begins another record; those at hand are finished.
    void stop();

    /// Workers that there are at most: as many as asked for and of use, or fewer where threads or memory are short. At
    /// least 1, which may be the caller.
    unsigned workers() const;

    /// Workers that were asked for and are of use.
    unsigned asked() const noexcept { return asked_; }

private:
    void run(unsigned worker);
    void work(unsigned worker);
    std::size_t next();
    bool hasEnded() const;
    bool mayBegin() const;
    void giveUp(unsigned worker);
    void putAway(std::size_t number, Record record);
    void joinThoseThatWent(std::unique_lock<std::mutex>& lock);
    void workHere(std::unique_lock<std::mutex>& lock);

    std::function<Work()> makeWork_;
    Work ownWork_;  ///< the caller's, where it is the only worker
    std::size_t count_;
    std::size_t window_;
    unsigned asked_;
    mutable std::mutex mutex_;
    std::condition_variable gate_;
    std::condition_variable ready_;
    std::condition_variable room_;
    std::map<std::size_t, Record> done_;
    std::size_t begun_ = 0;
    std::size_t handedOut_ = 0;
    bool counted_ = false;   ///< it is known how many threads there are
    unsigned staying_ = 0;   ///< how many of them stay
    bool open_ = false;      ///< the others are gone: these may begin
    unsigned kept_ = 0;      ///< workers that are to go on
    unsigned starting_ = 0;  ///< threads that have not made their work yet
    unsigned working_ = 0;
    std::set<std::size_t> again_;  ///< begun, and given back for want of memory
    std::vector<unsigned> going_;  ///< workers that were given up and whose stacks are to be freed
    bool stopping_ = false;
    bool closing_ = false;  ///< nobody waits for what is at hand
    std::exception_ptr failure_;
    std::vector<std::thread> workers_;
};

extern template class OrderedPoolOf<ResultRecord>;
extern template class OrderedPoolOf<PhotographOutcome>;

/// Of the pairs of a batch.
using OrderedPool = OrderedPoolOf<ResultRecord>;

}  // namespace likeness
