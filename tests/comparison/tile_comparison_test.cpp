#include <likeness/comparison/analysis.hpp>
#include <likeness/comparison/tile_comparison.hpp>
#include <likeness/threads.hpp>
#include "comparison/made_tiles.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <stdexcept>
#include <string>

namespace likeness::testing {
namespace {

const cv::Mat& cat() {
    static const cv::Mat photograph = examplePhotograph("cat.jpg");
    return photograph;
}

const cv::Mat& coffee() {
    static const cv::Mat photograph = examplePhotograph("coffee.jpg");
    return photograph;
}

void expectSameBits(const LikenessCoefficients& actual, const LikenessCoefficients& expected) {
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        EXPECT_EQ(std::memcmp(&actual[k], &expected[k], sizeof(float)), 0)
            << correlateNames[k].name << ": " << actual[k] << ", expected " << expected[k];
    }
}

TileOptions grid(int across, int down) {
    TileOptions options;
    options.layout.count = {across, down};
    return options;
}

/// Histograms of the maps' parts, without any of the tables.
LikenessCoefficients coefficientsOfParts(const AppearanceMaps& first, const cv::Rect& firstPart,
                                         const AppearanceMaps& second, const cv::Rect& secondPart) {
    LikenessCoefficients coefficients;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        const auto probabilities = [](const cv::Mat& map) {
            BinCounts counts;
            for (int i = 0; i < map.rows; ++i) {
                for (int j = 0; j < map.cols; ++j) {
                    counts.add(map.at<float>(i, j));
                }
            }
            return counts.probabilities();
        };
        coefficients[k] =
            bhattacharyyaCoefficientOfAllBins(probabilities(first[k](firstPart)), probabilities(second[k](secondPart)));
    }
    return coefficients;
}

void expectTilesOfMaps(const cv::Mat& first, const cv::Mat& second, const TileOptions& options) {
    const TileComparison comparison = compareTiles(first, second, options);
    Comparer comparer;
    const AppearanceMaps firstMaps = comparer.analyze(first, {true, options.model, {}}).maps();
    const AppearanceMaps secondMaps = comparer.analyze(second, {true, options.model, {}}).maps();
    ASSERT_EQ(comparison.tiles.size(), static_cast<std::size_t>(comparison.grid.count().area()));
    for (const ComparedTile& tile : comparison.tiles) {
        SCOPED_TRACE(::testing::Message() << "tile at " << tile.first);
        expectSameBits(tile.coefficients, coefficientsOfParts(firstMaps, tile.first, secondMaps, tile.second));
    }
}

TEST(TileComparison, OneTileHasTheBitsOfTheWhole) {
    const cv::Mat small = cat()(cv::Rect(10, 20, 60, 50));
    for (const auto& [first, second] :
         {std::pair(cat(), coffee()), std::pair(small, coffee()), std::pair(cat(), cat()), std::pair(small, small)}) {
        const TileComparison comparison = compareTiles(first, second, grid(1, 1));
        ASSERT_EQ(comparison.tiles.size(), 1U);
        expectSameBits(comparison.tiles[0].coefficients, comparePhotographs(first, second));
        expectSameBits(comparison.coefficients, comparePhotographs(first, second));
        EXPECT_EQ(comparison.tiles[0].first, cv::Rect(cv::Point(), first.size()));
        EXPECT_EQ(comparison.tiles[0].second, cv::Rect(cv::Point(), second.size()));
    }
}

TEST(TileComparison, TheWholeHasTheDistributionsOfAnAnalysis) {
    for (const ComparisonModel& model : {ComparisonModel(), [] {
                                             ComparisonModel its;
                                             its.kind = AppearanceModelKind::ciecam16;
                                             return its;
                                         }()}) {
        TileOptions options = grid(3, 2);
        options.model = model;
        const TileComparison comparison = compareTiles(cat(), coffee(), options);
        const AppearanceDistributions expected = analyze(cat(), {false, model, {}}).distributions();
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            EXPECT_EQ(comparison.first[k], expected[k]);
            EXPECT_EQ(comparison.first.nanShares[k], expected.nanShares[k]);
        }
        EXPECT_EQ(comparison.first.blackShare, expected.blackShare);
    }
}

