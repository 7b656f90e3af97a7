#include <likeness/color/opponent.hpp>

#include "reference/color_space_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

namespace likeness {
namespace {

cv::Vec2f opponentOf(float b, float g, float r) {
    cv::Mat bgr(1, 1, CV_32FC3, cv::Scalar(b, g, r));
    cv::Mat opp(1, 1, CV_32FC2);
    convertToSimpleOpponentSpace(bgr, opp);
    return opp.at<cv::Vec2f>(0, 0);
}

TEST(SimpleOpponentSpace, EqualsTheLiteralVersion) {
    for (const testing::NamedImage& image : testing::floatImages(3, 0, 1)) {
        SCOPED_TRACE(image.name);
        cv::Mat bgr = image.image;
        cv::Mat actual(bgr.size(), CV_32FC2);
        cv::Mat expected(bgr.size(), CV_32FC2);
        convertToSimpleOpponentSpace(bgr, actual);
        reference::convertToSimpleOpponentSpace(bgr, expected);
        EXPECT_MAT_EQUAL(actual, expected);
    }
}

TEST(SimpleOpponentSpace, TakesRedAgainstGreenAndYellowAgainstBlue) {
    // 0.6 - 0.4 and (0.6 + 0.4) / 2 - 0.2 in float.
    EXPECT_EQ(opponentOf(0.2F, 0.4F, 0.6F), cv::Vec2f(0.6F - 0.4F, 0.3F));
    EXPECT_EQ(opponentOf(0, 0, 1), cv::Vec2f(1, 0.5F));
    EXPECT_EQ(opponentOf(0, 1, 0), cv::Vec2f(-1, 0.5F));
    EXPECT_EQ(opponentOf(1, 0, 0), cv::Vec2f(0, -1));
    EXPECT_EQ(opponentOf(0.7F, 0.7F, 0.7F), cv::Vec2f(0, 0));
}

TEST(SimpleOpponentSpace, GivesTheColorBack) {
    // R and G follow from R - G and R + G = 2 (yellow + B). Three roundings of values below 2: 3 * 2^-24.
    const cv::Mat image = testing::randomImage({50, 40}, 3, 0, 1, 41);
    for (int i = 0; i < image.rows; ++i) {
        for (int j = 0; j < image.cols; ++j) {
            const auto& p = image.at<cv::Vec3f>(i, j);
            const cv::Vec2f o = opponentOf(p[0], p[1], p[2]);
            const double sum = 2.0 * (static_cast<double>(o[1]) + p[0]);
            EXPECT_NEAR((sum + o[0]) / 2, p[2], 0x3p-24);
            EXPECT_NEAR((sum - o[0]) / 2, p[1], 0x3p-24);
        }
    }
}

}  // namespace
}  // namespace likeness
