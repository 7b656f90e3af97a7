#include <likeness/color/lms_lalphabeta.hpp>

#include "reference/color_space_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace likeness {
namespace {

using testing::floatImages;
using testing::NamedImage;
using testing::pixel;

template <typename Convert>
cv::Vec3f converted(Convert convert, cv::Mat from) {
    cv::Mat to(1, 1, CV_32FC3);
    convert(from, to);
    return to.at<cv::Vec3f>(0, 0);
}

void expectNear(const cv::Vec3f& actual, const cv::Vec3d& expected, double tolerance) {
    for (int c = 0; c < 3; ++c) {
        EXPECT_NEAR(actual[c], expected[c], tolerance) << c;
    }
}

template <typename Convert, typename Literal>
void expectLiteral(Convert convert, Literal literal, float low, float high) {
    std::vector<NamedImage> images = floatImages(3, low, high);
    for (const std::string& name : testing::examplePhotographNames()) {
        images.push_back({name, testing::exampleImage(name)});
    }
    for (const NamedImage& image : images) {
        SCOPED_TRACE(image.name);
        cv::Mat input = image.image.clone();
        cv::Mat actual(input.size(), CV_32FC3);
        cv::Mat expected(input.size(), CV_32FC3);
        cv::Mat view = image.image;
        convert(view, actual);
        literal(input, expected);
        EXPECT_MAT_EQUAL(actual, expected);
        EXPECT_MAT_EQUAL(view, input);
        convert(input, input);  // in place
        EXPECT_MAT_EQUAL(input, expected);
    }
}

TEST(LmsLalphabeta, EqualsTheLiteralVersion) {
    expectLiteral(convertBGRtoLMS, reference::convertBGRtoLMS, 0, 1);
    expectLiteral(convertLMStoLab, reference::convertLMStoLab, -6, 0);
    expectLiteral(convertLabtoLMS, reference::convertLabtoLMS, -3, 1);
    expectLiteral(convertLMStoBGR, reference::convertLMStoBGR, 0, 1);
}

TEST(LmsLalphabeta, BlackIsMinusSix) {
    EXPECT_EQ(converted(convertBGRtoLMS, pixel(0, 0, 0)), cv::Vec3f(-6, -6, -6));
    EXPECT_EQ(converted(convertBGRtoLMS, pixel(-0.0, -0.0, -0.0)), cv::Vec3f(-6, -6, -6));
    const cv::Vec3f lab = converted(convertLMStoLab, pixel(-6, -6, -6));
    EXPECT_NEAR(lab[0], -10.392305, 1e-6);  // -6 * sqrt 3; neighbouring floats are 9.5e-7 apart
    EXPECT_EQ(lab[1], 0);
    EXPECT_EQ(lab[2], 0);
}

TEST(LmsLalphabeta, OnlyAnExactZeroIsGuarded) {
    const cv::Vec3f negative = converted(convertBGRtoLMS, pixel(-0.1, -0.1, -0.1));
    const cv::Vec3f undefined = converted(convertBGRtoLMS, pixel(std::numeric_limits<double>::quiet_NaN(), 0, 0));
    for (int c = 0; c < 3; ++c) {
        EXPECT_TRUE(std::isnan(negative[c]));
        EXPECT_TRUE(std::isnan(undefined[c]));
    }
    EXPECT_LT(converted(convertBGRtoLMS, pixel(1e-9, 1e-9, 1e-9))[0], -10);
}

TEST(LmsLalphabeta, WhiteHasTheLogarithmsOfTheRowSums) {
    // log10 of 0.9996, 0.9993, 0.9973
    expectNear(converted(convertBGRtoLMS, pixel(1, 1, 1)), {-0.000173753, -0.000304113, -0.001174181}, 6e-8);
}

TEST(LmsLalphabeta, RedHasTheLogarithmsOfTheFirstColumn) {
    // log10 of 0.3811, 0.1967, 0.0241; l = sum / sqrt 3, alpha = (L + M - 2 S) / sqrt 6, beta = (L - M) / sqrt 2.
    const cv::Vec3f lms = converted(convertBGRtoLMS, pixel(0, 0, 1));
    expectNear(lms, {-0.418961, -0.706196, -1.617983}, 5e-7);
    expectNear(converted(convertLMStoLab, pixel(lms[0], lms[1], lms[2])), {-1.583752, 0.861734, 0.203106}, 1e-6);
}

TEST(LmsLalphabeta, TheWayToLmsUndoesTheLogarithmAndClips) {
    expectNear(converted(convertLabtoLMS, pixel(-std::sqrt(3.0), 0, 0)), {0.1, 0.1, 0.1}, 1e-7);
    // alpha counts once in L and M and minus twice in S, beta with opposite signs in L and M
    expectNear(converted(convertLabtoLMS, pixel(-3 * std::sqrt(3.0), std::sqrt(6.0), 0)), {0.01, 0.01, 0.00001}, 1e-8);
    expectNear(converted(convertLabtoLMS, pixel(-2 * std::sqrt(3.0), 0, std::sqrt(2.0))), {0.1, 0.001, 0.01}, 1e-7);
    EXPECT_EQ(converted(convertLabtoLMS, pixel(0.5, 0, 0)), cv::Vec3f(1, 1, 1));
    EXPECT_EQ(converted(convertLabtoLMS, pixel(0, 0, 0)), cv::Vec3f(1, 1, 1));
    EXPECT_EQ(converted(convertLabtoLMS, pixel(-1e6, 0, 0)), cv::Vec3f(0, 0, 0));
    EXPECT_EQ(converted(convertLabtoLMS, pixel(std::numeric_limits<double>::quiet_NaN(), 0, 0)), cv::Vec3f(0, 0, 0));
}

TEST(LmsLalphabeta, BgrIsNotClipped) {
    // Columns of the printed inverse: L gives R 4.4679, G -1.2186, B 0.0497.
    const cv::Vec3f bgr = converted(convertLMStoBGR, pixel(1, 0, 0));
    expectNear(bgr,
               {1.055 * std::pow(0.0497, 1 / 2.4) - 0.055, 12.92 * -1.2186, 1.055 * std::pow(4.4679, 1 / 2.4) - 0.055},
               2e-6);
}

TEST(LmsLalphabeta, TheSizeOfTheResultCounts) {
    const cv::Mat lms = testing::randomImage({9, 7}, 3, 0, 1, 42);
    cv::Mat smaller(4, 5, CV_32FC3);
    cv::Mat expected(4, 5, CV_32FC3);
    convertLMStoBGR(lms, smaller);
    reference::convertLMStoBGR(lms, expected);
    EXPECT_MAT_EQUAL(smaller, expected);
}

TEST(LmsLalphabeta, TheWholeRoadGivesTheColorBack) {
    // The product of the printed matrices is off the identity by up to 7.2e-3 (green's share of blue) in linear light;
    // at 0.3 the encoding is 2.0 times steeper than that, and steeper below, so darker colours are left out: 1.45e-2.
    // Swapped rows or a wrong scale are off by 0.1 and more.
    cv::Mat bgr = testing::randomImage({60, 50}, 3, 0.3F, 1, 43);
    cv::Mat image(bgr.size(), CV_32FC3);
    convertBGRtoLMS(bgr, image);
    convertLMStoLab(image, image);
    convertLabtoLMS(image, image);
    convertLMStoBGR(image, image);
    EXPECT_MAT_NEAR(image, bgr, {.absolute = 2e-2});
}

}  // namespace
}  // namespace likeness
