#include <likeness/comparison/photograph_comparison.hpp>

#include <likeness/appearance/appearance_correlates.hpp>
#include <likeness/appearance/cone_responses.hpp>
#include <likeness/appearance/viewing_conditions.hpp>
#include <likeness/color/unit_image.hpp>
#include <likeness/comparison/metrics.hpp>
#include <likeness/comparison/perceptual_metrics.hpp>
#include "comparison/photograph_counts.hpp"
#include "reference/metrics_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <stdexcept>

namespace likeness {
namespace {

using testing::contentOf;
using testing::printedBy;
using testing::ScratchDirectory;

using Files = std::map<std::string, std::string>;

Files filesOf(const std::filesystem::path& directory) {
    Files files;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        files[entry.path().filename().string()] = contentOf(entry.path());
    }
    return files;
}

using Bits = std::array<std::uint32_t, 5>;

Bits bitsOf(const std::array<float, 5>& coefficients) {
    Bits bits{};
    std::transform(coefficients.begin(), coefficients.end(), bits.begin(),
                   [](float coefficient) { return std::bit_cast<std::uint32_t>(coefficient); });
    return bits;
}

Bits bitsOf(const LikenessCoefficients& k) {
    return bitsOf(std::array{k.brightness, k.lightness, k.chroma, k.colorfulness, k.saturation});
}

/// The comparison against the chain run on every pixel: equal bits, and equal bytes in every file.
void expectLiteralChain(const cv::Mat& first, const cv::Mat& second) {
    Bits expected{};
    Files expectedFiles;
    {
        const ScratchDirectory literal;
        expected = bitsOf(reference::metrics(first, second));
        expectedFiles = filesOf(".");
    }
    const ScratchDirectory scratch;
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(bitsOf(comparePhotographs(first, second)), expected); }), "");
    EXPECT_TRUE(std::filesystem::is_empty("."));
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(bitsOf(comparePhotographs(first, second, workingDirectory())), expected); }),
              "");
    const Files files = filesOf(".");
    EXPECT_EQ(files.size(), expectedFiles.size());
    for (const auto& [name, content] : expectedFiles) {
        const auto file = files.find(name);
        ASSERT_NE(file, files.end()) << name;
        EXPECT_TRUE(file->second == content) << name;
    }
}

/// Both orders, so that the files of both photographs are compared.
void expectLiteralChainBothWays(const cv::Mat& first, const cv::Mat& second) {
    expectLiteralChain(first, second);
    expectLiteralChain(second, first);
}

cv::Mat uniform(cv::Size size, const cv::Scalar& bgr) {
    return cv::Mat(size, CV_8UC3, bgr);
}

cv::Mat fewPixels(std::initializer_list<cv::Vec3b> pixels) {
    return cv::Mat(std::vector<cv::Vec3b>(pixels), true).reshape(3, 1);
}

/// 2^15 colours and some more, each in one pixel only.
cv::Mat distinctPhotograph() {
    cv::Mat image(200, 170, CV_8UC3);
    for (int i = 0; i < image.rows; ++i) {
        for (int j = 0; j < image.cols; ++j) {
            const int k = i * image.cols + j;
            image.at<cv::Vec3b>(i, j) = {static_cast<uchar>(k % 33 * 7), static_cast<uchar>(k / 33 % 33 * 7),
                                         static_cast<uchar>(k / 33 / 33 * 7)};
        }
    }
    return image;
}

/// Two of the three channels at an end of the range.
cv::Mat saturatedPhotograph() {
    cv::Mat image(64, 64, CV_8UC3, cv::Scalar::all(0));
    for (int i = 0; i < image.rows; ++i) {
        for (int j = 0; j < image.cols; ++j) {
            image.at<cv::Vec3b>(i, j)[i / 22] = static_cast<uchar>(j * 4 + 3);
            image.at<cv::Vec3b>(i, j)[(i / 22 + 1) % 3] = j % 3 == 0 ? 255 : 0;
        }
    }
    return image;
}

