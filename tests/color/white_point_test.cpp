#include <likeness/color/white_point.hpp>

#include <likeness/color/unit_image.hpp>
#include "reference/color_space_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/quiet_call.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace likeness {
namespace {

using testing::pixel;
using testing::printedBy;

cv::Mat unknown() {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    return pixel(nan, nan, nan);
}

struct Estimate {
    bool converged;
    cv::Mat white;
    std::string printed;
};

Estimate estimate(const cv::Mat& image, cv::Mat& previous) {
    Estimate result{false, pixel(-1, -1, -1), {}};
    cv::Mat mask;
    result.printed =
        printedBy([&] { result.converged = computeWhitePointFromGrayWorld(image, result.white, previous, mask); });
    return result;
}

TEST(GrayWorldWhite, EqualsTheLiteralVersion) {
    std::vector<testing::NamedImage> images = testing::floatImages(3, 0, 1);
    for (const std::string& name : testing::examplePhotographNames()) {
        images.push_back({name, testing::exampleImage(name)});
    }
    for (const testing::NamedImage& image : images) {
        SCOPED_TRACE(image.name);
        for (const cv::Mat& start : {unknown(), pixel(1, 0.01, -0.02), pixel(1, 0, 0)}) {
            cv::Mat previous = start.clone();
            cv::Mat literalPrevious = start.clone();
            cv::Mat literalWhite = pixel(-1, -1, -1);
            std::string literalPrinted;
            for (int call = 0; call < 2; ++call) {
                const Estimate actual = estimate(image.image, previous);
                literalPrinted.clear();
                const bool converged = reference::computeWhitePointFromGrayWorld(image.image, literalWhite,
                                                                                 literalPrevious, literalPrinted);
                EXPECT_EQ(actual.converged, converged);
                EXPECT_EQ(actual.printed, literalPrinted);
                EXPECT_MAT_EQUAL(actual.white, literalWhite);
                EXPECT_MAT_EQUAL(previous, literalPrevious);
            }
        }
    }
}

TEST(GrayWorldWhite, WithoutNeutralPixelsIsTheWhiteOfZeroChroma) {
    cv::Mat previous = unknown();
    const Estimate found = estimate(cv::Mat(4, 4, CV_32FC3, cv::Scalar(1, 0, 0)), previous);
    EXPECT_FALSE(found.converged);
    // R = 1.0, G = 1.0136, B = 0.93, not gray: meant, U is 0.07 for a gray of 1.
    EXPECT_NEAR(found.white.at<cv::Vec3f>(0, 0)[0], 0.93F, 1e-6F);
    EXPECT_EQ(found.white.at<cv::Vec3f>(0, 0)[1], 1.0F);
    EXPECT_NEAR(found.white.at<cv::Vec3f>(0, 0)[2], 1.0F, 1e-6F);
    EXPECT_MAT_EQUAL(previous, pixel(1, 0, 0));
}

TEST(GrayWorldWhite, BlackPixelsNeverCount) {
    cv::Mat image(2, 2, CV_32FC3, cv::Scalar(0, 0, 0));
    image.at<cv::Vec3f>(0, 0) = {0.5F, 0.5F, 0.5F};
    cv::Mat previous = unknown();
    estimate(image, previous);
    // One gray pixel of U = 0.035 over a count of 1.00001.
    EXPECT_NEAR(previous.at<cv::Vec3f>(0, 0)[1], 0.035 / 1.00001, 1e-8);
}

TEST(GrayWorldWhite, TheFirstCallNeverConvergesAndPrintsTheWhite) {
    cv::Mat previous = unknown();
    const Estimate first = estimate(testing::exampleImage("coffee.jpg"), previous);
    EXPECT_FALSE(first.converged);
    std::ostringstream line;
    line << first.white << std::endl;
    EXPECT_EQ(first.printed, line.str());
    EXPECT_EQ(first.printed.front(), '[');
    const Estimate second = estimate(testing::exampleImage("coffee.jpg"), previous);
    EXPECT_TRUE(second.converged);
    EXPECT_EQ(second.printed, "");
    EXPECT_MAT_EQUAL(second.white, first.white);
}

TEST(GrayWorldWhite, SmallChromaConvergesWithoutASecondCall) {
    // The colour of zero chroma (B 0.93, G 1.0136 of R), dark: both differences are far below 0.001.
    cv::Mat previous = pixel(1, 0.2, 0.2);
    const Estimate found = estimate(cv::Mat(3, 3, CV_32FC3, cv::Scalar(0.0093, 0.010136, 0.01)), previous);
    EXPECT_TRUE(found.converged);
    EXPECT_EQ(found.printed, "");
}

TEST(GrayWorldWhite, PrintsNothingWhereNothingIsWanted) {
    cv::Mat previous = unknown();
    cv::Mat white = pixel(0, 0, 0);
    cv::Mat mask;
    EXPECT_EQ(printedBy([&] {
                  EXPECT_FALSE(computeWhitePointFromGrayWorld(cv::Mat(2, 2, CV_32FC3, cv::Scalar(1, 1, 1)), white,
                                                              previous, mask, dropAll()));
              }),
              "");
}

TEST(GrayWorldWhite, LargePhotographsHaveTheBitsOfTheLiteralCall) {
    cv::Mat noise(1100, 700, CV_8UC3);
    cv::RNG(5).fill(noise, cv::RNG::UNIFORM, 100, 180);
    for (const cv::Mat& photograph :
         {noise, noise.reshape(0, 1), noise.reshape(0, 770000), noise.colRange(3, 690), noise.rowRange(0, 5)}) {
        cv::Mat white(1, 1, CV_32FC3);
        cv::Mat yuv = unknown();
        std::string printed;
        reference::computeWhitePointFromGrayWorld(toUnit(photograph), white, yuv, printed);
        const WhiteEstimate actual = grayWorldWhite(photograph);
        EXPECT_EQ(actual.bgr, cv::Vec3d(white.at<cv::Vec3f>(0, 0)));
        EXPECT_EQ(actual.yuv, cv::Vec3d(yuv.at<cv::Vec3f>(0, 0)));
    }
}

TEST(GrayWorldWhite, HasTheBitsOfTheLiteralCall) {
    const cv::Mat bytes = testing::examplePhotograph("cat.jpg");
    for (const cv::Mat& photograph : {bytes, testing::exampleImage("cat.jpg"), testing::withGaps(bytes)}) {
        const WhiteEstimate actual =
            testing::quietly(photograph, [](const cv::Mat& image) { return grayWorldWhite(image); });
        cv::Mat white(1, 1, CV_32FC3);
        cv::Mat yuv = unknown();
        cv::Mat noMask;
        EXPECT_FALSE(computeWhitePointFromGrayWorld(toUnit(photograph), white, yuv, noMask, dropAll()));
        EXPECT_EQ(actual.bgr, cv::Vec3d(white.at<cv::Vec3f>(0, 0)));
        EXPECT_EQ(actual.yuv, cv::Vec3d(yuv.at<cv::Vec3f>(0, 0)));
        EXPECT_EQ(actual.white.xyz, White::fromBgr(actual.bgr).xyz);
        EXPECT_TRUE(actual.found);
        EXPECT_FALSE(actual.converged);
    }
}

TEST(GrayWorldWhite, ConvergesWhereItNoLongerMoves) {
    const cv::Mat photograph = testing::randomPhotograph({40, 30}, 1);
    const WhiteEstimate first = grayWorldWhite(photograph);
    EXPECT_TRUE(grayWorldWhite(photograph, &first).converged);
    WhiteEstimate elsewhere = first;
    elsewhere.yuv[1] += 1e-3;
    EXPECT_FALSE(grayWorldWhite(photograph, &elsewhere).converged);
}

TEST(GrayWorldWhite, SaysWhereThereIsNoNeutralPixel) {
    EXPECT_FALSE(grayWorldWhite(cv::Mat()).found);
    EXPECT_FALSE(grayWorldWhite(cv::Mat(4, 4, CV_8UC3, cv::Scalar(0, 0, 255))).found);
    EXPECT_TRUE(grayWorldWhite(cv::Mat(1, 1, CV_8UC3, cv::Scalar::all(90))).found);
    cv::Mat withNaN = testing::exampleImage("cat.jpg");
    withNaN.at<cv::Vec3f>(3, 4)[1] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(cv::checkRange(cv::Mat(grayWorldWhite(withNaN).bgr)));
    testing::expectRefusal("photograph", "not CV_8UC1", [] { grayWorldWhite(cv::Mat(2, 2, CV_8UC1)); });
}

TEST(GrayWorldWhite, ReportsAndTellsTheWhite) {
    const cv::Mat photograph = testing::randomImage({20, 20}, 3, 0, 1, 3);
    for (const cv::Mat& image : {photograph, photograph.rowRange(0, 3).clone(), cv::Mat()}) {
        EXPECT_EQ(testing::expectSteps([&](const Watch& watch) { grayWorldWhite(image, nullptr, watch); }), 8);
    }
    const DirectoryDiagnostics dumps{std::string()};
    Watch watch;
    watch.diagnostics = &dumps;
    EXPECT_EQ(printedBy([&] { grayWorldWhite(photograph, nullptr, watch); }).front(), '[');
}

}  // namespace
}  // namespace likeness
