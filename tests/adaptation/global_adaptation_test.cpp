#include <likeness/adaptation/global_adaptation.hpp>

#include "adaptation/participation_mask.hpp"
#include "reference/global_adaptation_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>

namespace likeness {
namespace {

using testing::pixel;

void expectLiteralCat(const cv::Mat& image, const cv::Mat& sourceWhite, const cv::Mat& targetWhite, float D) {
    cv::Mat actual = testing::withGaps(image);
    cv::Mat expected = image.clone();
    cv::Mat source = sourceWhite.clone();
    cv::Mat mask;
    CAT(actual, source, targetWhite, D, mask);
    reference::CAT(expected, sourceWhite, targetWhite, D);
    EXPECT_MAT_EQUAL(actual, expected);
    EXPECT_MAT_EQUAL(source, sourceWhite);
}

cv::Mat smallPhotograph(const std::string& name) {
    cv::Mat small;
    cv::resize(testing::exampleImage(name), small, {96, 64}, 0, 0, cv::INTER_AREA);
    return small;
}

/// A photograph under reddish light.
cv::Mat reddish(const std::string& name) {
    cv::Mat result;
    cv::multiply(smallPhotograph(name), cv::Scalar(0.7, 0.9, 1.0), result);
    return result;
}

TEST(Cat, IsTheLiteralOneOnMadeImages) {
    for (const testing::NamedImage& made : testing::floatImages(3, 0, 1)) {
        SCOPED_TRACE(made.name);
        for (const float D : {0.0F, 0.6F, 1.0F, -1.5F}) {
            expectLiteralCat(made.image, pixel(0.7, 0.9, 1), pixel(1, 0.95, 0.7), D);
        }
    }
}

TEST(Cat, IsTheLiteralOneOnPhotographs) {
    for (const std::string& name : testing::examplePhotographNames()) {
        SCOPED_TRACE(name);
        expectLiteralCat(testing::exampleImage(name), pixel(0.93, 1, 1), pixel(0.8, 1, 0.9), 0.8F);
    }
}

TEST(Cat, IsTheLiteralOneUnderABlackWhite) {
    expectLiteralCat(testing::randomImage({20, 30}, 3, 0, 1, 1), pixel(0, 0, 0), pixel(1, 1, 1), 1);
}

TEST(Cat, HasItsOwnConeMatrix) {
    cv::Mat image = pixel(0.3, 0.4, 0.5);
    cv::Mat source = pixel(0.7, 0.9, 1);
    cv::Mat mask;
    CAT(image, source, pixel(1, 0.95, 0.7), 0.8F, mask);
    // Worked out in double precision with -0.0136 in the last row; +0.0136 would make 0.353987 of the first.
    EXPECT_MAT_NEAR(image, pixel(0.352702, 0.409345, 0.455602), {.absolute = 3e-6});
}

TEST(Cat, LeavesColoursAloneWithoutADifference) {
    const cv::Mat image = testing::randomImage({40, 30}, 3, 0, 1, 2);
    cv::Mat white = pixel(0.8, 0.9, 1);
    cv::Mat mask;
    cv::Mat notAdapted = image.clone();
    CAT(notAdapted, white, pixel(1, 0.5, 0.7), 0, mask);
    // To X, Y, Z and back in float; dark values lose most, to the slope of 12.92 at black.
    EXPECT_MAT_NEAR(notAdapted, image, {.absolute = 5e-5});
    cv::Mat adaptedToItsWhite = image.clone();
    CAT(adaptedToItsWhite, white, white, 0.7F, mask);
    EXPECT_MAT_NEAR(adaptedToItsWhite, image, {.absolute = 5e-5});
}

TEST(Cat, ClipsAndTurnsNaNIntoBlack) {
    cv::Mat image(1, 2, CV_32FC3);
    image.at<cv::Vec3f>(0, 0) = {3, 3, 3};
    image.at<cv::Vec3f>(0, 1) = cv::Vec3f::all(std::numeric_limits<float>::quiet_NaN());
    cv::Mat white = pixel(1, 1, 1);
    cv::Mat mask;
    CAT(image, white, white, 1, mask);
    EXPECT_LE(image.at<cv::Vec3f>(0, 0)[0], 1.0F);
    EXPECT_EQ(image.at<cv::Vec3f>(0, 1), cv::Vec3f(0, 0, 0));
}

TEST(PerformIlluminantAdaptation, IsTheLiteralOne) {
    const testing::ScratchDirectory scratch;
    for (const std::string& name : testing::examplePhotographNames()) {
        for (const float D : {0.3F, 1.0F}) {
            SCOPED_TRACE(name + " " + std::to_string(D));
            const cv::Mat target = smallPhotograph("coffee.jpg");
            cv::Mat actual = reddish(name);
            cv::Mat expected = reddish(name);
            std::string expectedText;
            const std::string printed = testing::printedBy([&] { performIlluminantAdaptation(actual, target, D); });
            reference::performIlluminantAdaptation(expected, target, D, expectedText);
            EXPECT_MAT_EQUAL(actual, expected);
            EXPECT_EQ(printed, expectedText);
            EXPECT_MAT_EQUAL(target, smallPhotograph("coffee.jpg"));
        }
    }
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
}

TEST(PerformIlluminantAdaptation, StopsAfterEightyAdaptations) {
    // A degree of 0.01 moves the white by more than 1e-6 for longer than that. A line for the target, one before the
    // first adaptation, and one after each.
    cv::Mat image = reddish("cat.jpg");
    const std::string printed =
        testing::printedBy([&] { performIlluminantAdaptation(image, smallPhotograph("retina.jpg"), 0.01F); });
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 82);
}

TEST(PerformIlluminantAdaptation, StopsWhenTheWhiteNoLongerMoves) {
    // Without an adaptation the white stays where it is: a line for the target and one before the first adaptation.
    cv::Mat image = reddish("cat.jpg");
    const std::string printed =
        testing::printedBy([&] { performIlluminantAdaptation(image, smallPhotograph("retina.jpg"), 0); });
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 2);
}

