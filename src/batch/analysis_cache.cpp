#include "batch/analysis_cache.hpp"

#include "batch/stable_hash.hpp"

#include <algorithm>
#include <optional>

namespace likeness {
namespace {

// Two paths of one hash would count as one: then one of them stays a little too long or too short, nothing more.
std::uint64_t keyOf(const std::string& path) {
    return mixed(fnv1a(path));
}

}  // namespace

void AnalysisCache::announce(const std::string& path) {
    if (capacity_ > 0) {
        announcements_.push_back(keyOf(path));
    }
}

void AnalysisCache::announced() {
    std::sort(announcements_.begin(), announcements_.end());
    for (auto begin = announcements_.begin(); begin != announcements_.end();) {
        const auto end = std::upper_bound(begin, announcements_.end(), *begin);
        if (end - begin > 1) {
            usesLeft_.emplace(*begin, static_cast<std::uint32_t>(end - begin));
        }
        begin = end;
    }
    announcements_ = {};
}

AnalysisCache::Shared AnalysisCache::get(const std::string& path, const std::function<PhotographAnalysis()>& analyse) {
    std::promise<Shared> promise;
    {
        std::unique_lock lock(mutex_);
        const auto uses = usesLeft_.find(keyOf(path));
        const bool usedAgain = uses != usesLeft_.end() && --uses->second > 0;
        if (uses != usesLeft_.end() && !usedAgain) {
            usesLeft_.erase(uses);
        }
        const auto found = entries_.find(path);
        if (found != entries_.end()) {
            const std::shared_future<Shared> analysis = found->second.analysis;
            if (usedAgain) {
                byRecency_.splice(byRecency_.begin(), byRecency_, found->second.recency);
            } else {
                byRecency_.erase(found->second.recency);
                entries_.erase(found);
            }
            lock.unlock();
            return analysis.get();
        }
        if (!usedAgain) {
            lock.unlock();
            return std::make_shared<const PhotographAnalysis>(analyse());
        }
        byRecency_.push_front(path);
        entries_.emplace(path, Entry{promise.get_future().share(), byRecency_.begin()});
        if (entries_.size() > capacity_) {
            entries_.erase(byRecency_.back());
            byRecency_.pop_back();
        }
    }
    try {
        auto analysis = std::make_shared<const PhotographAnalysis>(analyse());
        promise.set_value(analysis);
        return analysis;
    } catch (...) {
        forget(path);  // who asks once more analyses once more
        promise.set_exception(std::current_exception());
        throw;
    }
}

void AnalysisCache::forget(const std::string& path) {
    const std::scoped_lock lock(mutex_);
    const auto found = entries_.find(path);
    if (found != entries_.end()) {
        byRecency_.erase(found->second.recency);
        entries_.erase(found);
    }
}

}  // namespace likeness