// Around the sizes up to which colours are sorted and no thread is started.
TEST(ComparePhotographs, SmallPhotographsHaveTheBitsOfTheLiteralChain) {
    const cv::Mat cat = testing::examplePhotograph("cat.jpg");
    const std::vector<cv::Mat> small = {cat(cv::Rect(100, 80, 1, 1)),    cat(cv::Rect(60, 40, 8, 8)),
                                        cat(cv::Rect(60, 40, 129, 127)), cat(cv::Rect(60, 40, 128, 128)),
                                        cat(cv::Rect(60, 40, 127, 130)), testing::randomPhotograph({8, 8}, 3)};
    for (std::size_t i = 0; i < small.size(); ++i) {
        SCOPED_TRACE(small[i].size());
        const cv::Mat& next = small[(i + 1) % small.size()];
        const ScratchDirectory scratch;
        const Bits expected = bitsOf(reference::metrics(small[i].clone(), next.clone()));
        EXPECT_EQ(bitsOf(comparePhotographs(small[i], next)), expected);
        EXPECT_EQ(bitsOf(comparePhotographs(small[i].clone(), next.clone())), expected);
    }
    const LikenessCoefficients ofNothing = comparePhotographs(cv::Mat(), small[1]);
    EXPECT_EQ(bitsOf(ofNothing), Bits{});
}

TEST(PhotographComparison, IsTheLiteralChainOnThePhotographs) {
    // One pair whole, the others in part: the literal chain flushes a line of text a pixel.
    expectLiteralChain(testing::examplePhotograph("cat.jpg"), testing::examplePhotograph("coffee.jpg"));
    expectLiteralChainBothWays(testing::examplePhotograph("rocket.jpg")(cv::Rect(220, 90, 200, 180)),
                               testing::examplePhotograph("retina.jpg")(cv::Rect(100, 200, 260, 140)));
}

TEST(PhotographComparison, IsTheLiteralChainOnOneColor) {
    for (const cv::Scalar& color : {cv::Scalar::all(0), cv::Scalar::all(255), cv::Scalar::all(1),
                                    cv::Scalar(40, 90, 200), cv::Scalar(255, 0, 0)}) {
        SCOPED_TRACE(color);
        expectLiteralChain(uniform({17, 9}, cv::Scalar(10, 120, 80)), uniform({31, 12}, color));
        expectLiteralChain(uniform({31, 12}, color), uniform({31, 12}, color));
    }
}

TEST(PhotographComparison, IsTheLiteralChainOnManyColors) {
    const cv::Mat random = testing::randomPhotograph({160, 120}, 1);
    expectLiteralChainBothWays(random, distinctPhotograph());
    expectLiteralChain(random, testing::randomPhotograph({161, 119}, 2));
}

TEST(PhotographComparison, IsTheLiteralChainOnSaturatedColors) {
    expectLiteralChain(testing::randomPhotograph({12, 8}, 9), saturatedPhotograph());
}

TEST(PhotographComparison, IsTheLiteralChainOnThinAndSmallImages) {
    const cv::Mat pixel = fewPixels({{30, 60, 90}});
    const cv::Mat random = testing::randomPhotograph({60, 40}, 3);
    expectLiteralChainBothWays(pixel, random);
    expectLiteralChainBothWays(testing::randomPhotograph({997, 1}, 4), testing::randomPhotograph({1, 997}, 5));
    expectLiteralChainBothWays(fewPixels({{0, 0, 0}, {255, 255, 255}}), pixel);
}

TEST(PhotographComparison, IsTheLiteralChainOnDifferentSizes) {
    expectLiteralChainBothWays(testing::examplePhotograph("retina.jpg")(cv::Rect(0, 0, 300, 250)),
                               testing::randomPhotograph({7, 3}, 6));
}

TEST(PhotographComparison, IsTheLiteralChainOnRowsWithGaps) {
    const cv::Mat view = testing::examplePhotograph("rocket.jpg")(cv::Rect(31, 17, 203, 151));
    ASSERT_FALSE(view.isContinuous());
    expectLiteralChainBothWays(view, testing::withGaps(testing::randomPhotograph({50, 40}, 7)));
}

TEST(PhotographComparison, IsTheLiteralChainOnAnEmptyImage) {
    const cv::Mat random = testing::randomPhotograph({20, 10}, 8);
    expectLiteralChainBothWays(random, cv::Mat());
    expectLiteralChain(cv::Mat(), cv::Mat());
    EXPECT_EQ(bitsOf(comparePhotographs(cv::Mat(), random)), Bits{});
}

TEST(PhotographComparison, IsTheLiteralChainBeforeADriftingBackground) {
    // More than 0.67 megapixels: the float mean of the white is no longer 20.
    cv::Mat large;
    cv::repeat(testing::examplePhotograph("coffee.jpg"), 2, 2, large);
    large = large.rowRange(0, 600).clone();
    ASSERT_NE(backgroundLuminanceOf(static_cast<std::int64_t>(large.total())), 20.0F);
    expectLiteralChain(testing::randomPhotograph({30, 20}, 12), large);
}

