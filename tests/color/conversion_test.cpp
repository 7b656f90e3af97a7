#include <likeness/color/pixel_matrix.hpp>
#include "reference/color_space_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

namespace likeness {
namespace {

const cv::Mat matrix = (cv::Mat_<float>(3, 3) << 0.1, 0.7, -0.3, 2.5, -1.25, 0.0625, 11, -7, 0.3);

TEST(Conversion, EqualsTheLiteralVersion) {
    for (const testing::NamedImage& image : testing::floatImages(3, 0, 1)) {
        SCOPED_TRACE(image.name);
        cv::Mat actual(image.image.size(), CV_32FC3);
        cv::Mat expected(image.image.size(), CV_32FC3);
        conversion(image.image, actual, matrix, image.image.rows, image.image.cols);
        reference::conversion(image.image, expected, matrix, image.image.rows, image.image.cols);
        EXPECT_MAT_EQUAL(actual, expected);
        cv::Mat inPlace = image.image.clone();
        conversion(inPlace, inPlace, matrix, inPlace.rows, inPlace.cols);
        EXPECT_MAT_EQUAL(inPlace, expected);
    }
}

TEST(Conversion, ReversesNoChannels) {
    const cv::Mat pixel(1, 1, CV_32FC3, cv::Scalar(1, 10, 100));
    cv::Mat result(1, 1, CV_32FC3);
    conversion(pixel, result, (cv::Mat_<float>(3, 3) << 1, 0, 0, 0, 2, 0, 0, 0, 3), 1, 1);
    EXPECT_EQ(result.at<cv::Vec3f>(0, 0), cv::Vec3f(1, 20, 300));
    conversion(pixel, result, (cv::Mat_<float>(3, 3) << 0, 1, 0, 0, 0, 1, 1, 0, 0), 1, 1);
    EXPECT_EQ(result.at<cv::Vec3f>(0, 0), cv::Vec3f(10, 100, 1));
}

TEST(Conversion, LeavesPixelsBeyondTheCountsAlone) {
    const cv::Mat image(5, 6, CV_32FC3, cv::Scalar(1, 1, 1));
    cv::Mat result(5, 6, CV_32FC3, cv::Scalar(-7, -7, -7));
    conversion(image, result, cv::Mat::eye(3, 3, CV_32F), 2, 4);
    cv::Mat expected(5, 6, CV_32FC3, cv::Scalar(-7, -7, -7));
    expected(cv::Rect(0, 0, 4, 2)).setTo(cv::Scalar(1, 1, 1));
    EXPECT_MAT_EQUAL(result, expected);
    conversion(image, result, cv::Mat::zeros(3, 3, CV_32F), 0, 4);
    conversion(image, result, cv::Mat::zeros(3, 3, CV_32F), 2, 0);
    EXPECT_MAT_EQUAL(result, expected);
}

}  // namespace
}  // namespace likeness
