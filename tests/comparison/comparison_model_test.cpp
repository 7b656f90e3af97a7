// Photographs seen through the published models and through variants of the comparison's own.
#include <likeness/comparison/comparison_model.hpp>

#include <likeness/color/unit_image.hpp>
#include <likeness/comparison/analysis.hpp>
#include "comparison/modelled_appearance.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>

namespace likeness {
namespace {

constexpr AppearanceModelKind publishedKinds[] = {AppearanceModelKind::ciecam02, AppearanceModelKind::ciecam16};

AnalysisOptions under(const ComparisonModel& model, bool maps = false, std::optional<HueWeights> hue = {}) {
    return {maps, model, hue};
}

ComparisonModel published(AppearanceModelKind kind, const char* preset = "srgb-display") {
    ComparisonModel model;
    model.kind = kind;
    model.conditions = conditionPreset(preset).conditions;
    return model;
}

cv::Mat uniform(const cv::Vec3b& bgr, cv::Size size = {3, 2}) {
    return cv::Mat(size, CV_8UC3, cv::Scalar(bgr[0], bgr[1], bgr[2]));
}

float firstOf(const cv::Mat& map) {
    return map.at<float>(0, 0);
}

/// Greatest relative difference of a map from what a model gives for single colours.
double worstDifference(const cv::Mat& photograph, const ComparisonModel& model, cv::Mat AppearanceMaps::*map,
                       double Correlates::*correlate) {
    const PublishedModel single = publishedModelOf(model);
    const cv::Matx33d toConditions = xyzToConditions(single, srgbWhite());
    const cv::Mat actual = analyze(photograph, under(model, true)).map(map);
    const cv::Mat unit = toUnit(photograph);
    double worst = 0;
    for (int i = 0; i < actual.rows; ++i) {
        for (int j = 0; j < actual.cols; ++j) {
            cv::Vec3d rgb(unit.at<cv::Vec3f>(i, j)[2], unit.at<cv::Vec3f>(i, j)[1], unit.at<cv::Vec3f>(i, j)[0]);
            if (photograph.depth() == CV_8U) {
                const auto& bgr = photograph.at<cv::Vec3b>(i, j);
                rgb = {bgr[2] / 255.0, bgr[1] / 255.0, bgr[0] / 255.0};
            }
            const Xyz xyz = xyzFromSrgb(rgb);
            const cv::Vec3d shown = toConditions * cv::Vec3d(xyz.x, xyz.y, xyz.z);
            const double expected = single.correlatesOf({shown[0], shown[1], shown[2]}).*correlate;
            const double difference = std::abs(double{actual.at<float>(i, j)} - expected);
            if (!std::isfinite(difference)) {  // which a maximum would pass over
                return std::numeric_limits<double>::infinity();
            }
            worst = std::max(worst, expected == 0 ? difference : difference / std::abs(expected));
        }
    }
    return worst;
}

// Rounded to float once: 6e-8, against 1e-5 that is promised. Nearly neutral colours of complete adaptation have a
// chroma of some 1e-12, of which single operations in another order leave nothing; none are in the photograph.
TEST(ComparisonModel, MapsOfPhotographsAreThoseOfSingleColors) {
    const std::pair<cv::Mat AppearanceMaps::*, double Correlates::*> correlates[] = {
        {&AppearanceMaps::brightness, &Correlates::brightness},
        {&AppearanceMaps::lightness, &Correlates::lightness},
        {&AppearanceMaps::chroma, &Correlates::chroma},
        {&AppearanceMaps::colorfulness, &Correlates::colorfulness},
        {&AppearanceMaps::saturation, &Correlates::saturation},
        {&AppearanceMaps::hueDegrees, &Correlates::hueDegrees}};
    const cv::Mat bytes = testing::randomPhotograph({41, 23}, 5);
    for (const AppearanceModelKind kind : publishedKinds) {
        for (const char* const preset : {"srgb-display", "print-d50"}) {
            for (const auto& [map, correlate] : correlates) {
                EXPECT_LT(worstDifference(bytes, published(kind, preset), map, correlate), 1e-7) << preset;
            }
        }
    }
    const cv::Mat inGamut = toUnit(bytes);
    for (const auto& [map, correlate] : correlates) {
        EXPECT_LT(worstDifference(inGamut, published(AppearanceModelKind::ciecam16), map, correlate), 1e-7);
    }
}

TEST(ComparisonModel, DistributionsAreHistogramsOfTheMaps) {
    for (const cv::Mat& photograph : {testing::examplePhotograph("cat.jpg"), testing::randomPhotograph({257, 61}, 3),
                                      testing::withGaps(testing::randomPhotograph({31, 17}, 4)), uniform({0, 0, 0})}) {
        for (const AppearanceModelKind kind : publishedKinds) {
            for (const char* const preset : {"srgb-display", "print-d50-p2", "cinema"}) {
                const ComparisonModel model = published(kind, preset);
                const Analysis counted = analyze(photograph, under(model));
                const AppearanceMaps maps = analyze(photograph, under(model, true)).maps();
                for (std::size_t k = 0; k < correlateNames.size(); ++k) {
                    BinProbabilities expected;
                    computeFreqProbs(maps[k], expected);
                    EXPECT_EQ(counted.distributions()[k], expected) << preset << ", " << correlateNames[k].name;
                }
            }
        }
    }
}

/// Wide colours of floats, some of which sRGB does not have, as few as the photograph of bytes has.
cv::Mat wideFloats(const cv::Mat& bytes) {
    const cv::Mat unit = toUnit(bytes);
    return unit * 1.3 - cv::Scalar(0.1, 0.02, 0.1);
}

// What a conversion from a profile leaves of a photograph of bytes: the model is asked once for each colour, and the
// histograms are those of the maps whether the estimate settles a colour or not.
TEST(ComparisonModel, FloatsOfFewColorsAreSeenByColor) {
    const cv::Mat bytes = testing::examplePhotograph("cat.jpg");
    const cv::Mat wide = wideFloats(bytes);
    ColorCounter counter;
    const PhotographColors ofBytes = countedColors(bytes, counter);
    const PhotographColors ofFloats = countedColors(wide, counter);
    EXPECT_EQ(ofFloats.bgr.size(), ofBytes.bgr.size());
    EXPECT_EQ(std::accumulate(ofFloats.counts.begin(), ofFloats.counts.end(), std::size_t{0}), bytes.total());
    for (const AppearanceModelKind kind : publishedKinds) {
        const ComparisonModel model = published(kind);
        const Analysis analysis = analyze(wide, under(model, true, HueWeights::pixels));
        const AppearanceMaps maps = analysis.maps();
        const AppearanceMaps pixels =
            modelledAppearance(PhotographColors{wide, {}, static_cast<std::int64_t>(wide.total())}, under(model, true))
                .maps;
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            EXPECT_EQ(cv::norm(maps[k], pixels[k], cv::NORM_INF), 0) << correlateNames[k].name;
        }
        EXPECT_EQ(cv::norm(maps.hueDegrees, pixels.hueDegrees, cv::NORM_INF), 0);
    }
}

TEST(ComparisonModel, DistributionsOfFloatsAreHistogramsOfTheMaps) {
    const cv::Mat wide = wideFloats(testing::examplePhotograph("cat.jpg"));
    cv::Mat many(61, 257, CV_32FC3);  // more colours than half its pixels
    cv::RNG(7).fill(many, cv::RNG::UNIFORM, -0.1, 1.2);
    many.at<cv::Vec3f>(3, 3)[1] = std::numeric_limits<float>::quiet_NaN();
    many.at<cv::Vec3f>(4, 4)[1] = std::numeric_limits<float>::infinity();
    many.at<cv::Vec3f>(5, 5) = {1e12F, 2e12F, 3e12F};
    std::vector<ComparisonModel> models(4);
    models[1].white = WhiteResponse::fixed;
    models[2].black = BlackAdaptation::continuous;
    models[3].background = 35;
    for (const AppearanceModelKind kind : publishedKinds) {
        for (const char* const preset : {"srgb-display", "cinema"}) {
            models.push_back(published(kind, preset));
        }
    }
    // One pixel, one more than are taken at a time, and a brightest pixel behind these.
    cv::Mat late(1, 8193, CV_32FC3, cv::Scalar(0.2, 0.3, 0.1));
    cv::RNG(8).fill(late, cv::RNG::UNIFORM, 0, 0.5);
    late.at<cv::Vec3f>(8192) = {0.8F, 0.9F, 0.7F};
    const cv::Mat one(1, 1, CV_32FC3, cv::Scalar(0.2, 0.3, 0.1));
    for (const cv::Mat& photograph : {wide, many, testing::withGaps(many), late, one}) {
        for (std::size_t number = 0; number < models.size(); ++number) {
            const Analysis counted = analyze(photograph, under(models[number]));
            const AppearanceMaps maps = analyze(photograph, under(models[number], true)).maps();
            for (std::size_t k = 0; k < correlateNames.size(); ++k) {
                BinProbabilities expected;
                computeFreqProbs(maps[k], expected);
                EXPECT_EQ(counted.distributions()[k], expected) << number << ", " << correlateNames[k].name;
            }
        }
    }
}

TEST(ComparisonModel, ADisplayInTheDarkIsCountedToo) {
    ComparisonModel model = published(AppearanceModelKind::ciecam02);
    model.conditions.adaptingLuminance = 0;
    const Analysis analysis = analyze(testing::randomPhotograph({20, 20}, 8), under(model));
    EXPECT_EQ(analysis.distributions().brightness, (BinProbabilities{{0, 1.0F}}));
    EXPECT_GT(analysis.distributions().lightness.size(), 20U);
}

TEST(ComparisonModel, CountedPhotographsHaveTheDistributionsOfAnalyze) {
    const cv::Mat cat = testing::examplePhotograph("cat.jpg");
    ComparisonModel fixed;
    fixed.white = WhiteResponse::fixed;
    for (const cv::Mat& photograph : {cat, toUnit(cat(cv::Rect(50, 40, 30, 20))), cv::Mat()}) {
        const CountedPhotograph counted(photograph);
        for (const ComparisonModel& model : {ComparisonModel(), fixed, published(AppearanceModelKind::ciecam02),
                                             published(AppearanceModelKind::ciecam16)}) {
            const AppearanceDistributions actual = counted.distributions(model);
            const Analysis expected = analyze(photograph, under(model));
            for (std::size_t k = 0; k < correlateNames.size(); ++k) {
                EXPECT_EQ(actual[k], expected.distributions()[k]);
            }
        }
        EXPECT_EQ(counted.distributions({}, HueWeights::chroma).hue,
                  analyze(photograph, under({}, false, HueWeights::chroma)).distributions().hue);
    }
    ComparisonModel wrong;
    wrong.background = -1;
    EXPECT_THROW(CountedPhotograph(cat).distributions(wrong), std::invalid_argument);
}

TEST(ComparisonModel, TwoThreadsGiveTheBitsOfOne) {
    const cv::Mat first = testing::randomPhotograph({400, 300}, 1);
    const cv::Mat second = testing::randomPhotograph({400, 300}, 2);
    const AnalysisOptions options = under(published(AppearanceModelKind::ciecam16), false, HueWeights::chroma);
    const auto [ofFirst, ofSecond] = Comparer().analyzePair(first, second, options);
    EXPECT_EQ(ofFirst.distributions().hue, analyze(first, options).distributions().hue);
    EXPECT_EQ(ofSecond.distributions().chroma, analyze(second, options).distributions().chroma);
    EXPECT_EQ(ofSecond.distributions().hue, analyze(second, options).distributions().hue);
}

TEST(ComparisonModel, FloatsAboveWhiteAreLighterThanIt) {
    const cv::Mat bright(2, 2, CV_32FC3, cv::Scalar::all(1.5));
    const Analysis analysis = analyze(bright, under(published(AppearanceModelKind::ciecam16)));
    EXPECT_GT(analysis.distributions().lightness.begin()->first, 150);
}

TEST(ComparisonModel, PixelsThatAreNoNumbersAreNotCounted) {
    cv::Mat broken(1, 4, CV_32FC3, cv::Scalar::all(0.5));
    broken.at<cv::Vec3f>(0, 1)[1] = std::numeric_limits<float>::quiet_NaN();
    for (const PictureWhite white : {PictureWhite::encoding, PictureWhite::grayWorld, PictureWhite::brightestPixel}) {
        ComparisonModel model = published(AppearanceModelKind::ciecam02);
        model.pictureWhite = white;
        const Analysis analysis = analyze(broken, under(model, false, HueWeights::pixels));
        EXPECT_EQ(analysis.distributions().nanShares.lightness, 0.25);
        EXPECT_EQ(analysis.distributions().lightness.size(), 1U);
    }
}

TEST(ComparisonModel, ThePicturesOwnWhiteMayBeTheBrightestPixel) {
    cv::Mat photograph = uniform({90, 120, 150});
    photograph.at<cv::Vec3b>(1, 1) = {160, 200, 220};
    for (const AppearanceModelKind kind : publishedKinds) {
        ComparisonModel model = published(kind, "print-d50");
        model.conditions.discounting = true;
        model.pictureWhite = PictureWhite::brightestPixel;
        const Analysis analysis = analyze(photograph, under(model, true));
        EXPECT_NEAR(analysis.map(&AppearanceMaps::lightness).at<float>(1, 1), 100, 1e-3);
        EXPECT_LT(analysis.map(&AppearanceMaps::chroma).at<float>(1, 1), 0.05);
        model.pictureWhite = PictureWhite::encoding;
        EXPECT_LT(analyze(photograph, under(model, true)).map(&AppearanceMaps::lightness).at<float>(1, 1), 85);
    }
}

TEST(ComparisonModel, AGrayWorldIsNeutralAndKeepsItsLuminance) {
    ComparisonModel model = published(AppearanceModelKind::ciecam16);
    model.conditions.discounting = true;
    const cv::Mat tinted = uniform({80, 120, 160});
    const float encoded = firstOf(analyze(tinted, under(model, true)).map(&AppearanceMaps::lightness));
    model.pictureWhite = PictureWhite::grayWorld;
    const Analysis gray = analyze(tinted, under(model, true));
    EXPECT_LT(firstOf(gray.map(&AppearanceMaps::chroma)), 0.01);
    EXPECT_NEAR(firstOf(gray.map(&AppearanceMaps::lightness)), encoded, 3);
    EXPECT_EQ(analyze(uniform({0, 0, 0}), under(model)).distributions().lightness, (BinProbabilities{{0, 1.0F}}));
}

TEST(ComparisonModel, TheDefaultIsTheComparisonsOwn) {
    const cv::Mat cat = testing::examplePhotograph("cat.jpg");
    ComparisonModel model;
    model.conditions.adaptingLuminance = 1000;  // of no account
    EXPECT_TRUE(model == ComparisonModel());
    const AppearanceDistributions expected = appearanceDistributions(cat);
    for (const auto& hue : {std::optional<HueWeights>(), std::optional(HueWeights::pixels)}) {
        const AppearanceDistributions actual = analyze(cat, under(model, false, hue)).distributions();
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            EXPECT_EQ(actual[k], expected[k]) << correlateNames[k].name;
        }
        EXPECT_EQ(actual.hue.has_value(), hue.has_value());
    }
}