void expectSameDistributions(const AppearanceDistributions& actual, const AppearanceDistributions& expected) {
    EXPECT_EQ(actual.brightness, expected.brightness);
    EXPECT_EQ(actual.lightness, expected.lightness);
    EXPECT_EQ(actual.chroma, expected.chroma);
    EXPECT_EQ(actual.colorfulness, expected.colorfulness);
    EXPECT_EQ(actual.saturation, expected.saturation);
    EXPECT_EQ(actual.nanShares.brightness, expected.nanShares.brightness);
    EXPECT_EQ(actual.nanShares.lightness, expected.nanShares.lightness);
    EXPECT_EQ(actual.nanShares.chroma, expected.nanShares.chroma);
    EXPECT_EQ(actual.nanShares.colorfulness, expected.nanShares.colorfulness);
    EXPECT_EQ(actual.nanShares.saturation, expected.nanShares.saturation);
}

TEST(AppearanceDistributions, AreThoseOfTheLiteralMaps) {
    ColorCounter counter;
    for (const cv::Mat& photograph :
         {testing::examplePhotograph("cat.jpg"), saturatedPhotograph(), testing::randomPhotograph({90, 60}, 10),
          uniform({5, 4}, cv::Scalar::all(0)), distinctPhotograph()}) {
        const ScratchDirectory scratch;
        cv::Mat normalized(photograph.size(), CV_32FC3);
        reference::normImg(photograph, normalized);
        cv::Mat adapted(photograph.size(), CV_32FC3);
        reference::compute_cat(normalized, adapted);
        std::array<cv::Mat, 5> maps;
        std::array<BinProbabilities, 5> expected;
        for (cv::Mat& map : maps) {
            map = cv::Mat(photograph.size(), CV_32F);
        }
        reference::perceptualMetrics(adapted, maps[0], maps[1], maps[2], maps[3], maps[4]);
        for (std::size_t k = 0; k < 5; ++k) {
            reference::computeFreqProbs(maps[k], expected[k]);
        }
        const AppearanceDistributions actual = appearanceDistributions(photograph, counter);
        EXPECT_EQ(actual.brightness, expected[0]);
        EXPECT_EQ(actual.lightness, expected[1]);
        EXPECT_EQ(actual.chroma, expected[2]);
        EXPECT_EQ(actual.colorfulness, expected[3]);
        EXPECT_EQ(actual.saturation, expected[4]);
        EXPECT_EQ(bitsOf(compareDistributions(actual, actual)), bitsOf(comparePhotographs(photograph, photograph)));
    }
}

TEST(AppearanceDistributions, WithoutDumpsAreThoseOfTheModelOnEveryColor) {
    // With dumps the model runs on each colour, without them mostly estimates do.
    std::vector<testing::NamedImage> photographs = {{"distinct", distinctPhotograph()},
                                                    {"saturated", saturatedPhotograph()},
                                                    {"nothing", cv::Mat()},
                                                    {"black", uniform({5, 4}, cv::Scalar::all(0))},
                                                    {"black and grey", fewPixels({{0, 0, 0}, {90, 90, 90}})}};
    for (const char* const name : {"cat.jpg", "coffee.jpg", "rocket.jpg", "retina.jpg"}) {
        const cv::Mat photograph = testing::examplePhotograph(name);
        photographs.push_back({name, photograph});
        photographs.push_back({std::string("dark ") + name, photograph * 0.2});
        photographs.push_back({std::string("bright ") + name, photograph * 2.5 + cv::Scalar::all(40)});
    }
    cv::Mat greys(1, 256, CV_8UC3);
    for (int level = 0; level < 256; ++level) {
        greys.at<cv::Vec3b>(0, level) = cv::Vec3b::all(static_cast<uchar>(level));
    }
    photographs.push_back({"greys", greys});
    cv::Mat many(1000, 2000, CV_8UC3);
    cv::randu(many, cv::Scalar::all(0), cv::Scalar::all(256));
    photographs.push_back({"a million colours and a drifting background", many});
    ColorCounter counter;
    for (const auto& [name, photograph] : photographs) {
        SCOPED_TRACE(name);
        const ScratchDirectory scratch;
        const AppearanceDistributions expected =
            appearanceDistributions(photograph, counter, DirectoryDiagnostics("."));
        const AppearanceDistributions actual = appearanceDistributions(photograph, counter);
        expectSameDistributions(actual, expected);
    }
}

