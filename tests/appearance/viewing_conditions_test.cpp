#include <likeness/appearance/viewing_conditions.hpp>

#include "reference/appearance_reference.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace likeness {
namespace {

TEST(ViewingConditions, HaveTheValuesOfTheComparison) {
    EXPECT_NEAR(computeFl(20.0F), 0.464159, 5e-7);
    EXPECT_EQ(computeN(20.0F, 100.0F), 0.2F);
    EXPECT_NEAR(computeNcb(20.0F, 100.0F), 1.000304, 5e-7);
    EXPECT_NEAR(computeZ(20.0F, 100.0F), 1.927214, 5e-7);
    EXPECT_EQ(darkSurroundImpact, 0.525F);
    EXPECT_EQ(darkSurroundInduction, 0.8F);
}

TEST(ViewingConditions, AreTheLiteralVersions) {
    for (float luminance = 0.01F; luminance < 5000.0F; luminance *= 1.003F) {
        EXPECT_EQ(computeFl(luminance), reference::computeFl(luminance)) << luminance;
        EXPECT_EQ(computeN(luminance, 100.0F), reference::computeN(luminance, 100.0F)) << luminance;
        EXPECT_EQ(computeNcb(luminance, 100.0F), reference::computeNcb(luminance, 100.0F)) << luminance;
        EXPECT_EQ(computeZ(luminance, 100.0F), reference::computeZ(luminance, 100.0F)) << luminance;
    }
}

TEST(Background, IsAFifthOfTheMean) {
    cv::Mat plane(7, 9, CV_32F, cv::Scalar(100));
    EXPECT_EQ(computeYback(plane), 20.0F);
    plane = testing::withGaps(plane);
    EXPECT_EQ(computeYback(plane), 20.0F);
    plane = cv::Mat();
    EXPECT_TRUE(std::isnan(computeYback(plane)));
}

TEST(Background, AddsInFloatRowByRow) {
    for (const auto& [name, image] : testing::floatImages(1, 0.0F, 100.0F)) {
        cv::Mat plane = image;
        const float expected = reference::computeYback(plane);
        const float actual = computeYback(plane);
        EXPECT_TRUE(actual == expected || (std::isnan(actual) && std::isnan(expected))) << name;
    }
    // Once the sum is 2^24 the ones change nothing.
    cv::Mat plane(2, 4, CV_32F, cv::Scalar(1));
    plane.at<float>(0, 0) = 16'777'216.0F;
    EXPECT_EQ(computeYback(plane), 16'777'216.0F / 40.0F);
}

TEST(Background, OfAUniformWhiteDriftsWithItsSize) {
    const auto ofPlainLoop = [](std::int64_t pixels) {
        float sum = 0;
        for (std::int64_t i = 0; i < pixels; ++i) {
            sum += 100.0F;
        }
        return sum / static_cast<float>(pixels * 5);
    };
    for (const std::int64_t pixels : {1, 2, 255, 640 * 480, 671'088, 700'000, 1920 * 1080, 4000 * 3000, 30'000'000}) {
        EXPECT_EQ(backgroundOfUniformWhite(pixels, 100.0F), ofPlainLoop(pixels)) << pixels;
    }
    EXPECT_NEAR(backgroundOfUniformWhite(640 * 480, 100.0F), 20.0, 5e-3);
    EXPECT_NEAR(backgroundOfUniformWhite(1920 * 1080, 100.0F), 19.46, 5e-3);
    EXPECT_NEAR(backgroundOfUniformWhite(4000 * 3000, 100.0F), 22.68, 5e-3);
    // The sum stands still at 2^31, so the background falls with the number of pixels.
    EXPECT_EQ(backgroundOfUniformWhite(1'000'000'000, 100.0F), 2'147'483'648.0F / 5e9F);
}

TEST(Background, OfAUniformWhiteIsThatOfThePlane) {
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(640, 480), cv::Size(1201, 803)}) {
        cv::Mat plane(size, CV_32F, cv::Scalar(100));
        EXPECT_EQ(backgroundOfUniformWhite(size.area(), 100.0F), computeYback(plane)) << size;
    }
}

}  // namespace
}  // namespace likeness
