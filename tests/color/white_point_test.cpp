#include <likeness/color/white_point.hpp>

#include <likeness/filter/guidedfilter.hpp>
#include "reference/color_space_reference.hpp"
#include "reference/filter_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <filesystem>
#include <limits>

namespace likeness {
namespace {

using testing::printedBy;

cv::Mat triple(double first, double second, double third) {
    return {1, 1, CV_32FC3, cv::Scalar(first, second, third)};
}

cv::Mat unknown() {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    return triple(nan, nan, nan);
}

struct Estimate {
    bool converged;
    cv::Mat white;
    std::string printed;
};

Estimate estimate(const cv::Mat& image, cv::Mat& previous) {
    Estimate result{false, triple(-1, -1, -1), {}};
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
        for (const cv::Mat& start : {unknown(), triple(1, 0.01, -0.02), triple(1, 0, 0)}) {
            cv::Mat previous = start.clone();
            cv::Mat literalPrevious = start.clone();
            cv::Mat literalWhite = triple(-1, -1, -1);
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
    EXPECT_MAT_EQUAL(previous, triple(1, 0, 0));
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
    cv::Mat previous = triple(1, 0.2, 0.2);
    const Estimate found = estimate(cv::Mat(3, 3, CV_32FC3, cv::Scalar(0.0093, 0.010136, 0.01)), previous);
    EXPECT_TRUE(found.converged);
    EXPECT_EQ(found.printed, "");
}

TEST(GrayWorldWhite, PrintsNothingWhereNothingIsWanted) {
    cv::Mat previous = unknown();
    cv::Mat white = triple(0, 0, 0);
    cv::Mat mask;
    EXPECT_EQ(printedBy([&] {
                  EXPECT_FALSE(computeWhitePointFromGrayWorld(cv::Mat(2, 2, CV_32FC3, cv::Scalar(1, 1, 1)), white,
                                                              previous, mask, dropAll()));
              }),
              "");
}

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

}  // namespace
}  // namespace likeness
