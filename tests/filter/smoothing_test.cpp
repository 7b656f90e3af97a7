#include <likeness/filter/smoothing.hpp>

#include <likeness/color/unit_image.hpp>
#include <likeness/filter/guidedfilter.hpp>
#include "support/quiet_call.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <future>

namespace likeness {
namespace {

using testing::expectRefusal;

SmoothOptions with(SmoothingVariant variant, const cv::Mat& guide = {}, int radius = 3) {
    SmoothOptions options;
    options.guide = guide;
    options.radius = radius;
    options.variant = variant;
    return options;
}

constexpr SmoothingVariant everyVariant[] = {SmoothingVariant::gray, SmoothingVariant::color,
                                             SmoothingVariant::transport};

/// The road through the given operations.
cv::Mat literal(const cv::Mat& image, const cv::Mat& guide, const SmoothOptions& options) {
    switch (options.variant) {
        case SmoothingVariant::gray: {
            cv::Mat gray;
            cv::cvtColor(guide, gray, cv::COLOR_BGR2GRAY);
            return guidedFilter(gray, image, options.radius, options.epsilon, -1, dropAll());
        }
        case SmoothingVariant::color:
            return guidedFilter(guide, image, options.radius, 0.0, -1, dropAll());
        default:
            return GuidedFilterColor(guide * 255.0, 2 * options.radius + 1, 0.0, dropAll())
                       .filterColorChannelsMK(image * 255.0) /
                   255.0;
    }
}

TEST(IsGray, OfThreeEqualChannelsEverywhere) {
    EXPECT_TRUE(isGray(cv::Mat()));
    for (const int type : {CV_8UC3, CV_16UC3, CV_32FC3, CV_64FC3}) {
        cv::Mat image(3, 4, type, cv::Scalar::all(1));
        EXPECT_TRUE(isGray(image));
        cv::Mat last = image(cv::Rect(3, 2, 1, 1));
        last.setTo(cv::Scalar(1, 1, 0));
        EXPECT_FALSE(isGray(image));
        EXPECT_TRUE(isGray(image.colRange(0, 3)));
    }
    EXPECT_FALSE(isGray(testing::withNaN(cv::Mat(3, 4, CV_32FC3, cv::Scalar::all(0.5)))));
    expectRefusal("photograph", "not CV_8UC1", [] { isGray(cv::Mat(2, 2, CV_8UC1)); });
}

TEST(IsGray, RefusesThreeDimensions) {
    testing::expectCubesRefused("photograph", cv::Mat(3, 4, CV_32FC3), [](const cv::Mat& cube) { isGray(cube); });
}

TEST(Smooth, IsTheFilterOfEveryVariantAndDepth) {
    const cv::Mat guide = testing::randomImage({37, 29}, 3, 0, 1, 5);
    const cv::Mat unit = testing::randomImage({37, 29}, 3, 0, 1, 4);
    for (const SmoothingVariant variant : everyVariant) {
        const SmoothOptions options = with(variant, guide);
        for (const int depth : {CV_8U, CV_16U, CV_32F, CV_64F}) {
            SCOPED_TRACE(cv::typeToString(depth));
            cv::Mat photograph;
            unit.convertTo(photograph, depth, depth == CV_8U ? 255 : depth == CV_16U ? 65535 : 1);
            const cv::Mat expected = literal(toUnit(photograph), guide, options);
            const auto call = [&](const cv::Mat& image) { return smooth(image, options); };
            EXPECT_MAT_EQUAL(testing::quietly(photograph, call), expected);
            EXPECT_MAT_EQUAL(testing::quietly(testing::withGaps(photograph), call), expected);
        }
        EXPECT_MAT_EQUAL(smooth(unit, with(variant)), literal(unit, unit, options));
        EXPECT_MAT_EQUAL(smooth(unit, with(variant, unit)), literal(unit, unit, options));
    }
}

TEST(Smooth, TheWindowsOfAViewEndAtItsEdges) {
    const cv::Mat larger = testing::randomImage({30, 20}, 3, 0, 1, 6);
    const cv::Mat view = larger(cv::Rect(5, 5, 14, 9));
    for (const SmoothingVariant variant : everyVariant) {
        EXPECT_MAT_EQUAL(smooth(view, with(variant)), smooth(view.clone(), with(variant)));
        EXPECT_MAT_EQUAL(smooth(view.clone(), with(variant, view)), smooth(view.clone(), with(variant)));
    }
}

TEST(Smooth, SmallImages) {
    EXPECT_TRUE(smooth(cv::Mat()).empty());
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(9, 1), cv::Size(1, 9)}) {
        const cv::Mat image = testing::randomImage(size, 3, 0, 1, 7);
        for (const SmoothingVariant variant : everyVariant) {
            const cv::Mat expected = literal(image, image, with(variant));
            EXPECT_MAT_EQUAL(smooth(image, with(variant)), expected);
        }
    }
}

