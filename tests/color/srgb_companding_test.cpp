#include <likeness/color/srgb_companding.hpp>

#include "reference/color_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace likeness {
namespace {

TEST(SrgbCompanding, ComparesThresholdsInDouble) {
    // The float nearest to 0.0031308 lies above that double, the float nearest to 0.04045 below it.
    EXPECT_GT(static_cast<double>(0.0031308F), 0.0031308);
    EXPECT_EQ(sRGBCompanding(0.0031308F),
              static_cast<float>(1.055 * std::pow(static_cast<double>(0.0031308F), 1 / 2.4) - 0.055));
    EXPECT_NEAR(sRGBCompanding(0.0031308F), 0.0404499, 5e-8);
    EXPECT_LT(static_cast<double>(0.04045F), 0.04045);
    EXPECT_EQ(sRGBInverseCompanding(0.04045F), static_cast<float>(static_cast<double>(0.04045F) / 12.92));
    EXPECT_NEAR(sRGBInverseCompanding(0.04045F), 0.0031308, 5e-8);
}

TEST(SrgbCompanding, KeepsZeroAndOne) {
    EXPECT_EQ(sRGBCompanding(0.0F), 0.0F);
    EXPECT_EQ(sRGBInverseCompanding(0.0F), 0.0F);
    EXPECT_FLOAT_EQ(sRGBCompanding(1.0F), 1.0F);
    EXPECT_FLOAT_EQ(sRGBInverseCompanding(1.0F), 1.0F);
    EXPECT_NEAR(sRGBInverseCompanding(0.5F), 0.21404114, 5e-8);
}

TEST(SrgbCompanding, IsStraightBelowZeroAndOpenAboveOne) {
    EXPECT_EQ(sRGBCompanding(-2.0F), -25.84F);
    EXPECT_EQ(sRGBInverseCompanding(-12.92F), static_cast<float>(static_cast<double>(-12.92F) / 12.92));
    EXPECT_GT(sRGBCompanding(2.0F), 1.3F);
    EXPECT_GT(sRGBInverseCompanding(2.0F), 4.0F);
    EXPECT_TRUE(std::isnan(sRGBCompanding(std::numeric_limits<float>::quiet_NaN())));
    EXPECT_TRUE(std::isnan(sRGBInverseCompanding(std::numeric_limits<float>::quiet_NaN())));
}

cv::Mat mapped(const cv::Mat& image, float (*function)(float)) {
    cv::Mat result(image.size(), image.type());
    for (int i = 0; i < image.rows; ++i) {
        for (int j = 0; j < image.cols; ++j) {
            result.at<float>(i, j) = function(image.at<float>(i, j));
        }
    }
    return result;
}

TEST(SrgbCompanding, OfRowsAndOfScalarsIsTheLiteralVersion) {
    auto images = testing::floatImages(1, 0.0F, 1.0F);
    images.push_back({"dense", testing::randomImage({100'000, 1}, 1, 0.0F, 1.0F, 77)});
    images.push_back({"thresholds", testing::randomImage({20'000, 1}, 1, 0.0F, 0.06F, 78)});
    for (const auto& [name, image] : images) {
        SCOPED_TRACE(name);
        EXPECT_MAT_EQUAL(mapped(image, sRGBCompanding), mapped(image, reference::sRGBCompanding));
        EXPECT_MAT_EQUAL(mapped(image, sRGBInverseCompanding), mapped(image, reference::sRGBInverseCompanding));
        const auto count = static_cast<std::size_t>(image.cols);
        cv::Mat encoded = image.clone();
        cv::Mat linear(image.size(), CV_32F);
        for (int i = 0; i < image.rows; ++i) {
            sRGBCompandingOfRow(encoded.ptr<float>(i), encoded.ptr<float>(i), count);
            sRGBInverseCompandingOfRow(image.ptr<float>(i), linear.ptr<float>(i), count);
        }
        EXPECT_MAT_EQUAL(encoded, mapped(image, reference::sRGBCompanding));
        EXPECT_MAT_EQUAL(linear, mapped(image, reference::sRGBInverseCompanding));
    }
}

TEST(SrgbCompanding, OfEveryByteLeadsBack) {
    for (int value = 0; value < 256; ++value) {
        const float encoded = static_cast<float>(value) / 255.0F;
        EXPECT_NEAR(sRGBCompanding(sRGBInverseCompanding(encoded)), encoded, 3e-7) << value;
    }
}

}  // namespace
}  // namespace likeness
