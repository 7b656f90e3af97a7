#include <likeness/exposure/durand_tone_mapping.hpp>

#include "reference/exposure_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace likeness {
namespace {

/// Made radiance over six decades, with a pixel of 0.
cv::Mat radianceMap() {
    cv::Mat radiance = testing::randomImage({61, 43}, 3, -7, 7, 5);
    for (int i = 0; i < radiance.rows; ++i) {
        for (int j = 0; j < radiance.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                float& value = radiance.at<cv::Vec3f>(i, j)[c];
                value = std::exp(value);
            }
        }
    }
    radiance.at<cv::Vec3f>(7, 9) = {0, 0, 0};
    return radiance;
}

TEST(ToneMapDurand, IsItsLiteralVersion) {
    for (const cv::Mat& radiance :
         {radianceMap(), testing::withGaps(radianceMap()), testing::exampleImage("cat.jpg")}) {
        cv::Mat actual;
        cv::Mat expected;
        toneMapDurand(radiance, actual);
        reference::toneMapDurand(radiance, expected);
        EXPECT_MAT_EQUAL(actual, expected);
    }
}

TEST(ToneMapDurand, TakesItsParameters) {
    cv::Mat actual;
    cv::Mat expected;
    toneMapDurand(radianceMap(), actual, {1.8F, 3.0F, 0.7F, 1.5F, 0.4F});
    reference::toneMapDurand(radianceMap(), expected, 1.8F, 3.0F, 0.7F, 1.5F, 0.4F);
    EXPECT_MAT_EQUAL(actual, expected);
}

TEST(ToneMapDurand, MayWorkInPlaceAndLeavesItsInputOtherwise) {
    const cv::Mat radiance = radianceMap();
    cv::Mat expected;
    toneMapDurand(radiance, expected);
    EXPECT_MAT_EQUAL(radiance, radianceMap());
    cv::Mat image = radianceMap();
    toneMapDurand(image, image);
    EXPECT_MAT_EQUAL(image, expected);
}

TEST(ToneMapDurand, ScaleOfTheRadianceDoesNotMatter) {
    cv::Mat once;
    cv::Mat scaled;
    toneMapDurand(radianceMap(), once);
    toneMapDurand(radianceMap() * 4, scaled);
    EXPECT_MAT_EQUAL(scaled, once);
}

// Three greys, too far apart in the logarithm for a narrow bilateral filter to mix them: the base is the logarithm.
// Normalised they are 0, 0.000999 and 1, with the logarithms log(1e-4) = -9.21034 (floored), -6.9088 and 0.
TEST(ToneMapDurand, BrightGoesToOneAndTheRangeOfTheBaseToTheContrast) {
    cv::Mat radiance(24, 24, CV_32FC3, cv::Scalar::all(2));
    radiance.colRange(12, 24).setTo(cv::Scalar::all(10));
    radiance.at<cv::Vec3f>(0, 0) = {1.992F, 1.992F, 1.992F};
    cv::Mat mapped;
    toneMapDurand(radiance, mapped, {2.2F, 4, 1, 2, 0.1F});
    EXPECT_NEAR((mapped.at<cv::Vec3f>(12, 20)[0]), 1, 1e-5);
    // exp(-6.9088 * 4 / 9.21034)^(1 / 2.2)
    EXPECT_NEAR((mapped.at<cv::Vec3f>(12, 3)[0]), 0.2557, 5e-4);
    EXPECT_EQ((mapped.at<cv::Vec3f>(0, 0)[0]), 0);  // luminance 0: the quotient of channel and luminance is 0
}

TEST(ToneMapDurand, WeighsChannelZeroByTheWeightOfRed) {
    cv::Mat radiance = radianceMap();
    radiance.at<cv::Vec3f>(3, 3) = {1e4F, 0, 0};  // the greatest: normalised to 1, luminance 0.299
    cv::Mat mapped;
    toneMapDurand(radiance, mapped, {1, 4, 1, 2, 1e-3F});
    // A narrow filter leaves each pixel by itself: base = log luminance, and with the scale s = 4 / range the channel
    // is 1 / 0.299 * 0.299^s. The range is from log(1e-4), the pixel of 0, to log(0.299) where nothing is brighter.
    const double s = 4 / (std::log(0.299) - std::log(1e-4));
    EXPECT_NEAR((mapped.at<cv::Vec3f>(3, 3)[0]), std::pow(0.299, s) / 0.299, 2e-3);
    EXPECT_EQ((mapped.at<cv::Vec3f>(3, 3)[1]), 0);
}

TEST(ToneMapDurand, FlatRadianceIsDegenerate) {
    cv::Mat mapped;
    // Not normalised; base log(0.5) < 0 times an infinite scale: exp(-inf) = 0.
    toneMapDurand(cv::Mat(9, 9, CV_32FC3, cv::Scalar::all(0.5)), mapped);
    EXPECT_MAT_EQUAL(mapped, cv::Mat(9, 9, CV_32FC3, cv::Scalar::all(0)));
    // Base log(1) = 0 times an infinite scale.
    toneMapDurand(cv::Mat(9, 9, CV_32FC3, cv::Scalar::all(1)), mapped);
    EXPECT_TRUE(std::isnan(mapped.at<cv::Vec3f>(4, 4)[1]));
}

}  // namespace
}  // namespace likeness
