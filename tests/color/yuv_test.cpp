#include <likeness/color/yuv.hpp>

#include <likeness/color/pixel_matrix.hpp>
#include "reference/color_space_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

namespace likeness {
namespace {

cv::Vec3f yuvOf(float b, float g, float r) {
    cv::Mat yuv(1, 1, CV_32FC3);
    convertBGRtoYUV(cv::Mat(1, 1, CV_32FC3, cv::Scalar(b, g, r)), yuv);
    return yuv.at<cv::Vec3f>(0, 0);
}

TEST(Yuv, EqualsTheLiteralVersion) {
    for (const testing::NamedImage& image : testing::floatImages(3, 0, 1)) {
        SCOPED_TRACE(image.name);
        cv::Mat actual(image.image.size(), CV_32FC3);
        cv::Mat expected(image.image.size(), CV_32FC3);
        convertBGRtoYUV(image.image, actual);
        reference::convertBGRtoYUV(image.image, expected);
        EXPECT_MAT_EQUAL(actual, expected);
        cv::Mat inPlace = image.image.clone();
        convertBGRtoYUV(inPlace, inPlace);
        EXPECT_MAT_EQUAL(inPlace, expected);
    }
}

TEST(Yuv, PrimariesAreTheMatrixsColumns) {
    EXPECT_EQ(yuvOf(0, 0, 1), cv::Vec3f(0.299F, -0.229F, 0.701F));
    EXPECT_EQ(yuvOf(0, 1, 0), cv::Vec3f(0.587F, -0.587F, -0.587F));
    EXPECT_EQ(yuvOf(1, 0, 0), cv::Vec3f(0.114F, 0.886F, -0.114F));
}

TEST(Yuv, GrayKeepsSevenPercentOfItsValueInU) {
    for (const float gray : {1.0F, 0.5F, 0.1F}) {
        const cv::Vec3f yuv = yuvOf(gray, gray, gray);
        EXPECT_NEAR(yuv[0], gray, 1e-7F);
        EXPECT_NEAR(yuv[1], 0.07F * gray, 1e-7F);
        EXPECT_NEAR(yuv[2], 0.0F, 1e-7F);
    }
}

TEST(Yuv, TheInverseMatrixGivesTheColorBack) {
    const cv::Mat bgr = testing::exampleImage("coffee.jpg");
    cv::Mat image(bgr.size(), CV_32FC3);
    convertBGRtoYUV(bgr, image);
    cv::Mat inverse = yuvFromRgb().inv();
    multiplyImageByMatrixBackward(image, image, inverse);
    // Rounding of three products and two sums, twice: 6 * 2^-24 times the inverse's entries of up to 1.1.
    EXPECT_MAT_NEAR(image, bgr, {.absolute = 5e-7});
}

}  // namespace
}  // namespace likeness
