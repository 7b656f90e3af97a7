#pragma once

#include "batch/photograph_analysis.hpp"

#include <cstdint>
#include <functional>
#include <future>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace likeness {

/// Analyses of photographs that occur in several pairs, so that each is made once. It is told beforehand how often each
/// photograph will be asked for: one that is asked for once never enters, and one leaves with its last use. At most
/// `capacity` are kept; the one that was not asked for the longest goes first. Safe to call from several threads: who
/// asks for a photograph that another thread is just analysing waits for that one.
class AnalysisCache {
public:
    using Shared = std::shared_ptr<const PhotographAnalysis>;

    explicit AnalysisCache(std::size_t capacity) : capacity_(capacity) {}

    /// Announces one use of the photograph. All of them are announced before the first is made.
    void announce(const std::string& path);
    /// No more announcements follow.
    void announced();

    /// @param analyse  makes the analysis; called without a lock, on this thread. What it throws, all who wait for the
    ///                 photograph get; those who ask later begin anew
    Shared get(const std::string& path, const std::function<PhotographAnalysis()>& analyse);

private:
    struct Entry {
        std::shared_future<Shared> analysis;
        std::list<std::string>::iterator recency;
    };

    void forget(const std::string& path);

    std::size_t capacity_;
    std::vector<std::uint64_t> announcements_;
    std::mutex mutex_;
    std::unordered_map<std::uint64_t, std::uint32_t> usesLeft_;  // by hash of the path, of those asked for repeatedly
    std::unordered_map<std::string, Entry> entries_;
    std::list<std::string> byRecency_;  // the last one asked for first
};

}  // namespace likeness
