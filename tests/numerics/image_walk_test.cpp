#include "numerics/image_walk.hpp"

#include "support/test_images.hpp"

#include <gtest/gtest.h>

namespace likeness {
namespace {

TEST(ImageWalk, MakesOneRowOfImagesWithoutGaps) {
    const cv::Mat first(5, 7, CV_32FC3);
    const cv::Mat second(5, 7, CV_8U);
    const ImageWalk walk = walkOver(first, second);
    EXPECT_EQ(walk.rows, 1);
    EXPECT_EQ(walk.cols, 35);
}

TEST(ImageWalk, KeepsRowsWhereOneHasGaps) {
    const cv::Mat whole(5, 7, CV_32F);
    const cv::Mat view = testing::withGaps(whole);
    for (const ImageWalk walk : {walkOver(view), walkOver(whole, view), walkOver(view, whole, whole)}) {
        EXPECT_EQ(walk.rows, 5);
        EXPECT_EQ(walk.cols, 7);
    }
}

TEST(ImageWalk, KeepsRowsWhereOneIsLarger) {
    const cv::Mat first(5, 7, CV_32F);
    for (const cv::Mat& larger : {cv::Mat(5, 9, CV_32F), cv::Mat(6, 7, CV_32F)}) {
        const ImageWalk walk = walkOver(first, larger);
        EXPECT_EQ(walk.rows, 5);
        EXPECT_EQ(walk.cols, 7);
    }
}

TEST(ImageWalk, HasNoRowsForAnEmptyImage) {
    const ImageWalk walk = walkOver(cv::Mat(), cv::Mat());
    EXPECT_EQ(walk.rows, 0);
}

}  // namespace
}  // namespace likeness
