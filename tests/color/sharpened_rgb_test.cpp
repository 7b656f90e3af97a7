#include <likeness/color/sharpened_rgb.hpp>

#include "reference/color_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

namespace likeness {
namespace {

using testing::pixel;

TEST(SharpenedRgb, OfD65) {
    cv::Mat out(1, 1, CV_32FC3);
    convertXYZtoSharpenedBGR(pixel(0.9505F, 1.0F, 1.0888F), out);
    // Blue first. Half a unit of the seventh printed digit and the rounding of three float products.
    EXPECT_MAT_NEAR(out, pixel(1.0871774F, 1.0353699F, 0.9493053F), {.absolute = 2.5e-7});
}

TEST(SharpenedRgb, KeepsBlackAndNegativeComponents) {
    cv::Mat out(1, 1, CV_32FC3);
    convertXYZtoSharpenedBGR(pixel(0, 0, 0), out);
    EXPECT_MAT_EQUAL(out, pixel(0, 0, 0));
    convertXYZtoSharpenedBGR(pixel(1, 0, 0), out);
    EXPECT_MAT_EQUAL(out, pixel(0.003F, -0.7036F, 0.7328F));
}

TEST(SharpenedRgb, LeadsBackToXyz) {
    const cv::Mat xyz = testing::randomImage({40, 30}, 3, 0.0F, 1.0F, 1);
    cv::Mat sharpened(xyz.size(), CV_32FC3);
    convertXYZtoSharpenedBGR(xyz, sharpened);
    cv::Mat back(xyz.size(), CV_32FC3);
    convertSharpenedBGRtoXYZ(sharpened, back);
    EXPECT_MAT_NEAR(back, xyz, {.absolute = 1e-6});
}

TEST(SharpenedRgb, IsTheLiteralVersion) {
    for (const auto& [name, image] : testing::floatImages(3, 0.0F, 1.1F)) {
        SCOPED_TRACE(name);
        cv::Mat expected(image.size(), CV_32FC3);
        cv::Mat actual(image.size(), CV_32FC3);
        reference::convertXYZtoSharpenedBGR(image, expected);
        convertXYZtoSharpenedBGR(image, actual);
        EXPECT_MAT_EQUAL(actual, expected);
        cv::Mat inPlace = testing::withGaps(image);
        convertXYZtoSharpenedBGR(inPlace, inPlace);
        EXPECT_MAT_EQUAL(inPlace, expected);

        cv::Mat sharpened = image.clone();
        reference::convertSharpenedBGRtoXYZ(image, expected);
        convertSharpenedBGRtoXYZ(sharpened, actual);
        EXPECT_MAT_EQUAL(actual, expected);
        EXPECT_MAT_EQUAL(sharpened, image);
        convertSharpenedBGRtoXYZ(sharpened, sharpened);
        EXPECT_MAT_EQUAL(sharpened, expected);
    }
}

}  // namespace
}  // namespace likeness