TEST(ComparisonModel, AFixedWhiteDoesNotFollowTheBrightestPixel) {
    cv::Mat dark = testing::randomPhotograph({60, 40}, 6) / 2;
    ComparisonModel model;
    model.white = WhiteResponse::fixed;
    const cv::Mat before = analyze(dark, under(model, true)).map(&AppearanceMaps::lightness);
    const cv::Mat following = analyze(dark, {true}).map(&AppearanceMaps::lightness);
    dark.at<cv::Vec3b>(5, 5) = cv::Vec3b::all(255);
    const cv::Mat after = analyze(dark, under(model, true)).map(&AppearanceMaps::lightness);
    const cv::Mat followed = analyze(dark, {true}).map(&AppearanceMaps::lightness);
    EXPECT_EQ(before.at<float>(7, 9), after.at<float>(7, 9));
    EXPECT_EQ(after.at<float>(5, 5), 100);
    EXPECT_GT(following.at<float>(7, 9), followed.at<float>(7, 9));
    // With a white pixel in it the photograph's brightest is the white.
    EXPECT_EQ(cv::norm(after, followed, cv::NORM_INF), 0);
}

TEST(ComparisonModel, ContinuousBlackIsADarkGray) {
    cv::Mat ramp(1, 256, CV_8UC3);
    for (int level = 0; level < 256; ++level) {
        ramp.at<cv::Vec3b>(0, level) = cv::Vec3b::all(static_cast<uchar>(level));
    }
    ComparisonModel model;
    const cv::Mat defined = analyze(ramp, under(model, true)).map(&AppearanceMaps::lightness);
    model.black = BlackAdaptation::continuous;
    const cv::Mat continuous = analyze(ramp, under(model, true)).map(&AppearanceMaps::lightness);
    EXPECT_LT(defined.at<float>(0, 0), 1e-6);
    EXPECT_NEAR(continuous.at<float>(0, 0), 83.4, 0.2);
    for (int level = 1; level < 256; ++level) {
        EXPECT_GT(continuous.at<float>(0, level), continuous.at<float>(0, level - 1)) << level;
        EXPECT_NEAR(continuous.at<float>(0, level), defined.at<float>(0, level), level == 1 ? 0.2 : 0.07) << level;
    }
}

