#include "darkroom/batch/batch_summary.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace likeness::darkroom {

void BatchSummary::add(const PairOutcome& outcome) {
    ++pairs_;
    withRemarks_ += outcome.remarks.empty() ? 0U : 1U;
    if (!outcome.compared()) {
        ++failed_;
        return;
    }
    for (std::size_t k = 0; k < coefficients_.size(); ++k) {
        coefficients_[k].push_back(outcome.coefficients[k]);
    }
}

std::vector<std::string> BatchSummary::table() const {
    if (coefficients_.front().empty()) {
        return {};
    }
    std::vector<std::string> lines = {fmt::format("{:<13}{:>9}{:>9}{:>9}{:>9}{:>9}{:>9}{:>9}{:>9}", "", "mean", "least",
                                                  "5 %", "25 %", "median", "75 %", "95 %", "greatest")};
    for (std::size_t k = 0; k < coefficients_.size(); ++k) {
        std::vector<float> sorted = coefficients_[k];
        std::sort(sorted.begin(), sorted.end());
        const double sum = std::accumulate(sorted.begin(), sorted.end(), 0.0);
        std::string line = fmt::format("{:<13}{:>9.5f}", correlateNames[k], sum / static_cast<double>(sorted.size()));
        for (const double share : {0.0, 0.05, 0.25, 0.5, 0.75, 0.95, 1.0}) {
            const double rank = std::ceil(share * static_cast<double>(sorted.size()));
            const std::size_t place = rank < 1 ? 0 : static_cast<std::size_t>(rank) - 1;
            line += fmt::format("{:>9.5f}", sorted[place]);
        }
        lines.push_back(std::move(line));
    }
    return lines;
}

std::string durationText(double seconds) {
    if (seconds < 10) {
        return fmt::format("{:.1f} s", seconds);
    }
    const auto whole = static_cast<std::uint64_t>(std::llround(seconds));
    if (whole < 60) {
        return fmt::format("{} s", whole);
    }
    if (whole < 3600) {
        return fmt::format("{} min {} s", whole / 60, whole % 60);
    }
    if (whole < 48 * 3600) {
        return fmt::format("{} h {} min", whole / 3600, whole % 3600 / 60);
    }
    return fmt::format("{} d {} h", whole / 86400, whole % 86400 / 3600);
}

std::string batchProgressLine(std::uint64_t done, std::uint64_t failed, std::uint64_t count, double seconds) {
    const double rate = seconds > 0 ? static_cast<double>(done) / seconds : 0.0;
    std::string line = fmt::format("{}/{} pairs, {:.1f} pairs/s, {} failed", done, count, rate, failed);
    if (done > 0 && done < count) {
        line += ", " + durationText(static_cast<double>(count - done) / rate) + " left";
    }
    return line;
}

}  // namespace likeness::darkroom