TEST(AppearanceDistributions, DoNotDependOnWhatTheCounterCountedBefore) {
    const cv::Mat photographs[] = {testing::randomPhotograph({64, 64}, 11), testing::examplePhotograph("cat.jpg"),
                                   cv::Mat(), uniform({9, 9}, cv::Scalar(0, 0, 255))};
    ColorCounter used;
    for (int repetition = 0; repetition < 2; ++repetition) {
        for (const cv::Mat& photograph : photographs) {
            const ScratchDirectory scratch;
            const DirectoryDiagnostics here(".");
            const Diagnostics& diagnostics = repetition == 0 ? dropAll() : here;
            const AppearanceDistributions actual = appearanceDistributions(photograph, used, diagnostics);
            ColorCounter fresh;
            const AppearanceDistributions expected = appearanceDistributions(photograph, fresh);
            expectSameDistributions(actual, expected);
        }
    }
}

TEST(PhotographComparison, IsSymmetricAndBlindToPlaces) {
    const cv::Mat cat = testing::examplePhotograph("cat.jpg");
    const cv::Mat coffee = testing::examplePhotograph("coffee.jpg");
    const Bits bits = bitsOf(comparePhotographs(cat, coffee));
    EXPECT_EQ(bitsOf(comparePhotographs(coffee, cat)), bits);
    cv::Mat flipped;
    cv::flip(cat, flipped, -1);
    EXPECT_EQ(bitsOf(comparePhotographs(flipped, coffee)), bits);
}

/// The maps of the chain run on every pixel, with the hue by the same functions.
AppearanceMaps mapsOfTheWholeChain(const cv::Mat& photograph) {
    cv::Mat normalized(photograph.size(), CV_32FC3);
    if (photograph.type() == CV_8UC3) {
        reference::normImg(photograph, normalized);
    } else {
        photograph.copyTo(normalized);
    }
    cv::Mat adapted(photograph.size(), CV_32FC3);
    compute_cat(normalized, adapted);
    cv::Mat again = adapted.clone();
    const auto map = [&photograph] { return cv::Mat(photograph.size(), CV_32F); };
    AppearanceMaps maps{{map(), map(), map(), map(), map()}, map()};
    perceptualMetrics(adapted, maps.brightness, maps.lightness, maps.chroma, maps.colorfulness, maps.saturation,
                      dropAll());
    again = again.reshape(1) * 100.0F;
    again = again.reshape(3);
    cv::Mat FL(photograph.size(), CV_32F, cv::Scalar(computeFl(adaptingLuminance)));
    cv::Mat nl(photograph.size(), CV_32FC3);
    convertSharpenedBGRtoHPE(again, nl);
    computeNonLinearities(nl, nl, FL);
    cv::Mat a = map();
    cv::Mat b = map();
    cv::Mat eccentricity = map();
    computeAB(nl, a, b);
    computeHue(a, b, maps.hueDegrees, eccentricity);
    return maps;
}

void expectSameMaps(const AppearanceMaps& actual, const AppearanceMaps& expected) {
    EXPECT_MAT_EQUAL(actual.brightness, expected.brightness);
    EXPECT_MAT_EQUAL(actual.lightness, expected.lightness);
    EXPECT_MAT_EQUAL(actual.chroma, expected.chroma);
    EXPECT_MAT_EQUAL(actual.colorfulness, expected.colorfulness);
    EXPECT_MAT_EQUAL(actual.saturation, expected.saturation);
    EXPECT_MAT_EQUAL(actual.hueDegrees, expected.hueDegrees);
}

TEST(AppearanceMaps, AreThoseOfTheChainOnEveryPixel) {
    cv::Mat large;
    cv::repeat(testing::examplePhotograph("coffee.jpg"), 2, 2, large);
    for (const cv::Mat& photograph :
         {testing::examplePhotograph("cat.jpg"), saturatedPhotograph(), testing::randomPhotograph({90, 60}, 10),
          testing::withGaps(testing::randomPhotograph({50, 40}, 7)), uniform({5, 4}, cv::Scalar::all(0)), large,
          testing::exampleImage("rocket.jpg"), testing::randomImage({40, 30}, 3, -0.2F, 1.3F, 4)}) {
        SCOPED_TRACE(photograph.size());
        const cv::Mat before = photograph.clone();
        expectSameMaps(appearanceMaps(photograph), mapsOfTheWholeChain(photograph));
        EXPECT_MAT_EQUAL(photograph, before);
    }
}

