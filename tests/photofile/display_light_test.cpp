#include "photofile/display_light.hpp"

#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace likeness::testing {
namespace {

/// ITU-R BT.2020.
constexpr Chromaticities wide{0.3127, 0.3290, 0.708, 0.292, 0.170, 0.797, 0.131, 0.046};

cv::Vec3f lightOf(const cv::Vec3f& bgr, LightCurve light, const Chromaticities& chromaticities = wide) {
    return displayLight(cv::Mat(1, 1, CV_32FC3, cv::Scalar(cv::Vec3d(bgr))), light, chromaticities).at<cv::Vec3f>(0);
}

double nitsOfGrey(float signal, LightCurve light) {
    const cv::Vec3f value = lightOf(cv::Vec3f::all(signal), light);
    EXPECT_NEAR(value[0], value[1], 1e-5 * value[1]);
    EXPECT_EQ(value[1], value[2]);
    return double{value[1]} * referenceWhite;
}

// ITU-R BT.2408-5, table 1, has the signals in per cent of both curves.
TEST(DisplayLight, PqIsItsPrintedLuminances) {
    EXPECT_EQ(nitsOfGrey(0, LightCurve::pq), 0);
    EXPECT_NEAR(nitsOfGrey(1, LightCurve::pq), 10000, 0.01);
    EXPECT_NEAR(nitsOfGrey(0.508078F, LightCurve::pq), 100, 0.01);
    EXPECT_NEAR(nitsOfGrey(0.58F, LightCurve::pq), 203, 3);
    EXPECT_NEAR(nitsOfGrey(0.751827F, LightCurve::pq), 1000, 0.05);
    EXPECT_NEAR(nitsOfGrey(0.902572F, LightCurve::pq), 4000, 0.2);
    EXPECT_NEAR(nitsOfGrey(0.38F, LightCurve::pq), 26, 2);  // a grey card of 18 %
}

TEST(DisplayLight, HlgIsItsPrintedLuminances) {
    EXPECT_EQ(nitsOfGrey(0, LightCurve::hlg), 0);
    EXPECT_NEAR(nitsOfGrey(1, LightCurve::hlg), 1000, 0.01);
    EXPECT_NEAR(nitsOfGrey(0.75F, LightCurve::hlg), 203, 0.5);
    EXPECT_NEAR(nitsOfGrey(0.5F, LightCurve::hlg), 1000 * std::pow(1.0 / 12, 1.2), 0.01);
    EXPECT_NEAR(nitsOfGrey(0.38F, LightCurve::hlg), 26, 1);
    // The two branches meet.
    EXPECT_NEAR(nitsOfGrey(0.50001F, LightCurve::hlg), nitsOfGrey(0.49999F, LightCurve::hlg), 0.02);
}

TEST(DisplayLight, GammaOfHlgIsOverTheLuminance) {
    const cv::Vec3f red = lightOf({0, 0, 1}, LightCurve::hlg);
    EXPECT_EQ(red[0], 0);
    EXPECT_EQ(red[1], 0);
    EXPECT_NEAR(double{red[2]} * referenceWhite, 1000 * std::pow(0.2627, 0.2), 0.1);
    const cv::Vec3f ofSrgb = lightOf({0, 1, 0}, LightCurve::hlg, srgbChromaticities);
    EXPECT_NEAR(double{ofSrgb[1]} * referenceWhite, 1000 * std::pow(0.7152, 0.2), 0.1);
    // Colours of PQ are three numbers.
    EXPECT_EQ(lightOf({0, 1, 0}, LightCurve::pq)[1], lightOf({1, 1, 1}, LightCurve::pq)[1]);
}

TEST(DisplayLight, EveryDepthHasTheSameLight) {
    const cv::Mat bytes = randomPhotograph({37, 23}, 5);
    cv::Mat words;
    bytes.convertTo(words, CV_16U, 257);
    cv::Mat floats;
    bytes.convertTo(floats, CV_64F, 1.0 / 255);
    floats.convertTo(floats, CV_32F);
    for (const LightCurve light : {LightCurve::pq, LightCurve::hlg}) {
        const cv::Mat ofBytes = displayLight(bytes, light, wide);
        EXPECT_EQ(ofBytes.type(), CV_32FC3);
        EXPECT_MAT_EQUAL(displayLight(words, light, wide), ofBytes);
        EXPECT_MAT_NEAR(displayLight(floats, light, wide), ofBytes, Tolerance{.absolute = 1e-4});
        const int threads = cv::getNumThreads();
        cv::setNumThreads(1);
        EXPECT_MAT_EQUAL(displayLight(bytes, light, wide), ofBytes);
        cv::setNumThreads(threads);
        EXPECT_MAT_EQUAL(displayLight(words(cv::Rect(3, 4, 20, 10)), light, wide), ofBytes(cv::Rect(3, 4, 20, 10)));
        EXPECT_TRUE(displayLight(cv::Mat(0, 0, CV_16UC3), light, wide).empty());
    }
}

TEST(DisplayLight, WhatLiesOutsideIsTheNearerEnd) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const LightCurve light : {LightCurve::pq, LightCurve::hlg}) {
        EXPECT_EQ(lightOf({-1, -infinity, 0}, light), cv::Vec3f::all(0));
        EXPECT_EQ(lightOf({2, infinity, 1}, light), lightOf({1, 1, 1}, light));
        EXPECT_TRUE(std::isnan(lightOf({0.5F, nan, 0.5F}, light)[1]));
    }
}

}  // namespace
}  // namespace likeness::testing
