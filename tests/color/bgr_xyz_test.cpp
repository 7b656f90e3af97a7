#include <likeness/color/bgr_xyz.hpp>

#include "reference/color_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace likeness {
namespace {

using testing::pixel;

cv::Mat d65() {
    return pixel(0.9505F, 1.0F, 1.0888F);
}

TEST(RgbToXyzMatrix, HasRowsThatSumToTheWhite) {
    for (const cv::Mat& given : {d65(), pixel(1.0985F, 1.0F, 0.3558F), pixel(0.2F, 0.5F, 0.9F)}) {
        cv::Mat white = given.clone();
        cv::Mat M(5, 2, CV_8U);  // replaced, whatever it was
        getRGBtoXYZMatrix(white, M);
        ASSERT_EQ(M.size(), cv::Size(3, 3));
        ASSERT_EQ(M.type(), CV_32F);
        for (int row = 0; row < 3; ++row) {
            EXPECT_NEAR(M.at<float>(row, 0) + M.at<float>(row, 1) + M.at<float>(row, 2), given.at<cv::Vec3f>(0, 0)[row],
                        1e-6);
        }
        EXPECT_MAT_EQUAL(white, given);
        cv::Mat expected;
        reference::getRGBtoXYZMatrix(white, expected);
        EXPECT_MAT_EQUAL(M, expected);
    }
}

TEST(RgbToXyzMatrix, IsThatOfTheStandardForD65) {
    cv::Mat white = d65();
    cv::Mat M;
    getRGBtoXYZMatrix(white, M);
    // IEC 61966-2-1 prints four decimals.
    EXPECT_MAT_NEAR(
        M, (cv::Mat_<float>(3, 3) << 0.4124F, 0.3576F, 0.1805F, 0.2126F, 0.7152F, 0.0722F, 0.0193F, 0.1192F, 0.9505F),
        {.absolute = 5e-4});
}

TEST(RgbToXyzMatrix, DoesNotWriteIntoAMatrixThatIsShared) {
    cv::Mat white = d65();
    const cv::Mat other = cv::Mat::zeros(3, 3, CV_32F);
    cv::Mat M = other;
    getRGBtoXYZMatrix(white, M);
    EXPECT_MAT_EQUAL(other, cv::Mat::zeros(3, 3, CV_32F));
}

TEST(BgrToXyz, TakesWhiteToTheWhite) {
    cv::Mat white = d65();
    cv::Mat bgr = pixel(1, 1, 1);
    cv::Mat xyz(1, 1, CV_32FC3);
    convertBGRtoXYZ(bgr, white, xyz);
    EXPECT_MAT_NEAR(xyz, d65(), {.absolute = 1e-6});
}

TEST(BgrToXyz, LeavesTheInputLinear) {
    cv::Mat white = d65();
    cv::Mat bgr = pixel(0.5F, 0.04F, 1);
    cv::Mat xyz(1, 1, CV_32FC3);
    convertBGRtoXYZ(bgr, white, xyz);
    EXPECT_NEAR(bgr.at<cv::Vec3f>(0, 0)[0], 0.21404, 5e-6);
    EXPECT_NEAR(bgr.at<cv::Vec3f>(0, 0)[1], 0.04 / 12.92, 1e-9);
    EXPECT_FLOAT_EQ(bgr.at<cv::Vec3f>(0, 0)[2], 1.0F);
}

TEST(BgrToXyzDirect, TakesWhiteToTheRowSums) {
    cv::Mat bgr = pixel(1, 1, 1);
    cv::Mat xyz(1, 1, CV_32FC3);
    convertBGRToXYZDirect(bgr, xyz);
    EXPECT_MAT_NEAR(xyz, pixel(0.950467F, 0.9999996F, 1.0889694F), {.absolute = 2e-7});
    EXPECT_MAT_EQUAL(bgr, pixel(1, 1, 1));
    convertXYZToBGRDirect(xyz, bgr);
    EXPECT_MAT_NEAR(bgr, pixel(1, 1, 1), {.absolute = 2e-6});
}

TEST(XyzToBgr, ClipsOnlyUnderAWhite) {
    cv::Mat white = d65();
    cv::Mat outside(1, 2, CV_32FC3);
    outside.at<cv::Vec3f>(0, 0) = {0.0F, 1.0F, 0.0F};  // greener than the green primary
    outside.at<cv::Vec3f>(0, 1) = {2.0F, 2.0F, 2.0F};
    cv::Mat clipped(1, 2, CV_32FC3);
    convertXYZtoBGR(outside, white, clipped);
    EXPECT_EQ(clipped.at<cv::Vec3f>(0, 0), cv::Vec3f(0, 1, 0));
    EXPECT_EQ(clipped.at<cv::Vec3f>(0, 1), cv::Vec3f(1, 1, 1));
    cv::Mat open(1, 2, CV_32FC3);
    convertXYZToBGRDirect(outside, open);
    EXPECT_LT(open.at<cv::Vec3f>(0, 0)[0], 0.0F);
    EXPECT_GT(open.at<cv::Vec3f>(0, 0)[1], 1.0F);
    EXPECT_LT(open.at<cv::Vec3f>(0, 0)[2], 0.0F);
    EXPECT_GT(open.at<cv::Vec3f>(0, 1)[0], 1.0F);
}

TEST(XyzToBgr, MakesBlackOfNaN) {
    cv::Mat white = d65();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    cv::Mat bgr(1, 1, CV_32FC3);
    convertXYZtoBGR(pixel(nan, nan, nan), white, bgr);
    EXPECT_MAT_EQUAL(bgr, pixel(0, 0, 0));
}

TEST(XyzToBgr, LeadsBackToEveryColor) {
    cv::Mat white = d65();
    const cv::Mat original = testing::randomImage({50, 40}, 3, 0.0F, 1.0F, 6);
    cv::Mat bgr = original.clone();
    cv::Mat xyz(original.size(), CV_32FC3);
    convertBGRtoXYZ(bgr, white, xyz);
    convertXYZtoBGR(xyz, white, bgr);
    // The slope of the transfer function near black magnifies rounding by 12.92.
    EXPECT_MAT_NEAR(bgr, original, {.absolute = 2e-5});
    convertBGRToXYZDirect(bgr, xyz);
    cv::Mat back(original.size(), CV_32FC3);
    convertXYZToBGRDirect(xyz, back);
    EXPECT_MAT_NEAR(back, bgr, {.absolute = 2e-5});
}

std::vector<testing::NamedImage> images() {
    auto all = testing::floatImages(3, 0.0F, 1.0F);
    all.push_back({"cat", testing::exampleImage("cat.jpg")});
    return all;
}

TEST(BgrToXyz, IsTheLiteralVersion) {
    cv::Mat white = pixel(0.9642F, 1.0F, 0.8251F);
    for (const auto& [name, image] : images()) {
        SCOPED_TRACE(name);
        cv::Mat bgr = image.clone();
        cv::Mat xyz(image.size(), CV_32FC3);
        convertBGRtoXYZ(bgr, white, xyz);
        cv::Mat expectedBgr = image.clone();
        cv::Mat expectedXyz(image.size(), CV_32FC3);
        reference::convertBGRtoXYZ(expectedBgr, white, expectedXyz);
        EXPECT_MAT_EQUAL(bgr, expectedBgr);
        EXPECT_MAT_EQUAL(xyz, expectedXyz);
        cv::Mat gaps = testing::withGaps(image);
        convertBGRtoXYZ(gaps, white, xyz);
        EXPECT_MAT_EQUAL(gaps, expectedBgr);
        EXPECT_MAT_EQUAL(xyz, expectedXyz);
    }
}

TEST(XyzToBgr, IsTheLiteralVersion) {
    cv::Mat white = pixel(0.9642F, 1.0F, 0.8251F);
    for (const auto& [name, image] : images()) {
        SCOPED_TRACE(name);
        cv::Mat actual(image.size(), CV_32FC3);
        cv::Mat expected(image.size(), CV_32FC3);
        convertXYZtoBGR(image, white, actual);
        reference::convertXYZtoBGR(image, white, expected);
        EXPECT_MAT_EQUAL(actual, expected);
    }
}

TEST(BgrToXyzDirect, IsTheLiteralVersion) {
    for (const auto& [name, image] : images()) {
        SCOPED_TRACE(name);
        cv::Mat bgr = image.clone();
        cv::Mat actual(image.size(), CV_32FC3);
        cv::Mat expected(image.size(), CV_32FC3);
        convertBGRToXYZDirect(bgr, actual);
        reference::convertBGRToXYZDirect(image, expected);
        EXPECT_MAT_EQUAL(actual, expected);
        EXPECT_MAT_EQUAL(bgr, image);
        cv::Mat inPlace = testing::withGaps(image);
        convertBGRToXYZDirect(inPlace, inPlace);
        EXPECT_MAT_EQUAL(inPlace, expected);

        cv::Mat xyz = image.clone();
        convertXYZToBGRDirect(xyz, actual);
        reference::convertXYZToBGRDirect(image, expected);
        EXPECT_MAT_EQUAL(actual, expected);
        EXPECT_MAT_EQUAL(xyz, image);
        inPlace = testing::withGaps(image);
        convertXYZToBGRDirect(inPlace, inPlace);
        EXPECT_MAT_EQUAL(inPlace, expected);
    }
}

}  // namespace
}  // namespace likeness
