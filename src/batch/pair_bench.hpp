#pragma once

#include "batch/analysis_cache.hpp"
#include "batch/free_cores.hpp"
#include "batch/photograph_analysis.hpp"

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace likeness {

/// Where a worker of a batch analyses the photographs of its pairs: at the same time where a core is idle when it begins a
/// pair, else one after the other. It holds a core of its own, and memory from one pair to the next.
class PairBench {
public:
    using Analyze = std::function<AnalysisCache::Shared(const std::string& path, AnalysisTables& tables)>;
    using Both = std::pair<AnalysisCache::Shared, AnalysisCache::Shared>;

    explicit PairBench(FreeCores& cores) : cores_(cores), own_(cores.take()) {}

    /// @param analyze  called on this thread and on another. Where memory or threads do not suffice for both at the same
    ///                 time, nobody gets a second core any more, and both are analysed once more, one after the other
    /// @throws what `analyze` throws, for the first photograph where it throws for both
    Both analyze(const std::string& first, const std::string& second, const Analyze& analyze);

private:
    Both atOnce(const std::string& first, const std::string& second, const Analyze& analyze);

    FreeCores& cores_;
    FreeCores::Taken own_;
    AnalysisTables tables_;
    std::unique_ptr<AnalysisTables> besideTables_;  ///< of a second photograph at the same time
};

}  // namespace likeness
