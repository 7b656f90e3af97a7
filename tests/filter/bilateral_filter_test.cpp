#include "filter/bilateral_filter.hpp"

#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <limits>

namespace likeness {
namespace {

/// Random values of which some hundred are NaN, the extremes between them.
cv::Mat withHoles(int channels) {
    cv::Mat image = testing::randomImage({53, 31}, channels, 180, 370, 7);
    const cv::Mat holes = testing::randomImage({53, 31}, 1, 0, 1, 8);
    for (int i = 0; i < image.rows; ++i) {
        for (int j = 0; j < image.cols; ++j) {
            if (holes.at<float>(i, j) < 0.6F) {
                image.ptr<float>(i)[channels * j + j % channels] = std::numeric_limits<float>::quiet_NaN();
            }
        }
    }
    return image;
}

TEST(BilateralFilter, IsTheImageLibrarysWhereThatKeepsToItsTable) {
    for (const int channels : {1, 3}) {
        for (const cv::Mat& image : {testing::randomImage({53, 31}, channels, -3, 40, 1),
                                     cv::Mat(testing::randomImage({53, 31}, channels, 0, 250, 2).clone())}) {
            cv::Mat actual;
            bilateralFilter(image, actual, 5, 7, 40);
            cv::Mat expected;
            cv::bilateralFilter(image, expected, 5, 7, 40);
            EXPECT_MAT_EQUAL(actual, expected);
        }
    }
    cv::Mat bytes = testing::randomPhotograph({20, 10}, 3);
    cv::Mat actual;
    bilateralFilter(bytes, actual, 5, 7, 40);
    cv::Mat expected;
    cv::bilateralFilter(bytes, expected, 5, 7, 40);
    EXPECT_MAT_EQUAL(actual, expected);
}

#if defined(__x86_64__)
TEST(BilateralFilter, IsTheImageLibrarysOfHolesOnThisProcessor) {
    for (const int channels : {1, 3}) {
        const cv::Mat image = withHoles(channels);
        cv::Mat actual;
        bilateralFilter(image, actual, 5, 7, 40);
        cv::Mat expected;
        cv::bilateralFilter(image, expected, 5, 7, 40);
        EXPECT_MAT_EQUAL(actual, expected);
    }
}
#endif

// The library interpolates in a table of 4096 entries over the range: 190 / 4096 of a sigma of 7, squared over 8, bounds
// the error of a weight by 6e-6, that of a mean of values up to 370 within 190 of each other by about 1e-3.
TEST(BilateralFilter, ByDefinitionIsTheImageLibrarysButForItsTable) {
    for (const int channels : {1, 3}) {
        const cv::Mat whole = testing::randomImage({53, 31}, channels, 180, 370, 9);
        for (const auto& [diameter, sigma] : {std::pair(5, 7.0), std::pair(-1, 30.0), std::pair(1, 7.0)}) {
            cv::Mat actual;
            bilateralFilterByDefinition(whole, actual, diameter, sigma, 2);
            cv::Mat expected;
            cv::bilateralFilter(whole, expected, diameter, sigma, 2);
            EXPECT_MAT_NEAR(actual, expected, {.absolute = 1e-3});
        }
    }
}

TEST(BilateralFilter, NaNDoesNotCount) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const cv::Mat row = (cv::Mat_<float>(1, 5) << 1, nan, 3, nan, nan);
    for (const auto filter : {bilateralFilter, bilateralFilterByDefinition}) {
        cv::Mat result;
        filter(row, result, 3, 1000, 1);
        EXPECT_NEAR(result.at<float>(0), 1, 1e-6);  // above and below it the mirrored row, beside it nothing
        EXPECT_NEAR(result.at<float>(1), 2, 1e-6);
        EXPECT_NEAR(result.at<float>(2), 3, 1e-6);
        EXPECT_NEAR(result.at<float>(3), 3, 1e-6);
        EXPECT_TRUE(std::isnan(result.at<float>(4)));
    }
}

TEST(BilateralFilter, StaysBetweenTheExtremesAndGivesTheSameAgain) {
    for (const int channels : {1, 3}) {
        const cv::Mat image = withHoles(channels);
        cv::Mat first;
        bilateralFilter(image, first, 5, 7, 40);
        for (int i = 0; i < first.rows; ++i) {
            for (int k = 0; k < channels * first.cols; ++k) {
                const float value = first.ptr<float>(i)[k];
                EXPECT_TRUE(std::isnan(value) || (value > 179.9F && value < 370.1F)) << value;
            }
        }
        cv::Mat again;
        bilateralFilter(image.clone(), again, 5, 7, 40);
        EXPECT_MAT_EQUAL(again, first);
        cv::Mat defined;
        bilateralFilterByDefinition(image, defined, 5, 7, 40);
        EXPECT_MAT_NEAR(first, defined, {.absolute = 1e-3});
    }
}

}  // namespace
}  // namespace likeness
