#include <likeness/comparison/analysis.hpp>

#include <likeness/color/unit_image.hpp>
#include <likeness/comparison/photograph_comparison.hpp>
#include "support/distribution_matchers.hpp"
#include "support/mat_matchers.hpp"
#include "support/quiet_call.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace likeness {
namespace {

using testing::expectEqual;

void expectEqual(const LikenessCoefficients& actual, const LikenessCoefficients& expected) {
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        EXPECT_EQ(actual[k], expected[k]) << correlateNames[k].name;
    }
}

std::vector<cv::Mat> photographs() {
    const cv::Mat cat = testing::examplePhotograph("cat.jpg");
    return {cat,
            testing::withGaps(cat),
            testing::randomPhotograph({33, 20}, 1),
            testing::randomPhotograph({1, 1}, 2),
            testing::randomPhotograph({70, 1}, 3),
            cv::Mat(5, 5, CV_8UC3, cv::Scalar::all(0))};
}

AnalysisOptions withMaps() {
    AnalysisOptions options;
    options.maps = true;
    return options;
}

TEST(PerCorrelate, HasItsFieldsInTheOrderOfTheNames) {
    PerCorrelate<int> numbers{1, 2, 3, 4, 5};
    const int* const fields[] = {&numbers.brightness, &numbers.lightness, &numbers.chroma, &numbers.colorfulness,
                                 &numbers.saturation};
    const char* const names[] = {"brightness", "lightness", "chroma", "colorfulness", "saturation"};
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        EXPECT_EQ(&numbers[k], fields[k]);
        EXPECT_STREQ(correlateNames[k].name, names[k]);
    }
    EXPECT_EQ(PerCorrelate<double>{}.saturation, 0);
}

TEST(Analyze, HasDistributionsAndMapsOfOneCount) {
    for (const cv::Mat& photograph : photographs()) {
        const Analysis plain = testing::quietly(photograph, [](const cv::Mat& image) { return analyze(image); });
        const Analysis mapped =
            testing::quietly(photograph, [](const cv::Mat& image) { return analyze(image, withMaps()); });
        const AppearanceDistributions expected = appearanceDistributions(photograph);
        expectEqual(plain.distributions(), expected);
        expectEqual(mapped.distributions(), expected);
        EXPECT_EQ(mapped.size(), photograph.size());
        EXPECT_EQ(mapped.backgroundLuminance(), backgroundLuminanceOf(static_cast<std::int64_t>(photograph.total())));
        const AppearanceMaps maps = appearanceMaps(photograph);
        const AppearanceMaps all = mapped.maps();
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            EXPECT_MAT_EQUAL(all[k], maps[k]);
        }
        EXPECT_MAT_EQUAL(all.hueDegrees, maps.hueDegrees);
        EXPECT_MAT_EQUAL(mapped.map(&AppearanceMaps::chroma), maps.chroma);
        EXPECT_MAT_EQUAL(mapped.map(&AppearanceMaps::hueDegrees), maps.hueDegrees);
    }
}

TEST(Analyze, TakesPhotographsOfEveryDepth) {
    const cv::Mat bytes = testing::randomPhotograph({33, 20}, 1);
    const AppearanceDistributions expected = appearanceDistributions(bytes);
    const cv::Mat unit = toUnit(bytes);
    cv::Mat sixteen;
    bytes.convertTo(sixteen, CV_16U, 257);
    cv::Mat doubles;
    unit.convertTo(doubles, CV_64F);
    for (const cv::Mat& photograph : {unit, testing::withGaps(unit), sixteen, doubles}) {
        const Analysis analysis =
            testing::quietly(photograph, [](const cv::Mat& image) { return analyze(image, withMaps()); });
        expectEqual(analysis.distributions(), expected);
        EXPECT_MAT_EQUAL(analysis.map(&AppearanceMaps::brightness), appearanceMaps(bytes).brightness);
        EXPECT_FALSE(analyze(photograph).hasMaps());
    }
    EXPECT_GT(analyze(testing::withNaN(unit)).distributions().nanShares.chroma, 0);
}

TEST(Analyze, OfAnEmptyPhotographHasNothing) {
    const Analysis analysis = analyze(cv::Mat(), withMaps());
    EXPECT_TRUE(analysis.distributions().brightness.empty());
    EXPECT_TRUE(analysis.map(&AppearanceMaps::chroma).empty());
    EXPECT_EQ(analysis.size(), cv::Size());
    EXPECT_TRUE(Analysis().maps().hueDegrees.empty());
}

TEST(Analyze, RefusesWhatIsNoPhotograph) {
    testing::expectRefusal("photograph", "not CV_8UC1", [] { analyze(cv::Mat(2, 2, CV_8UC1)); });
    testing::expectRefusal("photograph", "not CV_8UC4", [] { analyze(cv::Mat(2, 2, CV_8UC4), withMaps()); });
    EXPECT_THROW(analyze(testing::randomPhotograph({4, 4}, 1)).maps(), std::logic_error);
}

