#include <likeness/fit/agreement.hpp>

#include "fit/made_scores.hpp"
#include "fit/student_t.hpp"

#include <likeness/threads.hpp>

#include <gtest/gtest.h>

namespace likeness::testing {
namespace {

using Values = std::vector<double>;

TEST(Agreement, CorrelationsByHand) {
    EXPECT_DOUBLE_EQ(pearsonCorrelation({1, 2, 3}, {2, 4, 6}), 1);
    EXPECT_DOUBLE_EQ(pearsonCorrelation({1, 2, 3}, {3, 2, 1}), -1);
    // Deviations -1, 0, 1 and -1, 1, 0: 1 / 2.
    EXPECT_DOUBLE_EQ(pearsonCorrelation({1, 2, 3}, {1, 3, 2}), 0.5);
    EXPECT_DOUBLE_EQ(spearmanCorrelation({1, 2, 3}, {1, 1000, 2}), 0.5);
    // Ranks 1, 2.5, 2.5, 4 and 1, 2, 3, 4: 4.5 / sqrt(4.5 * 5).
    EXPECT_NEAR(spearmanCorrelation({1, 2, 2, 3}, {1, 2, 3, 4}), 4.5 / std::sqrt(22.5), 1e-15);
    // Five of six pairs agree, one is tied in the first: 5 / sqrt(5 * 6).
    EXPECT_NEAR(kendallCorrelation({1, 2, 2, 3}, {1, 2, 3, 4}), 5 / std::sqrt(30.0), 1e-15);
    EXPECT_DOUBLE_EQ(kendallCorrelation({1, 2, 3}, {1, 3, 2}), 1.0 / 3);
}

TEST(Agreement, WhatIsNotDefinedIsNaN) {
    EXPECT_TRUE(std::isnan(pearsonCorrelation({1, 1, 1}, {1, 2, 3})));
    EXPECT_TRUE(std::isnan(spearmanCorrelation({1, 2, 3}, {5, 5, 5})));
    EXPECT_TRUE(std::isnan(kendallCorrelation({}, {})));
    EXPECT_TRUE(std::isnan(outlierRatio({1, 2}, {1, 2}, {})));
    EXPECT_THROW(pearsonCorrelation({1, 2}, {1}), std::invalid_argument);
    EXPECT_THROW(agreementOf({{1, 2}, {1, 2}, {1}, {}}), std::invalid_argument);
}

TEST(Agreement, WhatIsNotFiniteIsRefused) {
    for (const double value : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
        EXPECT_THROW(pearsonCorrelation({1, value, 3}, {1, 2, 3}), std::invalid_argument);
        EXPECT_THROW(spearmanCorrelation({1, 2, 3}, {1, 2, value}), std::invalid_argument);
        EXPECT_THROW(kendallCorrelation({value, 2, 3}, {1, 2, 3}), std::invalid_argument);
        EXPECT_THROW(rootMeanSquareError({1}, {value}), std::invalid_argument);
        EXPECT_THROW(agreementOf({{1, 2}, {1, value}, {}, {}}), std::invalid_argument);
        EXPECT_THROW(compareAgreement({{1, 2}, {1, 2}, {}, {}}, {1, value}), std::invalid_argument);
        EXPECT_THROW(pitmanTest({1, 2, 3}, {1, 2, value}, {1, 2, 3}), std::invalid_argument);
        EXPECT_THROW(monotoneCubic({1, value}, {1, 2}), std::invalid_argument);
        EXPECT_THROW(mappedAgreement({1, value}, {1, 2}), std::invalid_argument);
    }
    EXPECT_THROW(opinionInterval(-1, 10), std::invalid_argument);
    EXPECT_THROW(opinionInterval(1, 1), std::invalid_argument);
    EXPECT_THROW(mappedAgreement({1, 2}, {1, 2, 3}), std::invalid_argument);
}

TEST(Agreement, ErrorsAndOutliersByHand) {
    EXPECT_DOUBLE_EQ(rootMeanSquareError({1, 2, 3, 4}, {1, 2, 3, 6}), 1);
    EXPECT_DOUBLE_EQ(outlierRatio({1, 2, 3, 4}, {1.5, 2, 3, 6}, {1, 1, 1, 1}), 0.25);
    EXPECT_DOUBLE_EQ(outlierRatio({1, 2}, {2, 2}, {1, 1}), 0) << "an error that is just allowed";
}

TEST(Agreement, AResampleCountsRowsAsOftenAsTheyAreDrawn) {
    // With a single group twice over, every resample has the whole's correlation.
    const AgreementEstimate estimate =
        estimateAgreement({{1, 2, 3, 1, 2, 3}, {1, 3, 2, 1, 3, 2}, {}, {0, 0, 0, 1, 1, 1}});
    EXPECT_DOUBLE_EQ(estimate.pearson.value, 0.5);
    EXPECT_NEAR(estimate.pearson.low, 0.5, 1e-12);
    EXPECT_NEAR(estimate.spearman.high, 0.5, 1e-12);
    // Ties of a row with itself: five pairs of groups give the same tau-b in all draws.
    EXPECT_NEAR(estimate.kendall.low, estimate.kendall.high, 1e-12);
    EXPECT_FALSE(estimate.outlierRatio.hasInterval());
}

TEST(Agreement, IntervalsFollowFromTheSeedAndNotFromTheThreads) {
    const ScoredRows rows = madeRows(300, 0.1, 3, [](double x, double) { return x; });
    const PredictedScores predicted{rows.scores, rows.columns[0], {}, {}};
    setThreads(1);
    const AgreementEstimate one = estimateAgreement(predicted, {200, 5, 0.95});
    setThreads(4);
    const AgreementEstimate four = estimateAgreement(predicted, {200, 5, 0.95});
    setThreads(0);
    EXPECT_EQ(one.kendall.low, four.kendall.low);
    EXPECT_EQ(one.rmse.high, four.rmse.high);
    EXPECT_NE(one.rmse.high, estimateAgreement(predicted, {200, 6, 0.95}).rmse.high);
    EXPECT_LT(one.pearson.low, one.pearson.value);
    EXPECT_GT(one.pearson.high, one.pearson.value);
}

TEST(Agreement, OneGroupHasNoInterval) {
    const AgreementEstimate estimate = estimateAgreement({{1, 2, 3}, {1, 2, 4}, {}, {0, 0, 0}});
    EXPECT_FALSE(estimate.pearson.hasInterval());
    EXPECT_FALSE(std::isnan(estimate.pearson.value));
}

TEST(Agreement, PitmansTestFindsTheSmallerErrors) {
    Normal normal(8);
    Values scores;
    Values good;
    Values bad;
    Values same;
    for (int i = 0; i < 200; ++i) {
        scores.push_back(i * 0.1);
        good.push_back(scores.back() + 0.1 * normal());
        bad.push_back(scores.back() + 0.2 * normal());
        same.push_back(scores.back() + 0.1 * normal());
    }
    EXPECT_LT(pitmanTest(scores, good, bad).p, 1e-6);
    EXPECT_LT(pitmanTest(scores, good, bad).t, 0);
    EXPECT_GT(pitmanTest(scores, bad, good).t, 0);
    EXPECT_GT(pitmanTest(scores, good, same).p, 0.05);
    EXPECT_EQ(pitmanTest(scores, good, bad).degreesOfFreedom, 198);
    const AgreementEstimate difference = compareAgreement({scores, good, {}, {}}, bad);
    EXPECT_LT(difference.rmse.high, 0);
}

TEST(StudentT, PublishedLimits) {
    // Two-sided 95 % points of the usual tables.
    EXPECT_NEAR(studentLimit(0.95, 1), 12.706, 0.0005);
    EXPECT_NEAR(studentLimit(0.95, 10), 2.228, 0.0005);
    EXPECT_NEAR(studentLimit(0.95, 120), 1.980, 0.0005);
    EXPECT_NEAR(studentTwoSided(studentLimit(0.99, 7), 7), 0.01, 1e-12);
    // One degree of freedom is Cauchy's distribution.
    EXPECT_NEAR(studentLimit(0.95, 1), std::tan(0.475 * 3.14159265358979323846), 1e-12 * 12.7);
    EXPECT_NEAR(studentTwoSided(1, 1), 0.5, 1e-14);
}

TEST(MonotoneCubic, IsTheLeastSquaresCubicWhereThatRises) {
    Values x;
    Values y;
    for (int i = 0; i <= 20; ++i) {
        x.push_back(1 + i * 0.1);
        y.push_back(2 + x.back() - 0.3 * x.back() * x.back() + 0.1 * std::pow(x.back(), 3));
    }
    const CubicMapping mapping = monotoneCubic(x, y);
    EXPECT_NEAR(mapping.coefficients[0], 2, 1e-9);
    EXPECT_NEAR(mapping.coefficients[1], 1, 1e-9);
    EXPECT_NEAR(mapping.coefficients[2], -0.3, 1e-9);
    EXPECT_NEAR(mapping.coefficients[3], 0.1, 1e-9);
    EXPECT_DOUBLE_EQ(mapping(0), mapping(1)) << "held beyond the range";
}

TEST(MonotoneCubic, NeverFalls) {
    for (const std::uint64_t seed : {1U, 2U, 3U, 4U, 5U, 6U}) {
        Normal normal(seed);
        Values x;
        Values y;
        for (int i = 0; i < 40; ++i) {
            x.push_back(normal());
            y.push_back(std::sin(2 * x.back()) + 0.3 * normal());
        }
        const CubicMapping mapping = monotoneCubic(x, y);
        double squares = 0;
        for (std::size_t i = 0; i < x.size(); ++i) {
            squares += std::pow(mapping(x[i]) - y[i], 2);
        }
        double before = mapping(mapping.low);
        for (int i = 1; i <= 1000; ++i) {
            const double value = mapping(mapping.low + (mapping.high - mapping.low) * i / 1000);
            EXPECT_GE(value, before - 1e-9);
            before = value;
        }
        // No other rising cubic of a coarse search is better.
        for (int a = 0; a <= 8; ++a) {
            for (int b = 0; b <= 8; ++b) {
                for (int c = 0; c <= 8; ++c) {
                    double sum = 0;
                    std::vector<double> other;
                    double mean = 0;
                    for (const double value : x) {
                        const double t = (value - mapping.low) / (mapping.high - mapping.low);
                        // Bernstein's polynomials of a derivative that is nowhere negative.
                        other.push_back(0.5 * (a * (t - t * t + t * t * t / 3) + b * (t * t - 2 * t * t * t / 3) +
                                               c * t * t * t / 3));
                    }
                    for (std::size_t i = 0; i < x.size(); ++i) {
                        mean += (y[i] - other[i]) / static_cast<double>(x.size());
                    }
                    for (std::size_t i = 0; i < x.size(); ++i) {
                        sum += std::pow(y[i] - other[i] - mean, 2);
                    }
                    EXPECT_GE(sum, squares - 1e-9);
                }
            }
        }
    }
}

TEST(MappedAgreement, FiguresByHand) {
    // Predictions equal the scores but for one that is 1 off among equal ones: the cubic goes through the means.
    const Values predicted = {0, 1, 2, 3, 4, 4};
    const Values scores = {0, 1, 2, 3, 4, 6};
    const MappedAgreement agreement = mappedAgreement(scores, predicted, Values(6, 0.5));
    double squares = 0;
    double beyond = 0;
    double outliers = 0;
    for (std::size_t i = 0; i < scores.size(); ++i) {
        const double error = std::abs(scores[i] - agreement.mapping(predicted[i]));
        squares += error * error;
        beyond += std::pow(std::max(0.0, error - 0.5), 2);
        outliers += error > 0.5 ? 1 : 0;
    }
    EXPECT_NEAR(agreement.rmse, std::sqrt(squares / 2), 1e-12) << "over 6 - 4 degrees of freedom";
    EXPECT_NEAR(agreement.rmseStar, std::sqrt(beyond / 2), 1e-12);
    EXPECT_NEAR(agreement.outlierRatio, outliers / 6, 1e-12);
    EXPECT_GT(outliers, 0);
    EXPECT_TRUE(std::isnan(mappedAgreement(scores, predicted).rmseStar));
}

TEST(OpinionInterval, IsStudentsOfTheMean) {
    EXPECT_NEAR(opinionInterval(2, 16), 2.131 * 2 / 4, 0.0005);
}

}  // namespace
}  // namespace likeness::testing
