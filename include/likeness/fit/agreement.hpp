/// @file
/// How well predictions agree with opinion scores: correlations, errors, their bootstrap intervals, and tests of whether
/// one prediction is better than another.
///
/// Vectors are of one length, a row each; values are finite. Rows that belong together, such as all distortions of one
/// photograph, are a group: they share its luck, so intervals come from drawing whole groups. Where something is not
/// defined, such as a correlation with a constant, it is NaN. The same bits for any number of threads.
/// @throws std::invalid_argument  vectors of different lengths, or a value that is not finite
#pragma once

#include <likeness/export.hpp>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace likeness {

/// Product-moment correlation, -1 to 1.
LIKENESS_API double pearsonCorrelation(const std::vector<double>& first, const std::vector<double>& second);

/// Correlation of the ranks, -1 to 1; equal values share the mean of their ranks.
LIKENESS_API double spearmanCorrelation(const std::vector<double>& first, const std::vector<double>& second);

/// Kendall's tau-b, -1 to 1: pairs of rows in the same order less pairs in the opposite one, corrected for ties.
/// @see Kendall, "The treatment of ties in ranking problems", Biometrika 33, 1945
LIKENESS_API double kendallCorrelation(const std::vector<double>& first, const std::vector<double>& second);

/// Root of the mean squared difference.
LIKENESS_API double rootMeanSquareError(const std::vector<double>& scores, const std::vector<double>& predicted);

/// Share of the rows whose error is greater than what is allowed them, 0 to 1; NaN without allowances.
/// @param allowed  of each row, such as two standard deviations of its score
LIKENESS_API double outlierRatio(const std::vector<double>& scores, const std::vector<double>& predicted,
                                 const std::vector<double>& allowed);

/// Half width of the 95 % confidence interval of a mean opinion score.
/// @param deviation  standard deviation of the opinions
/// @param observers  how many gave one, at least 2
LIKENESS_API double opinionInterval(double deviation, int observers);

/// A number with its interval, which is NaN where it is not known.
struct Estimate {
    double value = std::numeric_limits<double>::quiet_NaN();  ///< the number
    double low = std::numeric_limits<double>::quiet_NaN();    ///< lower end of the interval
    double high = std::numeric_limits<double>::quiet_NaN();   ///< upper end

    /// Whether the interval is known.
    bool hasInterval() const noexcept { return !std::isnan(low) && !std::isnan(high); }
    /// Whether the interval holds a number, its ends too.
    bool covers(double truth) const noexcept { return low <= truth && truth <= high; }
};

/// All of the above. `T` is double or Estimate.
template <typename T>
struct AgreementOf {
    T pearson{};       ///< linear correlation
    T spearman{};      ///< rank correlation, tied values sharing their mean rank
    T kendall{};       ///< tau-b
    T rmse{};          ///< root of the mean squared error
    T outlierRatio{};  ///< share of rows whose error is beyond what is allowed
};
/// Numbers alone.
using Agreement = AgreementOf<double>;
/// Numbers with their intervals.
using AgreementEstimate = AgreementOf<Estimate>;

/// How resamples are drawn.
struct BootstrapOptions {
    int resamples = 1000;      ///< how many
    std::uint64_t seed = 1;    ///< of the choices; the same seed gives the same intervals
    double confidence = 0.95;  ///< share of the resamples inside an interval, above 0 and below 1
};

/// What was predicted for rows whose scores are known.
struct PredictedScores {
    std::vector<double> scores;         ///< what people said
    std::vector<double> predicted;      ///< as many
    std::vector<double> allowed{};      ///< for the outlier ratio; may be empty
    std::vector<std::size_t> groups{};  ///< number of each row's group, from 0; empty: each row is one of its own
};

/// How well predictions agree with scores.
LIKENESS_API Agreement agreementOf(const PredictedScores& rows);

/// With percentile intervals over resamples of the groups. A statistic that is not defined in more than one resample of
/// twenty, or with fewer than two groups, has no interval.
/// @see Efron and Tibshirani, An Introduction to the Bootstrap, 1993
LIKENESS_API AgreementEstimate estimateAgreement(const PredictedScores& rows, const BootstrapOptions& options = {});

/// Whether two predictions of the same scores have errors of different variance.
struct PairedTest {
    double correlation = std::numeric_limits<double>::quiet_NaN();  ///< of the errors' sum and difference
    double t = std::numeric_limits<double>::quiet_NaN();            ///< below 0 where the first has the smaller errors
    double degreesOfFreedom = 0;                                    ///< of t
    double p = std::numeric_limits<double>::quiet_NaN();            ///< two-sided
};

/// Pitman's test (Pitman-Morgan). It takes rows for independent.
/// @see Pitman, "A note on normal correlation", Biometrika 31, 1939
LIKENESS_API PairedTest pitmanTest(const std::vector<double>& scores, const std::vector<double>& first,
                                   const std::vector<double>& second);

/// Differences of the agreement, the first less the second, with intervals over resamples of the groups.
LIKENESS_API AgreementEstimate compareAgreement(const PredictedScores& first, const std::vector<double>& second,
                                                const BootstrapOptions& options = {});

/// A polynomial of the third order, monotonically increasing between two limits: c[0] + c[1] x + c[2] x^2 + c[3] x^3.
/// @see ITU-T P.1401 (2020), 7.1
struct CubicMapping {
    double coefficients[4] = {};  ///< c[0] to c[3]
    double low = 0;               ///< least x that it was made for
    double high = 0;              ///< greatest x

    /// Held at the limits beyond them.
    LIKENESS_API double operator()(double x) const noexcept;
};

/// The one of the least squared error among those that increase from the least to the greatest x.
LIKENESS_API CubicMapping monotoneCubic(const std::vector<double>& x, const std::vector<double>& y);

/// Figures of ITU-T P.1401 after the third-order mapping.
struct MappedAgreement {
    CubicMapping mapping;                                            ///< of the predictions to the scores
    double pearson = std::numeric_limits<double>::quiet_NaN();       ///< of scores and mapped predictions
    double rmse = std::numeric_limits<double>::quiet_NaN();          ///< over N - 4 degrees of freedom
    double rmseStar = std::numeric_limits<double>::quiet_NaN();      ///< the same of what exceeds the scores' intervals
    double outlierRatio = std::numeric_limits<double>::quiet_NaN();  ///< share of errors beyond the scores' intervals
};

/// @param intervals  half widths of the scores' 95 % confidence intervals; empty: not known
LIKENESS_API MappedAgreement mappedAgreement(const std::vector<double>& scores, const std::vector<double>& predicted,
                                             const std::vector<double>& intervals = {});

}  // namespace likeness
