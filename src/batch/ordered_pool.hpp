#pragma once

#include "batch/photograph_outcome.hpp"
#include "batch/result_record.hpp"
#include "files/refusal.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <new>
#include <set>
#include <system_error>
#include <thread>
#include <utility>
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

/// Of the pairs of a batch.
using OrderedPool = OrderedPoolOf<ResultRecord>;

template <typename Record>
OrderedPoolOf<Record>::OrderedPoolOf(std::size_t count, unsigned jobs, std::function<Work()> makeWork)
    : makeWork_(std::move(makeWork)),
      count_(count),
      window_(std::max<std::size_t>(256, std::size_t{16} * jobs)),
      asked_(static_cast<unsigned>(std::min<std::size_t>(jobs, count))) {
    bool allStarted = true;
    workers_.reserve(asked_);
    try {
        while (workers_.size() < asked_) {
            workers_.emplace_back([this, worker = static_cast<unsigned>(workers_.size())] { run(worker); });
        }
    } catch (const std::system_error&) {
        allStarted = false;
    } catch (const std::bad_alloc&) {
        allStarted = false;
    }
    const auto started = static_cast<unsigned>(workers_.size());
    {
        const std::scoped_lock lock(mutex_);
        staying_ = allStarted ? started : (started + 1) / 2;
        kept_ = staying_;
        starting_ = staying_;
        counted_ = true;
        gate_.notify_all();
    }
    while (workers_.size() > staying_) {
        workers_.back().join();  // which gives its stack back
        workers_.pop_back();
    }
    const std::scoped_lock lock(mutex_);
    open_ = true;
    gate_.notify_all();
}

template <typename Record>
OrderedPoolOf<Record>::~OrderedPoolOf() {
    {
        const std::scoped_lock lock(mutex_);
        closing_ = true;
    }
    stop();
    for (std::thread& worker : workers_) {
        if (worker.joinable()) {
            worker.join();
        }
    }
}

template <typename Record>
void OrderedPoolOf<Record>::stop() {
    const std::scoped_lock lock(mutex_);
    stopping_ = true;
    room_.notify_all();
    ready_.notify_all();
}

template <typename Record>
unsigned OrderedPoolOf<Record>::workers() const {
    const std::scoped_lock lock(mutex_);
    return std::max(1U, kept_);
}

template <typename Record>
void OrderedPoolOf<Record>::run(unsigned worker) {
    {
        std::unique_lock lock(mutex_);
        gate_.wait(lock, [&] { return open_ || (counted_ && worker >= staying_); });
        if (worker >= staying_) {
            return;
        }
    }
    try {
        work(worker);
    } catch (...) {
        const std::scoped_lock lock(mutex_);
        failure_ = std::current_exception();
        stopping_ = true;
        room_.notify_all();
        ready_.notify_all();
    }
}

template <typename Record>
bool OrderedPoolOf<Record>::hasEnded() const {
    return closing_ || failure_ != nullptr || (again_.empty() && (stopping_ || begun_ == count_));
}

template <typename Record>
bool OrderedPoolOf<Record>::mayBegin() const {
    // None begins before the surplus has given its memory back.
    if (starting_ > 0 || working_ > kept_) {
        return false;
    }
    return again_.empty() ? begun_ < handedOut_ + window_ : going_.empty();
}

/// The record to be made next.
template <typename Record>
std::size_t OrderedPoolOf<Record>::next() {
    return again_.empty() ? begun_++ : again_.extract(again_.begin()).value();
}

/// A worker less, which holds nothing any more.
template <typename Record>
void OrderedPoolOf<Record>::giveUp(unsigned worker) {
    --working_;
    going_.push_back(worker);
    room_.notify_all();
    ready_.notify_all();
}

template <typename Record>
void OrderedPoolOf<Record>::putAway(std::size_t number, Record record) {
    done_.emplace(number, std::move(record));
    if (number == handedOut_) {
        ready_.notify_all();
    }
}

