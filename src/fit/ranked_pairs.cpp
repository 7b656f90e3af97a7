#include "fit/ranked_pairs.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace likeness {
namespace {

double correlation(const std::vector<double>& x, const std::vector<double>& y, const RankedPairs::Counts& counts) {
    double n = 0;
    double sumX = 0;
    double sumY = 0;
    bool variesX = false;
    bool variesY = false;
    std::size_t first = x.size();
    for (std::size_t i = 0; i < x.size(); ++i) {
        if (counts[i] == 0) {
            continue;
        }
        const auto count = static_cast<double>(counts[i]);
        first = std::min(first, i);
        variesX = variesX || x[i] != x[first];
        variesY = variesY || y[i] != y[first];
        n += count;
        sumX += count * x[i];
        sumY += count * y[i];
    }
    if (!variesX || !variesY) {
        return undefined;
    }
    const double meanX = sumX / n;
    const double meanY = sumY / n;
    double xx = 0;
    double yy = 0;
    double xy = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        const auto count = static_cast<double>(counts[i]);
        const double dx = x[i] - meanX;
        const double dy = y[i] - meanY;
        xx += count * dx * dx;
        yy += count * dy * dy;
        xy += count * dx * dy;
    }
    const double norm = std::sqrt(xx) * std::sqrt(yy);
    return norm > 0 ? std::clamp(xy / norm, -1.0, 1.0) : undefined;
}

/// Counts by place, with sums up to a place in logarithmic time.
class RunningCounts {
public:
    explicit RunningCounts(std::size_t places) : sums_(places + 1) {}

    void add(std::size_t place, std::int64_t count) {
        total_ += count;
        for (std::size_t i = place + 1; i < sums_.size(); i += i & (~i + 1)) {
            sums_[i] += count;
        }
    }
    /// Of the places below one.
    std::int64_t below(std::size_t place) const {
        std::int64_t sum = 0;
        for (std::size_t i = place; i > 0; i -= i & (~i + 1)) {
            sum += sums_[i];
        }
        return sum;
    }
    std::int64_t total() const { return total_; }

private:
    std::vector<std::int64_t> sums_;
    std::int64_t total_ = 0;
};

}  // namespace

RankedPairs::RankedPairs(const std::vector<double>& x, const std::vector<double>& y)
    : x_(x), y_(y), byX_(orderOf(x)), byY_(orderOf(y)), runOfY_(y.size()) {
    for (std::size_t run = 0; run + 1 < byY_.runs.size(); ++run) {
        for (std::size_t k = byY_.runs[run]; k < byY_.runs[run + 1]; ++k) {
            runOfY_[byY_.rows[k]] = run;
        }
    }
}

RankedPairs::Order RankedPairs::orderOf(const std::vector<double>& values) {
    Order order;
    order.rows.resize(values.size());
    std::iota(order.rows.begin(), order.rows.end(), std::size_t{0});
    std::stable_sort(order.rows.begin(), order.rows.end(),
                     [&](std::size_t a, std::size_t b) { return values[a] < values[b]; });
    for (std::size_t k = 0; k < values.size(); ++k) {
        if (k == 0 || values[order.rows[k]] != values[order.rows[k - 1]]) {
            order.runs.push_back(k);
        }
    }
    order.runs.push_back(values.size());
    return order;
}

void RankedPairs::rank(const Order& order, const Counts& counts, std::vector<double>& ranks) {
    std::int64_t before = 0;
    for (std::size_t run = 0; run + 1 < order.runs.size(); ++run) {
        std::int64_t equal = 0;
        for (std::size_t k = order.runs[run]; k < order.runs[run + 1]; ++k) {
            equal += counts[order.rows[k]];
        }
        const double rank = static_cast<double>(before) + static_cast<double>(equal + 1) / 2;
        for (std::size_t k = order.runs[run]; k < order.runs[run + 1]; ++k) {
            ranks[order.rows[k]] = rank;
        }
        before += equal;
    }
}

std::int64_t RankedPairs::tiedPairs(const Order& order, const Counts& counts) {
    std::int64_t pairs = 0;
    for (std::size_t run = 0; run + 1 < order.runs.size(); ++run) {
        std::int64_t equal = 0;
        for (std::size_t k = order.runs[run]; k < order.runs[run + 1]; ++k) {
            equal += counts[order.rows[k]];
        }
        pairs += equal * (equal - 1) / 2;
    }
    return pairs;
}

double RankedPairs::pearson(const Counts& counts) const {
    return correlation(x_, y_, counts);
}

double RankedPairs::spearman(const Counts& counts) const {
    std::vector<double> ranksX(x_.size());
    std::vector<double> ranksY(y_.size());
    rank(byX_, counts, ranksX);
    rank(byY_, counts, ranksY);
    return correlation(ranksX, ranksY, counts);
}

double RankedPairs::kendall(const Counts& counts) const {
    RunningCounts seen(byY_.runs.size() - 1);
    std::int64_t agreeing = 0;  // less those in the opposite order
    for (std::size_t run = 0; run + 1 < byX_.runs.size(); ++run) {
        for (std::size_t k = byX_.runs[run]; k < byX_.runs[run + 1]; ++k) {
            const std::size_t row = byX_.rows[k];
            const std::size_t place = runOfY_[row];
            agreeing += counts[row] * (seen.below(place) - (seen.total() - seen.below(place + 1)));
        }
        for (std::size_t k = byX_.runs[run]; k < byX_.runs[run + 1]; ++k) {
            const std::size_t row = byX_.rows[k];
            seen.add(runOfY_[row], counts[row]);
        }
    }
    const std::int64_t pairs = seen.total() * (seen.total() - 1) / 2;
    const auto untiedX = static_cast<double>(pairs - tiedPairs(byX_, counts));
    const auto untiedY = static_cast<double>(pairs - tiedPairs(byY_, counts));
    if (untiedX == 0 || untiedY == 0) {
        return undefined;
    }
    return std::clamp(static_cast<double>(agreeing) / std::sqrt(untiedX) / std::sqrt(untiedY), -1.0, 1.0);
}

}  // namespace likeness
