#include <likeness/transport/closed_form_map.hpp>

#include "reference/transport_reference.hpp"
#include "support/covariances.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using likeness::testing::randomCovariance;
using likeness::testing::relativeDifference;
using likeness::testing::symmetricWith;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

// The literal version works in float. With standard deviations no further apart than 1 : 5 its rounding, up to 4e-7
// times the condition of the covariance, stays below this; the smallest real bug seen is a wrong eigenvector, above
// 1e-2.
constexpr double agreement = 1e-4;

cv::Mat map(const cv::Mat& source, const cv::Mat& target) {
    cv::Mat T(source.size(), CV_32F);
    likeness::closedFormMatrix(source, target, T, source.rows);
    return T;
}

cv::Mat literalMap(const cv::Mat& source, const cv::Mat& target) {
    cv::Mat T(source.size(), CV_32F);
    likeness::reference::closedFormMatrix(source, target, T, source.rows);
    return T;
}

cv::Mat root(const cv::Mat& matrix) {
    cv::Mat R(matrix.size(), CV_32F);
    likeness::matrixSquareRoot(matrix, R, matrix.rows);
    return R;
}

cv::Mat diagonal(const std::vector<float>& values) {
    return cv::Mat::diag(cv::Mat(values).clone());
}

cv::Mat square(std::initializer_list<float> values) {
    const int n = values.size() == 4 ? 2 : 3;
    return cv::Mat(std::vector<float>(values), true).reshape(1, n);
}

cv::Mat allNaN(int n) {
    return {n, n, CV_32F, cv::Scalar(nan)};
}

class OfDimension : public ::testing::TestWithParam<int> {
protected:
    cv::RNG random{static_cast<std::uint64_t>(GetParam())};
};

INSTANTIATE_TEST_SUITE_P(Map, OfDimension, ::testing::Values(2, 3));

TEST(Dot, IsTheFloatProductInTheOrderOfTheColumns) {
    for (const int n : {1, 2, 3, 4}) {
        const cv::Mat A = likeness::testing::randomImage({n, n}, 1, -1e4F, 1e4F, 1);
        const cv::Mat B = likeness::testing::randomImage({n, n}, 1, -1e4F, 1e4F, 2);
        cv::Mat actual(n, n, CV_32F, cv::Scalar(7));
        cv::Mat expected(n, n, CV_32F);
        likeness::dot(A, B, actual);
        likeness::reference::dot(A, B, expected);
        EXPECT_MAT_EQUAL(actual, expected);
    }
    // 1e8 + 1 is 1e8 in float: the other order would give 1.
    cv::Mat product(3, 3, CV_32F);
    likeness::dot(square({1e8F, 1, -1e8F, 0, 0, 0, 0, 0, 0}), cv::Mat::ones(3, 3, CV_32F), product);
    EXPECT_EQ(product.at<float>(0, 0), 0.0F);
}

TEST(MatrixSquareRoot, OfKnownMatrices) {
    // Eigenvalues 3 and 1: (sqrt(3) + 1) / 2 and (sqrt(3) - 1) / 2.
    EXPECT_MAT_NEAR(root(square({2, 1, 1, 2})), square({1.3660254F, 0.3660254F, 0.3660254F, 1.3660254F}),
                    {.absolute = 1e-7});
    EXPECT_MAT_EQUAL(root(diagonal({4, 9, 2.25F})), diagonal({2, 3, 1.5F}));
    EXPECT_MAT_EQUAL(root(cv::Mat::zeros(3, 3, CV_32F)), cv::Mat::zeros(3, 3, CV_32F));
}

TEST(MatrixSquareRoot, TakesNegativeEigenvaluesAsZero) {
    EXPECT_MAT_EQUAL(root(diagonal({4, -9, 0})), diagonal({2, 0, 0}));
    // Eigenvalues 1 and -1.
    EXPECT_MAT_NEAR(root(square({0, 1, 1, 0})), square({0.5F, 0.5F, 0.5F, 0.5F}), {.absolute = 1e-7});
}