TEST(TileComparison, TilesHaveTheHistogramsOfTheMapsParts) {
    expectTilesOfMaps(cat(), coffee(), grid(7, 5));
    const cv::Mat narrow = coffee()(cv::Rect(0, 0, 97, 61));
    expectTilesOfMaps(cat(), narrow, grid(16, 16));
    TileOptions options;
    options.layout.pixels = cv::Size(64, 48);
    expectTilesOfMaps(cat(), coffee(), options);
    options.layout.stridePixels = 40;
    expectTilesOfMaps(cat(), narrow, options);
    options = grid(4, 3);
    options.layout.stride = 0.3;
    expectTilesOfMaps(narrow, cat(), options);
    options.model.kind = AppearanceModelKind::ciecam02;
    expectTilesOfMaps(narrow, narrow, options);
    options.model = {};
    options.model.background = 20;
    expectTilesOfMaps(narrow, cat(), options);
}

TEST(TileComparison, FloatsToo) {
    cv::Mat first;
    cat()(cv::Rect(0, 0, 80, 60)).convertTo(first, CV_32FC3, 1 / 255.0);
    cv::Mat noise = randomImage({70, 50}, 3, 0, 1, 5);  // more colours than half the pixels
    expectTilesOfMaps(first, noise, grid(4, 4));
    noise.at<cv::Vec3f>(3, 3) = cv::Vec3f(NAN, 0, 0);
    noise.at<cv::Vec3f>(30, 30) = cv::Vec3f(400, 900, 100);
    expectTilesOfMaps(first, noise, grid(2, 3));
    cv::Mat deep;
    cat()(cv::Rect(0, 0, 80, 60)).convertTo(deep, CV_16UC3, 257);
    expectTilesOfMaps(deep, noise, grid(2, 3));
}

TEST(TileComparison, BlackHasTilesWithoutValues) {
    const cv::Mat black(40, 40, CV_8UC3, cv::Scalar());
    const TileComparison comparison = compareTiles(black, black, grid(2, 2));
    expectSameBits(comparison.tiles[3].coefficients, comparePhotographs(black, black));
}

TEST(TileComparison, ThreadsChangeNothing) {
    TileOptions options = grid(9, 9);
    options.interval = IntervalOptions();
    const TileComparison several = compareTiles(cat(), coffee(), options);
    setThreads(1);
    const TileComparison one = compareTiles(cat(), coffee(), options);
    setThreads(0);
    for (std::size_t i = 0; i < one.tiles.size(); ++i) {
        expectSameBits(several.tiles[i].coefficients, one.tiles[i].coefficients);
    }
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        EXPECT_EQ((*several.intervals)[k].low, (*one.intervals)[k].low);
        EXPECT_EQ((*several.intervals)[k].high, (*one.intervals)[k].high);
    }
}

TEST(TileComparison, AChangedPartIsFoundWhereItIs) {
    cv::Mat changed = cat().clone();
    const TileGrid tiles = tileGridOf(changed.size(), changed.size(), {{8, 8}, {}, 1, {}});
    const cv::Rect part(tiles.firstColumns[5].start, tiles.firstRows[2].start, tiles.firstColumns[5].size(),
                        tiles.firstRows[2].size());
    changed(part) *= 0.5;
    const TileComparison comparison = compareTiles(cat(), changed, grid(8, 8));
    EXPECT_EQ(comparison.worst(), 2U * 8 + 5);
    for (std::size_t i = 0; i < comparison.tiles.size(); ++i) {
        if (i != 2 * 8 + 5) {
            EXPECT_NEAR(comparison.tiles[i].coefficients.lightness, 1, 1e-5) << i;
        }
    }
    EXPECT_LT(comparison.tiles[2 * 8 + 5].coefficients.lightness, 0.9);
    EXPECT_EQ(comparison.map(1).at<float>(2, 5), comparison.tiles[2 * 8 + 5].coefficients.lightness);
}