TEST(ComparisonModel, WithoutABackgroundAPublishedModelHasGrayOf20) {
    const cv::Mat photograph = testing::randomPhotograph({20, 20}, 7);
    ComparisonModel model;
    model.kind = AppearanceModelKind::ciecam16;
    model.conditions.background.reset();
    const AppearanceDistributions without = analyze(photograph, under(model)).distributions();
    model.conditions.background = 20;
    const AppearanceDistributions gray = analyze(photograph, under(model)).distributions();
    model.conditions.background = 21;
    const AppearanceDistributions other = analyze(photograph, under(model)).distributions();
    EXPECT_EQ(without.lightness, gray.lightness);
    EXPECT_NE(without.lightness, other.lightness);
}

TEST(ComparisonModel, ABackgroundOfANumberDoesNotDrift) {
    const cv::Mat small = testing::randomPhotograph({20, 20}, 7);
    cv::Mat large;
    cv::repeat(small, 60, 60, large);
    ComparisonModel model;
    model.background = 20;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        EXPECT_EQ(analyze(large, under(model)).distributions()[k], analyze(small, {}).distributions()[k]);
    }
    EXPECT_EQ(analyze(large, under(model)).backgroundLuminance(), 20);
    EXPECT_NE(analyze(large, {}).backgroundLuminance(), 20);
    const cv::Mat drifting = analyze(large, {true}).map(&AppearanceMaps::brightness);
    EXPECT_NE(firstOf(drifting), firstOf(analyze(large, under(model, true)).map(&AppearanceMaps::brightness)));
}

