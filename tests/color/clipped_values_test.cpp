#include <likeness/color/clipped_values.hpp>

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <limits>
#include <stdexcept>
#include <vector>

namespace likeness {
namespace {

void expectCounts(const ClippedValues& actual, std::int64_t pixels, std::int64_t below, std::int64_t above) {
    EXPECT_EQ(actual.pixels, pixels);
    EXPECT_EQ(actual.below, below);
    EXPECT_EQ(actual.above, above);
}

TEST(ClippedValues, OfBgrCountsValuesAndPixels) {
    cv::Mat bgr(2, 3, CV_32FC3, cv::Scalar(0, 0.5, 1));
    expectCounts(clippedValuesOfBgr(bgr), 0, 0, 0);
    bgr.at<cv::Vec3f>(0, 1) = {-0.001F, 1.5F, 1.001F};
    bgr.at<cv::Vec3f>(1, 2) = {0, std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()};
    expectCounts(clippedValuesOfBgr(bgr), 2, 1, 3);
    expectCounts(clippedValuesOfBgr(bgr, 0.002F), 2, 0, 2);
}

TEST(ClippedValues, OfLabAreNoneInWhatAPictureHolds) {
    // Corners, edges and faces of the cube of 8-bit colours, where the conversions' errors could leave it.
    cv::Mat bgr(52 * 52, 52, CV_32FC3);
    for (int i = 0; i < bgr.rows; ++i) {
        for (int j = 0; j < bgr.cols; ++j) {
            bgr.at<cv::Vec3f>(i, j) =
                cv::Vec3f(static_cast<float>(i / 52), static_cast<float>(i % 52), static_cast<float>(j)) / 51.0F;
        }
    }
    cv::Mat lab;
    cv::cvtColor(bgr, lab, cv::COLOR_BGR2Lab);
    expectCounts(clippedValuesOfLab(lab), 0, 0, 0);
}

TEST(ClippedValues, OfLabAreTheColoursOutsideSrgb) {
    cv::Mat lab(1, 4, CV_32FC3);
    lab.at<cv::Vec3f>(0, 0) = {50, 0, 0};
    lab.at<cv::Vec3f>(0, 1) = {110, 0, 0};    // lighter than white: all three
    lab.at<cv::Vec3f>(0, 2) = {-10, 0, 0};    // darker than black
    lab.at<cv::Vec3f>(0, 3) = {50, 0, -120};  // a blue: R below 0 and B above 1
    const ClippedValues clipped = clippedValuesOfLab(lab);
    EXPECT_EQ(clipped.pixels, 3);
    EXPECT_GE(clipped.above, 4);
    EXPECT_GE(clipped.below, 3);
}

TEST(ClippedValues, BroughtToLimitsAreThoseThatWereElsewhere) {
    cv::Mat before(1, 3, CV_32FC3, cv::Scalar(0, 0.5, 1));
    cv::Mat after = before.clone();
    expectCounts(valuesBroughtToLimits(before, after), 0, 0, 0);
    after.at<cv::Vec3f>(0, 0) = {1, 1, 1};
    after.at<cv::Vec3f>(0, 2) = {0, 0, 0.9F};
    expectCounts(valuesBroughtToLimits(before, after), 2, 1, 2);
}

TEST(ClippedValues, AtLimitsOfFloatsAndBytes) {
    const cv::Mat floats(2, 2, CV_32FC3, cv::Scalar(0, 0.5, 1));
    expectCounts(valuesAtLimits(floats), 4, 4, 4);
    const cv::Mat bytes(1, 3, CV_8UC3, cv::Scalar(1, 254, 255));
    expectCounts(valuesAtLimits(bytes), 3, 0, 3);
    expectCounts(valuesAtLimits(cv::Mat(1, 3, CV_8UC3, cv::Scalar(1, 254, 7))), 0, 0, 0);
}

TEST(ClippedValues, AreOfTheStatedTypesAlone) {
    const cv::Mat floats(3, 4, CV_32FC3, cv::Scalar::all(0));
    const std::vector<int> cube{3, 4, 5};
    const std::vector<cv::Mat> others{cv::Mat(3, 4, CV_16UC3), cv::Mat(3, 4, CV_64FC3), cv::Mat(3, 4, CV_32FC1),
                                      cv::Mat(3, 4, CV_8UC1), cv::Mat(cube, CV_32FC3)};
    for (const cv::Mat& other : others) {
        EXPECT_THROW(clippedValuesOfBgr(other), std::invalid_argument);
        EXPECT_THROW(clippedValuesOfLab(other), std::invalid_argument);
        EXPECT_THROW(valuesAtLimits(other), std::invalid_argument);
        EXPECT_THROW(valuesBroughtToLimits(other, floats), std::invalid_argument);
        EXPECT_THROW(valuesBroughtToLimits(floats, other), std::invalid_argument);
    }
    EXPECT_THROW(clippedValuesOfBgr(cv::Mat(3, 4, CV_8UC3)), std::invalid_argument);
    EXPECT_THROW(valuesBroughtToLimits(floats.colRange(0, 3), floats), std::invalid_argument);
    EXPECT_THROW(valuesBroughtToLimits({}, floats), std::invalid_argument);
    expectCounts(valuesBroughtToLimits({}, {}), 0, 0, 0);
    expectCounts(clippedValuesOfBgr({}), 0, 0, 0);
    expectCounts(clippedValuesOfLab({}), 0, 0, 0);
    expectCounts(valuesAtLimits({}), 0, 0, 0);
}

}  // namespace
}  // namespace likeness