TEST(TileComparison, MarksTilesOfFewPixels) {
    TileOptions options;
    options.layout.pixels = cv::Size(16, 16);
    const cv::Mat photograph = cat()(cv::Rect(0, 0, 70, 64));
    const TileComparison comparison = compareTiles(photograph, photograph, options);
    ASSERT_EQ(comparison.grid.count(), cv::Size(5, 4));
    EXPECT_FALSE(comparison.tiles[0].few);  // 256 pixels
    EXPECT_TRUE(comparison.tiles[4].few);   // 6 x 16
    options.leastPixels = 257;
    EXPECT_EQ(compareTiles(photograph, photograph, options).worst(), std::nullopt);
}

TEST(TileGrid, CoversBothPhotographs) {
    const TileGrid thirds = tileGridOf({10, 7}, {31, 9}, {{3, 3}, {}, 1, {}});
    EXPECT_EQ(thirds.firstColumns, (std::vector<cv::Range>{{0, 3}, {3, 6}, {6, 10}}));
    EXPECT_EQ(thirds.secondColumns, (std::vector<cv::Range>{{0, 10}, {10, 20}, {20, 31}}));
    EXPECT_EQ(thirds.firstRows, (std::vector<cv::Range>{{0, 2}, {2, 4}, {4, 7}}));
    EXPECT_FALSE(thirds.overlaps());
    const TileGrid pixels = tileGridOf({10, 4}, {20, 8}, {{}, cv::Size(4, 9), 1, {}});
    EXPECT_EQ(pixels.firstColumns, (std::vector<cv::Range>{{0, 4}, {4, 8}, {8, 10}}));
    EXPECT_EQ(pixels.secondColumns, (std::vector<cv::Range>{{0, 8}, {8, 16}, {16, 20}}));
    EXPECT_EQ(pixels.firstRows, (std::vector<cv::Range>{{0, 4}}));
    const TileGrid halves = tileGridOf({12, 12}, {12, 12}, {{3, 1}, {}, 0.5, {}});
    EXPECT_EQ(halves.firstColumns, (std::vector<cv::Range>{{0, 4}, {2, 6}, {4, 8}, {6, 10}, {8, 12}}));
    EXPECT_TRUE(halves.overlaps());
    const TileGrid moved = tileGridOf({11, 4}, {11, 4}, {{}, cv::Size(4, 4), 1, 3});
    EXPECT_EQ(moved.firstColumns, (std::vector<cv::Range>{{0, 4}, {3, 7}, {6, 10}, {7, 11}}));
}

TEST(TileGrid, RefusesWhatHasNoTiles) {
    const cv::Size size(20, 10);
    EXPECT_THROW(tileGridOf(size, size, {{0, 1}, {}, 1, {}}), std::invalid_argument);
    EXPECT_THROW(tileGridOf(size, size, {{21, 1}, {}, 1, {}}), std::invalid_argument);
    EXPECT_THROW(tileGridOf(size, {5, 5}, {{6, 1}, {}, 1, {}}), std::invalid_argument);
    EXPECT_THROW(tileGridOf(size, size, {{2, 2}, {}, 0, {}}), std::invalid_argument);
    EXPECT_THROW(tileGridOf(size, size, {{2, 2}, {}, 1.5, {}}), std::invalid_argument);
    EXPECT_THROW(tileGridOf(size, size, {{2, 2}, {}, NAN, {}}), std::invalid_argument);
    EXPECT_THROW(tileGridOf(size, size, {{2, 2}, {}, 1, 11}), std::invalid_argument);
    EXPECT_THROW(tileGridOf(size, size, {{}, cv::Size(0, 4), 1, {}}), std::invalid_argument);
    EXPECT_THROW(tileGridOf(size, size, {{}, cv::Size(4, 4), 1, 5}), std::invalid_argument);
    EXPECT_THROW(tileGridOf({5000, 5000}, {5000, 5000}, {{5000, 5000}, {}, 1, {}}), std::invalid_argument);
}

