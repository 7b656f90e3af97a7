#include "structure/tensor_eigenvalues.hpp"

#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

namespace likeness {
namespace {

/// Holds the eigenvalues of one matrix to those of the general solver, to the last bit, sign of zero included.
::testing::AssertionResult agreesWithSolver(float t00, float t10, float t11) {
    const cv::Mat matrix = (cv::Mat_<float>(2, 2) << t00, t10, t10, t11);
    cv::Mat expected;
    cv::Mat vectors;
    if (!cv::eigen(matrix, expected, vectors)) {
        return ::testing::AssertionFailure() << "the solver gives up";
    }
    const Eigenvalues actual = symmetricEigenvalues(t00, t10, t11);
    const auto* const values = expected.ptr<float>();
    if (std::memcmp(&actual.greater, &values[0], sizeof(float)) == 0 &&
        std::memcmp(&actual.lesser, &values[1], sizeof(float)) == 0) {
        return ::testing::AssertionSuccess();
    }
    ::testing::AssertionResult failure = ::testing::AssertionFailure();
    failure << std::hexfloat << "[" << t00 << " " << t10 << "; " << t11 << "]: " << actual.greater << ", "
            << actual.lesser << ", expected " << values[0] << ", " << values[1];
    return failure;
}

constexpr int matrices = 50000;

TEST(TensorEigenvalues, ValuesByHand) {
    const Eigenvalues diagonal = symmetricEigenvalues(3, 0, 7);
    EXPECT_EQ(diagonal.greater, 7);
    EXPECT_EQ(diagonal.lesser, 3);
    const Eigenvalues exchange = symmetricEigenvalues(0, 2, 0);
    EXPECT_FLOAT_EQ(exchange.greater, 2);
    EXPECT_FLOAT_EQ(exchange.lesser, -2);
    const Eigenvalues golden = symmetricEigenvalues(1, 1, 0);
    EXPECT_FLOAT_EQ(golden.greater, 1.6180340F);
    EXPECT_FLOAT_EQ(golden.lesser, -0.61803399F);
}

TEST(TensorEigenvalues, AreTheSolversOnRandomMatrices) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> entry(-1000, 1000);
    for (int i = 0; i < matrices; ++i) {
        ASSERT_TRUE(agreesWithSolver(entry(random), entry(random), entry(random)));
    }
}

TEST(TensorEigenvalues, AreTheSolversOverTheRangeOfFloats) {
    std::mt19937 random(2);
    std::uniform_real_distribution<float> mantissa(-1, 1);
    std::uniform_int_distribution<int> exponent(-149, 127);
    const auto entry = [&] { return std::ldexp(mantissa(random), exponent(random)); };
    for (int i = 0; i < matrices; ++i) {
        ASSERT_TRUE(agreesWithSolver(entry(), entry(), entry()));
    }
}

TEST(TensorEigenvalues, AreTheSolversOnDegenerateTensors) {
    std::mt19937 random(3);
    std::uniform_real_distribution<float> gradient(-1000, 1000);
    std::uniform_int_distribution<int> shift(-30, 0);
    for (int i = 0; i < matrices; ++i) {
        const float x = gradient(random);
        const float y = gradient(random);
        ASSERT_TRUE(agreesWithSolver(x * x, x * y, y * y)) << "of rank one";
        ASSERT_TRUE(agreesWithSolver(x, std::ldexp(y, shift(random)), x)) << "with equal diagonal entries";
        const float nearly = x * (1.0F + std::ldexp(1.0F, shift(random)));
        ASSERT_TRUE(agreesWithSolver(x, std::ldexp(y, shift(random)), nearly)) << "with nearly equal ones";
    }
    constexpr float special[] = {0.0F,     -0.0F,    1.0F,          -1.0F,  1e-38F,  1e-45F,
                                 1.1e-38F, 1.2e-38F, 1.1920929e-7F, 1e-20F, 3.4e38F, -3.4e38F};
    for (const float t00 : special) {
        for (const float t10 : special) {
            for (const float t11 : special) {
                ASSERT_TRUE(agreesWithSolver(t00, t10, t11));
            }
        }
    }
}

TEST(TensorEigenvalues, AreTheSolversOnPhotographs) {
    for (const std::string& name : testing::examplePhotographNames()) {
        cv::Mat plane;
        cv::extractChannel(testing::exampleImage(name), plane, 1);
        cv::Mat x;
        cv::Mat y;
        cv::Sobel(plane * 255.0, x, CV_32F, 1, 0);
        cv::Sobel(plane * 255.0, y, CV_32F, 0, 1);
        cv::Mat entries[] = {x.mul(x), x.mul(y), y.mul(y)};
        for (cv::Mat& entry : entries) {
            cv::GaussianBlur(entry, entry, {3, 3}, 0);
        }
        for (int i = 0; i < plane.rows; i += 3) {
            for (int j = 0; j < plane.cols; j += 2) {
                ASSERT_TRUE(agreesWithSolver(entries[0].at<float>(i, j), entries[1].at<float>(i, j),
                                             entries[2].at<float>(i, j)))
                    << name;
            }
        }
    }
}

TEST(TensorEigenvalues, ANotFiniteEntryGivesNaN) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    for (const float bad : {nan, infinity, -infinity}) {
        for (const float other : {0.0F, 1.0F, nan, infinity}) {
            for (const Eigenvalues l : {symmetricEigenvalues(bad, other, 1), symmetricEigenvalues(1, other, bad),
                                        symmetricEigenvalues(1, bad, other), symmetricEigenvalues(0, other, bad)}) {
                EXPECT_TRUE(std::isnan(l.greater - l.lesser)) << bad << " " << other;
            }
        }
    }
}

}  // namespace
}  // namespace likeness
