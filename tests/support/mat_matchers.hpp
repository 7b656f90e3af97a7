#pragma once

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

namespace likeness::testing {

/// How far an element may be off. An element passes when it satisfies one of the bounds.
struct Tolerance {
    double absolute = 0;
    double relative = 0;
};

/// Same size, type and bits, except that any NaN equals any NaN.
::testing::AssertionResult matsEqual(const char* actualText, const char* expectedText, const cv::Mat& actual,
                                     const cv::Mat& expected);

/// Same size and type, NaN and infinities in the same places, all else within the tolerance. For float and double.
::testing::AssertionResult matsNear(const cv::Mat& actual, const cv::Mat& expected, Tolerance tolerance);

/// Units in the last place between two floats; NaN against NaN is 0, NaN against a number a huge number.
std::int64_t ulpDistance(float a, float b);

}  // namespace likeness::testing

#define EXPECT_MAT_EQUAL(actual, expected) EXPECT_PRED_FORMAT2(::likeness::testing::matsEqual, actual, expected)
#define EXPECT_MAT_NEAR(actual, expected, ...) \
    EXPECT_TRUE(::likeness::testing::matsNear((actual), (expected), __VA_ARGS__))
