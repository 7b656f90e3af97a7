#include <likeness/adaptation/d65_adaptation.hpp>

#include "adaptation/adaptation_steps.hpp"
#include "reference/adaptation_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace likeness {
namespace {

using testing::pixel;

constexpr double degreeAt20 = 0.6471822;  // D(20)
const cv::Scalar sharpenedD65(1.0871774, 1.0353699, 0.9493053);

/// White images that fit the images of floatImages: the same kinds of values in other places.
cv::Mat whiteFor(const cv::Mat& image, std::uint64_t seed) {
    cv::Mat white = testing::randomImage(image.size(), 3, 0.05F, 1.2F, seed);
    white.at<cv::Vec3f>(0, 0) = {0.0F, -1e-6F, 1e-7F};
    if (image.total() > 4) {
        const float nan = std::numeric_limits<float>::quiet_NaN();
        white.at<cv::Vec3f>(image.rows - 1, image.cols - 1) = {-0.5F, nan, std::numeric_limits<float>::infinity()};
    }
    return white;
}

std::vector<testing::NamedImage> images() {
    auto all = testing::floatImages(3, 0.0F, 1.1F);
    all.push_back({"coffee", testing::exampleImage("coffee.jpg")});
    return all;
}

TEST(D65Adaptation, LeavesAnImageThatWasSeenUnderD65) {
    cv::Mat white(21, 13, CV_32FC3, sharpenedD65);
    const cv::Mat original = testing::randomImage(white.size(), 3, 0.0F, 1.0F, 1);
    cv::Mat img = original.clone();
    cv::Mat spare;
    iCAMCATByD65(img, white, spare);
    // The guard of 1e-6 alone takes away D * 1e-6 / 0.949.
    EXPECT_MAT_NEAR(img, original, {.absolute = 1.2e-6});
}

TEST(D65Adaptation, MixesAnImageThatIsItsOwnWhite) {
    cv::Mat img = testing::randomImage({20, 10}, 3, 0.1F, 1.0F, 2);
    const cv::Mat original = img.clone();
    cv::Mat spare;
    iCAMCATByD65(img, img, spare);
    for (int c = 0; c < 3; ++c) {
        cv::Mat actual;
        cv::Mat before;
        cv::extractChannel(img, actual, c);
        cv::extractChannel(original, before, c);
        const cv::Mat expected = before * (1 - degreeAt20) + cv::Scalar(degreeAt20 * sharpenedD65[c]);
        EXPECT_MAT_NEAR(actual, expected, {.absolute = 1e-5});
    }
}

TEST(D65Adaptation, KeepsBlackThatIsItsOwnWhite) {
    cv::Mat img(3, 2, CV_32FC3, cv::Scalar::all(0));
    cv::Mat spare;
    iCAMCATByD65(img, img, spare);
    EXPECT_MAT_EQUAL(img, cv::Mat::zeros(3, 2, CV_32FC3));
}

TEST(D65Adaptation, IsUndoneByItsInverse) {
    const cv::Mat original = testing::randomImage({33, 22}, 3, -0.2F, 1.2F, 3);
    cv::Mat white = testing::randomImage({33, 22}, 3, 0.1F, 1.2F, 4);
    cv::Mat img = original.clone();
    cv::Mat spare;
    iCAMCATByD65(img, white, spare);
    inverseCATByD65(img, white, spare);
    EXPECT_MAT_NEAR(img, original, {.absolute = 1e-9, .relative = 2e-7});
}

TEST(D65Adaptation, IsTheLiteralVersion) {
    for (const auto& [name, image] : images()) {
        SCOPED_TRACE(name);
        const cv::Mat given = whiteFor(image, 5);
        cv::Mat white = given.clone();
        cv::Mat spare = image.clone();
        cv::Mat expected = image.clone();
        reference::iCAMCATByD65(expected, white);
        cv::Mat actual = image.clone();
        iCAMCATByD65(actual, white, spare);
        EXPECT_MAT_EQUAL(actual, expected);
        EXPECT_MAT_EQUAL(white, given);
        EXPECT_MAT_EQUAL(spare, image);
        actual = testing::withGaps(image);
        iCAMCATByD65(actual, white, spare);
        EXPECT_MAT_EQUAL(actual, expected);

        expected = image.clone();
        reference::inverseCATByD65(expected, white);
        actual = image.clone();
        inverseCATByD65(actual, white, spare);
        EXPECT_MAT_EQUAL(actual, expected);
        EXPECT_MAT_EQUAL(white, given);

        expected = image.clone();
        reference::iCAMCATByD65(expected, expected);
        actual = image.clone();
        iCAMCATByD65(actual, actual, spare);
        EXPECT_MAT_EQUAL(actual, expected);
    }
}

TEST(D65Adaptation, OfOneWhiteIsThatOfAnImageOfIt) {
    const cv::Vec3f white(0.7F, 0.9F, 1.1F);
    for (const auto& [name, image] : images()) {
        SCOPED_TRACE(name);
        cv::Mat whites(image.size(), CV_32FC3, cv::Scalar(cv::Vec3d(white)));
        cv::Mat spare = image.clone();
        cv::Mat expected = image.clone();
        iCAMCATByD65(expected, whites, spare);
        cv::Mat actual = image.clone();
        scaleToD65(actual, white);
        EXPECT_MAT_EQUAL(actual, expected);
        expected = image.clone();
        inverseCATByD65(expected, whites, spare);
        actual = image.clone();
        scaleFromD65(actual, white);
        EXPECT_MAT_EQUAL(actual, expected);
    }
}

TEST(D65Adaptation, WritesAWhiteOfMinusTheGuardThrough) {
    cv::Mat white = pixel(-1e-6F, 1, 1);
    cv::Mat img = pixel(1, 1, 1);
    cv::Mat spare;
    iCAMCATByD65(img, white, spare);
    // The float nearest to -1e-6 is not -1e-6: the quotient is huge, as in the literal version, instead of infinite.
    EXPECT_GT(std::abs(img.at<cv::Vec3f>(0, 0)[0]), 1e10F);
}

TEST(InverseCat, RaisesSmallSourceWhitesInPlace) {
    cv::Mat adapted = pixel(0.5F, 0.5F, 0.5F);
    cv::Mat target = pixel(1, 1, 1);
    cv::Mat source = pixel(0, -0.25F, 0.5F);
    cv::Mat out = adapted.clone();
    inverseCAT(adapted, target, source, out);
    EXPECT_EQ(source.at<cv::Vec3f>(0, 0)[0], 1e-6F);
    EXPECT_EQ(source.at<cv::Vec3f>(0, 0)[1], static_cast<float>(-0.25 + 1e-6));
    EXPECT_EQ(source.at<cv::Vec3f>(0, 0)[2], 0.5F);
    EXPECT_GT(out.at<cv::Vec3f>(0, 0)[0], 0.0F);
    EXPECT_LT(out.at<cv::Vec3f>(0, 0)[0], 1e-5F);
}

TEST(InverseCat, LeavesNaNInTheSourceWhite) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    cv::Mat adapted = pixel(0.5F, 0.5F, 0.5F);
    cv::Mat target = pixel(1, 1, 1);
    cv::Mat source = pixel(nan, 1, 1);
    cv::Mat out = adapted.clone();
    inverseCAT(adapted, target, source, out);
    EXPECT_TRUE(std::isnan(source.at<cv::Vec3f>(0, 0)[0]));
    EXPECT_TRUE(std::isnan(out.at<cv::Vec3f>(0, 0)[0]));
    EXPECT_FALSE(std::isnan(out.at<cv::Vec3f>(0, 0)[1]));
}

