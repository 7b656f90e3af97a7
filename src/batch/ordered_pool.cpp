#include "batch/ordered_pool.hpp"

#include <algorithm>
#include <utility>

namespace likeness {

OrderedPool::OrderedPool(std::size_t count, unsigned jobs, std::function<Work()> makeWork)
    : count_(count), window_(std::max<std::size_t>(256, std::size_t{16} * jobs)) {
    const auto workers = static_cast<unsigned>(std::min<std::size_t>(jobs, count));
    for (unsigned k = 0; k < workers; ++k) {
        workers_.emplace_back([this, makeWork] { run(makeWork); });
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

void OrderedPool::run(const std::function<Work()>& makeWork) {
    try {
        const Work work = makeWork();
        std::unique_lock lock(mutex_);
        for (;;) {
            room_.wait(lock, [this] { return stopping_ || begun_ == count_ || begun_ < handedOut_ + window_; });
            if (stopping_ || begun_ == count_) {
                return;
            }
            const std::size_t number = begun_++;
            lock.unlock();
            ResultRecord record = work(number);
            lock.lock();
            done_.emplace(number, std::move(record));
            if (number == handedOut_) {
                ready_.notify_all();
            }
        }
    } catch (...) {
        const std::scoped_lock lock(mutex_);
        failure_ = std::current_exception();
        stopping_ = true;
        room_.notify_all();
        ready_.notify_all();
    }
}

bool OrderedPool::take(std::vector<ResultRecord>& records, std::chrono::milliseconds patience) {
    records.clear();
    std::unique_lock lock(mutex_);
    const auto ended = [this] { return handedOut_ == count_ || (stopping_ && handedOut_ == begun_); };
    const auto available = [this] { return !done_.empty() && done_.begin()->first == handedOut_; };
    ready_.wait_for(lock, patience, [&] { return failure_ != nullptr || available() || ended(); });
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
