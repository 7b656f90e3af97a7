#include "batch/ordered_pool.hpp"

#include <algorithm>
#include <new>
#include <system_error>
#include <utility>

namespace likeness {

OrderedPool::OrderedPool(std::size_t count, unsigned jobs, std::function<Work()> makeWork)
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
        open_ = true;
        gate_.notify_all();
    }
    while (workers_.size() > staying_) {
        workers_.back().join();  // which gives its stack back
        workers_.pop_back();
    }
}

OrderedPool::~OrderedPool() {
    stop();
    for (std::thread& worker : workers_) {
        worker.join();
    }
}

void OrderedPool::stop() {
    const std::scoped_lock lock(mutex_);
    stopping_ = true;
    room_.notify_all();
    ready_.notify_all();
}

unsigned OrderedPool::workers() const {
    const std::scoped_lock lock(mutex_);
    return std::max(1U, kept_);
}

void OrderedPool::run(unsigned worker) {
    {
        std::unique_lock lock(mutex_);
        gate_.wait(lock, [this] { return open_; });
        if (worker >= staying_) {
            return;
        }
    }
    try {
        work();
    } catch (...) {
        const std::scoped_lock lock(mutex_);
        failure_ = std::current_exception();
        stopping_ = true;
        room_.notify_all();
        ready_.notify_all();
    }
}

void OrderedPool::work() {
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
    const auto surplus = [this] { return starting_ == 0 && working_ > kept_; };
    const auto ended = [this] { return stopping_ || begun_ == count_; };
    // None begins before the surplus has given its memory back.
    const auto mayBegin = [this] { return starting_ == 0 && working_ <= kept_ && begun_ < handedOut_ + window_; };
    while (own) {
        room_.wait(lock, [&] { return surplus() || ended() || mayBegin(); });
        if (surplus() || ended()) {
            own = nullptr;
            --working_;
            room_.notify_all();
            ready_.notify_all();
            return;
        }
        const std::size_t number = begun_++;
        lock.unlock();
        ResultRecord record = own(number);
        lock.lock();
        done_.emplace(number, std::move(record));
        if (number == handedOut_) {
            ready_.notify_all();
        }
    }
}

/// One record by the caller, where there is no other worker.
void OrderedPool::workHere(std::unique_lock<std::mutex>& lock) {
    const std::size_t number = begun_++;
    lock.unlock();
    if (!ownWork_) {
        ownWork_ = makeWork_();
    }
    ResultRecord record = ownWork_(number);
    lock.lock();
    done_.emplace(number, std::move(record));
}

bool OrderedPool::take(std::vector<ResultRecord>& records, std::chrono::milliseconds patience) {
    records.clear();
    std::unique_lock lock(mutex_);
    const auto ended = [this] { return handedOut_ == count_ || (stopping_ && handedOut_ == begun_); };
    const auto available = [this] { return !done_.empty() && done_.begin()->first == handedOut_; };
    const auto forsaken = [this] { return starting_ + working_ == 0 && begun_ < count_ && !stopping_; };
    ready_.wait_for(lock, patience, [&] { return failure_ != nullptr || available() || ended() || forsaken(); });
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

}  // namespace likeness