TEST(AppearanceMaps, OfFewFloatColorsAreThoseOfEveryPixel) {
    // 4096 colours of which some are negative, above 1, infinite or no numbers, and of each many pixels.
    cv::Mat colors = testing::randomImage({4096, 1}, 3, -0.3F, 1.4F, 12);
    colors.at<cv::Vec3f>(7)[1] = std::numeric_limits<float>::quiet_NaN();
    colors.at<cv::Vec3f>(9)[2] = std::numeric_limits<float>::infinity();
    colors.at<cv::Vec3f>(11) = cv::Vec3f(0.0F, -0.0F, 0.0F);
    cv::Mat photograph(150, 170, CV_32FC3);
    for (int i = 0; i < photograph.rows; ++i) {
        for (int j = 0; j < photograph.cols; ++j) {
            photograph.at<cv::Vec3f>(i, j) = colors.at<cv::Vec3f>((i * 7919 + j * j * 31) % 4096);
        }
    }
    ASSERT_FALSE(distinctUnitColors(photograph).empty());
    for (const cv::Mat& image : {photograph, testing::withGaps(photograph), photograph.rowRange(3, 90)}) {
        expectSameMaps(appearanceMaps(image), mapsOfTheWholeChain(image));
    }
}

TEST(AppearanceMaps, LeaveTheDumpsOfTheComparison) {
    const cv::Mat photograph = testing::examplePhotograph("cat.jpg");
    Files expected;
    {
        const ScratchDirectory scratch;
        ColorCounter counter;
        appearanceDistributions(photograph, counter, DirectoryDiagnostics("."));
        expected = filesOf(".");
    }
    ASSERT_EQ(expected.size(), 4U);
    cv::Mat normalized(photograph.size(), CV_32FC3);
    reference::normImg(photograph, normalized);
    for (const cv::Mat& image : {photograph, normalized}) {
        const ScratchDirectory scratch;
        appearanceMaps(image, DirectoryDiagnostics("."));
        EXPECT_TRUE(filesOf(".") == expected);
    }
}

TEST(AppearanceMaps, OfAnEmptyImageAreEmpty) {
    EXPECT_TRUE(appearanceMaps(cv::Mat()).hueDegrees.empty());
    EXPECT_TRUE(appearanceMaps(cv::Mat(), Watch()).hueDegrees.empty());
}

TEST(AppearanceMaps, OfOtherDepthsAreThoseOfTheUnitImage) {
    cv::Mat deep;
    testing::randomPhotograph({40, 30}, 3).convertTo(deep, CV_16U, 250, 3);
    expectSameMaps(appearanceMaps(deep), appearanceMaps(toUnit(deep)));
    cv::Mat wide;
    testing::randomPhotograph({40, 30}, 3).convertTo(wide, CV_64F, 1.0 / 300);
    expectSameMaps(appearanceMaps(testing::withGaps(wide)), appearanceMaps(toUnit(wide)));
    for (const int type : {CV_8UC1, CV_16UC4, CV_32FC1, CV_32SC3}) {
        EXPECT_THROW(appearanceMaps(cv::Mat(3, 3, type, cv::Scalar::all(1))), std::invalid_argument) << type;
    }
    const int sides[] = {2, 2, 2};
    for (const int type : {CV_8UC3, CV_16UC3, CV_32FC3}) {
        EXPECT_THROW(appearanceMaps(cv::Mat(3, sides, type, cv::Scalar::all(1))), std::invalid_argument) << type;
    }
}

TEST(AppearanceMaps, ReportTheirStepsAndCanBeEnded) {
    const cv::Mat photograph = testing::randomPhotograph({40, 30}, 3);
    for (const cv::Mat& image : {photograph, toUnit(photograph)}) {
        std::vector<int> steps;
        Watch watch;
        watch.progress = [&steps](int done, int total) {
            EXPECT_EQ(total, 4);
            steps.push_back(done);
            return true;
        };
        expectSameMaps(appearanceMaps(image, watch), appearanceMaps(image));
        EXPECT_EQ(steps, (std::vector<int>{1, 2, 3, 4}));
        for (int last = 1; last <= 4; ++last) {
            watch.progress = [last](int done, int) { return done < last; };
            EXPECT_THROW(appearanceMaps(image, watch), Cancelled);
        }
    }
}