TEST(TileComparison, EmptyPhotographsHaveEmptyTiles) {
    const TileComparison comparison = compareTiles(cv::Mat(), cat(), grid(2, 2));
    EXPECT_TRUE(std::isnan(comparison.tiles[0].coefficients.chroma));
    EXPECT_TRUE(comparison.tiles[0].few);
    EXPECT_EQ(comparison.worst(), std::nullopt);
}

TEST(TileComparison, IntervalsHoldTheCoefficientsAndFollowTheSeed) {
    TileOptions options = grid(8, 8);
    options.interval = IntervalOptions();
    const TileComparison comparison = compareTiles(cat(), coffee(), options);
    ASSERT_TRUE(comparison.intervals);
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        const auto [low, high] = (*comparison.intervals)[k];
        EXPECT_LT(low, high);
        EXPECT_GE(low, 0);
        EXPECT_LE(high, 1.0001F);
        EXPECT_LE(low, comparison.coefficients[k]);
        EXPECT_GE(high, comparison.coefficients[k]);
    }
    EXPECT_EQ((*compareTiles(cat(), coffee(), options).intervals)[0].low, (*comparison.intervals)[0].low);
    options.interval->seed = 2;
    EXPECT_NE((*compareTiles(cat(), coffee(), options).intervals)[0].low, (*comparison.intervals)[0].low);
    // Of one photograph every draw is the same on both sides.
    const auto same = *compareTiles(cat(), cat(), options).intervals;
    EXPECT_NEAR(same.brightness.low, 1, 1e-5);
    EXPECT_NEAR(same.brightness.high, 1, 1e-5);
    for (const double level : {0.0, 1.0, 1.5, std::nan("")}) {
        TileOptions others = options;
        others.interval->level = level;
        EXPECT_THROW(compareTiles(cat(), coffee(), others), std::invalid_argument) << level;
    }
    for (const int resamples : {99, 1000001}) {
        TileOptions others = options;
        others.interval->resamples = resamples;
        EXPECT_THROW(compareTiles(cat(), coffee(), others), std::invalid_argument) << resamples;
    }
    options.layout.stride = 0.5;
    EXPECT_THROW(compareTiles(cat(), coffee(), options), std::invalid_argument);
    options = grid(1, 3);
    options.interval = IntervalOptions();
    EXPECT_THROW(compareTiles(cat(), coffee(), options), std::invalid_argument);
}

TEST(TileComparison, PixelsThatAreNoNumbersDoNotCount) {
    cv::Mat photograph;
    cat()(cv::Rect(0, 0, 160, 80)).convertTo(photograph, CV_32F, 1 / 255.0);
    cv::Mat broken = photograph.clone();
    broken(cv::Rect(0, 0, 40, 40)) = cv::Scalar::all(std::nan(""));
    broken(cv::Rect(40, 0, 20, 40)) = cv::Scalar::all(HUGE_VAL);
    const TileComparison comparison = compareTiles(broken, photograph, grid(4, 2));
    const ComparedTile& empty = comparison.tiles[0];
    EXPECT_EQ(empty.firstPixels, 0);
    EXPECT_EQ(empty.secondPixels, 40 * 40);
    EXPECT_TRUE(empty.few);
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        EXPECT_TRUE(std::isnan(empty.coefficients[k])) << k;
    }
    EXPECT_EQ(comparison.tiles[1].firstPixels, 20 * 40);
    EXPECT_GT(comparison.tiles[1].coefficients.brightness, 0.1F);
    EXPECT_EQ(comparison.tiles[2].firstPixels, 40 * 40);
    EXPECT_NE(comparison.worst(), std::optional<std::size_t>(0));
}

