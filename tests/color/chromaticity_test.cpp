#include <likeness/color/chromaticity.hpp>

#include "reference/color_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace likeness {
namespace {

using testing::pixel;

TEST(Chromaticity, OfD65) {
    // CIE 015:2018: D65 has x = 0.3127, y = 0.3290.
    cv::Mat xy(1, 1, CV_32FC2);
    XYZtoxy(pixel(0.9505F, 1.0F, 1.0888F), xy);
    EXPECT_NEAR(xy.at<cv::Vec2f>(0, 0)[0], 0.3127, 5e-5);
    EXPECT_NEAR(xy.at<cv::Vec2f>(0, 0)[1], 0.3290, 5e-5);
}

TEST(Chromaticity, LeadsBackToTheTriple) {
    for (int i = 1; i < 50; ++i) {
        const cv::Mat xyz = testing::randomImage({1, 1}, 3, 0.05F, 1.0F, static_cast<std::uint64_t>(i));
        cv::Mat xy(1, 1, CV_32FC2);
        XYZtoxy(xyz, xy);
        cv::Mat back(1, 1, CV_32FC3);
        xytoXYZ(xy, xyz.at<cv::Vec3f>(0, 0)[1], back);
        // 1 - x - y loses up to a unit of 2^-24, which y of 0.02 or more magnifies by less than 50.
        EXPECT_MAT_NEAR(back, xyz, {.absolute = 50.0 * 0x1p-22});
    }
}

TEST(Chromaticity, PassesOnDivisionsByZero) {
    cv::Mat xy(1, 1, CV_32FC2);
    XYZtoxy(pixel(0, 0, 0), xy);
    EXPECT_TRUE(std::isnan(xy.at<cv::Vec2f>(0, 0)[0]));
    XYZtoxy(pixel(1, -1, 0), xy);
    EXPECT_TRUE(std::isinf(xy.at<cv::Vec2f>(0, 0)[0]));
    cv::Mat xyz(1, 1, CV_32FC3);
    xytoXYZ(cv::Mat(1, 1, CV_32FC2, cv::Scalar(0.3, 0)), 1.0F, xyz);
    EXPECT_TRUE(std::isinf(xyz.at<cv::Vec3f>(0, 0)[0]));
    EXPECT_EQ(xyz.at<cv::Vec3f>(0, 0)[1], 1.0F);
}

TEST(Chromaticity, IsTheLiteralVersion) {
    for (const auto& [name, image] : testing::floatImages(3, 0.0F, 1.0F)) {
        SCOPED_TRACE(name);
        for (int i = 0; i < image.rows; i += 3) {
            for (int j = 0; j < image.cols; j += 5) {
                const cv::Mat xyz = image(cv::Rect(j, i, 1, 1));
                cv::Mat actual(1, 1, CV_32FC2);
                cv::Mat expected(1, 1, CV_32FC2);
                XYZtoxy(xyz, actual);
                reference::XYZtoxy(xyz, expected);
                EXPECT_MAT_EQUAL(actual, expected);
                const float luminance = xyz.at<cv::Vec3f>(0, 0)[2];
                const cv::Mat xy =
                    cv::Mat(1, 1, CV_32FC2, cv::Scalar(xyz.at<cv::Vec3f>(0, 0)[0], xyz.at<cv::Vec3f>(0, 0)[1]));
                cv::Mat actualXyz(1, 1, CV_32FC3);
                cv::Mat expectedXyz(1, 1, CV_32FC3);
                xytoXYZ(xy, luminance, actualXyz);
                reference::xytoXYZ(xy, luminance, expectedXyz);
                EXPECT_MAT_EQUAL(actualXyz, expectedXyz);
            }
        }
    }
}

}  // namespace
}  // namespace likeness
