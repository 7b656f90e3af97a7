#include <likeness/color/white.hpp>

#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/correlated_color_temperature.hpp>
#include <likeness/color/lab.hpp>
#include "support/quiet_call.hpp"

#include <gtest/gtest.h>

namespace likeness {
namespace {

TEST(White, OfD65AndD50) {
    EXPECT_EQ(White::d65().xyz, cv::Vec3d(0.9505, 1, 1.0888));
    EXPECT_EQ(White::d50().xyz, cv::Vec3d(0.9642, 1, 0.8249));
    // CIE 015:2018, table 5: x = 0.3127, y = 0.3290 for D65 and x = 0.3457, y = 0.3585 for D50; 6504 K and 5003 K.
    EXPECT_NEAR(White::d65().chromaticity()[0], 0.3127, 5e-5);
    EXPECT_NEAR(White::d65().chromaticity()[1], 0.3290, 5e-5);
    EXPECT_NEAR(White::d50().chromaticity()[0], 0.3457, 5e-5);
    EXPECT_NEAR(White::d50().chromaticity()[1], 0.3585, 5e-5);
    EXPECT_NEAR(correlatedColorTemperature(White::d65().chromaticity()).kelvin, 6504, 4);
}

TEST(White, OfAColorHasTheBitsOfTheConversion) {
    cv::Mat expected(1, 1, CV_32FC3, cv::Scalar(0.8, 0.95, 1));
    convertBGRToXYZDirect(expected, expected);
    EXPECT_EQ(White::fromBgr({0.8, 0.95, 1}).xyz, cv::Vec3d(expected.at<cv::Vec3f>(0, 0)));
    testing::expectRefusal("bgr", "finite", [] { White::fromBgr({0, NAN, 1}); });
    testing::expectRefusal("bgr", "finite", [] { labWhiteFromBgr({0, 1, INFINITY}); });
}

TEST(White, OfAChromaticityHasY1) {
    const White white = White::fromChromaticity({0.25, 0.5});
    EXPECT_EQ(white.xyz, cv::Vec3d(0.5, 1, 0.5));
    EXPECT_EQ(white.chromaticity(), cv::Vec2d(0.25, 0.5));
    testing::expectRefusal("xy", "above 0", [] { White::fromChromaticity({0.3, 0}); });
    testing::expectRefusal("xy", "above 0", [] { White::fromChromaticity({0.3, -0.1}); });
    testing::expectRefusal("xy", "finite", [] { White::fromChromaticity({NAN, 0.3}); });
}

TEST(White, OfLabIsD50ForPlainWhite) {
    EXPECT_NEAR(cv::norm(labWhiteFromBgr().xyz - White::d50().xyz, cv::NORM_INF), 0, 4e-7);
    EXPECT_GT(cv::norm(labWhiteFromBgr().xyz - White::fromBgr({1, 1, 1}).xyz, cv::NORM_INF), 0.1);
}

}  // namespace
}  // namespace likeness
