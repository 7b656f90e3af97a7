#include <likeness/color/white_point.hpp>
#include <likeness/comparison/analysis.hpp>
#include <likeness/comparison/explanation.hpp>
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace likeness::testing {
namespace {

TEST(Explanation, MeasuresWhatMoved) {
    const BinProbabilities first = {{10, 0.25F}, {11, 0.5F}, {12, 0.25F}};
    const BinProbabilities second = {{7, 0.125F}, {8, 0.25F}, {9, 0.25F}, {10, 0.25F}, {11, 0.125F}};
    const DistributionChange change = distributionChange(first, second);
    EXPECT_DOUBLE_EQ(change.firstMedian, 11);
    EXPECT_DOUBLE_EQ(change.secondMedian, 9);  // 0.375 below 8.5, half of the bin of 9
    EXPECT_DOUBLE_EQ(change.medianShift, -2);
    EXPECT_DOUBLE_EQ(change.firstSpread, 11.5 - 10.5);
    EXPECT_DOUBLE_EQ(change.secondSpread, 10 - 8);
    EXPECT_DOUBLE_EQ(change.spreadChange, 1);
    EXPECT_DOUBLE_EQ(change.meanShift, -2);
    EXPECT_EQ(change.firstLeast, 10);
    EXPECT_EQ(change.secondGreatest, 11);
    EXPECT_DOUBLE_EQ(change.gainedBelow, 0.625);
    EXPECT_DOUBLE_EQ(change.gainedAbove, 0);
    EXPECT_DOUBLE_EQ(change.lostBelow, 0);
    EXPECT_DOUBLE_EQ(change.lostAbove, 0.25);
    ASSERT_TRUE(change.lost && change.gained);
    EXPECT_EQ(change.lost->bin, 12);  // 0.125, and 0.0625 of the 11
    EXPECT_DOUBLE_EQ(change.lost->cost, 0.125);
    EXPECT_EQ(change.gained->bin, 8);  // the first of two alike
    EXPECT_DOUBLE_EQ(change.gained->cost, 0.125);
}

TEST(Explanation, CostsAddUpToWhatTheCoefficientLacks) {
    const auto first = appearanceDistributions(examplePhotograph("cat.jpg"));
    const auto second = appearanceDistributions(examplePhotograph("coffee.jpg"));
    // Bin by bin, each pair of one bin against none.
    double cost = 0;
    double greatestLost = 0;
    for (int bin = -256; bin < 2000; ++bin) {
        const auto of = [bin](const BinProbabilities& distribution) {
            const auto found = distribution.find(bin);
            return found == distribution.end() ? 0.0 : double{found->second};
        };
        const double root = std::sqrt(of(first.chroma)) - std::sqrt(of(second.chroma));
        cost += root * root / 2;
        greatestLost = root > 0 ? std::max(greatestLost, root * root / 2) : greatestLost;
    }
    EXPECT_NEAR(cost, 1 - double{compareDistributions(first, second).chroma}, 1e-5);
    EXPECT_DOUBLE_EQ(distributionChange(first.chroma, second.chroma).lost->cost, greatestLost);
}

TEST(Explanation, SentencesAreMadeOfTheNumbers) {
    const BinProbabilities first = {{10, 0.25F}, {11, 0.5F}, {12, 0.25F}};
    const BinProbabilities second = {{7, 0.125F}, {8, 0.25F}, {9, 0.25F}, {10, 0.25F}, {11, 0.125F}};
    EXPECT_EQ(
        sentenceOf(distributionChange(first, second), 1),
        "lightness J: second is 2 lower in the median (9 against 11), its middle half is 1 wider (2 against 1), "
        "its mean is 2 lower; 62.5 % of its pixels are below everything in the first; 25 % of the first's pixels "
        "are above everything in it. Costliest bins: fewer at 12 (25 % of the first, 0 % of the second), more at 8 "
        "(0 % of the first, 25 % of the second).");
    const BinProbabilities higher = {{10, 0.25F}, {11, 0.25F}, {12, 0.5F}};
    EXPECT_NE(sentenceOf(distributionChange(first, higher), 1).find("its mean is 0.25 higher"), std::string::npos);
    EXPECT_EQ(sentenceOf(distributionChange(first, first), 0),
              "brightness Q: the two distributions are equal (median 11).");
    EXPECT_EQ(sentenceOf(distributionChange({}, first), 2), "chroma C: a photograph has no pixel with a value.");
}

TEST(Explanation, HasTheWhitesOfThePhotographs) {
    const cv::Mat cat = examplePhotograph("cat.jpg");
    const cv::Mat coffee = examplePhotograph("coffee.jpg");
    const Explanation explanation = explain(cat, coffee, appearanceDistributions(cat), appearanceDistributions(coffee));
    const cv::Vec2d expected = grayWorldWhite(coffee).white.chromaticity();
    EXPECT_EQ(explanation.secondWhite.chromaticity, expected);
    EXPECT_EQ(explanation.secondWhite.nearest.kelvin, correlatedColorTemperature(expected).kelvin);
    const std::string sentence = sentenceOf(explanation.firstWhite, explanation.secondWhite);
    EXPECT_EQ(sentence.find("white (grey world): first x 0."), 0U) << sentence;
    EXPECT_NE(sentence.find(" K; second x 0."), std::string::npos) << sentence;
    EXPECT_EQ(sentenceOf(explain(cv::Mat(), cv::Mat(), {}, {}).firstWhite, explanation.firstWhite)
                  .find("white (grey world): first none found; second x"),
              0U);
}

TEST(Explanation, OfPartsIsThatOfThePartsAlone) {
    const cv::Mat first = examplePhotograph("cat.jpg");
    const cv::Mat second = examplePhotograph("coffee.jpg");
    const cv::Rect place(40, 30, 200, 150);
    const auto partOf = [&place](const cv::Mat& photograph) {
        cv::Mat mask(photograph.size(), CV_8U, cv::Scalar(0));
        mask(place) = 255;
        return PhotographPart{photograph, PixelWeights::ofMask(mask)};
    };
    const PhotographPart one = partOf(first);
    const PhotographPart other = partOf(second);
    const auto [ofOne, ofOther] = Comparer().analyzePair(one, other);
    const Explanation parts = explain(one, other, ofOne.distributions(), ofOther.distributions());
    const cv::Mat firstAlone = first(place).clone();
    const cv::Mat secondAlone = second(place).clone();
    const Explanation alone =
        explain(firstAlone, secondAlone, appearanceDistributions(firstAlone), appearanceDistributions(secondAlone));
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        EXPECT_EQ(sentenceOf(parts.changes[k], k), sentenceOf(alone.changes[k], k));
    }
    EXPECT_EQ(parts.firstWhite.chromaticity, alone.firstWhite.chromaticity);
    EXPECT_EQ(sentenceOf(parts.firstWhite, parts.secondWhite), sentenceOf(alone.firstWhite, alone.secondWhite));
}

}  // namespace
}  // namespace likeness::testing
