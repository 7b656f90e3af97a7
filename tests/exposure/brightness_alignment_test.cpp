#include <likeness/exposure/brightness_alignment.hpp>

#include <likeness/color/unit_image.hpp>
#include "reference/brightness_alignment_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/quiet_call.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <filesystem>
#include <limits>

namespace likeness {
namespace {

constexpr float nan = std::numeric_limits<float>::quiet_NaN();

cv::Mat lightnessOf(const cv::Mat& bgr) {
    cv::Mat lab;
    cv::cvtColor(bgr, lab, cv::COLOR_BGR2Lab);
    cv::Mat plane;
    cv::extractChannel(lab, plane, 0);
    return plane;
}

TEST(ComputeMean, IsTheLiteralOneAndPrintsItsSum) {
    for (const testing::NamedImage& made : testing::floatImages(1, -50, 100)) {
        SCOPED_TRACE(made.name);
        cv::Mat plane = made.image;
        float mean = 0;
        float expected = 0;
        std::string expectedText;
        const std::string printed = testing::printedBy([&] { mean = computeMean(plane); });
        expected = reference::computeMean(plane, expectedText);
        EXPECT_EQ(testing::ulpDistance(mean, expected), 0);
        EXPECT_EQ(printed, expectedText);
    }
}

TEST(ComputeMean, SkipsNaN) {
    cv::Mat plane = (cv::Mat_<float>(2, 3) << 1, nan, 2, nan, nan, 4.5);
    float mean = 0;
    EXPECT_EQ(testing::printedBy([&] { mean = computeMean(plane); }), "7.5 3\n");
    EXPECT_EQ(mean, 2.5F);
}

TEST(ComputeMean, OfNothingIsZero) {
    cv::Mat plane(3, 4, CV_32F, cv::Scalar(nan));
    float mean = 1;
    EXPECT_EQ(testing::printedBy([&] { mean = computeMean(plane); }), "0 0\n");
    EXPECT_EQ(mean, 0.0F);
}

TEST(ComputeStdDev, IsTheLiteralOne) {
    for (const testing::NamedImage& made : testing::floatImages(1, -50, 100)) {
        SCOPED_TRACE(made.name);
        for (float mean : {0.0F, 24.7F, 1e20F, nan}) {
            const float before = mean;
            EXPECT_EQ(testing::ulpDistance(computeStdDev(made.image, mean), reference::computeStdDev(made.image, mean)),
                      0);
            EXPECT_EQ(testing::ulpDistance(mean, before), 0);
        }
    }
}

TEST(ComputeStdDev, ValuesByHand) {
    float mean = 5;
    EXPECT_EQ(computeStdDev(cv::Mat(4, 5, CV_32F, cv::Scalar(5)), mean), 0.0F);
    EXPECT_EQ(computeStdDev((cv::Mat_<float>(1, 3) << 1, nan, 9), mean), 4.0F);
    EXPECT_TRUE(std::isnan(computeStdDev(cv::Mat(4, 5, CV_32F, cv::Scalar(nan)), mean)));
    EXPECT_TRUE(std::isnan(computeStdDev(cv::Mat(4, 5, CV_32F, cv::Scalar(4)), mean))) << "the sum is negative";
}

void expectLiteral(const cv::Mat& nonFlash, const cv::Mat& target) {
    cv::Mat ownNonFlash = nonFlash;
    cv::Mat ownTarget = target;
    const cv::Mat nonFlashBefore = nonFlash.clone();
    const cv::Mat targetBefore = target.clone();
    cv::Mat result;
    cv::Mat expected;
    std::string expectedText;
    const std::string printed = testing::printedBy([&] { alterNonFlashBrightness(ownNonFlash, ownTarget, result); });
    reference::alterNonFlashBrightness(ownNonFlash, ownTarget, expected, expectedText);
    EXPECT_MAT_EQUAL(result, expected);
    EXPECT_EQ(printed, expectedText);
    EXPECT_MAT_EQUAL(ownNonFlash, nonFlashBefore);
    EXPECT_MAT_EQUAL(ownTarget, targetBefore);
}

TEST(AlterNonFlashBrightness, IsTheLiteralOneOnMadeImages) {
    const auto images = testing::floatImages(3, 0, 1);
    for (const testing::NamedImage& made : images) {
        SCOPED_TRACE(made.name);
        expectLiteral(made.image, testing::randomImage(made.image.size(), 3, 0.2F, 0.7F, 9));
        expectLiteral(testing::randomImage(made.image.size(), 3, 0.2F, 0.7F, 9), made.image);
    }
}

TEST(AlterNonFlashBrightness, IsTheLiteralOneOnPhotographs) {
    for (const std::string& name : testing::examplePhotographNames()) {
        SCOPED_TRACE(name);
        const cv::Mat photograph = testing::exampleImage(name);
        cv::Mat flipped;
        cv::flip(photograph * 0.4, flipped, 1);
        expectLiteral(flipped, photograph);
    }
}

TEST(AlterNonFlashBrightness, GivesTheStatisticsOfTheTarget) {
    cv::Mat target = testing::exampleImage("coffee.jpg") * 0.5 + cv::Scalar::all(0.2);
    cv::Mat nonFlash = testing::exampleImage("coffee.jpg") * 0.3 + cv::Scalar::all(0.1);
    cv::Mat result;
    alterNonFlashBrightness(nonFlash, target, result, dropAll());
    cv::Scalar mean;
    cv::Scalar deviation;
    cv::Scalar wantedMean;
    cv::Scalar wantedDeviation;
    cv::meanStdDev(lightnessOf(result), mean, deviation);
    cv::meanStdDev(lightnessOf(target), wantedMean, wantedDeviation);
    // Measured: 0.083 and 0.01, from the float sums over 240,000 values.
    EXPECT_NEAR(mean[0], wantedMean[0], 0.2);
    EXPECT_NEAR(deviation[0], wantedDeviation[0], 0.2);
    EXPECT_GT(cv::norm(lightnessOf(nonFlash), lightnessOf(target), cv::NORM_INF), 10);
}

TEST(LightnessStatistics, ByHand) {
    // Grey of 0 and 1 has L* 0 and 100: a quarter of white has the mean 25 and the deviation 100 sqrt(3) / 4.
    cv::Mat image(8, 8, CV_32FC3, cv::Scalar::all(0));
    image.colRange(0, 2) = cv::Scalar::all(1);
    const LightnessStatistics lightness = lightnessStatistics(image, dropAll());
    EXPECT_NEAR(lightness.mean, 25, 1e-3);
    EXPECT_NEAR(lightness.deviation, 43.301270, 1e-3);
    EXPECT_EQ(image.at<cv::Vec3f>(0, 0), cv::Vec3f::all(1));
}

TEST(AlterNonFlashBrightness, AnImageAgainstItselfStays) {
    cv::Mat image = testing::exampleImage("cat.jpg");
    cv::Mat same = image.clone();
    cv::Mat result;
    alterNonFlashBrightness(image, same, result, dropAll());
    // The image library's conversion to Lab and back is good for about 1/1000 on the scale of 1.
    EXPECT_MAT_NEAR(result, image, {.absolute = 4e-3});
    cv::Mat alias;
    alterNonFlashBrightness(image, image, alias, dropAll());
    EXPECT_MAT_EQUAL(alias, result);
}

TEST(AlterNonFlashBrightness, MayOverwriteItsFirstImage) {
    cv::Mat nonFlash = testing::exampleImage("rocket.jpg");
    cv::Mat target = nonFlash * 0.5;
    cv::Mat result;
    alterNonFlashBrightness(nonFlash, target, result, dropAll());
    alterNonFlashBrightness(nonFlash, target, nonFlash, dropAll());
    EXPECT_MAT_EQUAL(nonFlash, result);
}

TEST(AlterNonFlashBrightness, ALargerImageKeepsItsLightnessBeyondTheTarget) {
    cv::Mat nonFlash = testing::randomImage({30, 20}, 3, 0.3F, 0.6F, 10);
    cv::Mat target = testing::randomImage({18, 25}, 3, 0.1F, 0.9F, 11);
    cv::Mat result;
    alterNonFlashBrightness(nonFlash, target, result, dropAll());
    ASSERT_EQ(result.size(), nonFlash.size());
    // What the literal version makes of the whole image, and the image as it comes back from Lab unchanged.
    cv::Mat lab;
    cv::Mat returned;
    cv::cvtColor(nonFlash, lab, cv::COLOR_BGR2Lab);
    cv::cvtColor(lab, returned, cv::COLOR_Lab2BGR);
    EXPECT_MAT_NEAR(result.colRange(18, 30).clone(), returned.colRange(18, 30).clone(), {.absolute = 1e-6});
    EXPECT_GT(cv::norm(result.colRange(0, 18), returned.colRange(0, 18), cv::NORM_INF), 0.05);
}

TEST(AlterNonFlashBrightness, ASmallerImageIsRemappedWhole) {
    cv::Mat nonFlash = testing::randomImage({18, 25}, 3, 0.3F, 0.6F, 10);
    cv::Mat target(40, 40, CV_32FC3, cv::Scalar::all(0.5));
    target.rowRange(20, 40).setTo(cv::Scalar::all(0.2));
    cv::Mat result;
    alterNonFlashBrightness(nonFlash, target, result, dropAll());
    ASSERT_EQ(result.size(), nonFlash.size());
    cv::Scalar mean;
    cv::Scalar deviation;
    cv::meanStdDev(lightnessOf(result), mean, deviation);
    // L* of the grey levels 0.5 and 0.2 is 53.3890 and 21.2467: mean 37.318, deviation 16.071.
    EXPECT_NEAR(mean[0], 37.318, 0.3);
    EXPECT_NEAR(deviation[0], 16.071, 0.3);
}

TEST(AlterNonFlashBrightness, AnEvenImageHasNoLightnessToStretch) {
    cv::Mat nonFlash(6, 5, CV_32FC3, cv::Scalar::all(0));
    cv::Mat target = testing::randomImage({5, 6}, 3, 0, 1, 12);
    expectLiteral(nonFlash, target);
}

TEST(AlterNonFlashBrightness, PrintsNothingWhereNothingIsWanted) {
    const testing::ScratchDirectory scratch;
    cv::Mat image = testing::exampleImage("cat.jpg");
    cv::Mat result;
    EXPECT_EQ(testing::printedBy([&] { alterNonFlashBrightness(image, image, result, dropAll()); }), "");
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
}

TEST(MatchLightness, IsTheGivenOneOfEveryDepth) {
    const cv::Mat photograph = testing::examplePhotograph("cat.jpg")(cv::Rect(60, 60, 50, 40)).clone();
    cv::Mat reference = testing::exampleImage("coffee.jpg")(cv::Rect(60, 60, 60, 50)).clone();
    for (const int depth : {CV_8U, CV_16U, CV_32F, CV_64F}) {
        cv::Mat image;
        photograph.convertTo(image, depth, depth == CV_8U ? 1 : depth == CV_16U ? 257 : 1 / 255.0);
        cv::Mat unit = toUnit(image).clone();
        cv::Mat expected;
        alterNonFlashBrightness(unit, reference, expected, dropAll());
        for (const cv::Mat& some : {image, testing::withGaps(image)}) {
            const LightnessMatch match =
                testing::quietly(some, [&](const cv::Mat& one) { return matchLightness(one, reference); });
            EXPECT_MAT_EQUAL(match.image, expected);
            EXPECT_EQ(match.own.mean, lightnessStatistics(unit, dropAll()).mean);
            EXPECT_EQ(lightnessStatisticsOf(some).mean, match.own.mean);
            EXPECT_EQ(lightnessStatisticsOf(some).deviation, match.own.deviation);
            EXPECT_EQ(match.own.deviation, lightnessStatistics(unit, dropAll()).deviation);
            EXPECT_EQ(match.wanted.mean, lightnessStatistics(reference, dropAll()).mean);
            EXPECT_EQ(match.wanted.deviation, lightnessStatistics(reference, dropAll()).deviation);
            EXPECT_EQ(match.reached.mean, lightnessStatistics(expected, dropAll()).mean);
            EXPECT_EQ(match.reached.deviation, lightnessStatistics(expected, dropAll()).deviation);
        }
    }
}

TEST(LightnessStatistics, OfTheLeastWeightThereIs) {
    cv::Mat image(2, 2, CV_32FC3, cv::Scalar::all(0));
    image.at<cv::Vec3f>(1, 0) = cv::Vec3f::all(1);
    cv::Mat mask(2, 2, CV_16U, cv::Scalar(0));
    mask.at<ushort>(1, 0) = 1;
    EXPECT_NEAR(lightnessStatisticsOf(PhotographPart{image, PixelWeights::ofMask(mask)}).mean, 100, 1e-3);
}

TEST(LightnessStatistics, RefuseWhatIsNoNumber) {
    cv::Mat image(4, 4, CV_32FC3, cv::Scalar::all(0.5));
    EXPECT_NEAR(lightnessStatisticsOf(image).mean, 53.39, 0.01);
    for (const float value : {std::nanf(""), INFINITY, 2e6F}) {
        cv::Mat other = image.clone();
        other.at<cv::Vec3f>(1, 2)[1] = value;
        EXPECT_THROW(lightnessStatisticsOf(other), std::invalid_argument) << value;
        EXPECT_THROW(lightnessStatisticsOf(PhotographPart{other, {}}), std::invalid_argument) << value;
    }
}

TEST(MatchLightness, OfASmallerReferenceRemapsEveryPixel) {
    const cv::Mat image = testing::randomImage({30, 20}, 3, 0.3F, 0.6F, 10);
    const cv::Mat reference = testing::randomImage({40, 30}, 3, 0.1F, 0.9F, 11);
    const cv::Mat part = reference(cv::Rect(0, 0, 18, 25)).clone();
    const LightnessMatch match = matchLightness(image, part);
    // The statistics alone count: the same as those of the part, tiled to a larger image.
    cv::Mat tiled;
    cv::repeat(part, 2, 2, tiled);
    EXPECT_MAT_NEAR(match.image, matchLightness(image, tiled).image, {.absolute = 1e-5});
    EXPECT_NEAR(match.reached.mean, match.wanted.mean, 0.3);
}

TEST(MatchLightness, OfAPhotographAndItself) {
    const cv::Mat image = testing::exampleImage("cat.jpg")(cv::Rect(60, 60, 50, 40)).clone();
    EXPECT_MAT_NEAR(matchLightness(image, image).image, image, {.absolute = 4e-3});
}

TEST(MatchLightness, RefusesWhatItCannotDo) {
    EXPECT_TRUE(matchLightness(cv::Mat(), cv::Mat()).image.empty());
    const cv::Mat image = testing::randomImage({9, 8}, 3, 0, 1, 12);
    testing::expectPhotographChecked("photograph", image, [&](const cv::Mat& wrong) { matchLightness(wrong, image); });
    testing::expectPhotographChecked("reference", image, [&](const cv::Mat& wrong) { matchLightness(image, wrong); });
    testing::expectRefusal("reference", "empty", [&] { matchLightness(image, cv::Mat()); });
    testing::expectRefusal("photograph", "-1e6 to 1e6", [&] { matchLightness(cv::Mat(image * 1e8), image); });
    const cv::Mat even(9, 8, CV_8UC3, cv::Scalar(40, 90, 10));
    testing::expectRefusal("photograph", "one lightness", [&] { matchLightness(even, image); });
    testing::expectRefusal("reference", "one lightness", [&] { matchLightness(image, even); });
    testing::expectRefusal("photograph", "one lightness", [&] { matchLightness(image(cv::Rect(0, 0, 1, 1)), image); });
}

TEST(MatchLightness, SaysWhichHasNoSpread) {
    const cv::Mat image = testing::randomImage({9, 8}, 3, 0, 1, 12);
    const cv::Mat even(9, 8, CV_8UC3, cv::Scalar(40, 90, 10));
    for (const bool ofReference : {false, true}) {
        try {
            matchLightness(ofReference ? image : even, ofReference ? even : image);
            ADD_FAILURE() << "not refused";
        } catch (const OneLightness& error) {
            EXPECT_EQ(error.ofReference(), ofReference);
        }
    }
}

TEST(MatchLightness, CountsWhatIsClipped) {
    const cv::Mat image = testing::randomImage({9, 8}, 3, 0.2F, 0.8F, 14);
    EXPECT_EQ(matchLightness(image, image).clipped.pixels, 0);
    cv::Mat steep(9, 8, CV_32FC3, cv::Scalar::all(0));
    steep.rowRange(0, 5).setTo(cv::Scalar::all(1));
    const LightnessMatch match = matchLightness(image, steep);
    cv::Mat lab;
    cv::cvtColor(image, lab, cv::COLOR_BGR2Lab);
    for (auto pixel = lab.begin<cv::Vec3f>(); pixel != lab.end<cv::Vec3f>(); ++pixel) {
        (*pixel)[0] = ((*pixel)[0] - match.own.mean) * match.wanted.deviation / match.own.deviation + match.wanted.mean;
    }
    const ClippedValues expected = clippedValuesOfLab(lab);
    EXPECT_GT(match.clipped.pixels, 10);
    EXPECT_EQ(match.clipped.pixels, expected.pixels);
    EXPECT_EQ(match.clipped.below, expected.below);
    EXPECT_EQ(match.clipped.above, expected.above);
}

TEST(MatchLightness, ItsCallerHearsOfItAndEndsIt) {
    const cv::Mat image = testing::randomImage({9, 8}, 3, 0, 1, 13);
    EXPECT_EQ(testing::expectSteps([&](const Watch& watch) { matchLightness(image, image, watch); }), 4);
}

}  // namespace
}  // namespace likeness