TEST_P(OfDimension, SquareRootAgreesWithTheLiteralOneAndSquaresToTheMatrix) {
    for (int i = 0; i < 200; ++i) {
        const cv::Mat A = randomCovariance(GetParam(), 0.5, 20, random);
        const cv::Mat R = root(A);
        cv::Mat literal(A.size(), CV_32F);
        likeness::reference::matrixSquareRoot(A, literal, A.rows);
        EXPECT_LE(relativeDifference(R, literal), agreement);
        EXPECT_LE(relativeDifference(R * R, A), 1e-6);  // three products of rounded elements
        cv::Mat inPlace = A.clone();
        likeness::matrixSquareRoot(inPlace, inPlace, A.rows);
        EXPECT_MAT_EQUAL(inPlace, R);
    }
}

TEST_P(OfDimension, SquareRootOfNaNOrInfinityIsNaN) {
    const int n = GetParam();
    for (const float value : {nan, infinity, -infinity}) {
        for (int i = 0; i < n * n; ++i) {
            cv::Mat A = cv::Mat::eye(n, n, CV_32F);
            A.at<float>(i / n, i % n) = value;
            EXPECT_MAT_EQUAL(root(A), allNaN(n));
        }
    }
}

TEST_P(OfDimension, AgreesWithTheLiteralMap) {
    for (int i = 0; i < 500; ++i) {
        const cv::Mat source = randomCovariance(GetParam(), 6, 30, random);
        const cv::Mat target = randomCovariance(GetParam(), 2, 10, random);
        const cv::Mat T = map(source, target);
        EXPECT_LE(relativeDifference(T, literalMap(source, target)), agreement);
        EXPECT_LE(relativeDifference(T, likeness::reference::closedFormMatrixInDouble(source, target)), 1e-7);
    }
}

TEST_P(OfDimension, AgreesWithTheLiteralMapBelowTheFloor) {
    for (int i = 0; i < 500; ++i) {
        // Part of the variances below 7.5, or all of them, as those of images in 0..1 are.
        const double most = i % 2 == 0 ? 4 : 0.3;
        const cv::Mat source = randomCovariance(GetParam(), 0.1, most, random);
        const cv::Mat target = randomCovariance(GetParam(), 2, 10, random);
        EXPECT_LE(relativeDifference(map(source, target), literalMap(source, target)), agreement);
    }
}

TEST_P(OfDimension, AgreesWithTheLiteralMapOfDiagonalCovariances) {
    const int n = GetParam();
    for (int i = 0; i < 200; ++i) {
        std::vector<float> s;
        std::vector<float> t;
        for (int k = 0; k < n; ++k) {
            s.push_back(random.uniform(0.0F, 300.0F));
            t.push_back(i % 3 == 0 && k == 1 ? 0.0F : random.uniform(0.0F, 300.0F));
        }
        const cv::Mat T = map(diagonal(s), diagonal(t));
        EXPECT_LE(relativeDifference(T, literalMap(diagonal(s), diagonal(t))), agreement);
        for (int k = 0; k < n; ++k) {
            const auto at = static_cast<std::size_t>(k);
            EXPECT_FLOAT_EQ(T.at<float>(k, k), std::sqrt(t[at] / std::max(s[at], 7.5F)));
        }
    }
}

TEST_P(OfDimension, AgreesWithTheLiteralMapOfTargetsWithANegativeEigenvalue) {
    for (int i = 0; i < 500; ++i) {
        std::vector<double> eigenvalues(static_cast<std::size_t>(GetParam()), 60);
        eigenvalues[0] = random.uniform(-200.0, -20.0);
        const cv::Mat target = symmetricWith(eigenvalues, random);
        const cv::Mat source = randomCovariance(GetParam(), 10, 15, random);
        EXPECT_LE(relativeDifference(map(source, target), literalMap(source, target)), agreement);
    }
}