TEST(Smooth, ItsResultIsItsOwn) {
    const cv::Mat image = testing::randomImage({8, 8}, 3, 0, 1, 8);
    const cv::Mat before = image.clone();
    cv::Mat result = smooth(image, with(SmoothingVariant::color, {}, 0));
    result.setTo(cv::Scalar::all(7));
    EXPECT_MAT_EQUAL(image, before);
}

TEST(Smooth, RefusesWhatItCannotDo) {
    const cv::Mat image = testing::randomImage({12, 10}, 3, 0, 1, 9);
    testing::expectPhotographChecked("photograph", image, [](const cv::Mat& wrong) { smooth(wrong); });
    testing::expectPhotographChecked("guide", image,
                                     [&](const cv::Mat& wrong) { smooth(image, with(SmoothingVariant::gray, wrong)); });
    expectRefusal("guide", "the size of photograph, 12 x 10, and has 11 x 10",
                  [&] { smooth(image, with(SmoothingVariant::gray, image.colRange(0, 11))); });
    expectRefusal("radius", "from 0 to 1000, not -1", [&] { smooth(image, with(SmoothingVariant::gray, {}, -1)); });
    expectRefusal("radius", "not 1001", [&] { smooth(image, with(SmoothingVariant::gray, {}, 1001)); });
    SmoothOptions options;
    options.epsilon = std::numeric_limits<double>::quiet_NaN();
    expectRefusal("epsilon", "not nan", [&] { smooth(image, options); });
    const cv::Mat gray(image.size(), CV_32FC3, cv::Scalar::all(0.5));
    expectRefusal("guide", "grey", [&] { smooth(image, with(SmoothingVariant::color, gray)); });
    expectRefusal("guide", "grey", [&] { smooth(gray, with(SmoothingVariant::transport)); });
    EXPECT_MAT_NEAR(smooth(gray), gray, {.absolute = 1e-6});
}

TEST(Smooth, ItsCallerHearsOfItAndEndsIt) {
    const cv::Mat image = testing::randomImage({12, 10}, 3, 0, 1, 10);
    for (const SmoothingVariant variant : everyVariant) {
        EXPECT_EQ(testing::expectSteps([&](const Watch& watch) { smooth(image, with(variant), watch); }),
                  variant == SmoothingVariant::transport ? 2 : 4);
    }
}

TEST(Smooth, HandsItsDumpsToItsReceiver) {
    const testing::ScratchDirectory scratch;
    const DirectoryDiagnostics directory("", DirectoryDiagnostics::Messages::dropped);
    Watch watch;
    watch.diagnostics = &directory;
    smooth(testing::randomImage({12, 10}, 3, 0, 1, 11), with(SmoothingVariant::color), watch);
    for (const char* const name : {"0R.jpg", "0B.jpg", "cov_a_r.jpg", "a_r.jpg", "b.jpg"}) {
        EXPECT_TRUE(std::filesystem::exists(name)) << name;
    }
}

TEST(Smooth, TwoThreadsAtOnce) {
    const cv::Mat image = testing::randomImage({60, 50}, 3, 0, 1, 12);
    const SmoothOptions options = with(SmoothingVariant::color);
    const cv::Mat expected = smooth(image, options);
    auto other = std::async(std::launch::async, [&] { return smooth(image, options); });
    EXPECT_MAT_EQUAL(smooth(image, options), expected);
    EXPECT_MAT_EQUAL(other.get(), expected);
}

}  // namespace
}  // namespace likeness
