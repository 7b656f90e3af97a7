#pragma once

#include "batch/result_record.hpp"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace likeness {

/// The values of one coefficient over many pairs. Percentiles are of nearest rank.
struct CoefficientStatistics {
    double mean = 0;
    float least = 0;
    float fifth = 0;  ///< 5th percentile, and so on
    float lowerQuartile = 0;
    float median = 0;
    float upperQuartile = 0;
    float ninetyFifth = 0;
    float greatest = 0;
};

/// @param values  not empty
CoefficientStatistics statisticsOf(std::vector<float> values);

/// One coefficient over many pairs.
struct NamedCoefficients {
    const char* name;
    const std::vector<float>& values;
};

/// Counts records and gathers their coefficients: 20 bytes a pair, 24 with that of the hue.
class BatchSummary {
public:
    void add(const PairOutcome& outcome);

    std::uint64_t pairs() const noexcept { return pairs_; }
    std::uint64_t failed() const noexcept { return failed_; }
    std::uint64_t withRemarks() const noexcept { return withRemarks_; }

    /// Those of the compared pairs, in the order in which they were added: the five, and behind them that of the hue
    /// where pairs have one.
    std::vector<NamedCoefficients> coefficients() const;

    /// Whether pairs have a coefficient of the hue.
    bool hasHue() const noexcept { return !hues_.empty(); }

    /// A table of the mean, the least value, the 5th, 25th, 50th, 75th and 95th percentile (of nearest rank) and the
    /// greatest value of each coefficient, line by line; nothing if no pair was compared.
    std::vector<std::string> table() const;

private:
    std::uint64_t pairs_ = 0;
    std::uint64_t failed_ = 0;
    std::uint64_t withRemarks_ = 0;
    std::array<std::vector<float>, 5> coefficients_;
    std::vector<float> hues_;
};

/// "0.5 s", "2 min 5 s", "3 h 20 min", "2 d 5 h".
std::string durationText(double seconds);

/// The line that a terminal shows during the run, of plain text.
/// @param done   pairs so far in this run, of which `failed` have failed
/// @param count  pairs that this run is to do
/// @param what   what they are
std::string batchProgressLine(std::uint64_t done, std::uint64_t failed, std::uint64_t count, double seconds,
                              std::string_view what = "pairs");

}  // namespace likeness