TEST(PerformIlluminantAdaptation, TheMaskFileChangesNothing) {
    const cv::Mat target = smallPhotograph("coffee.jpg");
    const auto adapted = [&target] {
        cv::Mat image = reddish("cat.jpg");
        performIlluminantAdaptation(image, target, 1, dropAll());
        return image;
    };
    const testing::ScratchDirectory scratch;
    const cv::Mat without = adapted();
    std::filesystem::create_directory("Masks");
    for (const cv::Size size : {cv::Size(5, 3), cv::Size(96, 96), cv::Size(300, 200)}) {
        cv::imwrite("Masks/giantShadow.jpg", cv::Mat(size, CV_8U, cv::Scalar(200)));
        EXPECT_MAT_EQUAL(adapted(), without) << size.width;
    }
    std::ofstream("Masks/giantShadow.jpg") << "no picture";
    EXPECT_MAT_EQUAL(adapted(), without);
}

TEST(PerformIlluminantAdaptation, WithoutAnythingLeftOutIsTheWholeOne) {
    const cv::Mat target = smallPhotograph("coffee.jpg");
    cv::Mat expected = reddish("cat.jpg");
    performIlluminantAdaptation(expected, target, 0.7F, dropAll());
    for (const cv::Mat& leftOut : {cv::Mat(), cv::Mat(expected.size(), CV_8U, cv::Scalar(100))}) {
        cv::Mat actual = reddish("cat.jpg");
        performIlluminantAdaptation(actual, target, 0.7F, leftOut, dropAll());
        EXPECT_MAT_EQUAL(actual, expected);
    }
}

TEST(PerformIlluminantAdaptation, WhatIsLeftOutChangesNeitherItselfNorTheRest) {
    // The rest is adapted as it is on its own.
    const cv::Mat target = smallPhotograph("coffee.jpg");
    cv::Mat image = reddish("cat.jpg");
    const int half = image.rows / 2;
    image.rowRange(half, image.rows).setTo(cv::Scalar(0.55, 0.5, 0.45));  // as if under a bluish light
    cv::Mat leftOut(image.size(), CV_8U, cv::Scalar(0));
    leftOut.rowRange(half, image.rows).setTo(101);
    cv::Mat actual = image.clone();
    performIlluminantAdaptation(actual, target, 0.7F, leftOut, dropAll());
    cv::Mat rest = image.rowRange(0, half).clone();
    performIlluminantAdaptation(rest, target, 0.7F, dropAll());
    EXPECT_MAT_EQUAL(actual.rowRange(0, half).clone(), rest);
    EXPECT_MAT_EQUAL(actual.rowRange(half, image.rows).clone(), image.rowRange(half, image.rows).clone());
    cv::Mat whole = image.clone();
    performIlluminantAdaptation(whole, target, 0.7F, dropAll());
    EXPECT_GT(cv::norm(whole.rowRange(0, half), rest, cv::NORM_INF), 1e-3) << "or the test could not fail";
}

TEST(PerformIlluminantAdaptation, EverythingLeftOutStays) {
    const cv::Mat image = reddish("cat.jpg");
    cv::Mat actual = image.clone();
    performIlluminantAdaptation(actual, smallPhotograph("coffee.jpg"), 1, cv::Mat(image.size(), CV_8U, cv::Scalar(255)),
                                dropAll());
    EXPECT_MAT_EQUAL(actual, image);
}

TEST(ParticipationMask, EverythingTakesPartWithoutAShadow) {
    EXPECT_MAT_EQUAL(participationMask({5, 3}, cv::Mat()), cv::Mat(3, 5, CV_8U, cv::Scalar(255)));
}

TEST(ParticipationMask, ExcludesWhatIsBrighterThanAHundred) {
    const cv::Mat shadow = (cv::Mat_<uchar>(2, 2) << 100, 101, 255, 0);
    EXPECT_MAT_EQUAL(participationMask({2, 2}, shadow), (cv::Mat_<uchar>(2, 2) << 255, 0, 0, 255));
}

TEST(ParticipationMask, LooksAtAsManyColumnsAsTheImageHasRows) {
    cv::Mat expected(3, 5, CV_8U, cv::Scalar(0));
    expected.colRange(3, 5).setTo(255);
    EXPECT_MAT_EQUAL(participationMask({5, 3}, cv::Mat(9, 9, CV_8U, cv::Scalar(255))), expected);
}

TEST(ParticipationMask, EndsAtTheEdgesOfImageAndShadow) {
    const cv::Mat bright(2, 9, CV_8U, cv::Scalar(255));
    cv::Mat expected(4, 3, CV_8U, cv::Scalar(255));
    expected.rowRange(0, 2).setTo(0);
    EXPECT_MAT_EQUAL(participationMask({3, 4}, bright), expected) << "an upright image and a low shadow";
    cv::Mat narrow(4, 4, CV_8U, cv::Scalar(255));
    narrow.col(0).setTo(0);
    EXPECT_MAT_EQUAL(participationMask({4, 4}, cv::Mat(9, 1, CV_8U, cv::Scalar(255))), narrow);
}

}  // namespace
}  // namespace likeness
