#include <likeness/comparison/histogram_similarity.hpp>

#include "reference/metrics_reference.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace likeness {
namespace {

cv::Mat row(std::initializer_list<float> values) {
    cv::Mat map(1, static_cast<int>(values.size()), CV_32F);
    std::copy(values.begin(), values.end(), map.ptr<float>(0));
    return map;
}

BinProbabilities probabilitiesOf(const cv::Mat& map) {
    BinProbabilities probabilities;
    computeFreqProbs(map, probabilities);
    return probabilities;
}

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr int lowestBin = std::numeric_limits<int>::min();

TEST(FreqProbs, RoundsHalvesAwayFromZero) {
    EXPECT_EQ(probabilitiesOf(row({2.5F})), (BinProbabilities{{3, 1.0F}}));
    EXPECT_EQ(probabilitiesOf(row({-2.5F})), (BinProbabilities{{-3, 1.0F}}));
    EXPECT_EQ(probabilitiesOf(row({0.49F, 0.49999997F, -0.49F, -0.49999997F})), (BinProbabilities{{0, 1.0F}}));
    EXPECT_EQ(probabilitiesOf(row({0.5F})), (BinProbabilities{{1, 1.0F}}));
    EXPECT_EQ(probabilitiesOf(row({-0.5F})), (BinProbabilities{{-1, 1.0F}}));
    EXPECT_EQ(probabilitiesOf(row({8388607.5F})), (BinProbabilities{{8388608, 1.0F}}));
}

TEST(FreqProbs, SkipsNaN) {
    EXPECT_EQ(probabilitiesOf(row({1.0F, nan, 1.2F})), (BinProbabilities{{1, 1.0F}}));
    EXPECT_EQ(probabilitiesOf(row({nan, -nan})), BinProbabilities());
    EXPECT_EQ(probabilitiesOf(cv::Mat()), BinProbabilities());
}

TEST(FreqProbs, DividesByTheAcceptedValues) {
    EXPECT_EQ(probabilitiesOf(row({1, 2, 2, nan, -7, 5000})),
              (BinProbabilities{{-7, 1.0F / 5}, {1, 1.0F / 5}, {2, 2.0F / 5}, {5000, 1.0F / 5}}));
}

TEST(FreqProbs, PutsValuesOutsideIntIntoTheLowestBin) {
    EXPECT_EQ(probabilitiesOf(row({infinity, -infinity, 3e9F, -3e9F, 2147483648.0F})),
              (BinProbabilities{{lowestBin, 1.0F}}));
    EXPECT_EQ(probabilitiesOf(row({2147483520.0F})), (BinProbabilities{{2147483520, 1.0F}}));
    EXPECT_EQ(probabilitiesOf(row({-2147483648.0F})), (BinProbabilities{{lowestBin, 1.0F}}));
}

TEST(FreqProbs, AddsToWhatTheTableHolds) {
    for (const BinProbabilities& held :
         {BinProbabilities{{1, 2.0F}, {4, 0.0F}, {9, 0.5F}}, BinProbabilities{{-3, 1e9F}}}) {
        const cv::Mat map = row({1, 1, 4, 5, -3});
        BinProbabilities actual = held;
        computeFreqProbs(map, actual);
        BinProbabilities expected = held;
        reference::computeFreqProbs(map, expected);
        EXPECT_EQ(actual, expected);
    }
}

TEST(FreqProbs, IsTheLiteralVersion) {
    for (const float span : {1.0F, 50.0F, 1000.0F, 5000.0F, 1e10F}) {
        for (const auto& [name, image] : testing::floatImages(1, -span, span)) {
            BinProbabilities expected;
            reference::computeFreqProbs(image, expected);
            EXPECT_EQ(probabilitiesOf(image), expected) << name << " within " << span;
        }
    }
}

TEST(Bhattacharyya, OfAMapWithItselfIsItsShareOfTheBins) {
    const cv::Mat inside = testing::randomImage({200, 100}, 1, 0.0F, 120.0F, 1);
    // Some 120 float additions, each off by at most half a unit of 1.
    EXPECT_NEAR(getBhattacharyaCoeff(inside, inside), 1.0, 120 * 0x1p-24);
    EXPECT_EQ(getBhattacharyaCoeff(row({5, 7, 1000, -1}), row({5, 7, 1000, -1})), 0.5F);
    EXPECT_EQ(getBhattacharyaCoeff(row({0, 999}), row({0, 999})), 1.0F);
    EXPECT_EQ(getBhattacharyaCoeff(row({0.5F, -0.5F}), row({0.5F, -0.5F})), 0.5F);
}

TEST(Bhattacharyya, LooksAtBins0To999Only) {
    const cv::Mat above = row({999.5F, 1000, 5000, infinity});
    const cv::Mat below = row({-0.5F, -1, -7, -infinity});
    const cv::Mat inside = row({0, 1, 500, 999});
    for (const cv::Mat& outside : {above, below}) {
        EXPECT_EQ(getBhattacharyaCoeff(outside, outside), 0.0F);
        EXPECT_EQ(getBhattacharyaCoeff(outside, inside), 0.0F);
        EXPECT_EQ(getBhattacharyaCoeff(inside, outside), 0.0F);
    }
    EXPECT_EQ(getBhattacharyaCoeff(row({999.4F}), row({999.0F})), 1.0F);
    EXPECT_EQ(getBhattacharyaCoeff(row({-0.49F}), row({0.0F})), 1.0F);
}

TEST(Bhattacharyya, ComparesMapsOfDifferentSizes) {
    EXPECT_EQ(getBhattacharyaCoeff(row({1, 1, 1, 1}), row({1})), 1.0F);
    EXPECT_EQ(getBhattacharyaCoeff(row({1, 1, 2, 2}), row({1})), std::sqrt(0.5F));
}

TEST(Bhattacharyya, WithAMapWithoutValuesIsZero) {
    const cv::Mat some = row({1, 2});
    for (const cv::Mat& none : {cv::Mat(), row({nan, nan})}) {
        EXPECT_EQ(getBhattacharyaCoeff(none, some), 0.0F);
        EXPECT_EQ(getBhattacharyaCoeff(some, none), 0.0F);
        EXPECT_EQ(getBhattacharyaCoeff(none, none), 0.0F);
    }
}

TEST(Bhattacharyya, IsTheLiteralVersion) {
    for (const float span : {3.0F, 100.0F, 1200.0F}) {
        const auto images = testing::floatImages(1, -span / 3, span);
        for (const auto& [firstName, first] : images) {
            for (const auto& [secondName, second] : images) {
                const float actual = getBhattacharyaCoeff(first, second);
                EXPECT_EQ(actual, reference::getBhattacharyaCoeff(first, second)) << firstName << ", " << secondName;
                EXPECT_EQ(actual, bhattacharyyaCoefficient(probabilitiesOf(first), probabilitiesOf(second)));
            }
        }
    }
}

BinCounts counted(const cv::Mat& map, const std::vector<std::uint32_t>& counts) {
    BinCounts result;
    result.add(map, counts);
    return result;
}

TEST(BinCounts, AreThoseOfTheRepeatedValues) {
    const cv::Mat map = testing::randomImage({300, 1}, 1, -20.0F, 1100.0F, 2);
    const cv::Mat randomCounts = testing::randomImage({300, 1}, 1, 0.5F, 40.0F, 3);
    std::vector<std::uint32_t> counts;
    cv::Mat repeated;
    for (int i = 0; i < map.cols; ++i) {
        counts.push_back(static_cast<std::uint32_t>(randomCounts.at<float>(0, i)) + 1);
        for (std::uint32_t k = 0; k < counts.back(); ++k) {
            repeated.push_back(map.at<float>(0, i));
        }
    }
    EXPECT_EQ(counted(map, counts).probabilities(), probabilitiesOf(repeated));
    EXPECT_EQ(counted(row({1, nan, 1.2F}), {3, 7, 2}).probabilities(), (BinProbabilities{{1, 1.0F}}));
    EXPECT_EQ(counted(cv::Mat(), {}).probabilities(), BinProbabilities());
}

TEST(BinCounts, TurnIntoFloatsThatAreCountedUpAndDivideByAnInt) {
    // A bin that is raised by one in float stops at 2^24, while the number of values goes on.
    const auto raised = [](std::int64_t times) {
        float entry = 1.0F;
        for (std::int64_t i = 1; i < times; ++i) {
            entry += 1.0F;
        }
        return entry;
    };
    const std::int64_t limit = 16'777'216;
    for (const std::int64_t times : {limit - 1, limit, limit + 1, limit + 2, std::int64_t{30'000'001}}) {
        const auto first = static_cast<std::uint32_t>(times / 3);
        const auto rest = static_cast<std::uint32_t>(times - times / 3);
        const int total = static_cast<int>(times) + 101;
        const BinProbabilities actual = counted(row({5.2F, 4.9F, 7.0F}), {first, rest, 101}).probabilities();
        const BinProbabilities expected = {{5, raised(times) / static_cast<float>(total)},
                                           {7, 101.0F / static_cast<float>(total)}};
        EXPECT_EQ(actual, expected) << times;
    }
    EXPECT_EQ(raised(30'000'000), 16'777'216.0F);
    EXPECT_EQ(counted(row({5.0F}), {2'000'000'000}).probabilities(), (BinProbabilities{{5, 16'777'216.0F / 2e9F}}));
}

TEST(BinCounts, SharesAreThoseOfEveryBin) {
    std::vector<std::uint32_t> counts;
    cv::Mat map;
    for (int bin = -3000; bin <= 3000; ++bin) {
        map.push_back(static_cast<float>(bin));
        counts.push_back(static_cast<std::uint32_t>(bin + 3001));
    }
    const BinProbabilities shares = counted(map.reshape(1, 1), counts).shares();
    ASSERT_EQ(shares.size(), counts.size());
    const double total = 6001.0 * 6002 / 2;
    for (const auto& [bin, share] : shares) {
        EXPECT_EQ(share, static_cast<float>((bin + 3001) / total)) << bin;
    }
}

TEST(BinCounts, KnowTheShareOfValuesWithoutABin) {
    const cv::Mat map = (cv::Mat_<float>(1, 4) << 1.0F, nan, 3.0F, nan);
    EXPECT_DOUBLE_EQ(counted(map, {5, 1, 3, 1}).nanShare(), 0.2);
    EXPECT_EQ(counted(map, {5, 0, 3, 0}).nanShare(), 0.0);
    EXPECT_EQ(counted(cv::Mat(), {}).nanShare(), 0.0);

    BinCounts counts;
    counts.add(map);
    counts.addToBin(3, 4);
    EXPECT_DOUBLE_EQ(counts.nanShare(), 0.25);
    EXPECT_EQ(counts.probabilities(), (BinProbabilities{{1, 1 / 6.0F}, {3, 5 / 6.0F}}));
}

}  // namespace
}  // namespace likeness
