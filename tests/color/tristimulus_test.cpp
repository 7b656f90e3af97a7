#include <likeness/color/tristimulus.hpp>

#include <likeness/color/bgr_xyz.hpp>
#include "support/mat_matchers.hpp"

#include <gtest/gtest.h>

namespace likeness::testing {
namespace {

TEST(Tristimulus, SrgbWhiteIsTheSumOfTheMatrix) {
    EXPECT_NEAR(srgbWhite().x, 95.0467, 1e-12);
    EXPECT_NEAR(srgbWhite().y, 99.99996, 1e-12);
    EXPECT_NEAR(srgbWhite().z, 108.89694, 1e-12);
}

TEST(Tristimulus, AgreesWithTheImages) {
    for (const cv::Vec3d& rgb : {cv::Vec3d(0.2, 0.5, 0.9), cv::Vec3d(0.01, 0, 1), cv::Vec3d(0.5, 0.5, 0.5)}) {
        cv::Mat bgr(1, 1, CV_32FC3, cv::Scalar(rgb[2], rgb[1], rgb[0]));
        cv::Mat image(1, 1, CV_32FC3);
        convertBGRToXYZDirect(bgr, image);
        const Xyz xyz = xyzFromSrgb(rgb);
        const auto& pixel = image.at<cv::Vec3f>(0, 0);
        EXPECT_NEAR(pixel[0] * 100, xyz.x, 1e-4);
        EXPECT_NEAR(pixel[1] * 100, xyz.y, 1e-4);
        EXPECT_NEAR(pixel[2] * 100, xyz.z, 1e-4);
        const cv::Vec3d back = srgbFromXyz(xyz);
        for (int c = 0; c < 3; ++c) {
            EXPECT_NEAR(back[c], rgb[c], 1e-7);  // the thresholds of the curve do not quite meet
        }
    }
}

TEST(Tristimulus, ChromaticityGoesBothWays) {
    const Xyz color = xyzOfChromaticity({0.3127, 0.3290}, 50);
    EXPECT_EQ(color.y, 50);
    EXPECT_NEAR(chromaticityOf(color).x, 0.3127, 1e-15);
    EXPECT_NEAR(chromaticityOf(color).y, 0.3290, 1e-15);
}

}  // namespace
}  // namespace likeness::testing