TEST(InverseCat, LeavesAnImageUnderOneWhite) {
    cv::Mat adapted = testing::randomImage({12, 9}, 3, 0.1F, 1.0F, 6);
    cv::Mat white = testing::randomImage({12, 9}, 3, 0.5F, 1.0F, 7);
    cv::Mat source = white.clone();
    cv::Mat out = adapted.clone();
    inverseCAT(adapted, white, source, out);
    EXPECT_MAT_NEAR(out, adapted, {.relative = 2e-7});
}

TEST(InverseCat, IsTheLiteralVersion) {
    for (const auto& [name, image] : images()) {
        SCOPED_TRACE(name);
        const cv::Mat given = whiteFor(image, 8);
        const cv::Mat scene = testing::randomImage(image.size(), 3, 0.0F, 1.0F, 9);
        cv::Mat adapted = image.clone();
        cv::Mat target = testing::randomImage(image.size(), 3, 0.5F, 1.2F, 10);
        cv::Mat expectedSource = given.clone();
        cv::Mat expected = scene.clone();
        reference::inverseCAT(adapted, target, expectedSource, expected);
        cv::Mat source = given.clone();
        cv::Mat actual = scene.clone();
        inverseCAT(adapted, target, source, actual);
        EXPECT_MAT_EQUAL(actual, expected);
        EXPECT_MAT_EQUAL(source, expectedSource);
        EXPECT_MAT_EQUAL(adapted, image);

        source = testing::withGaps(given);
        expectedSource = given.clone();
        expected = image.clone();
        cv::Mat same = image.clone();
        reference::inverseCAT(adapted, target, expectedSource, expected);
        inverseCAT(same, target, source, same);
        EXPECT_MAT_EQUAL(same, expected);
        EXPECT_MAT_EQUAL(source, expectedSource);
    }
}

}  // namespace
}  // namespace likeness