TEST(ComparisonModel, HueIsCountedByTheNearestDegreeAroundTheCircle) {
    const cv::Mat red = uniform({0, 0, 255}, {4, 1});
    cv::Mat colors = red.clone();
    colors.at<cv::Vec3b>(0, 1) = {0, 255, 0};
    colors.at<cv::Vec3b>(0, 2) = {0, 0, 0};
    ComparisonModel model = published(AppearanceModelKind::ciecam02);
    const PublishedModel single = publishedModelOf(model);
    const Correlates ofRed = single.correlatesOf(xyzFromSrgb({1, 0, 0}));
    const Correlates ofGreen = single.correlatesOf(xyzFromSrgb({0, 1, 0}));
    const auto bin = [](const Correlates& k) { return static_cast<int>(std::lround(k.hueDegrees)) % 360; };
    const BinProbabilities hue = *analyze(colors, under(model, false, HueWeights::pixels)).distributions().hue;
    EXPECT_EQ(hue, (BinProbabilities{{bin(ofRed), 2 / 3.0F}, {bin(ofGreen), 1 / 3.0F}}));
    const BinProbabilities weighted = *analyze(colors, under(model, false, HueWeights::chroma)).distributions().hue;
    const double sum = 2 * ofRed.chroma + ofGreen.chroma;
    EXPECT_NEAR(weighted.at(bin(ofRed)), 2 * ofRed.chroma / sum, 1e-6);
    EXPECT_NEAR(weighted.at(bin(ofGreen)), ofGreen.chroma / sum, 1e-6);
    // The own model's angles are from -180 to 180.
    const Analysis own = analyze(testing::randomPhotograph({90, 90}, 2), under({}, false, HueWeights::pixels));
    EXPECT_GT(own.distributions().hue->size(), 100U);
    for (const auto& [degree, share] : *own.distributions().hue) {
        EXPECT_TRUE(degree >= 0 && degree < 360 && share > 0) << degree;
    }
}

