#include <likeness/fit/agreement.hpp>

#include "fit/ranked_pairs.hpp"
#include "fit/student_t.hpp"
#include "numerics/parallel.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <stdexcept>
#include <string>

namespace likeness {
namespace {

void requireSameLength(std::size_t wanted, const std::vector<double>& values, const char* name) {
    if (values.size() != wanted) {
        throw std::invalid_argument(std::string(name) + ": " + std::to_string(wanted) +
                                    " values are wanted, one a row, not " + std::to_string(values.size()));
    }
}

/// What is no number has no rank, and infinite errors have no correlation.
void requireFinite(const std::vector<double>& values, const char* name) {
    if (!std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); })) {
        throw std::invalid_argument(std::string(name) + ": a value is not finite");
    }
}

void requirePairs(const std::vector<double>& first, const std::vector<double>& second, const char* firstName,
                  const char* secondName) {
    requireSameLength(first.size(), second, secondName);
    requireFinite(first, firstName);
    requireFinite(second, secondName);
}

void requireRows(const PredictedScores& rows) {
    requirePairs(rows.scores, rows.predicted, "scores", "predicted");
    if (!rows.allowed.empty()) {
        requireSameLength(rows.scores.size(), rows.allowed, "allowed");
    }
    if (!rows.groups.empty() && rows.groups.size() != rows.scores.size()) {
        throw std::invalid_argument("groups: one a row is wanted");
    }
}

RankedPairs::Counts once(std::size_t rows) {
    return RankedPairs::Counts(rows, 1);
}

/// The statistics of one prediction under many resamples.
class Sampled {
public:
    explicit Sampled(const PredictedScores& rows, const std::vector<double>& predicted)
        : rows_(rows), predicted_(predicted), ranked_(rows.scores, predicted) {}

    Agreement of(const RankedPairs::Counts& counts) const {
        double n = 0;
        double squares = 0;
        double outliers = 0;
        for (std::size_t i = 0; i < counts.size(); ++i) {
            const auto count = static_cast<double>(counts[i]);
            const double error = predicted_[i] - rows_.scores[i];
            n += count;
            squares += count * error * error;
            outliers += !rows_.allowed.empty() && std::abs(error) > rows_.allowed[i] ? count : 0.0;
        }
        Agreement agreement;
        agreement.pearson = ranked_.pearson(counts);
        agreement.spearman = ranked_.spearman(counts);
        agreement.kendall = ranked_.kendall(counts);
        agreement.rmse = n > 0 ? std::sqrt(squares / n) : undefined;
        agreement.outlierRatio = n > 0 && !rows_.allowed.empty() ? outliers / n : undefined;
        return agreement;
    }

private:
    const PredictedScores& rows_;
    const std::vector<double>& predicted_;
    RankedPairs ranked_;
};

constexpr std::array<double Agreement::*, 5> figures = {&Agreement::pearson, &Agreement::spearman, &Agreement::kendall,
                                                        &Agreement::rmse, &Agreement::outlierRatio};
constexpr std::array<Estimate AgreementEstimate::*, 5> estimates = {
    &AgreementEstimate::pearson, &AgreementEstimate::spearman, &AgreementEstimate::kendall, &AgreementEstimate::rmse,
    &AgreementEstimate::outlierRatio};

/// Draws groups with replacement. The numbers of the standard's engine are the same everywhere, those of its
/// distributions are not.
class GroupDraw {
public:
    explicit GroupDraw(const PredictedScores& rows) : rows_(rows) {
        groups_ =
            rows.groups.empty() ? rows.scores.size() : 1 + *std::max_element(rows.groups.begin(), rows.groups.end());
    }

    std::size_t groups() const noexcept { return groups_; }

    RankedPairs::Counts draw(std::uint64_t seed, std::size_t resample) const {
        std::seed_seq sequence{static_cast<std::uint32_t>(seed), static_cast<std::uint32_t>(seed >> 32U),
                               static_cast<std::uint32_t>(resample)};
        std::mt19937_64 engine(sequence);
        const std::uint64_t beyond = std::mt19937_64::max() - std::mt19937_64::max() % groups_;
        RankedPairs::Counts ofGroups(groups_);
        for (std::size_t k = 0; k < groups_; ++k) {
            std::uint64_t number = engine();
            while (number >= beyond) {
                number = engine();
            }
            ++ofGroups[number % groups_];
        }
        if (rows_.groups.empty()) {
            return ofGroups;
        }
        RankedPairs::Counts counts(rows_.scores.size());
        for (std::size_t i = 0; i < counts.size(); ++i) {
            counts[i] = ofGroups[rows_.groups[i]];
        }
        return counts;
    }

private:
    const PredictedScores& rows_;
    std::size_t groups_ = 0;
};