TEST(Analyze, MapsAreTheCallersOwn) {
    const cv::Mat photograph = testing::randomImage({9, 9}, 3, 0, 1, 1);
    const Analysis analysis = analyze(photograph, withMaps());
    const cv::Mat before = analysis.map(&AppearanceMaps::chroma);
    analysis.map(&AppearanceMaps::chroma).setTo(-1);
    EXPECT_MAT_EQUAL(analysis.map(&AppearanceMaps::chroma), before);
}

TEST(Analyze, OutlivesTheTablesThatItWasMadeWith) {
    Comparer comparer;
    const cv::Mat first = testing::randomPhotograph({50, 40}, 1);
    const Analysis analysis = comparer.analyze(first, withMaps());
    comparer.analyze(testing::randomPhotograph({60, 50}, 2), withMaps());
    EXPECT_MAT_EQUAL(analysis.map(&AppearanceMaps::lightness), appearanceMaps(first).lightness);
}

TEST(Analyze, GivesTheDumpsOfTheComparison) {
    const cv::Mat photograph = testing::randomPhotograph({21, 13}, 4);
    std::string dumps[3];
    for (int k = 0; k < 3; ++k) {
        const testing::ScratchDirectory scratch;
        const DirectoryDiagnostics files{std::string(), DirectoryDiagnostics::Messages::dropped};
        Watch watch;
        watch.diagnostics = &files;
        if (k == 0) {
            appearanceDistributions(photograph, files);
        } else {
            analyze(photograph, k == 1 ? AnalysisOptions() : withMaps(), watch);
        }
        for (const char* const name : {"A_before.jpg", "10_in.txt", "mask.jpg", "t_before.jpg"}) {
            dumps[k] += testing::contentOf(name);
        }
    }
    EXPECT_FALSE(dumps[0].empty());
    EXPECT_EQ(dumps[1], dumps[0]);
    EXPECT_EQ(dumps[2], dumps[0]);
}

TEST(Compare, HasTheBitsOfTheComparisonOfPhotographs) {
    const std::vector<cv::Mat> all = photographs();
    Comparer comparer;
    for (const cv::Mat& first : all) {
        const cv::Mat second = testing::examplePhotograph("coffee.jpg");
        const LikenessCoefficients expected = comparePhotographs(first, second);
        expectEqual(compare(analyze(first), analyze(second)), expected);
        expectEqual(testing::quietly(first, [&](const cv::Mat& image) { return comparer.compare(image, second); }),
                    expected);
        expectEqual(comparer.compare(first, first), comparePhotographs(first, first));
    }
    expectEqual(comparer.compare(cv::Mat(), all[0]), comparePhotographs(cv::Mat(), all[0]));
}

TEST(Analyze, TakesBothOrdersOfTheChannels) {
    ComparisonModel published;
    published.kind = AppearanceModelKind::ciecam16;
    for (const cv::Mat& photograph : photographs()) {
        for (const int depth : {CV_8U, CV_16U, CV_32F}) {
            for (const bool maps : {false, true}) {
                for (const ComparisonModel& model : {ComparisonModel(), published}) {
                    cv::Mat bgr;
                    photograph.convertTo(bgr, depth, depth == CV_8U ? 1 : depth == CV_16U ? 257 : 1 / 255.0);
                    cv::Mat rgb;
                    cv::cvtColor(bgr, rgb, cv::COLOR_BGR2RGB);
                    AnalysisOptions options{maps, model, HueWeights::pixels};
                    const auto seen = [&options](const cv::Mat& image) -> std::optional<Analysis> {
                        try {
                            return analyze(image, options);
                        } catch (const std::invalid_argument&) {
                            return std::nullopt;  // a published model has no white of black
                        }
                    };
                    const std::optional<Analysis> expected = seen(bgr);
                    options.order = ChannelOrder::rgb;
                    const std::optional<Analysis> actual = seen(testing::withGaps(rgb));
                    ASSERT_EQ(actual.has_value(), expected.has_value());
                    if (!expected) {
                        continue;
                    }
                    expectEqual(actual->distributions(), expected->distributions());
                    EXPECT_EQ(actual->distributions().hue, expected->distributions().hue);
                    EXPECT_EQ(actual->size(), expected->size());
                    EXPECT_EQ(actual->backgroundLuminance(), expected->backgroundLuminance());
                    ASSERT_EQ(actual->hasMaps(), maps);
                    if (maps) {
                        EXPECT_MAT_EQUAL(actual->map(&AppearanceMaps::chroma), expected->map(&AppearanceMaps::chroma));
                    }
                }
            }
        }
    }
    AnalysisOptions options;
    options.order = ChannelOrder::rgb;
    EXPECT_EQ(analyze(cv::Mat(), options).size(), cv::Size());
    EXPECT_THROW(analyze(cv::Mat(3, 3, CV_8UC4), options), std::invalid_argument);
    EXPECT_THROW(analyze(cv::Mat(3, 3, CV_8U), options), std::invalid_argument);
}

