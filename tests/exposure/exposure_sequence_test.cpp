#include <likeness/exposure/exposure_sequence.hpp>

#include "exposure/exposure_stack_scene.hpp"
#include "reference/exposure_reference.hpp"
#include "support/mat_matchers.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <limits>

namespace likeness {
namespace {

using testing::bracketOfSquareRootCamera;
using testing::clones;
using testing::expectSameTraces;
using testing::FlashPair;
using testing::namesOf;
using testing::ScratchDirectory;
using testing::Traces;
using testing::tracesOf;

struct Loaded {
    std::vector<cv::Mat> exposures;
    cv::Mat nonFlash;
    std::vector<cv::Mat> images;
    std::vector<float> times;
};

TEST(LoadExposureSeq, IsItsLiteralVersion) {
    float times[] = {1024, 512, 256, 128, 64, 32, 16};
    Loaded actual{bracketOfSquareRootCamera(6), FlashPair().nonFlash, {}, {}};
    actual.exposures[2].at<cv::Vec3f>(1, 1) = {-0.2F, 1.7F, std::numeric_limits<float>::quiet_NaN()};
    Loaded expected{clones(actual.exposures), actual.nonFlash.clone(), {}, {}};
    const Traces traces = tracesOf(
        [&] { loadExposureSeq(actual.exposures.data(), actual.nonFlash, times, actual.images, actual.times, 6); });
    expectSameTraces(traces, tracesOf([&] {
                         reference::loadExposureSeq(expected.exposures.data(), expected.nonFlash, times,
                                                    expected.images, expected.times, 6);
                     }));
    EXPECT_MAT_EQUAL(actual.nonFlash, expected.nonFlash);
    EXPECT_EQ(actual.times, expected.times);
    ASSERT_EQ(actual.images.size(), 6U);
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_MAT_EQUAL(actual.exposures[i], expected.exposures[i]);
        EXPECT_MAT_EQUAL(actual.images[i], expected.images[i]);
    }
    EXPECT_EQ((actual.images[2].at<cv::Vec3b>(1, 1)), cv::Vec3b(0, 255, 0));
}

TEST(LoadExposureSeq, TakesEachTimeFromTheNextEntry) {
    Loaded loaded{bracketOfSquareRootCamera(6), FlashPair().nonFlash, {}, {}};
    float times[] = {1024, 512, 256, 128, 64, 32, 16};
    loadExposureSeq(loaded.exposures.data(), loaded.nonFlash, times, loaded.images, loaded.times, 6, dropAll());
    EXPECT_EQ(loaded.times, (std::vector<float>{1 / 512.0F, 1 / 256.0F, 1 / 128.0F, 1 / 64.0F, 1 / 32.0F, 1 / 16.0F}));
}

TEST(LoadExposureSeq, TimesOfThirtyHalved) {
    Loaded loaded{bracketOfSquareRootCamera(6), FlashPair().nonFlash, {}, {}};
    float times[] = {30, 15, 7.5F, 3.75F, 1.875F, 0.9375F, 0.46875F};
    loadExposureSeq(loaded.exposures.data(), loaded.nonFlash, times, loaded.images, loaded.times, 6, dropAll());
    EXPECT_EQ(loaded.times, (std::vector<float>{1 / 15.0F, 2 / 15.0F, 4 / 15.0F, 8 / 15.0F, 16 / 15.0F, 32 / 15.0F}));
}

TEST(LoadExposureSeq, AZeroAmongTheTimesGivesAnInfiniteOne) {
    Loaded loaded{bracketOfSquareRootCamera(1), FlashPair().nonFlash, {}, {}};
    float times[] = {1, 0};
    const std::string printed =
        tracesOf([&] {
            loadExposureSeq(loaded.exposures.data(), loaded.nonFlash, times, loaded.images, loaded.times, 1);
        }).printed;
    EXPECT_EQ(loaded.times[0], std::numeric_limits<float>::infinity());
    EXPECT_EQ(printed, "inf 0 1\n");
}

TEST(LoadExposureSeq, PrintsALineForEachExposureAndWritesTheSecondOnceLoaded) {
    Loaded loaded{bracketOfSquareRootCamera(3), FlashPair().nonFlash, {}, {}};
    float times[] = {1024, 512, 256, 128};
    const Traces traces = tracesOf(
        [&] { loadExposureSeq(loaded.exposures.data(), loaded.nonFlash, times, loaded.images, loaded.times, 3); });
    EXPECT_EQ(traces.printed, "0.00195312 512 3\n0.00390625 256 3\n0.0078125 128 3\n");
    EXPECT_EQ(namesOf(traces.files), (std::vector<std::string>{"test10.jpg", "test11.jpg", "test2.jpg"}));

    Loaded one{bracketOfSquareRootCamera(1), FlashPair().nonFlash, {}, {}};
    EXPECT_EQ(namesOf(tracesOf([&] {
                          loadExposureSeq(one.exposures.data(), one.nonFlash, times, one.images, one.times, 1);
                      }).files),
              (std::vector<std::string>{"test2.jpg"}));
}

TEST(LoadExposureSeq, AppendsToWhatIsThere) {
    Loaded loaded{bracketOfSquareRootCamera(2), FlashPair().nonFlash, {cv::Mat(2, 2, CV_8UC3)}, {7.0F}};
    float times[] = {4, 2, 1};
    const std::string printed =
        tracesOf([&] {
            loadExposureSeq(loaded.exposures.data(), loaded.nonFlash, times, loaded.images, loaded.times, 2);
        }).printed;
    EXPECT_EQ(loaded.times, (std::vector<float>{7, 0.5F, 1}));
    EXPECT_EQ(loaded.images.size(), 3U);
    EXPECT_EQ(printed, "7 2 2\n0.5 1 2\n");
}

TEST(LoadExposureSeq, LeavesImagesOnTheScaleOfBytesAndWritesNothingWhenNothingIsWanted) {
    const std::vector<cv::Mat> before = bracketOfSquareRootCamera(2);
    Loaded loaded{clones(before), cv::Mat(3, 3, CV_32FC3, cv::Scalar::all(0.5)), {}, {}};
    float times[] = {4, 2, 1};
    const Traces traces = tracesOf([&] {
        loadExposureSeq(loaded.exposures.data(), loaded.nonFlash, times, loaded.images, loaded.times, 2, dropAll());
    });
    EXPECT_EQ(traces.printed, "");
    EXPECT_TRUE(traces.files.empty());
    EXPECT_MAT_EQUAL(loaded.nonFlash, cv::Mat(3, 3, CV_32FC3, cv::Scalar::all(127.5)));
    EXPECT_FLOAT_EQ((loaded.exposures[1].at<cv::Vec3f>(4, 4)[0]), (before[1].at<cv::Vec3f>(4, 4)[0] * 255));
}

TEST(RecoverLightnessExposureCurve, IsItsLiteralVersion) {
    std::vector<cv::Mat> actual = bracketOfSquareRootCamera(3, {37, 21});
    actual[1] = testing::withGaps(actual[1]);
    std::vector<cv::Mat> expected = clones(actual);
    cv::Mat* actualArray = actual.data();
    cv::Mat* expectedArray = expected.data();
    const Traces traces = tracesOf([&] { recoverLightnessExposureCurve(actualArray, 3); });
    expectSameTraces(traces, tracesOf([&] { reference::recoverLightnessExposureCurve(expectedArray, 3); }));
    EXPECT_EQ(traces.files.size(), 5U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_MAT_EQUAL(actual[i], expected[i]);
    }
}

TEST(RecoverLightnessExposureCurve, AdaptsTheSameWhereNothingIsWanted) {
    std::vector<cv::Mat> shown = bracketOfSquareRootCamera(2);
    std::vector<cv::Mat> silent = clones(shown);
    cv::Mat* shownArray = shown.data();
    cv::Mat* silentArray = silent.data();
    tracesOf([&] { recoverLightnessExposureCurve(shownArray, 2); });
    const Traces traces = tracesOf([&] { recoverLightnessExposureCurve(silentArray, 2, dropAll()); });
    EXPECT_TRUE(traces.files.empty());
    EXPECT_EQ(traces.printed, "");
    EXPECT_MAT_EQUAL(silent[0], shown[0]);
    EXPECT_MAT_EQUAL(silent[1], shown[1]);
}

// White goes to itself times 100; black stays black.
TEST(RecoverLightnessExposureCurve, WhiteAndBlack) {
    cv::Mat exposure(2, 2, CV_32FC3, cv::Scalar::all(1));
    exposure.at<cv::Vec3f>(0, 0) = {0, 0, 0};
    cv::Mat* exposures = &exposure;
    recoverLightnessExposureCurve(exposures, 1, dropAll());
    EXPECT_EQ((exposure.at<cv::Vec3f>(0, 0)), cv::Vec3f(0, 0, 0));
    const cv::Vec3f white = exposure.at<cv::Vec3f>(1, 1);
    EXPECT_NEAR(white[0], 108.72, 0.01);  // the D65 white in sharpened B, G, R is 1.0871774, 1.0353699, 0.9493053
    EXPECT_NEAR(white[1], 103.54, 0.01);
    EXPECT_NEAR(white[2], 94.93, 0.01);
}

TEST(GetFinalImg, ScalesInPlaceAndAlwaysWrites) {
    cv::Mat actual = FlashPair().flash;
    cv::Mat expected = actual.clone();
    const Traces traces = tracesOf([&] { getFinalImg(actual, "final.jpg"); });
    expectSameTraces(traces, tracesOf([&] { reference::getFinalImg(expected, "final.jpg"); }));
    EXPECT_MAT_EQUAL(actual, expected);
    EXPECT_EQ(namesOf(traces.files), (std::vector<std::string>{"final.jpg"}));
}

TEST(GetFinalImg, ReplacesWhatIsThereAndRefusesAnUnknownFormat) {
    const ScratchDirectory scratch;
    cv::Mat image(4, 4, CV_32FC3, cv::Scalar::all(0.2));
    getFinalImg(image, "final.png");
    image = cv::Mat(4, 4, CV_32FC3, cv::Scalar::all(0.4));
    getFinalImg(image, "final.png");
    EXPECT_MAT_EQUAL(cv::imread("final.png"), cv::Mat(4, 4, CV_8UC3, cv::Scalar::all(102)));
    EXPECT_THROW(getFinalImg(image, "final.unknown"), cv::Exception);
    EXPECT_EQ(testing::filesHere().size(), 1U);
}

TEST(GetFinalImg, AFolderThatIsNotThereGivesNoFile) {
    const Traces traces = tracesOf([] {
        cv::Mat image(4, 4, CV_32FC3, cv::Scalar::all(0.2));
        getFinalImg(image, "missing/final.png");
    });
    EXPECT_TRUE(traces.files.empty());
}

}  // namespace
}  // namespace likeness