TEST(ComparisonModel, HueCoefficientTellsHuesApart) {
    const AnalysisOptions options = under(published(AppearanceModelKind::ciecam16), false, HueWeights::chroma);
    const auto seen = [&](const cv::Mat& image) { return analyze(image, options).distributions(); };
    const cv::Mat cat = testing::examplePhotograph("cat.jpg");
    const AppearanceDistributions black = seen(uniform({0, 0, 0}));
    EXPECT_NEAR(*hueCoefficient(seen(cat), seen(cat)), 1, 1e-5);
    EXPECT_EQ(*hueCoefficient(seen(uniform({0, 0, 255})), seen(uniform({255, 0, 0}))), 0);
    EXPECT_EQ(*hueCoefficient(black, black), 1);
    EXPECT_EQ(*hueCoefficient(black, seen(cat)), 0);
    EXPECT_FALSE(hueCoefficient(seen(cat), appearanceDistributions(cat)));
    EXPECT_FALSE(hueCoefficient(seen(cat), seen(cv::Mat())));
}

TEST(ComparisonModel, GraysUnderCompleteAdaptationHaveNoHue) {
    ComparisonModel model = published(AppearanceModelKind::ciecam02);
    model.conditions.discounting = true;
    cv::Mat grays(1, 256, CV_8UC3);
    for (int level = 0; level < 256; ++level) {
        grays.at<cv::Vec3b>(0, level) = cv::Vec3b::all(static_cast<uchar>(level));
    }
    EXPECT_TRUE(analyze(grays, under(model, false, HueWeights::pixels)).distributions().hue->empty());
    // Black has none under the comparison's own model either.
    EXPECT_TRUE(analyze(uniform({0, 0, 0}), under({}, false, HueWeights::pixels)).distributions().hue->empty());
}

