// The page of the results of a batch.
#pragma once

#include "batch/batch_summary.hpp"
#include "batch/result_record.hpp"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace likeness::darkroom {

/// The least coefficient of a pair; none for one that was not compared.
std::optional<float> lowestCoefficient(const PairOutcome& outcome);

/// Of two records, whether the first says more of what went wrong: failed pairs come before compared ones, those before
/// others with a greater lowest coefficient; else the place in the list tells.
bool isWorse(const ResultRecord& one, const ResultRecord& other);

/// Keeps the worst of the records that it is given.
class WorstRecords {
public:
    explicit WorstRecords(std::size_t limit) : limit_(limit) {}

    void add(ResultRecord record);

    /// The worst of all, the worst first; the object is empty afterwards.
    std::vector<ResultRecord> take();

private:
    std::size_t limit_;
    std::vector<ResultRecord> heap_;
};

struct BatchReport {
    std::string source;                                      ///< path of the results
    BatchSummary summary;                                    ///< of all records
    std::vector<ResultRecord> records;                       ///< that the page lists, in any order
    std::vector<std::string> columns;                        ///< names of the carried ones
    std::set<std::pair<std::string, std::string>> versions;  ///< of the program, with the fingerprints of parameters
    std::map<std::string, std::string> pictures;             ///< addresses of thumbnails, by path
};

/// The whole page as HTML, without anything from elsewhere.
std::string batchReportPage(const BatchReport& report);

}  // namespace likeness::darkroom