TEST(TileComparison, IntervalsHoldThePopulation) {
    // 200 made pairs: 95 % have a standard error of 1.5 %. Quantiles that are not mirrored hold the first pair's never.
    for (const testing::TilePopulation& population :
         {testing::TilePopulation{25, 0, 0, 6, 6}, testing::TilePopulation{25, 6, 0.8, 6, 6}}) {
        const testing::IntervalCoverage coverage = testing::coverageOf(population, 8, 200, 200);
        EXPECT_TRUE(coverage.allHold);
        EXPECT_GE(coverage.brightness, 0.88);
        EXPECT_GE(coverage.lightness, 0.88);
        EXPECT_LT(coverage.meanWidth, 0.2);
    }
}

TEST(TileComparison, RefusesIntervalsThatWouldTakeAllMemory) {
    TileOptions options;
    options.layout.count = {1000, 1000};
    options.interval = IntervalOptions();
    cv::Mat noise(1000, 1000, CV_8UC3);
    cv::randu(noise, 0, 256);
    try {
        compareTiles(noise, noise, options);
        FAIL() << "a million histograms";
    } catch (const std::invalid_argument& refusal) {
        EXPECT_NE(std::string(refusal.what()).find("more than 1 GiB"), std::string::npos) << refusal.what();
    }
}

TEST(TileComparison, IsCancelledBetweenItsSteps) {
    Watch watch;
    int calls = 0;
    watch.progress = [&calls](int done, int total) {
        ++calls;
        EXPECT_LE(done, total);
        return done < 9;
    };
    EXPECT_THROW(compareTiles(cat(), coffee(), grid(8, 8), watch), Cancelled);
    EXPECT_EQ(calls, 9);
}

/// Weights of three kinds by turns: 0, 1 and, where they are grey, between.
PixelWeights someWeights(const cv::Size& size, bool grey) {
    cv::Mat mask(size, CV_8U);
    for (int row = 0; row < size.height; ++row) {
        for (int column = 0; column < size.width; ++column) {
            const int kind = (row / 5 + column / 7) % 3;
            mask.at<uchar>(row, column) = static_cast<uchar>(kind == 0 ? 0 : kind == 1 || !grey ? 255 : 90 + row % 100);
        }
    }
    return PixelWeights::ofMask(mask);
}

TEST(TilesOfParts, WeightsOfOneAreNoWeights) {
    TileOptions options = grid(6, 5);
    options.interval = IntervalOptions();
    options.interval->resamples = 100;
    const auto white = [](const cv::Mat& photograph) {
        return PhotographPart{photograph, PixelWeights::ofMask(cv::Mat(photograph.size(), CV_8U, cv::Scalar(255)))};
    };
    const TileComparison expected = compareTiles(cat(), coffee(), options);
    const TileComparison comparison = compareTiles(white(cat()), white(coffee()), options);
    ASSERT_EQ(comparison.tiles.size(), expected.tiles.size());
    for (std::size_t i = 0; i < expected.tiles.size(); ++i) {
        expectSameBits(comparison.tiles[i].coefficients, expected.tiles[i].coefficients);
        EXPECT_EQ(comparison.tiles[i].firstPixels, expected.tiles[i].first.area());
        EXPECT_EQ(comparison.tiles[i].secondPixels, expected.tiles[i].second.area());
    }
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        EXPECT_EQ((*comparison.intervals)[k].low, (*expected.intervals)[k].low);
        EXPECT_EQ((*comparison.intervals)[k].high, (*expected.intervals)[k].high);
    }
}

