// Two columns of numbers, sorted once, so that their correlations under many resamples cost no sorting.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace likeness {

/// What a correlation is where there is none: of fewer than two rows, or where nothing varies.
inline constexpr double undefined = std::numeric_limits<double>::quiet_NaN();

class RankedPairs {
public:
    RankedPairs(const std::vector<double>& x, const std::vector<double>& y);

    /// How often a row is there. Sums are taken in the order of the rows.
    using Counts = std::vector<std::int64_t>;

    double pearson(const Counts& counts) const;
    double spearman(const Counts& counts) const;
    double kendall(const Counts& counts) const;

private:
    /// Rows by value; a row that begins a run of equal values is marked.
    struct Order {
        std::vector<std::size_t> rows;
        std::vector<std::size_t> runs;  ///< where each run begins, and the end
    };

    static Order orderOf(const std::vector<double>& values);
    static void rank(const Order& order, const Counts& counts, std::vector<double>& ranks);
    static std::int64_t tiedPairs(const Order& order, const Counts& counts);

    const std::vector<double>& x_;
    const std::vector<double>& y_;
    Order byX_;
    Order byY_;
    std::vector<std::size_t> runOfY_;  ///< of each row
};

}  // namespace likeness