template <typename Record>
void OrderedPoolOf<Record>::work(unsigned worker) {
    Work own;
    try {
        own = makeWork_();
    } catch (const std::bad_alloc&) {
    }
    std::unique_lock lock(mutex_);
    --starting_;
    working_ += own ? 1U : 0U;
    if (starting_ == 0 && working_ < staying_) {
        kept_ = (working_ + 1) / 2;
    }
    room_.notify_all();
    ready_.notify_all();
    if (!own) {
        going_.push_back(worker);
        return;
    }
    const auto surplus = [this] { return starting_ == 0 && working_ > kept_; };
    for (;;) {
        room_.wait(lock, [&] { return surplus() || hasEnded() || mayBegin(); });
        if (surplus() || hasEnded()) {
            own = nullptr;
            giveUp(worker);
            return;
        }
        const std::size_t number = next();
        const unsigned keptThen = kept_;
        const bool alone = working_ == 1 && going_.empty();
        lock.unlock();
        Record record;
        std::exception_ptr shortage;
        try {
            record = own(number);
        } catch (const std::bad_alloc&) {
            shortage = std::current_exception();
        } catch (const MemoryShortage&) {
            shortage = std::current_exception();
        }
        if (shortage != nullptr) {
            own = nullptr;
            if (alone) {
                std::rethrow_exception(shortage);
            }
        }
        lock.lock();
        if (shortage == nullptr) {
            putAway(number, std::move(record));
            continue;
        }
        again_.insert(number);
        // Those that were at work together fall short together: once is enough to have half of them go.
        if (working_ > 1 && kept_ == keptThen) {
            kept_ = std::min(kept_, std::max(1U, working_ / 2));
        }
        if (working_ > kept_) {
            giveUp(worker);
            return;
        }
        lock.unlock();
        try {
            own = makeWork_();
        } catch (const std::bad_alloc&) {
            shortage = std::current_exception();
        }
        lock.lock();
        if (!own && working_ > 1) {
            giveUp(worker);
            return;
        }
        if (!own) {
            std::rethrow_exception(shortage);
        }
    }
}

/// Gives back the stacks of the workers that were given up.
template <typename Record>
void OrderedPoolOf<Record>::joinThoseThatWent(std::unique_lock<std::mutex>& lock) {
    if (going_.empty()) {
        return;
    }
    const std::vector<unsigned> going = going_;
    lock.unlock();
    for (const unsigned worker : going) {
        workers_[worker].join();
    }
    lock.lock();
    going_.erase(going_.begin(), going_.begin() + static_cast<std::ptrdiff_t>(going.size()));
    room_.notify_all();
}

/// One record by the caller, where there is no other worker.
template <typename Record>
void OrderedPoolOf<Record>::workHere(std::unique_lock<std::mutex>& lock) {
    const std::size_t number = next();
    lock.unlock();
    if (!ownWork_) {
        ownWork_ = makeWork_();
    }
    Record record = ownWork_(number);
    lock.lock();
    done_.emplace(number, std::move(record));
}

template <typename Record>
bool OrderedPoolOf<Record>::take(std::vector<Record>& records, std::chrono::milliseconds patience) {
    records.clear();
    std::unique_lock lock(mutex_);
    const auto ended = [this] { return handedOut_ == count_ || (stopping_ && handedOut_ == begun_); };
    const auto available = [this] { return !done_.empty() && done_.begin()->first == handedOut_; };
    const auto forsaken = [this] { return starting_ + working_ == 0 && begun_ < count_ && !stopping_; };
    ready_.wait_for(lock, patience,
                    [&] { return failure_ != nullptr || available() || ended() || forsaken() || !going_.empty(); });
    joinThoseThatWent(lock);
    if (forsaken() && !available()) {
        workHere(lock);
    }
    while (available()) {
        records.push_back(std::move(done_.begin()->second));
        done_.erase(done_.begin());
        ++handedOut_;
    }
    room_.notify_all();
    if (records.empty() && failure_ != nullptr) {
        std::rethrow_exception(failure_);
    }
    return !records.empty() || !ended();
}

extern template class OrderedPoolOf<ResultRecord>;
extern template class OrderedPoolOf<PhotographOutcome>;

}  // namespace likeness
