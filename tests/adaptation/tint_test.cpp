#include <likeness/adaptation/tint.hpp>

#include <likeness/adaptation/two_scale_adaptation.hpp>
#include <likeness/adaptation/white_image.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include <likeness/color/unit_image.hpp>
#include "support/quiet_call.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <future>

namespace likeness {
namespace {

using testing::expectRefusal;

TintOptions regression(double sigma = 0.1, int diameter = 0) {
    TintOptions options;
    options.form = TintForm::regression;
    options.sigma = sigma;
    options.diameter = diameter;
    return options;
}

cv::Mat sharpenedOf(cv::Mat bgr) {
    cv::Mat image(bgr.size(), CV_32FC3);
    convertBGRToXYZDirect(bgr, image);
    convertXYZtoSharpenedBGR(image, image);
    return image;
}

/// The roads through the given operations.
cv::Mat literalGain(const cv::Mat& flashPhotograph, const cv::Mat& noFlashPhotograph) {
    cv::Mat flash = flashPhotograph.clone();
    cv::Mat white;
    computeWhiteImg(flash, white, 0, dropAll());
    cv::Mat sharpenedWhite = sharpenedOf(white);
    cv::Mat tinted = sharpenedOf(flash);
    cv::Mat target = sharpenedOf(noFlashPhotograph.clone());
    cv::Mat mask;
    biCAT(tinted, sharpenedWhite, sharpenedWhite, target, mask, dropAll());
    convertSharpenedBGRtoXYZ(tinted, tinted);
    convertXYZToBGRDirect(tinted, tinted);
    return tinted;
}

cv::Mat literalRegression(const cv::Mat& flashPhotograph, const cv::Mat& noFlashPhotograph, float sigma, int diameter) {
    cv::Mat flash = flashPhotograph.clone();
    cv::Mat noFlash = noFlashPhotograph.clone();
    cv::Mat flashWhite;
    cv::Mat noFlashWhite;
    computeWhiteImgVs2(flash, flashWhite, sigma, diameter);
    computeWhiteImgVs2(noFlash, noFlashWhite, sigma, diameter);
    cv::Mat weights(flash.size(), CV_32F, cv::Scalar(1));
    cv::Mat spare;
    biCATRegression(flash, flashWhite, noFlash, spare, noFlashWhite, weights, sigma * 65025, dropAll());
    return flash;
}

cv::Mat flashPhotograph() {
    return testing::exampleImage("coffee.jpg")(cv::Rect(60, 60, 64, 48)).clone();
}

cv::Mat noFlashPhotograph() {
    cv::Mat result;
    cv::multiply(flashPhotograph(), cv::Scalar(0.25, 0.4, 0.55), result);
    return result + testing::randomImage({64, 48}, 3, 0, 0.03F, 11);
}

TEST(Tint, IsTheGivenOneOfBothFormsAndEveryDepth) {
    const cv::Mat noFlash = noFlashPhotograph();
    for (const int depth : {CV_8U, CV_16U, CV_32F, CV_64F}) {
        cv::Mat flash;
        flashPhotograph().convertTo(flash, depth, depth == CV_8U ? 255 : depth == CV_16U ? 65535 : 1);
        const cv::Mat unit = toUnit(flash);
        for (const cv::Mat& some : {flash, testing::withGaps(flash)}) {
            EXPECT_MAT_EQUAL(testing::quietly(some, [&](const cv::Mat& one) { return tint(one, noFlash); }),
                             literalGain(unit, noFlash));
            EXPECT_MAT_EQUAL(
                testing::quietly(some, [&](const cv::Mat& one) { return tint(one, noFlash, regression()); }),
                literalRegression(unit, noFlash, 0.1F, static_cast<int>(std::hypot(64, 48)) / 25));
        }
        EXPECT_MAT_EQUAL(tint(flash, noFlash, regression(0.2, 7)), literalRegression(unit, noFlash, 0.2F, 7));
    }
    EXPECT_MAT_EQUAL(noFlash, noFlashPhotograph());
}

TEST(Tint, OnePhotographTwice) {
    const cv::Mat image = flashPhotograph();
    EXPECT_MAT_EQUAL(tint(image, image), literalGain(image, image));
    EXPECT_MAT_EQUAL(tint(image, image, regression(0.1, 5)), literalRegression(image, image, 0.1F, 5));
}

TEST(Tint, SmallImages) {
    EXPECT_TRUE(tint(cv::Mat(), cv::Mat()).empty());
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(9, 1), cv::Size(1, 9)}) {
        const cv::Mat flash = testing::randomImage(size, 3, 0.1F, 1, 3);
        const cv::Mat noFlash = testing::randomImage(size, 3, 0.1F, 1, 4);
        EXPECT_MAT_EQUAL(tint(flash, noFlash), literalGain(flash, noFlash));
        EXPECT_MAT_EQUAL(tint(flash, noFlash, regression()), literalRegression(flash, noFlash, 0.1F, 0));
    }
}

TEST(Tint, RefusesWhatItCannotDo) {
    const cv::Mat image = flashPhotograph();
    testing::expectPhotographChecked("flash", image, [&](const cv::Mat& wrong) { tint(wrong, image); });
    testing::expectPhotographChecked("noFlash", image, [&](const cv::Mat& wrong) { tint(image, wrong); });
    expectRefusal("noFlash", "64 x 48", [&] { tint(image, image.rowRange(0, 40)); });
    expectRefusal("noFlash", "empty", [&] { tint(image, cv::Mat()); });
    expectRefusal("flash", "1e6", [&] { tint(cv::Mat(image * 1e8), image); });
    expectRefusal("sigma", "above 0", [&] { tint(image, image, regression(0)); });
    expectRefusal("sigma", "up to 10", [&] { tint(image, image, regression(11)); });
    expectRefusal("diameter", "0 to 999", [&] { tint(image, image, regression(0.1, -1)); });
}

TEST(Tint, ItsCallerHearsOfItAndEndsIt) {
    const cv::Mat image = flashPhotograph();
    for (const TintOptions& options : {TintOptions(), regression()}) {
        EXPECT_EQ(testing::expectSteps([&](const Watch& watch) { tint(image, image, options, watch); }), 2);
    }
}

TEST(Tint, TwoThreadsAtOnce) {
    const cv::Mat flash = flashPhotograph();
    const cv::Mat noFlash = noFlashPhotograph();
    const cv::Mat expected = tint(flash, noFlash);
    auto other = std::async(std::launch::async, [&] { return tint(flash, noFlash); });
    EXPECT_MAT_EQUAL(tint(flash, noFlash), expected);
    EXPECT_MAT_EQUAL(other.get(), expected);
}

}  // namespace
}  // namespace likeness