TEST(Comparer, ReportsItsSteps) {
    Comparer comparer;
    const cv::Mat small = testing::randomPhotograph({20, 20}, 1);
    const cv::Mat large = testing::randomPhotograph({400, 260}, 2);
    EXPECT_EQ(testing::expectSteps([&](const Watch& watch) { comparer.analyze(small, {}, watch); }), 4);
    EXPECT_EQ(testing::expectSteps([&](const Watch& watch) { comparer.compare(small, small, watch); }), 8);
    EXPECT_EQ(testing::expectSteps([&](const Watch& watch) { comparer.compare(large, large, watch); }), 8);
    expectEqual(comparer.compare(small, large), comparePhotographs(small, large));
}

TEST(Comparer, ReportsTheSameStepsWhateverIsAnalyzed) {
    Comparer comparer;
    ComparisonModel published;
    published.kind = AppearanceModelKind::ciecam02;
    ComparisonModel fixedWhite;
    fixedWhite.white = WhiteResponse::fixed;
    const cv::Mat bytes = testing::randomPhotograph({20, 20}, 1);
    const cv::Mat floats = testing::randomImage({20, 20}, 3, 0, 1, 3);
    const cv::Mat floatsOfFewColors(20, 20, CV_32FC3, cv::Scalar(0.1, 0.2, 0.3));
    for (const cv::Mat& photograph : {bytes, floats, floatsOfFewColors, cv::Mat()}) {
        for (const ComparisonModel& model : {ComparisonModel(), published, fixedWhite}) {
            for (const bool maps : {false, true}) {
                for (const std::optional<HueWeights>& hue : {std::optional<HueWeights>(), {HueWeights::chroma}}) {
                    const AnalysisOptions options{maps, model, hue};
                    EXPECT_EQ(
                        testing::expectSteps([&](const Watch& watch) { comparer.analyze(photograph, options, watch); }),
                        4);
                }
            }
        }
    }
}

TEST(Comparer, IsToBeUsedAgainAfterItWasEnded) {
    Comparer comparer;
    const cv::Mat large = testing::randomPhotograph({400, 260}, 2);
    const cv::Mat other = testing::randomPhotograph({400, 260}, 5);
    for (int last = 1; last <= 8; ++last) {
        Watch watch;
        watch.progress = [last](int done, int /*total*/) { return done < last; };
        EXPECT_THROW(comparer.compare(large, other, watch), Cancelled);
        expectEqual(comparer.compare(large, other), comparePhotographs(large, other));
    }
}

TEST(Comparer, AnalyzesAPairAsOneAfterTheOther) {
    Comparer comparer;
    const cv::Mat small = testing::randomPhotograph({20, 20}, 1);
    const cv::Mat large = testing::randomPhotograph({400, 260}, 2);
    const cv::Mat floats = testing::randomImage({400, 260}, 3, 0, 1, 3);
    for (const auto& [first, second] : {std::pair(small, large), std::pair(large, floats), std::pair(floats, small)}) {
        for (const AnalysisOptions& options : {AnalysisOptions(), withMaps()}) {
            const auto pair = comparer.analyzePair(first, second, options);
            expectEqual(pair.first.distributions(), analyze(first).distributions());
            expectEqual(pair.second.distributions(), analyze(second).distributions());
            EXPECT_EQ(pair.first.size(), first.size());
            EXPECT_EQ(pair.second.size(), second.size());
            EXPECT_EQ(pair.first.hasMaps(), options.maps);
            if (options.maps) {
                EXPECT_MAT_EQUAL(pair.first.map(&AppearanceMaps::chroma), appearanceMaps(first).chroma);
                EXPECT_MAT_EQUAL(pair.second.map(&AppearanceMaps::chroma), appearanceMaps(second).chroma);
            }
        }
    }
    EXPECT_EQ(testing::expectSteps([&](const Watch& watch) { comparer.analyzePair(large, large, withMaps(), watch); }),
              8);
}

TEST(Comparer, GoesOnAfterARefusal) {
    Comparer comparer;
    const cv::Mat photograph = testing::randomPhotograph({20, 20}, 1);
    EXPECT_THROW(comparer.compare(photograph, cv::Mat(2, 2, CV_8UC1)), std::invalid_argument);
    expectEqual(comparer.compare(photograph, photograph), comparePhotographs(photograph, photograph));
    Comparer moved = std::move(comparer);
    expectEqual(moved.compare(photograph, photograph), comparePhotographs(photograph, photograph));
}

TEST(Comparer, OnePerThread) {
    const cv::Mat photograph = testing::randomPhotograph({40, 30}, 1);
    const cv::Mat other = testing::randomPhotograph({40, 30}, 2);
    const LikenessCoefficients expected = comparePhotographs(photograph, other);
    LikenessCoefficients results[2];
    std::thread threads[2];
    for (int k = 0; k < 2; ++k) {
        threads[k] = std::thread([&, k] { results[k] = Comparer().compare(photograph, other); });
    }
    for (int k = 0; k < 2; ++k) {
        threads[k].join();
        expectEqual(results[k], expected);
    }
}

}  // namespace
}  // namespace likeness
