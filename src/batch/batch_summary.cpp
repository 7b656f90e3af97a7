#include "batch/batch_summary.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace likeness {

CoefficientStatistics statisticsOf(std::vector<float> values) {
    std::sort(values.begin(), values.end());
    const auto percentile = [&values](double share) {
        const double rank = std::ceil(share * static_cast<double>(values.size()));
        return values[rank < 1 ? 0 : static_cast<std::size_t>(rank) - 1];
    };
    return {std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size()),
            values.front(),
            percentile(0.05),
            percentile(0.25),
            percentile(0.5),
            percentile(0.75),
            percentile(0.95),
            values.back()};
}

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
    if (outcome.hue) {
        hues_.push_back(*outcome.hue);
    }
}

std::vector<NamedCoefficients> BatchSummary::coefficients() const {
    std::vector<NamedCoefficients> all;
    for (std::size_t k = 0; k < coefficients_.size(); ++k) {
        all.push_back({correlateNames[k].name, coefficients_[k]});
    }
    if (hasHue()) {
        all.push_back({hueName.name, hues_});
    }
    return all;
}

std::vector<std::string> BatchSummary::table() const {
    if (coefficients_.front().empty()) {
        return {};
    }
    std::vector<std::string> lines = {fmt::format("{:<13}{:>9}{:>9}{:>9}{:>9}{:>9}{:>9}{:>9}{:>9}", "", "mean", "least",
                                                  "5 %", "25 %", "median", "75 %", "95 %", "greatest")};
    for (const NamedCoefficients& coefficient : coefficients()) {
        const CoefficientStatistics all = statisticsOf(coefficient.values);
        std::string line = fmt::format("{:<13}{:>9.5f}", coefficient.name, all.mean);
        for (const float value :
             {all.least, all.fifth, all.lowerQuartile, all.median, all.upperQuartile, all.ninetyFifth, all.greatest}) {
            line += fmt::format("{:>9.5f}", value);
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
    if (whole / 3600 < 48) {
        return fmt::format("{} h {} min", whole / 3600, whole % 3600 / 60);
    }
    return fmt::format("{} d {} h", whole / 86400, whole % 86400 / 3600);
}

std::string batchProgressLine(std::uint64_t done, std::uint64_t failed, std::uint64_t count, double seconds,
                              std::string_view what) {
    const double rate = seconds > 0 ? static_cast<double>(done) / seconds : 0.0;
    std::string line = fmt::format("{}/{} {}, {:.1f} {}/s, {} failed", done, count, what, rate, what, failed);
    if (done > 0 && done < count) {
        line += ", " + durationText(static_cast<double>(count - done) / rate) + " left";
    }
    return line;
}

}  // namespace likeness