TEST(PhotographComparison, AnalysesBothPhotographs) {
    const cv::Mat cat = testing::examplePhotograph("cat.jpg");
    const cv::Mat coffee = testing::examplePhotograph("coffee.jpg");
    const auto [first, second] = analyzePhotographs(cat, coffee);
    ColorCounter counter;
    EXPECT_EQ(first.chroma, appearanceDistributions(cat, counter).chroma);
    EXPECT_EQ(second.chroma, appearanceDistributions(coffee, counter).chroma);
    EXPECT_EQ(bitsOf(compareDistributions(first, second)), bitsOf(comparePhotographs(cat, coffee)));
}

TEST(AppearanceDistributions, OfFloatsAreThoseOfTheirMaps) {
    for (const cv::Mat& image : {testing::exampleImage("coffee.jpg")(cv::Rect(100, 100, 90, 60)).clone(),
                                 testing::withGaps(testing::randomImage({37, 21}, 3, -0.5, 30, 5)),
                                 testing::randomImage({1, 300}, 3, 0, 4000, 6)}) {
        const cv::Mat before = image.clone();
        ColorCounter counter;
        const AppearanceDistributions distributions = appearanceDistributions(image, counter);
        const AppearanceMaps maps = appearanceMaps(image);
        const auto expectThoseOf = [](const cv::Mat& map, const BinProbabilities& probabilities, double nanShare) {
            BinCounts counts;
            counts.add(map);
            EXPECT_EQ(probabilities, counts.probabilities());
            EXPECT_EQ(nanShare, counts.nanShare());
        };
        expectThoseOf(maps.brightness, distributions.brightness, distributions.nanShares.brightness);
        expectThoseOf(maps.lightness, distributions.lightness, distributions.nanShares.lightness);
        expectThoseOf(maps.chroma, distributions.chroma, distributions.nanShares.chroma);
        expectThoseOf(maps.colorfulness, distributions.colorfulness, distributions.nanShares.colorfulness);
        expectThoseOf(maps.saturation, distributions.saturation, distributions.nanShares.saturation);
        EXPECT_MAT_EQUAL(image, before);
        const LikenessCoefficients k = comparePhotographs(image, image);
        for (const float coefficient : {k.brightness, k.lightness, k.chroma, k.colorfulness, k.saturation}) {
            EXPECT_NEAR(coefficient, 1, 1e-6);
        }
    }
}

TEST(PhotographComparison, OfBytesAsFloatsIsThatOfTheBytes) {
    const cv::Mat first = testing::examplePhotograph("coffee.jpg")(cv::Rect(100, 100, 90, 60));
    const cv::Mat second = testing::examplePhotograph("rocket.jpg")(cv::Rect(50, 50, 80, 70));
    const cv::Mat firstFloats = testing::exampleImage("coffee.jpg")(cv::Rect(100, 100, 90, 60));
    const cv::Mat secondFloats = testing::exampleImage("rocket.jpg")(cv::Rect(50, 50, 80, 70));
    const Bits expected = bitsOf(comparePhotographs(first, second));
    EXPECT_EQ(bitsOf(comparePhotographs(firstFloats, secondFloats)), expected);
    EXPECT_EQ(bitsOf(comparePhotographs(first, secondFloats)), expected);
    EXPECT_EQ(bitsOf(comparePhotographs(firstFloats, second)), expected);
    const ScratchDirectory scratch;
    EXPECT_EQ(bitsOf(comparePhotographs(firstFloats, secondFloats, workingDirectory())), expected);
    EXPECT_EQ(filesOf(".").size(), 4U);
}

TEST(PhotographComparison, RefusesWhatIsNoPhotograph) {
    const cv::Mat photograph = uniform({4, 4}, cv::Scalar::all(9));
    ColorCounter counter;
    for (const int type : {CV_8UC1, CV_8UC4, CV_16UC3, CV_32FC1, CV_64FC3}) {
        const cv::Mat other(4, 4, type, cv::Scalar::all(1));
        EXPECT_THROW(comparePhotographs(photograph, other), std::invalid_argument);
        EXPECT_THROW(comparePhotographs(other, photograph), std::invalid_argument);
        EXPECT_THROW(appearanceDistributions(other, counter), std::invalid_argument);
    }
}

}  // namespace
}  // namespace likeness
