#include "batch/pair_bench.hpp"

#include "files/refusal.hpp"

#include <future>
#include <new>
#include <system_error>

namespace likeness {

PairBench::Both PairBench::analyze(const std::string& first, const std::string& second, const Analyze& analyze) {
    if (first != second) {
        if (const FreeCores::Taken idle = cores_.takeIdle()) {
            try {
                return atOnce(first, second, analyze);
            } catch (const std::bad_alloc&) {
            } catch (const MemoryShortage&) {
            } catch (const std::system_error&) {  // no thread
            }
            cores_.stopLending();
            besideTables_.reset();
        }
    }
    AnalysisCache::Shared firstAnalysis = analyze(first, tables_);
    return {std::move(firstAnalysis), analyze(second, tables_)};
}

PairBench::Both PairBench::atOnce(const std::string& first, const std::string& second, const Analyze& analyze) {
    if (besideTables_ == nullptr) {
        besideTables_ = std::make_unique<AnalysisTables>();
    }
    auto beside = std::async(std::launch::async, [&] { return analyze(second, *besideTables_); });
    AnalysisCache::Shared firstAnalysis = analyze(first, tables_);
    return {std::move(firstAnalysis), beside.get()};
}

}  // namespace likeness
