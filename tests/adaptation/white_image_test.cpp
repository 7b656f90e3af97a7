#include <likeness/adaptation/white_image.hpp>

#include <likeness/color/unit_image.hpp>
#include "reference/filter_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/quiet_call.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <filesystem>

namespace likeness {
namespace {

TEST(WhiteImage, IsTheGuidedFilterOfRadiusSixteenWhateverTheRadius) {
    cv::Mat image;
    cv::resize(testing::exampleImage("cat.jpg"), image, cv::Size(90, 70));
    cv::Mat narrow;
    cv::Mat wide(3, 3, CV_8U);
    computeWhiteImg(image, narrow, 5, dropAll());
    computeWhiteImg(image, wide, 1600, dropAll());
    EXPECT_MAT_EQUAL(narrow, reference::guidedFilter(image, image, 16, 0.0001, -1));
    EXPECT_MAT_EQUAL(wide, narrow);
    cv::Mat gray;
    cv::extractChannel(image, gray, 1);
    computeWhiteImg(gray, narrow, 5, dropAll());
    EXPECT_MAT_EQUAL(narrow, reference::guidedFilter(gray, gray, 16, 0.0001, -1));
}

TEST(WhiteImage, LeavesTheGuidedFiltersImages) {
    cv::Mat image = testing::randomImage({40, 40}, 3, 0, 1, 44);
    cv::Mat white;
    const testing::ScratchDirectory here;
    computeWhiteImg(image, white, 5, dropAll());
    EXPECT_TRUE(std::filesystem::is_empty(here.path()));
    computeWhiteImg(image, white, 5);
    for (const char* const name :
         {"0R.jpg", "0G.jpg", "0B.jpg", "cov_a_r.jpg", "a_r.jpg", "a_g.jpg", "a_b.jpg", "b.jpg"}) {
        EXPECT_TRUE(std::filesystem::exists(here.path() / name)) << name;
    }
}

TEST(WhiteImage, TheSecondVersionIsABilateralFilter) {
    cv::Mat image;
    cv::resize(testing::exampleImage("cat.jpg"), image, cv::Size(60, 50));
    cv::Mat actual;
    cv::Mat expected;
    computeWhiteImgVs2(image, actual, 0.3F, 9);
    cv::bilateralFilter(image, expected, 9, static_cast<double>(0.3F), 9.0, cv::BORDER_REFLECT_101);
    EXPECT_MAT_EQUAL(actual, expected);
    EXPECT_GT(cv::norm(actual, image, cv::NORM_INF), 0.05);
}

TEST(WhiteImage, OfNothingIsRefused) {
    cv::Mat empty;
    cv::Mat white;
    EXPECT_THROW(computeWhiteImg(empty, white, 16, dropAll()), std::invalid_argument);
    EXPECT_THROW(computeWhiteImgVs2(empty, white, 0.1F, 5), std::invalid_argument);
}

TEST(LocalWhite, HasTheBitsOfTheLiteralCalls) {
    const cv::Mat bytes = testing::randomPhotograph({45, 37}, 2);
    cv::Mat unit = toUnit(bytes);
    cv::Mat guided;
    computeWhiteImg(unit, guided, 16, dropAll());
    cv::Mat bilateral;
    computeWhiteImgVs2(unit, bilateral, 0.2F, 7);
    LocalWhiteOptions options;
    options.filter = WhiteFilter::bilateral;
    options.sigma = 0.2;
    options.diameter = 7;
    cv::Mat sixteen;
    bytes.convertTo(sixteen, CV_16U, 257);
    for (const cv::Mat& photograph : {bytes, unit, testing::withGaps(bytes), testing::withGaps(unit), sixteen}) {
        EXPECT_MAT_EQUAL(testing::quietly(photograph, [](const cv::Mat& image) { return localWhite(image); }), guided);
        EXPECT_MAT_EQUAL(testing::quietly(photograph, [&](const cv::Mat& image) { return localWhite(image, options); }),
                         bilateral);
    }
    EXPECT_TRUE(localWhite(cv::Mat()).empty());
    EXPECT_EQ(localWhite(cv::Mat(1, 1, CV_8UC3, cv::Scalar::all(7))).size(), cv::Size(1, 1));
}

TEST(LocalWhite, RefusesWhatItCannotSmooth) {
    const cv::Mat photograph = testing::randomImage({20, 20}, 3, 0, 1, 3);
    testing::expectPhotographChecked("photograph", photograph, [](const cv::Mat& image) { localWhite(image); });
    LocalWhiteOptions options;
    options.filter = WhiteFilter::bilateral;
    testing::expectPhotographChecked("photograph", photograph,
                                     [&](const cv::Mat& image) { localWhite(image, options); });
    const cv::Mat bright = photograph * 1e7;
    EXPECT_NO_THROW(localWhite(bright));
    testing::expectRefusal("photograph", "from -1e6 to 1e6", [&] { localWhite(bright, options); });
    for (const double sigma : {0.0, -1.0, 101.0, std::nan("")}) {
        options.sigma = sigma;
        testing::expectRefusal("sigma", "above 0", [&] { localWhite(photograph, options); });
    }
    options.sigma = 1;
    for (const int diameter : {0, 256}) {
        options.diameter = diameter;
        testing::expectRefusal("diameter", "from 1 to 255", [&] { localWhite(photograph, options); });
    }
}

TEST(LocalWhite, ReportsAndGivesItsDumps) {
    const cv::Mat photograph = testing::randomImage({20, 20}, 3, 0, 1, 3);
    EXPECT_EQ(testing::expectSteps([&](const Watch& watch) { localWhite(photograph, {}, watch); }), 4);
    LocalWhiteOptions bilateral;
    bilateral.filter = WhiteFilter::bilateral;
    EXPECT_EQ(testing::expectSteps([&](const Watch& watch) { localWhite(photograph, bilateral, watch); }), 1);
    const testing::ScratchDirectory scratch;
    const DirectoryDiagnostics dumps{std::string()};
    Watch watch;
    watch.diagnostics = &dumps;
    localWhite(photograph, {}, watch);
    EXPECT_TRUE(std::filesystem::exists("0R.jpg"));
}

}  // namespace
}  // namespace likeness