TEST(TilesOfParts, OneTileHasTheBitsOfTheParts) {
    cv::Mat floats;
    cat()(cv::Rect(10, 20, 90, 80)).convertTo(floats, CV_32F, 1 / 255.0);
    for (const bool grey : {false, true}) {
        for (const cv::Mat& first : {cat(), floats}) {
            for (const AppearanceModelKind kind : {AppearanceModelKind::likeness, AppearanceModelKind::ciecam16}) {
                TileOptions options = grid(1, 1);
                options.model.kind = kind;
                const PhotographPart one{first, someWeights(first.size(), grey)};
                for (const PhotographPart& other :
                     {PhotographPart{coffee(), someWeights(coffee().size(), grey)}, PhotographPart{coffee(), {}}}) {
                    const TileComparison comparison = compareTiles(one, other, options);
                    const auto [ofOne, ofOther] = Comparer().analyzePair(one, other, {false, options.model, {}});
                    expectSameBits(comparison.coefficients, compare(ofOne, ofOther));
                    expectSameBits(comparison.tiles[0].coefficients, compare(ofOne, ofOther));
                    EXPECT_DOUBLE_EQ(comparison.tiles[0].firstPixels, one.weights.pixels());
                }
            }
        }
    }
}

TEST(TilesOfParts, CountWhatCounts) {
    const cv::Mat first = cat()(cv::Rect(30, 40, 150, 120));
    const cv::Mat second = coffee()(cv::Rect(30, 40, 140, 130));
    for (const bool grey : {false, true}) {
        const PhotographPart one{first, someWeights(first.size(), grey)};
        const PhotographPart other{second, someWeights(second.size(), grey)};
        TileOptions options = grid(4, 3);
        options.layout.stride = 0.5;
        const TileComparison comparison = compareTiles(one, other, options);
        const auto [ofOne, ofOther] = Comparer().analyzePair(one, other, {true, {}, {}});
        const AppearanceMaps ofOneMaps = ofOne.maps();
        const AppearanceMaps ofOtherMaps = ofOther.maps();
        for (const ComparedTile& tile : comparison.tiles) {
            SCOPED_TRACE(::testing::Message() << "tile at " << tile.first);
            double pixels = 0;
            for (std::size_t k = 0; k < correlateNames.size(); ++k) {
                const auto sharesOf = [&pixels](const cv::Mat& map, const PixelWeights& weights, const cv::Rect& its) {
                    BinCounts counts;
                    pixels = 0;
                    for (int row = its.y; row < its.y + its.height; ++row) {
                        for (int column = its.x; column < its.x + its.width; ++column) {
                            const ushort weight = weights.map().at<ushort>(row, column);
                            pixels += weight / 65535.0;
                            if (weight > 0) {
                                counts.add(map.at<float>(row, column), weight);
                            }
                        }
                    }
                    return counts.shares();
                };
                const BinProbabilities its = sharesOf(ofOneMaps[k], one.weights, tile.first);
                EXPECT_NEAR(tile.firstPixels, pixels, 1e-6);
                EXPECT_NEAR(
                    tile.coefficients[k],
                    bhattacharyyaCoefficientOfAllBins(its, sharesOf(ofOtherMaps[k], other.weights, tile.second)),
                    2e-6);  // some 50 bins, a rounding of float each
            }
            EXPECT_EQ(tile.few, std::min(tile.firstPixels, tile.secondPixels) < 256);
        }
    }
}

TEST(TilesOfParts, WithoutACountedPixelHaveNoCoefficient) {
    cv::Mat mask(cat().size(), CV_8U, cv::Scalar(0));
    mask(cv::Rect(0, 0, mask.cols / 2, mask.rows)) = 255;
    TileOptions options = grid(4, 1);
    options.interval = IntervalOptions();
    options.interval->resamples = 100;
    const PhotographPart part{cat(), PixelWeights::ofMask(mask)};
    const TileComparison comparison = compareTiles(part, part, options);
    EXPECT_NEAR(comparison.tiles[0].coefficients.chroma, 1, 1e-5);
    EXPECT_TRUE(std::isnan(comparison.tiles[3].coefficients.chroma));
    EXPECT_TRUE(comparison.tiles[3].few);
    EXPECT_EQ(comparison.tiles[3].firstPixels, 0);
    EXPECT_NEAR((*comparison.intervals)[0].low, 1, 1e-5);
    EXPECT_THROW(compareTiles(part, PhotographPart{coffee()(cv::Rect(0, 0, 50, 50)), part.weights}, options),
                 std::invalid_argument);
}

}  // namespace
}  // namespace likeness::testing
