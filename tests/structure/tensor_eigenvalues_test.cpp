#include "structure/tensor_eigenvalues.hpp"

#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#ifdef __aarch64__
#define SKIP_WHERE_THE_SOLVER_FUSES() GTEST_SKIP() << "on Arm the image library's solver has fused multiply-adds"
#else
#define SKIP_WHERE_THE_SOLVER_FUSES() static_cast<void>(0)
#endif

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

// The solver's on x86-64. On Arm the image library's own multiplies and adds in one rounding.
TEST(TensorEigenvalues, AreTheSameBitsOnEveryProcessor) {
    constexpr float entriesAndValues[][5] = {
        {-0x1.07e938p+9F, -0x1.97a952p+9F, -0x1.9dad58p+7F, 0x1.cfa36cp+8F, -0x1.2b932p+10F},
        {0x1.428d7ep+13F, -0x1.54b904p+16F, 0x1.67ea9p+19F, 0x1.6cf4c8p+19F, -0.0F},
        {61, -72, 313, 0x1.4c1ee2p+8F, 0x1.4f08ecp+5F},
        {-0x1.062a38p-101F, -0x1.e57398p+108F, 0x1.96d5cp+109F, 0x1.040e24p+110F, -0x1.c51a2ap+107F},
        {3, 5, 7, 0x1.4c5348p+3F, -0x1.8a68b6p-2F},
        {1, 0x1.a36e2ep-14F, 1, 0x1.00068cp+0F, 0x1.fff2e2p-1F}};
    for (const auto& [t00, t10, t11, greater, lesser] : entriesAndValues) {
        const Eigenvalues actual = symmetricEigenvalues(t00, t10, t11);
        EXPECT_EQ(actual.greater, greater) << t00;
        EXPECT_EQ(actual.lesser, lesser) << t00;
        EXPECT_EQ(std::signbit(actual.lesser), std::signbit(lesser)) << t00;
    }
}

TEST(TensorEigenvalues, AreTheSolversOnRandomMatrices) {
    SKIP_WHERE_THE_SOLVER_FUSES();
    std::mt19937 random(1);
    std::uniform_real_distribution<float> entry(-1000, 1000);
    for (int i = 0; i < matrices; ++i) {
        ASSERT_TRUE(agreesWithSolver(entry(random), entry(random), entry(random)));
    }
}

TEST(TensorEigenvalues, AreTheSolversOverTheRangeOfFloats) {
    SKIP_WHERE_THE_SOLVER_FUSES();
    std::mt19937 random(2);
    std::uniform_real_distribution<float> mantissa(-1, 1);
    std::uniform_int_distribution<int> exponent(-149, 127);
    const auto entry = [&] { return std::ldexp(mantissa(random), exponent(random)); };
    for (int i = 0; i < matrices; ++i) {
        ASSERT_TRUE(agreesWithSolver(entry(), entry(), entry()));
    }
}

TEST(TensorEigenvalues, AreTheSolversOnDegenerateTensors) {
    SKIP_WHERE_THE_SOLVER_FUSES();
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
    SKIP_WHERE_THE_SOLVER_FUSES();
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
