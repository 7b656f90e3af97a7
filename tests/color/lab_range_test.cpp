#include <likeness/color/lab_range.hpp>

#include "reference/color_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

namespace likeness {
namespace {

TEST(LabRange, ScalesWhiteTo255) {
    cv::Mat lab(1, 1, CV_32FC3, cv::Scalar(100, 0, 0));
    scaleLab(lab);
    EXPECT_MAT_NEAR(lab, cv::Mat(1, 1, CV_32FC3, cv::Scalar(255, 128, 128)), {.absolute = 2e-5});
    rescaleLab(lab);
    EXPECT_MAT_NEAR(lab, cv::Mat(1, 1, CV_32FC3, cv::Scalar(100, 0, 0)), {.absolute = 1e-5});
}

TEST(LabRange, IsTheLiteralVersion) {
    for (const auto& [name, image] : testing::floatImages(3, -100.0F, 255.0F)) {
        SCOPED_TRACE(name);
        cv::Mat actual = testing::withGaps(image);
        cv::Mat expected = image.clone();
        scaleLab(actual);
        reference::scaleLab(expected);
        EXPECT_MAT_EQUAL(actual, expected);

        actual = image.clone();
        expected = image.clone();
        rescaleLab(actual);
        reference::rescaleLab(expected);
        EXPECT_MAT_EQUAL(actual, expected);
    }
}

TEST(LabRange, IntegersStandForTheirScale) {
    const cv::Mat bytes(2, 3, CV_8UC3, cv::Scalar(255, 128, 0));
    cv::Mat words;
    bytes.convertTo(words, CV_16U, 257);
    const cv::Mat expected(2, 3, CV_32FC3, cv::Scalar(100, 0, -128));
    EXPECT_MAT_NEAR(labFromLab255(bytes), expected, {.absolute = 2e-5});
    EXPECT_MAT_NEAR(labFromLab255(words), expected, {.absolute = 2e-5});
    EXPECT_TRUE(labFromLab255(cv::Mat(0, 0, CV_16UC3)).empty());
}

}  // namespace
}  // namespace likeness
