#include <likeness/comparison/distances.hpp>

#include <likeness/comparison/analysis.hpp>
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace likeness::testing {
namespace {

TEST(Distances, OfDistributionsByHand) {
    const BinDistances moved = binDistances({{10, 0.5F}, {11, 0.5F}}, {{13, 0.5F}, {14, 0.5F}});
    EXPECT_DOUBLE_EQ(moved.wasserstein, 3);
    EXPECT_DOUBLE_EQ(moved.meanShift, 3);
    EXPECT_DOUBLE_EQ(moved.kolmogorovSmirnov, 1);
    EXPECT_DOUBLE_EQ(moved.jensenShannon, 1);
    const BinDistances back = binDistances({{13, 0.5F}, {14, 0.5F}}, {{10, 0.5F}, {11, 0.5F}});
    EXPECT_DOUBLE_EQ(back.wasserstein, 3);
    EXPECT_DOUBLE_EQ(back.meanShift, -3);
    // A quarter of the mass goes from 0 to 100: the mean moves by 25. Spread alone moves no mean.
    const BinDistances quarter = binDistances({{0, 1.0F}}, {{0, 0.75F}, {100, 0.25F}});
    EXPECT_DOUBLE_EQ(quarter.wasserstein, 25);
    EXPECT_DOUBLE_EQ(quarter.kolmogorovSmirnov, 0.25);
    // Lin 1991, by hand: H(0.875, 0.125) - H(0.75, 0.25) / 2.
    EXPECT_NEAR(quarter.jensenShannon, 0.543564443199596 - 0.811278124459133 / 2, 1e-12);
    const BinDistances spread = binDistances({{0, 1.0F}}, {{-2, 0.5F}, {2, 0.5F}});
    EXPECT_DOUBLE_EQ(spread.wasserstein, 2);
    EXPECT_DOUBLE_EQ(spread.meanShift, 0);
    EXPECT_DOUBLE_EQ(spread.kolmogorovSmirnov, 0.5);
    EXPECT_TRUE(std::isnan(binDistances({}, {{1, 1.0F}}).wasserstein));
}

TEST(Distances, OfAPhotographWithItselfAreNone) {
    AnalysisOptions options;
    options.maps = true;
    options.model.kind = AppearanceModelKind::ciecam16;
    const Analysis analysis = analyze(examplePhotograph("coffee.jpg"), options);
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        const BinDistances its = distancesOf(analysis.distributions(), analysis.distributions())[k];
        EXPECT_EQ(its.wasserstein, 0);
        EXPECT_EQ(its.kolmogorovSmirnov, 0);
        EXPECT_EQ(its.jensenShannon, 0);
    }
    const AppearanceMaps maps = analysis.maps();
    EXPECT_EQ(uniformDistances(maps, maps).total, 0);
}

AppearanceMaps mapsOf(float lightness, float colorfulness, float hue) {
    AppearanceMaps maps;
    maps.lightness = cv::Mat(2, 3, CV_32F, cv::Scalar(lightness));
    maps.colorfulness = cv::Mat(2, 3, CV_32F, cv::Scalar(colorfulness));
    maps.hueDegrees = cv::Mat(2, 3, CV_32F, cv::Scalar(hue));
    return maps;
}

TEST(Distances, InAUniformSpaceByHand) {
    // J' = 1.7 J / (1 + 0.007 J): 60 for J = 46.875..., M' = ln(1 + 0.0228 M) / 0.0228.
    const double dark = 1.7 * 40 / (1 + 0.007 * 40);
    const double light = 1.7 * 60 / (1 + 0.007 * 60);
    const double colorful = std::log(1 + 0.0228 * 30) / 0.0228;
    const UniformDistances lighter = uniformDistances(mapsOf(40, 30, 20), mapsOf(60, 30, 20));
    EXPECT_NEAR(lighter.lightness, light - dark, 0.0101);
    EXPECT_EQ(lighter.colorfulness, 0);
    EXPECT_NEAR(lighter.hue, 0, 1e-12);
    EXPECT_NEAR(lighter.total, lighter.lightness, 1e-12);
    // The short way round: 350 to 10 degrees are 20.
    const UniformDistances turned = uniformDistances(mapsOf(40, 30, 350), mapsOf(40, 30, 10));
    EXPECT_NEAR(turned.hue, 20 * 3.14159265358979 / 180 * colorful, 1e-9);
    const UniformDistances grey = uniformDistances(mapsOf(40, 30, 350), mapsOf(40, 0, 10));
    EXPECT_EQ(grey.hue, 0);
    EXPECT_NEAR(grey.colorfulness, colorful, 0.0101);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(std::isnan(uniformDistances(mapsOf(nan, nan, nan), mapsOf(40, 30, 10)).total));
    AppearanceMaps wrong = mapsOf(40, 30, 20);
    wrong.hueDegrees = cv::Mat(1, 1, CV_32F);
    EXPECT_THROW(uniformDistances(wrong, wrong), std::invalid_argument);
}

TEST(Distances, TakeOneDirectionOrMore) {
    AnalysisOptions options;
    options.maps = true;
    options.model.kind = AppearanceModelKind::ciecam16;
    const Analysis first = analyze(randomPhotograph({3, 2}, 1), options);
    const Analysis second = analyze(randomPhotograph({3, 2}, 2), options);
    EXPECT_GT(slicedWasserstein(first.maps(), second.maps(), 1, 1), 0);
    EXPECT_GT(slicedWasserstein(first.maps(), second.maps(), 1, 2), 0);
    EXPECT_THROW(slicedWasserstein(first.maps(), second.maps(), 1, 0), std::invalid_argument);
    EXPECT_THROW(slicedWasserstein(first.maps(), second.maps(), 1, 100001), std::invalid_argument);
}

TEST(Distances, GrowWithAChange) {
    AnalysisOptions options;
    options.maps = true;
    options.model.kind = AppearanceModelKind::ciecam16;
    const cv::Mat photograph = examplePhotograph("cat.jpg");
    const Analysis first = analyze(photograph, options);
    const AppearanceMaps maps = first.maps();
    double before = 0;
    for (const double factor : {0.95, 0.85, 0.7, 0.5}) {
        const Analysis second = analyze(photograph * factor, options);
        const double total = uniformDistances(maps, second.maps()).total;
        EXPECT_GT(total, before);
        before = total;
        EXPECT_LT(distancesOf(first.distributions(), second.distributions()).lightness.meanShift, 0);
    }
}

}  // namespace
}  // namespace likeness::testing
