#include <likeness/color/lab.hpp>

#include "reference/color_space_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace likeness {
namespace {

using testing::floatImages;
using testing::NamedImage;
using testing::pixel;

cv::Vec3f labOf(double b, double g, double r, cv::Mat white = pixel(1, 1, 1)) {
    cv::Mat bgr = pixel(b, g, r);
    cv::Mat lab(1, 1, CV_32FC3);
    convertBGRToLab(bgr, white, lab);
    return lab.at<cv::Vec3f>(0, 0);
}

void expectNear(const cv::Vec3f& actual, const cv::Vec3d& expected, double tolerance) {
    for (int c = 0; c < 3; ++c) {
        EXPECT_NEAR(actual[c], expected[c], tolerance) << c;
    }
}

std::vector<NamedImage> images(float low, float high) {
    std::vector<NamedImage> result = floatImages(3, low, high);
    for (const std::string& name : testing::examplePhotographNames()) {
        result.push_back({name, testing::exampleImage(name)});
    }
    return result;
}

const std::vector<cv::Scalar> whites = {{1, 1, 1}, {0.9, 0.95, 1}, {0.3, 0.02, 0.6}, {0, 0.5, 0}};

TEST(Lab, WhiteTripleEqualsTheLiteralVersion) {
    for (const NamedImage& image : images(0, 1)) {
        SCOPED_TRACE(image.name);
        cv::Mat actual(1, 1, CV_32FC3);
        cv::Mat expected(1, 1, CV_32FC3);
        adaptXYZToNewWhitePoint(actual, image.image);
        reference::adaptXYZToNewWhitePoint(expected, image.image);
        EXPECT_MAT_EQUAL(actual, expected);
    }
}

TEST(Lab, EqualsTheLiteralVersion) {
    for (const NamedImage& image : images(0, 1)) {
        for (const cv::Scalar& white : whites) {
            SCOPED_TRACE(image.name);
            cv::Mat whiteColor(2, 3, CV_32FC3, white);
            cv::Mat bgr = image.image.clone();
            cv::Mat literalBgr = image.image.clone();
            cv::Mat lab(bgr.size(), CV_32FC3);
            cv::Mat literalLab(bgr.size(), CV_32FC3);
            convertBGRToLab(bgr, whiteColor, lab);
            reference::convertBGRToLab(literalBgr, whiteColor, literalLab);
            EXPECT_MAT_EQUAL(lab, literalLab);
            EXPECT_MAT_EQUAL(bgr, literalBgr);  // both hold linear values now
            cv::Mat inPlace = image.image.clone();
            convertBGRToLab(inPlace, whiteColor, inPlace);
            EXPECT_MAT_EQUAL(inPlace, literalLab);
        }
    }
}

TEST(Lab, TheWayBackEqualsTheLiteralVersion) {
    for (const NamedImage& image : images(-100, 100)) {
        for (const cv::Scalar& white : whites) {
            SCOPED_TRACE(image.name);
            const cv::Mat whiteColor(1, 1, CV_32FC3, white);
            cv::Mat actual(image.image.size(), CV_32FC3);
            cv::Mat expected(image.image.size(), CV_32FC3);
            convertLabToBGR(image.image, whiteColor, actual);
            reference::convertLabToBGR(image.image, whiteColor, expected);
            EXPECT_MAT_EQUAL(actual, expected);
            cv::Mat inPlace = image.image.clone();
            convertLabToBGR(inPlace, whiteColor, inPlace);
            EXPECT_MAT_EQUAL(inPlace, expected);
        }
    }
}

TEST(Lab, WhiteIsD50AndReadAtTheFirstPixelOnly) {
    cv::Mat bgrWhite(3, 3, CV_32FC3, cv::Scalar(0.1, 0.2, 0.3));
    bgrWhite.at<cv::Vec3f>(0, 0) = {1, 1, 1};
    cv::Mat white(2, 2, CV_32FC3, cv::Scalar(7, 7, 7));
    adaptXYZToNewWhitePoint(white, bgrWhite);
    expectNear(white.at<cv::Vec3f>(0, 0), {0.9642, 1.0, 0.8249}, 5e-6);
    EXPECT_EQ(white.at<cv::Vec3f>(1, 1), cv::Vec3f(7, 7, 7));
    // Red pairs with the first column: 0.64, 0.33, 0.2126 times 2.0154 (solved by hand from the three primaries).
    adaptXYZToNewWhitePoint(white, pixel(0, 0, 1));
    expectNear(white.at<cv::Vec3f>(0, 0), {1.289863, 0.665086, 0.428476}, 2e-5);
}

TEST(Lab, WhiteIsHundredUnderEveryWhite) {
    for (const cv::Scalar& white : {cv::Scalar(1, 1, 1), cv::Scalar(0.9, 0.95, 1), cv::Scalar(0.3, 0.2, 0.6)}) {
        expectNear(labOf(1, 1, 1, cv::Mat(1, 1, CV_32FC3, white)), {100, 0, 0}, 2e-4);
    }
}

TEST(Lab, PublishedAndHandComputedValues) {
    expectNear(labOf(0, 0, 0), {0, 0, 0}, 1e-6);
    expectNear(labOf(0.5, 0.5, 0.5), {53.389, 0, 0}, 5e-4);  // the well-known L* of half the sRGB scale
    // Y = 35937 / 195112 has L* = 50: (66 / 116)^3.
    const double encoded = 1.055 * std::pow(35937.0 / 195112.0, 1 / 2.4) - 0.055;
    expectNear(labOf(encoded, encoded, encoded), {50, 0, 0}, 1e-4);
    // The sRGB primaries with a white of D50, unadapted; from the defining equations in double.
    expectNear(labOf(0, 0, 1), {57.08691, 82.63572, 65.59661}, 2e-4);
    expectNear(labOf(0, 1, 0), {86.88842, -87.18704, 73.30095}, 2e-4);
    expectNear(labOf(1, 0, 0), {27.32234, 69.80172, -113.37166}, 2e-4);
}

TEST(Lab, VeryDarkColorsAreOnTheStraightLine) {
    // t = 0.008: f = (0.008 * 903.3 + 16) / 116, L* = 116 f - 16 = 7.2264.
    const double encoded = 1.055 * std::pow(0.008, 1 / 2.4) - 0.055;
    expectNear(labOf(encoded, encoded, encoded), {7.2264, 0, 0}, 2e-4);
    cv::Mat bgr(1, 1, CV_32FC3);
    convertLabToBGR(pixel(7.2264, 0, 0), pixel(1, 1, 1), bgr);
    expectNear(bgr.at<cv::Vec3f>(0, 0), {encoded, encoded, encoded}, 1e-6);
}

TEST(Lab, TheInputIsLeftLinear) {
    cv::Mat bgr = pixel(0.5, 0.04, 1);
    cv::Mat white = pixel(1, 1, 1);
    cv::Mat lab(1, 1, CV_32FC3);
    convertBGRToLab(bgr, white, lab);
    expectNear(bgr.at<cv::Vec3f>(0, 0), {0.21404114, 0.04 / 12.92, 1}, 1e-7);
}

TEST(Lab, EveryPixelOfTheWayBackHasTheSameWhite) {
    cv::Mat bgr(3, 4, CV_32FC3);
    convertLabToBGR(cv::Mat(3, 4, CV_32FC3, cv::Scalar(60, 10, -20)), pixel(0.9, 0.95, 1), bgr);
    cv::Mat one(1, 1, CV_32FC3);
    convertLabToBGR(pixel(60, 10, -20), pixel(0.9, 0.95, 1), one);
    for (int i = 0; i < bgr.rows; ++i) {
        for (int j = 0; j < bgr.cols; ++j) {
            EXPECT_EQ(bgr.at<cv::Vec3f>(i, j), one.at<cv::Vec3f>(0, 0));
        }
    }
}

TEST(Lab, TheWayBackClips) {
    cv::Mat bgr(1, 1, CV_32FC3);
    convertLabToBGR(pixel(130, 0, 0), pixel(1, 1, 1), bgr);
    EXPECT_EQ(bgr.at<cv::Vec3f>(0, 0), cv::Vec3f(1, 1, 1));
    convertLabToBGR(pixel(-5, 0, 0), pixel(1, 1, 1), bgr);
    EXPECT_EQ(bgr.at<cv::Vec3f>(0, 0), cv::Vec3f(0, 0, 0));
    convertLabToBGR(pixel(std::nan(""), 0, 0), pixel(1, 1, 1), bgr);
    EXPECT_EQ(bgr.at<cv::Vec3f>(0, 0), cv::Vec3f(0, 0, 0));
}

TEST(Lab, GivesTheColorBack) {
    cv::Mat bgr = testing::randomImage({80, 60}, 3, 0, 1, 45);
    const cv::Mat original = bgr.clone();
    cv::Mat white = pixel(0.9, 0.95, 1);
    cv::Mat lab(bgr.size(), CV_32FC3);
    convertBGRToLab(bgr, white, lab);
    cv::Mat back(bgr.size(), CV_32FC3);
    convertLabToBGR(lab, white, back);
    // Float rounding of L*, a*, b* (2^-17 of values up to 128), tripled by the cube and magnified by up to 12.92 by the
    // encoding of dark values.
    EXPECT_MAT_NEAR(back, original, {.absolute = 5e-5});
}

}  // namespace
}  // namespace likeness
