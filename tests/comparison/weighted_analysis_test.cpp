// Parts of photographs: against the counted pixels alone, and against literal weighted histograms.
#include <likeness/color/pixel_weights.hpp>
#include <likeness/color/unit_image.hpp>
#include <likeness/comparison/analysis.hpp>
#include "comparison/weighted_colors.hpp"
#include "support/distribution_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace likeness {
namespace {

using testing::expectEqual;

cv::Mat randomMask(cv::Size size, std::uint64_t seed, bool binary) {
    std::mt19937_64 random(seed);
    cv::Mat mask(size, CV_16U);
    for (int i = 0; i < size.height; ++i) {
        for (int j = 0; j < size.width; ++j) {
            mask.at<ushort>(i, j) = binary ? (random() % 3 == 0 ? 65535 : 0)
                                           : (random() % 3 == 0 ? 0 : static_cast<ushort>(random() % 65536));
        }
    }
    return mask;
}

/// The pixels that count, one after the other, by the plainest loop.
cv::Mat alone(const cv::Mat& photograph, const cv::Mat& mask) {
    std::vector<cv::Mat> pixels;
    for (int i = 0; i < photograph.rows; ++i) {
        for (int j = 0; j < photograph.cols; ++j) {
            if (mask.at<ushort>(i, j) != 0) {
                pixels.push_back(photograph(cv::Rect(j, i, 1, 1)));
            }
        }
    }
    cv::Mat row;
    cv::hconcat(pixels, row);
    return row;
}

std::vector<ComparisonModel> models() {
    ComparisonModel fixed;
    fixed.white = WhiteResponse::fixed;
    fixed.background = 20;
    ComparisonModel continuous;
    continuous.black = BlackAdaptation::continuous;
    ComparisonModel published;
    published.kind = AppearanceModelKind::ciecam16;
    ComparisonModel grayWorld = published;
    grayWorld.pictureWhite = PictureWhite::grayWorld;
    ComparisonModel brightest = published;
    brightest.pictureWhite = PictureWhite::brightestPixel;
    return {{}, fixed, continuous, published, grayWorld, brightest};
}

std::vector<cv::Mat> photographs() {
    const cv::Mat cat = testing::examplePhotograph("cat.jpg")(cv::Rect(40, 30, 90, 70)).clone();
    cv::Mat floats = toUnit(testing::randomPhotograph({40, 30}, 5)).clone();
    floats.at<cv::Vec3f>(3, 4)[1] = std::nanf("");
    return {cat, toUnit(cat).clone(), floats};
}

TEST(AnalyzePart, OfAllPixelsIsThatOfThePhotograph) {
    for (const cv::Mat& photograph : photographs()) {
        for (const ComparisonModel& model : models()) {
            AnalysisOptions options;
            options.model = model;
            options.maps = true;
            const Analysis expected = analyze(photograph, options);
            options.weights = PixelWeights::ofMask(cv::Mat(photograph.size(), CV_8U, cv::Scalar(255)));
            const Analysis found = analyze(photograph, options);
            expectEqual(found.distributions(), expected.distributions());
            EXPECT_EQ(found.countedPixels(), static_cast<double>(photograph.total()));
            EXPECT_EQ(found.backgroundLuminance(), expected.backgroundLuminance());
            EXPECT_EQ(
                cv::norm(found.map(&AppearanceMaps::lightness), expected.map(&AppearanceMaps::lightness), cv::NORM_INF),
                0);
        }
    }
}

TEST(AnalyzePart, OfZerosAndOnesIsThatOfThePixelsAlone) {
    for (const cv::Mat& photograph : photographs()) {
        const cv::Mat mask = randomMask(photograph.size(), 7, true);
        for (const ComparisonModel& model : models()) {
            for (const bool hue : {false, true}) {
                AnalysisOptions options;
                options.model = model;
                options.hue = hue ? std::optional(HueWeights::chroma) : std::nullopt;
                const Analysis expected = analyze(alone(photograph, mask), options);
                options.weights = PixelWeights::ofMask(mask);
                for (const bool maps : {false, true}) {
                    options.maps = maps;
                    const Analysis found = analyze(photograph, options);
                    expectEqual(found.distributions(), expected.distributions());
                    EXPECT_EQ(found.backgroundLuminance(), expected.backgroundLuminance());
                    EXPECT_EQ(found.countedPixels(), static_cast<double>(expected.size().area()));
                    EXPECT_EQ(found.size(), photograph.size());
                }
            }
        }
    }
}

TEST(AnalyzePart, BackgroundIsThatOfThePixelsThatCount) {
    // From about 0.67 megapixels on it drifts with their number.
    const cv::Mat photograph(1000, 1000, CV_8UC3, cv::Scalar(10, 100, 200));
    cv::Mat mask(1000, 1000, CV_8U, cv::Scalar(0));
    mask.rowRange(0, 900) = 255;
    AnalysisOptions options;
    options.weights = PixelWeights::ofMask(mask);
    const Analysis found = analyze(photograph, options);
    EXPECT_EQ(found.backgroundLuminance(), backgroundLuminanceOf(900'000));
    EXPECT_NE(found.backgroundLuminance(), backgroundLuminanceOf(1'000'000));
    expectEqual(found.distributions(), analyze(photograph.rowRange(0, 900)).distributions());
}

TEST(AnalyzePart, MapsAreWholeAndSeenWithTheWhiteOfThePart) {
    for (const cv::Mat& photograph : photographs()) {
        const cv::Mat mask = randomMask(photograph.size(), 9, true);
        for (const ComparisonModel& model : models()) {
            AnalysisOptions options;
            options.model = model;
            options.maps = true;
            const AppearanceMaps expected = analyze(alone(photograph, mask), options).maps();
            options.weights = PixelWeights::ofMask(mask);
            const AppearanceMaps found = analyze(photograph, options).maps();
            for (std::size_t k = 0; k < correlateNames.size(); ++k) {
                ASSERT_EQ(found[k].size(), photograph.size());
                const cv::Mat counted = alone(found[k], mask);
                for (int j = 0; j < counted.cols; ++j) {
                    const float value = counted.at<float>(0, j);
                    const float wanted = expected[k].at<float>(0, j);
                    ASSERT_TRUE(value == wanted || (std::isnan(value) && std::isnan(wanted)))
                        << correlateNames[k].name << ' ' << j << ": " << value << ' ' << wanted;
                }
            }
        }
    }
}

/// A weighted histogram, literally: sums of weights by the bin of the map, each divided by all.
BinProbabilities literal(const cv::Mat& map, const cv::Mat& mask) {
    std::map<int, std::uint64_t> sums;
    std::uint64_t all = 0;
    for (int i = 0; i < map.rows; ++i) {
        for (int j = 0; j < map.cols; ++j) {
            const float value = map.at<float>(i, j);
            const std::uint64_t weight = mask.at<ushort>(i, j);
            if (weight != 0 && !std::isnan(value)) {
                sums[BinCounts::binOf(value)] += weight;
                all += weight;
            }
        }
    }
    BinProbabilities shares;
    for (const auto& [bin, sum] : sums) {
        shares[bin] = static_cast<float>(static_cast<double>(sum) / static_cast<double>(all));
    }
    return shares;
}

TEST(AnalyzePart, OfGreyWeightsIsTheWeightedHistogram) {
    for (const cv::Mat& photograph : photographs()) {
        const cv::Mat mask = randomMask(photograph.size(), 11, false);
        for (const ComparisonModel& model : models()) {
            AnalysisOptions options;
            options.model = model;
            options.weights = PixelWeights::ofMask(mask);
            const AppearanceDistributions found = analyze(photograph, options).distributions();
            options.maps = true;
            const Analysis withMaps = analyze(photograph, options);
            expectEqual(withMaps.distributions(), found);
            const AppearanceMaps maps = withMaps.maps();
            for (std::size_t k = 0; k < correlateNames.size(); ++k) {
                EXPECT_EQ(found[k], literal(maps[k], mask)) << correlateNames[k].name;
            }
        }
    }
}

TEST(AnalyzePart, ManyPixelsAreWeightedInATable) {
    // Above 2^18 pixels; a colour of 70,000 whole pixels has a sum of more than 32 bits.
    cv::Mat photograph = testing::randomPhotograph({600, 500}, 3);
    photograph.rowRange(0, 160) = cv::Scalar(1, 2, 3);
    cv::Mat mask = randomMask(photograph.size(), 13, false);
    mask.rowRange(0, 160) = 65535;
    const cv::Mat pixels = photograph.reshape(3, 1);
    cv::Mat weights = mask.reshape(1, 1);
    weights.setTo(1, weights == 0);
    const auto key = [](const cv::Vec3b& color) { return std::tuple(color[0], color[1], color[2]); };
    std::map<std::tuple<uchar, uchar, uchar>, std::uint64_t> expected;
    for (int j = 0; j < pixels.cols; ++j) {
        expected[key(pixels.at<cv::Vec3b>(0, j))] += weights.at<ushort>(0, j);
    }
    ASSERT_GT(expected[std::tuple(uchar{1}, uchar{2}, uchar{3})], std::uint64_t{1} << 32U);
    const PhotographColors colors = weightedColors(pixels, weights, 5);
    std::map<std::tuple<uchar, uchar, uchar>, std::uint64_t> found;
    for (int j = 0; j < colors.bgr.cols; ++j) {
        found[key(colors.bgr.at<cv::Vec3b>(0, j))] += colors.counts[static_cast<std::size_t>(j)];
    }
    EXPECT_EQ(found, expected);
    EXPECT_EQ(colors.pixels, 5);
}

TEST(AnalyzePart, AnyOrderOfPixelsGivesTheSameBits) {
    const cv::Mat photograph = testing::examplePhotograph("coffee.jpg");
    const cv::Mat mask = PixelWeights::centered(photograph.size()).map();
    AnalysisOptions options;
    options.weights = PixelWeights::ofMask(mask);
    const Analysis expected = analyze(photograph, options);
    cv::Mat mirrored;
    cv::flip(photograph, mirrored, -1);
    cv::Mat mirroredMask;
    cv::flip(mask, mirroredMask, -1);
    options.weights = PixelWeights::ofMask(mirroredMask);
    expectEqual(analyze(mirrored, options).distributions(), expected.distributions());
}

TEST(ComparePart, HasTheCoefficientsOfThePartsAlone) {
    const cv::Mat cat = testing::examplePhotograph("cat.jpg");
    const cv::Mat coffee = testing::examplePhotograph("coffee.jpg");
    const cv::Mat catMask = randomMask(cat.size(), 1, true);
    const cv::Mat coffeeMask = randomMask(coffee.size(), 2, true);
    const LikenessCoefficients expected = comparePhotographs(alone(cat, catMask), alone(coffee, coffeeMask));
    const LikenessCoefficients found = comparePhotographs(PhotographPart{cat, PixelWeights::ofMask(catMask)},
                                                          PhotographPart{coffee, PixelWeights::ofMask(coffeeMask)});
    const LikenessCoefficients whole = comparePhotographs(PhotographPart{cat, {}}, PhotographPart{coffee, {}});
    const LikenessCoefficients plain = comparePhotographs(cat, coffee);
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        EXPECT_EQ(found[k], expected[k]) << correlateNames[k].name;
        EXPECT_EQ(whole[k], plain[k]) << correlateNames[k].name;
    }
    const PixelWeights weights = PixelWeights::ofMask(catMask);
    const AppearanceDistributions counted = CountedPhotograph(cat, weights).distributions({});
    expectEqual(counted, analyze(alone(cat, catMask)).distributions());
}

TEST(ComparePart, RefusesWhatDoesNotFit) {
    const cv::Mat photograph = testing::randomPhotograph({9, 5}, 1);
    AnalysisOptions options;
    options.weights = PixelWeights::ofMask(cv::Mat(5, 9, CV_8U, cv::Scalar(0)));
    EXPECT_THROW(analyze(photograph, options), NothingCounts);
    EXPECT_THROW(CountedPhotograph(photograph, options.weights), NothingCounts);
    options.weights = PixelWeights::centered({5, 9});
    EXPECT_THROW(analyze(photograph, options), std::invalid_argument);
    EXPECT_THROW(analyze(cv::Mat(), options), std::invalid_argument);
    EXPECT_THROW(comparePhotographs({photograph, options.weights}, {photograph, {}}), std::invalid_argument);
}

}  // namespace
}  // namespace likeness
