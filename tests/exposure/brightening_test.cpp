#include <likeness/exposure/brightening.hpp>

#include <likeness/adaptation/d65_adaptation.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include <likeness/color/unit_image.hpp>
#include <likeness/exposure/brightness_increase.hpp>
#include "support/quiet_call.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <array>
#include <future>

namespace likeness {
namespace {

using testing::expectRefusal;

BrightenOptions with(double factor, int pass = 1) {
    BrightenOptions options;
    options.factor = factor;
    options.pass = pass;
    return options;
}

/// The road through the given operations.
std::vector<cv::Mat> literal(const cv::Mat& photograph, float factor) {
    cv::Mat bgr = toUnit(photograph).clone();
    cv::Mat white(bgr.size(), CV_32FC3);
    convertBGRToXYZDirect(bgr, white);
    convertXYZtoSharpenedBGR(white, white);
    cv::Mat adapted = white.clone();
    iCAMCATByD65(adapted, white, white);
    std::array<cv::Mat, brightnessPasses> pictures;
    for (cv::Mat& picture : pictures) {
        picture.create(bgr.size(), CV_32FC3);
    }
    increaseBrightness(adapted, pictures.data(), factor, dropAll());
    for (cv::Mat& picture : pictures) {
        inverseCATByD65(picture, white, white);
        convertSharpenedBGRtoXYZ(picture, picture);
        convertXYZToBGRDirect(picture, picture);
    }
    return {pictures.begin(), pictures.end()};
}

cv::Mat photograph() {
    return testing::examplePhotograph("coffee.jpg")(cv::Rect(60, 60, 40, 30)).clone();
}

void expectEqual(const std::vector<cv::Mat>& actual, const std::vector<cv::Mat>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t k = 0; k < expected.size(); ++k) {
        EXPECT_MAT_EQUAL(actual[k], expected[k]) << k;
    }
}

TEST(Brighten, IsTheGivenOneOfEveryPassAndDepth) {
    for (const int depth : {CV_8U, CV_16U, CV_32F, CV_64F}) {
        cv::Mat image;
        photograph().convertTo(image, depth, depth == CV_8U ? 1 : depth == CV_16U ? 257 : 1 / 255.0);
        const std::vector<cv::Mat> expected = literal(image, 11.4F);
        for (const cv::Mat& some : {image, testing::withGaps(image)}) {
            expectEqual(
                testing::quietly(some, [](const cv::Mat& one) { return brightenInPasses(one, with(11.4, 99)); }),
                expected);
        }
        for (const int pass : {1, 3, 6}) {
            EXPECT_MAT_EQUAL(
                testing::quietly(image, [pass](const cv::Mat& one) { return brighten(one, with(11.4, pass)); }),
                expected[static_cast<std::size_t>(pass - 1)]);
        }
    }
}

TEST(Brighten, HandsOverOnePictureAtATime) {
    const std::vector<cv::Mat> expected = literal(photograph(), 11.4F);
    std::vector<cv::Mat> taken;
    brightenInPasses(photograph(), with(11.4), [&](int pass, const cv::Mat& picture) {
        taken.push_back(picture.clone());
        EXPECT_EQ(pass, static_cast<int>(taken.size()));
    });
    expectEqual(taken, expected);
    int calls = 0;
    const auto fail = [&calls](int, const cv::Mat&) {
        ++calls;
        throw std::runtime_error("the disk is full");
    };
    EXPECT_THROW(brightenInPasses(photograph(), with(11.4), fail), std::runtime_error);
    EXPECT_EQ(calls, 1);
    brightenInPasses(cv::Mat(), with(11.4), fail);
}

TEST(Brighten, OnePassCostsOnePass) {
    const testing::ScratchDirectory directory;  // for the dumps
    const auto passesOf = [](auto call) {
        const std::string printed = testing::printedBy(call);
        int passes = 0;
        for (std::size_t at = 0; (at = printed.find("Already out !\n", at)) != std::string::npos; ++at) {
            ++passes;
        }
        return passes;
    };
    Watch watch;
    watch.diagnostics = &workingDirectory();
    EXPECT_EQ(passesOf([&] { brighten(photograph(), with(11.4, 4), watch); }), 1);
    EXPECT_EQ(passesOf([&] { brightenInPasses(photograph(), with(11.4), watch); }), 6);
}

TEST(Brighten, ASmallerFactorIsBrighter) {
    const auto meanOf = [](const cv::Mat& image) { return cv::mean(image.reshape(1))[0]; };
    EXPECT_GT(meanOf(brighten(photograph())), meanOf(toUnit(photograph())) + 0.01);
    EXPECT_LT(meanOf(brighten(photograph(), with(12))), meanOf(toUnit(photograph())) - 0.01);
}

TEST(Brighten, SmallImages) {
    EXPECT_TRUE(brighten(cv::Mat()).empty());
    EXPECT_TRUE(brightenInPasses(cv::Mat()).empty());
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(9, 1), cv::Size(1, 9)}) {
        const cv::Mat image = testing::randomPhotograph(size, 3);
        expectEqual(brightenInPasses(image), literal(image, 5.0F));
    }
}

TEST(Brighten, RefusesWhatItCannotDo) {
    const cv::Mat image = toUnit(photograph());
    testing::expectPhotographChecked("photograph", image, [](const cv::Mat& wrong) { brighten(wrong); });
    testing::expectPhotographChecked("photograph", image, [](const cv::Mat& wrong) { brightenInPasses(wrong); });
    expectRefusal("photograph", "1e6", [&] { brighten(cv::Mat(image * 1e8)); });
    for (const double factor : {0.0, -1.0, 101.0, std::numeric_limits<double>::quiet_NaN()}) {
        expectRefusal("factor", "above 0 and up to 100", [&] { brighten(image, with(factor)); });
    }
    expectRefusal("factor", "3 leaves pass 6 with the factor -0.5", [&] { brightenInPasses(image, with(3)); });
    expectRefusal("factor", "pass 6", [&] { brighten(image, with(3, 6)); });
    EXPECT_FALSE(brighten(image, with(3, 5)).empty());
    expectRefusal("pass", "from 1 to 6, not 0", [&] { brighten(image, with(5, 0)); });
    expectRefusal("pass", "not 7", [&] { brighten(image, with(5, 7)); });
}

TEST(Brighten, ItsCallerHearsOfItAndEndsIt) {
    EXPECT_EQ(testing::expectSteps([](const Watch& watch) { brighten(photograph(), {}, watch); }), 2);
    EXPECT_EQ(testing::expectSteps([](const Watch& watch) { brightenInPasses(photograph(), {}, watch); }), 7);
}

TEST(Brighten, TwoThreadsAtOnce) {
    const cv::Mat expected = brighten(photograph());
    auto other = std::async(std::launch::async, [] { return brighten(photograph()); });
    EXPECT_MAT_EQUAL(brighten(photograph()), expected);
    EXPECT_MAT_EQUAL(other.get(), expected);
}

}  // namespace
}  // namespace likeness