// A direction without variance in the target leaves the middle product an eigenvalue of 0, which a float evaluation
// finds to 1e-7 of the largest one, and its root to the root of that, 3e-4. So the map is held against the evaluation
// in double, and the literal one only to what its rounding allows.
TEST_P(OfDimension, MapsToSingularTargetsMoreExactlyThanTheLiteralOne) {
    const auto count = static_cast<std::size_t>(GetParam());
    for (std::size_t rank = 0; rank < count; ++rank) {
        for (int i = 0; i < 100; ++i) {
            std::vector<double> eigenvalues(count, 0);
            std::fill_n(eigenvalues.begin(), rank, 80.0);
            const cv::Mat target = symmetricWith(eigenvalues, random);
            const cv::Mat source = randomCovariance(GetParam(), 10, 15, random);
            const cv::Mat T = map(source, target);
            EXPECT_LE(relativeDifference(T, likeness::reference::closedFormMatrixInDouble(source, target)), 2e-7);
            EXPECT_LE(relativeDifference(T, literalMap(source, target)), 4e-3);
        }
    }
}

TEST_P(OfDimension, SourceOfZerosIsFlooredToTheTargetOver7Point5) {
    const int n = GetParam();
    const cv::Mat target = randomCovariance(n, 3, 10, random);
    const cv::Mat T = map(cv::Mat::zeros(n, n, CV_32F), target);
    EXPECT_LE(relativeDifference(T * T * 7.5, target), 1e-6);
    EXPECT_LE(relativeDifference(T, literalMap(cv::Mat::zeros(n, n, CV_32F), target)), agreement);
    EXPECT_MAT_NEAR(map(cv::Mat::zeros(n, n, CV_32F), cv::Mat::eye(n, n, CV_32F) * 30), cv::Mat::eye(n, n, CV_32F) * 2,
                    {.absolute = 1e-6});
}

TEST(ClosedFormMatrix, RaisesVariancesBelow7Point5Only) {
    const cv::Mat target = diagonal({30, 30, 30});
    EXPECT_MAT_NEAR(map(diagonal({7.4F, 7.5F, 7.6F}), target), diagonal({2, 2, 1.9867985F}), {.absolute = 1e-6});
    // Covariances stay: with the floor the correlation is 3 / 7.5.
    EXPECT_LE(relativeDifference(map(square({1, 3, 3, 1}), square({40, 5, 5, 20})),
                                 map(square({7.5F, 3, 3, 7.5F}), square({40, 5, 5, 20}))),
              0);
}

TEST(ClosedFormMatrix, MapsADirectionWithoutVarianceToZero) {
    // Eigenvalues 30 along (1, 1) and -10, taken as 0: sqrt(30 * 100) / 30 / 2 in every element.
    const cv::Mat source = square({10, 20, 20, 10});
    const cv::Mat target = diagonal({100, 100});
    const cv::Mat T = map(source, target);
    EXPECT_MAT_NEAR(T, cv::Mat(2, 2, CV_32F, cv::Scalar(0.91287093)), {.absolute = 1e-6});
    EXPECT_LE(relativeDifference(T, literalMap(source, target)), agreement);

    // The same beside a third channel of its own.
    const cv::Mat third = map(square({10, 20, 0, 20, 10, 0, 0, 0, 25}), diagonal({100, 100, 100}));
    EXPECT_MAT_NEAR(third, square({0.91287093F, 0.91287093F, 0, 0.91287093F, 0.91287093F, 0, 0, 0, 2}),
                    {.absolute = 1e-6});
}

TEST(ClosedFormMatrix, KeepsTheHugeMapOfANearlySingularSource) {
    // Variance 199.999 along (1, 1) and 0.00099945 across: stretched by sqrt(100 / 199.999) and sqrt(100 / 0.00099945).
    const cv::Mat T = map(square({100, 99.999F, 99.999F, 100}), diagonal({100, 100}));
    const float same = (316.31466F + 0.70710855F) / 2;
    const float other = (0.70710855F - 316.31466F) / 2;
    EXPECT_MAT_NEAR(T, square({same, other, other, same}), {.relative = 1e-5});
}

// Sources this flat are factored by their eigenvectors; those a little less flat, by their triangular factor.
TEST_P(OfDimension, OfFlatSourcesIsTheMapInDouble) {
    for (const double least : {1e-2, 1e-3, 3e-4, 1e-4, 3e-5}) {
        for (int i = 0; i < 50; ++i) {
            std::vector<double> eigenvalues(static_cast<std::size_t>(GetParam()), 400);
            eigenvalues[0] = least;
            const cv::Mat source = symmetricWith(eigenvalues, random);
            const cv::Mat target = randomCovariance(GetParam(), 2, 10, random);
            EXPECT_LE(
                relativeDifference(map(source, target), likeness::reference::closedFormMatrixInDouble(source, target)),
                1e-7);
        }
    }
}