TEST(ComparisonModel, DifferentModelsAreNotCompared) {
    const cv::Mat image = testing::randomPhotograph({9, 9}, 1);
    const Analysis own = analyze(image);
    const Analysis ciecam02 = analyze(image, under(published(AppearanceModelKind::ciecam02)));
    const Analysis office = analyze(image, under(published(AppearanceModelKind::ciecam02, "bright-office")));
    EXPECT_THROW(compare(own, ciecam02), std::invalid_argument);
    EXPECT_THROW(compare(office, ciecam02), std::invalid_argument);
    EXPECT_NO_THROW(compare(office, Analysis()));
    EXPECT_NEAR(compare(office, office).lightness, 1, 1e-5);
}

TEST(ComparisonModel, RefusesConditionsOutOfRange) {
    const cv::Mat image = testing::randomPhotograph({9, 9}, 1);
    for (const double background : {0.0, -1.0, 100.5, std::nan("")}) {
        ComparisonModel model;
        model.background = background;
        EXPECT_THROW(analyze(image, under(model)), std::invalid_argument) << background;
    }
    ComparisonModel model = published(AppearanceModelKind::ciecam16);
    model.conditions.adaptingLuminance = -1;
    EXPECT_THROW(analyze(image, under(model)), std::invalid_argument);
    EXPECT_THROW(analyze(cv::Mat(), under(model)), std::invalid_argument);
    EXPECT_THROW(xyzToConditions(publishedModelOf(published(AppearanceModelKind::ciecam16)), {0, 0, 1}),
                 std::invalid_argument);
}

// One picture before a display of D65 and on a print of D50 looks much the same: the white of the picture goes with
// that of the conditions.
TEST(ComparisonModel, TheWhiteOfThePictureFallsOnThatOfTheConditions) {
    ComparisonModel model = published(AppearanceModelKind::ciecam16, "print-d50");
    model.conditions.discounting = true;
    const Analysis white = analyze(uniform({255, 255, 255}), under(model, true));
    EXPECT_NEAR(firstOf(white.map(&AppearanceMaps::lightness)), 100, 1e-4);
    EXPECT_LT(firstOf(white.map(&AppearanceMaps::chroma)), 1e-3);
}

}  // namespace
}  // namespace likeness
