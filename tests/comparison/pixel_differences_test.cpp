#include <likeness/appearance/uniform_space.hpp>
#include <likeness/color/cie_lab.hpp>
#include <likeness/comparison/analysis.hpp>
#include <likeness/comparison/pixel_differences.hpp>
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cmath>

namespace likeness::testing {
namespace {

cv::Mat part(const char* name, const cv::Rect& rect = {100, 80, 120, 90}) {
    return examplePhotograph(name)(rect).clone();
}

CieLab labOf(const cv::Vec3b& bgr) {
    return labFromXyz(xyzFromSrgb(cv::Vec3d(bgr[2], bgr[1], bgr[0]) / 255.0), srgbWhite());
}

TEST(PixelDifferences, AreThoseOfTheMaps) {
    const cv::Mat first = part("cat.jpg");
    const cv::Mat second = part("coffee.jpg");
    const PixelDifferences differences = pixelDifferences(first, second);
    const AppearanceMaps firstMaps = analyze(first, {true, {}, {}}).maps();
    const AppearanceMaps secondMaps = analyze(second, {true, {}, {}}).maps();
    ComparisonModel ciecam16;
    ciecam16.kind = AppearanceModelKind::ciecam16;
    const PublishedModel model = publishedModelOf(ciecam16);
    EXPECT_EQ(differences.uniformModel, AppearanceModelKind::ciecam16);
    for (const cv::Point place : {cv::Point(0, 0), cv::Point(119, 89), cv::Point(60, 33)}) {
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            EXPECT_EQ(differences.correlates[k].at<float>(place),
                      secondMaps[k].at<float>(place) - firstMaps[k].at<float>(place));
        }
        const auto& a = first.at<cv::Vec3b>(place);
        const auto& b = second.at<cv::Vec3b>(place);
        EXPECT_EQ(differences.ciede2000.at<float>(place), static_cast<float>(ciede2000(labOf(a), labOf(b))));
        const auto uniformOf = [&model](const cv::Vec3b& bgr) {
            return uniformColorOf(model.correlatesOf(xyzFromSrgb(cv::Vec3d(bgr[2], bgr[1], bgr[0]) / 255.0)));
        };
        // The maps are kept as floats.
        EXPECT_NEAR(differences.uniform.at<float>(place), uniformDifference(uniformOf(a), uniformOf(b)), 1e-3);
    }
}

TEST(PixelDifferences, AreZeroOfOnePhotograph) {
    const cv::Mat photograph = part("cat.jpg");
    DifferenceOptions options;
    options.model.kind = AppearanceModelKind::ciecam02;
    const PixelDifferences differences = pixelDifferences(photograph, photograph, options);
    EXPECT_EQ(differences.uniformModel, AppearanceModelKind::ciecam02);
    EXPECT_EQ(cv::countNonZero(differences.uniform), 0);
    EXPECT_EQ(cv::countNonZero(differences.ciede2000), 0);
    EXPECT_EQ(cv::countNonZero(differences.correlates.lightness), 0);
}

TEST(PixelDifferences, OfFloatsAreThoseOfTheirBytes) {
    const cv::Mat first = part("cat.jpg");
    const cv::Mat second = part("coffee.jpg");
    cv::Mat unit;
    first.convertTo(unit, CV_32FC3, 1 / 255.0);
    const PixelDifferences expected = pixelDifferences(first, second);
    const PixelDifferences actual = pixelDifferences(unit, second);
    EXPECT_LT(cv::norm(actual.ciede2000, expected.ciede2000, cv::NORM_INF), 1e-4);
    EXPECT_LT(cv::norm(actual.correlates.chroma, expected.correlates.chroma, cv::NORM_INF),
              1e-2);  // a rounding of input
}

TEST(PixelDifferences, FollowTheFlow) {
    const cv::Mat scene = examplePhotograph("cat.jpg");
    const cv::Mat first = scene(cv::Rect(40, 40, 200, 160)).clone();
    const cv::Mat second = scene(cv::Rect(43, 40, 200, 160)).clone();
    const cv::Rect inside(20, 20, 160, 120);
    const double before = cv::mean(pixelDifferences(first, second).ciede2000(inside))[0];
    const PixelDifferences aligned = pixelDifferences(first, second, {{}, true});
    const double after = cv::mean(aligned.ciede2000(inside))[0];
    EXPECT_LT(after, before / 2);
    // What the flow leads outside has no partner.
    EXPECT_TRUE(std::isnan(aligned.ciede2000.at<float>(80, 0)));
}

TEST(PixelDifferences, RefuseOtherSizes) {
    EXPECT_THROW(pixelDifferences(part("cat.jpg"), examplePhotograph("cat.jpg")), std::invalid_argument);
    EXPECT_TRUE(pixelDifferences(cv::Mat(), cv::Mat()).ciede2000.empty());
}

TEST(PixelDifferences, AreCancelled) {
    Watch watch;
    watch.progress = [](int done, int) { return done < 2; };
    EXPECT_THROW(pixelDifferences(part("cat.jpg"), part("coffee.jpg"), {}, watch), Cancelled);
}

TEST(WorstPlaces, AreInOrder) {
    cv::Mat map(160, 320, CV_32F, cv::Scalar(0));
    map(cv::Rect(20, 10, 20, 10)) = -5;
    map(cv::Rect(300, 150, 20, 10)) = 3;
    map.at<float>(150, 300) = NAN;
    const std::vector<MapPlace> places = worstPlaces(map);
    ASSERT_EQ(places.size(), 2U);
    EXPECT_EQ(places[0].pixels, cv::Rect(20, 10, 20, 10));
    EXPECT_EQ(places[0].mean, 5);
    EXPECT_EQ(places[1].pixels, cv::Rect(300, 150, 20, 10));
    EXPECT_EQ(places[1].mean, 3);
    EXPECT_EQ(worstPlaces(map, 1).size(), 1U);
    EXPECT_TRUE(worstPlaces(cv::Mat::zeros(3, 5, CV_32F)).empty());
}

TEST(PixelDifferences, OfPartsAreNoNumbersWhereAPixelDoesNotCount) {
    const cv::Mat first = part("cat.jpg");
    const cv::Mat second = part("coffee.jpg");
    cv::Mat firstMask(first.size(), CV_8U, cv::Scalar(255));
    firstMask(cv::Rect(0, 0, 40, 90)) = 0;
    cv::Mat secondMask(first.size(), CV_8U, cv::Scalar(100));
    secondMask(cv::Rect(0, 60, 120, 30)) = 0;
    const PhotographPart one{first, PixelWeights::ofMask(firstMask)};
    const PhotographPart other{second, PixelWeights::ofMask(secondMask)};
    const PixelDifferences differences = pixelDifferences(one, other);
    const PixelDifferences whole = pixelDifferences(first, second);
    const auto [ofOne, ofOther] = Comparer().analyzePair(one, other, {true, {}, {}});
    const cv::Mat firstChroma = ofOne.map(&AppearanceMaps::chroma);
    const cv::Mat secondChroma = ofOther.map(&AppearanceMaps::chroma);
    for (int row = 0; row < first.rows; ++row) {
        for (int column = 0; column < first.cols; ++column) {
            const bool counts = column >= 40 && row < 60;
            ASSERT_EQ(!std::isnan(differences.ciede2000.at<float>(row, column)), counts);
            ASSERT_EQ(!std::isnan(differences.uniform.at<float>(row, column)), counts);
            ASSERT_EQ(!std::isnan(differences.correlates.chroma.at<float>(row, column)), counts);
            if (counts) {
                ASSERT_EQ(differences.ciede2000.at<float>(row, column), whole.ciede2000.at<float>(row, column));
                ASSERT_EQ(differences.correlates.chroma.at<float>(row, column),
                          secondChroma.at<float>(row, column) - firstChroma.at<float>(row, column));
            }
        }
    }
}

}  // namespace
}  // namespace likeness::testing