TEST_P(OfDimension, NaNOrInfinityInACovarianceMakesTheMapNaN) {
    const int n = GetParam();
    const cv::Mat good = cv::Mat::eye(n, n, CV_32F) * 10;
    for (const float value : {nan, infinity, -infinity}) {
        for (int i = 0; i < n * n; ++i) {
            cv::Mat bad = good.clone();
            bad.at<float>(i / n, i % n) = value;
            EXPECT_MAT_EQUAL(map(bad, good), allNaN(n));
            EXPECT_MAT_EQUAL(map(good, bad), allNaN(n));
        }
    }
}

TEST_P(OfDimension, StaysFiniteForTheLargestAndSmallestCovariances) {
    const int n = GetParam();
    const cv::Mat one = cv::Mat::eye(n, n, CV_32F);
    EXPECT_MAT_NEAR(map(one * 1e38F, one * 1e38F), one, {.absolute = 1e-6});
    EXPECT_MAT_NEAR(map(one, one * 7.5e-38F), one * 1e-19F, {.relative = 1e-5});
}

TEST_P(OfDimension, EqualCovariancesGiveTheIdentity) {
    for (int i = 0; i < 100; ++i) {
        const cv::Mat covariance = randomCovariance(GetParam(), 3, 30, random);
        // Rounded once from double; the literal version is off by 1e-4 here for a condition of 100.
        EXPECT_MAT_NEAR(map(covariance, covariance), cv::Mat::eye(GetParam(), GetParam(), CV_32F), {.absolute = 1e-6});
    }
}

TEST_P(OfDimension, IsSymmetricPositiveAndCarriesTheCovarianceOver) {
    for (int i = 0; i < 100; ++i) {
        const cv::Mat source = randomCovariance(GetParam(), 6, 30, random);
        const cv::Mat target = randomCovariance(GetParam(), 2, 20, random);
        const cv::Mat T = map(source, target);
        EXPECT_MAT_EQUAL(T, cv::Mat(T.t()));
        cv::Mat eigenvalues;
        cv::eigen(T, eigenvalues);
        EXPECT_GT(eigenvalues.at<float>(GetParam() - 1), 0);
        // The rounding of T's elements, 6e-8, times the condition of the source, 25, and the number of products.
        EXPECT_LE(relativeDifference(T * source * T, target), 2e-5);
    }
}

TEST_P(OfDimension, TheMapBackIsTheInverse) {
    for (int i = 0; i < 100; ++i) {
        const cv::Mat source = randomCovariance(GetParam(), 6, 20, random);
        const cv::Mat target = randomCovariance(GetParam(), 6, 20, random);
        EXPECT_MAT_NEAR(cv::Mat(map(source, target) * map(target, source)),
                        cv::Mat::eye(GetParam(), GetParam(), CV_32F), {.absolute = 2e-6});
    }
}

TEST_P(OfDimension, WritesIntoOneOfItsInputs) {
    const cv::Mat source = randomCovariance(GetParam(), 6, 20, random);
    const cv::Mat target = randomCovariance(GetParam(), 6, 20, random);
    cv::Mat overSource = source.clone();
    cv::Mat overTarget = target.clone();
    likeness::closedFormMatrix(overSource, target, overSource, GetParam());
    likeness::closedFormMatrix(source, overTarget, overTarget, GetParam());
    EXPECT_MAT_EQUAL(overSource, map(source, target));
    EXPECT_MAT_EQUAL(overTarget, map(source, target));
}

TEST(ClosedFormMatrix, RefusesOtherDimensions) {
    cv::Mat matrix = cv::Mat::eye(4, 4, CV_32F);
    for (const int n : {0, 1, 4}) {
        EXPECT_THROW(likeness::closedFormMatrix(matrix, matrix, matrix, n), cv::Exception);
        EXPECT_THROW(likeness::matrixSquareRoot(matrix, matrix, n), cv::Exception);
    }
}

}  // namespace