/// @param of  the agreement under the counts of the rows
template <typename Function>
AgreementEstimate bootstrap(const PredictedScores& rows, const BootstrapOptions& options, const Function& of) {
    if (options.resamples < 0 || options.resamples > 1000000) {
        throw std::invalid_argument("resamples: 0 to 1000000 are wanted, not " + std::to_string(options.resamples));
    }
    if (!(options.confidence > 0 && options.confidence < 1)) {
        throw std::invalid_argument("confidence: a number between 0 and 1 is wanted");
    }
    AgreementEstimate result;
    const Agreement whole = of(once(rows.scores.size()));
    for (std::size_t k = 0; k < figures.size(); ++k) {
        (result.*estimates[k]).value = whole.*figures[k];
    }
    const GroupDraw groups(rows);
    const auto resamples = static_cast<std::size_t>(options.resamples);
    if (groups.groups() < 2 || resamples < 20) {
        return result;
    }
    std::vector<Agreement> drawn(resamples);
    constexpr std::size_t rowsWorthAThread = 20000;
    numerics::inParallel(resamples, 1 + rowsWorthAThread / (rows.scores.size() + 1),
                         [&](std::size_t begin, std::size_t end) {
                             for (std::size_t k = begin; k < end; ++k) {
                                 drawn[k] = of(groups.draw(options.seed, k));
                             }
                         });
    std::vector<double> values;
    for (std::size_t k = 0; k < figures.size(); ++k) {
        values.clear();
        for (const Agreement& agreement : drawn) {
            if (!std::isnan(agreement.*figures[k])) {
                values.push_back(agreement.*figures[k]);
            }
        }
        if (std::isnan(whole.*figures[k]) || values.size() < resamples - resamples / 20) {
            continue;
        }
        std::sort(values.begin(), values.end());
        const auto quantile = [&](double share) {
            const double place = share * static_cast<double>(values.size() - 1);
            const auto below = static_cast<std::size_t>(place);
            const std::size_t above = std::min(below + 1, values.size() - 1);
            return values[below] + (place - static_cast<double>(below)) * (values[above] - values[below]);
        };
        (result.*estimates[k]).low = quantile((1 - options.confidence) / 2);
        (result.*estimates[k]).high = quantile((1 + options.confidence) / 2);
    }
    return result;
}

}  // namespace

double pearsonCorrelation(const std::vector<double>& first, const std::vector<double>& second) {
    requirePairs(first, second, "first", "second");
    return RankedPairs(first, second).pearson(once(first.size()));
}

double spearmanCorrelation(const std::vector<double>& first, const std::vector<double>& second) {
    requirePairs(first, second, "first", "second");
    return RankedPairs(first, second).spearman(once(first.size()));
}

double kendallCorrelation(const std::vector<double>& first, const std::vector<double>& second) {
    requirePairs(first, second, "first", "second");
    return RankedPairs(first, second).kendall(once(first.size()));
}

double rootMeanSquareError(const std::vector<double>& scores, const std::vector<double>& predicted) {
    requirePairs(scores, predicted, "scores", "predicted");
    double squares = 0;
    for (std::size_t i = 0; i < scores.size(); ++i) {
        squares += (predicted[i] - scores[i]) * (predicted[i] - scores[i]);
    }
    return scores.empty() ? undefined : std::sqrt(squares / static_cast<double>(scores.size()));
}

double outlierRatio(const std::vector<double>& scores, const std::vector<double>& predicted,
                    const std::vector<double>& allowed) {
    return agreementOf({scores, predicted, allowed, {}}).outlierRatio;
}

double opinionInterval(double deviation, int observers) {
    if (!(deviation >= 0) || observers < 2) {
        throw std::invalid_argument("a deviation of at least 0 and at least 2 observers are wanted");
    }
    return studentLimit(0.95, observers - 1.0) * deviation / std::sqrt(observers);
}

Agreement agreementOf(const PredictedScores& rows) {
    requireRows(rows);
    return Sampled(rows, rows.predicted).of(once(rows.scores.size()));
}

AgreementEstimate estimateAgreement(const PredictedScores& rows, const BootstrapOptions& options) {
    requireRows(rows);
    const Sampled sampled(rows, rows.predicted);
    return bootstrap(rows, options, [&](const RankedPairs::Counts& counts) { return sampled.of(counts); });
}

AgreementEstimate compareAgreement(const PredictedScores& first, const std::vector<double>& second,
                                   const BootstrapOptions& options) {
    requireRows(first);
    requirePairs(first.scores, second, "scores", "second");
    const Sampled one(first, first.predicted);
    const Sampled other(first, second);
    return bootstrap(first, options, [&](const RankedPairs::Counts& counts) {
        Agreement difference = one.of(counts);
        const Agreement its = other.of(counts);
        for (double Agreement::*const figure : figures) {
            difference.*figure -= its.*figure;
        }
        return difference;
    });
}

PairedTest pitmanTest(const std::vector<double>& scores, const std::vector<double>& first,
                      const std::vector<double>& second) {
    requirePairs(scores, first, "scores", "first");
    requirePairs(scores, second, "scores", "second");
    std::vector<double> sums;
    std::vector<double> differences;
    for (std::size_t i = 0; i < scores.size(); ++i) {
        const double one = first[i] - scores[i];
        const double other = second[i] - scores[i];
        sums.push_back(one + other);
        differences.push_back(one - other);
    }
    PairedTest test;
    if (scores.size() < 3) {
        return test;
    }
    // Var(a) - Var(b) = Cov(a + b, a - b): the variances are equal where sum and difference do not correlate.
    test.degreesOfFreedom = static_cast<double>(scores.size()) - 2;
    test.correlation = pearsonCorrelation(sums, differences);
    test.t = test.correlation * std::sqrt(test.degreesOfFreedom / (1 - test.correlation * test.correlation));
    test.p = studentTwoSided(test.t, test.degreesOfFreedom);
    return test;
}

}  // namespace likeness
