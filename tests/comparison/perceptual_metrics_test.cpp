#include <likeness/comparison/perceptual_metrics.hpp>

#include <likeness/appearance/viewing_conditions.hpp>
#include <likeness/comparison/metrics.hpp>
#include <likeness/comparison/photograph_comparison.hpp>
#include "reference/metrics_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <sstream>
#include <string>
#include <vector>

namespace likeness {
namespace {

using testing::contentOf;
using testing::printedBy;
using testing::ScratchDirectory;

using Maps = std::array<cv::Mat, 5>;  // Q, J, C, M, s

const char* const dumpNames[] = {"A_before.jpg", "10_in.txt", "mask.jpg", "t_before.jpg"};

Maps mapsFor(const cv::Mat& image) {
    Maps maps;
    for (cv::Mat& map : maps) {
        map = cv::Mat(image.size(), CV_32F);
    }
    return maps;
}

Maps literalMaps(cv::Mat image) {
    Maps maps = mapsFor(image);
    reference::perceptualMetrics(image, maps[0], maps[1], maps[2], maps[3], maps[4]);
    return maps;
}

/// A photograph as the comparison hands it over: adapted to D65.
cv::Mat adapted(const cv::Mat& image) {
    cv::Mat normalized = image.clone();
    cv::Mat result(image.size(), CV_32FC3);
    reference::compute_cat(normalized, result);
    return result;
}

std::vector<testing::NamedImage> images() {
    auto all = testing::floatImages(3, 0.0F, 1.1F);
    for (const std::string& name : testing::examplePhotographNames()) {
        const cv::Mat whole = testing::exampleImage(name);
        all.push_back({name, adapted(whole.rowRange(whole.rows / 3, 2 * whole.rows / 3))});
    }
    all.push_back({"black", cv::Mat(6, 5, CV_32FC3, cv::Scalar::all(0))});
    all.push_back({"saturated", adapted(cv::Mat(6, 5, CV_32FC3, cv::Scalar(1, 0, 0)))});
    return all;
}

TEST(PerceptualMetrics, IsTheLiteralVersionAndWritesTheSameFiles) {
    for (const auto& [name, image] : images()) {
        SCOPED_TRACE(name);
        const ScratchDirectory scratch;
        const Maps expected = literalMaps(image.clone());
        std::array<std::string, 4> files;
        for (std::size_t k = 0; k < 4; ++k) {
            files[k] = contentOf(dumpNames[k]);
            std::filesystem::remove(dumpNames[k]);
        }
        for (cv::Mat src : {image.clone(), testing::withGaps(image)}) {
            Maps maps = mapsFor(image);
            perceptualMetrics(src, maps[0], maps[1], maps[2], maps[3], maps[4]);
            for (std::size_t k = 0; k < 5; ++k) {
                EXPECT_MAT_EQUAL(maps[k], expected[k]);
            }
            for (std::size_t k = 0; k < 4; ++k) {
                EXPECT_TRUE(contentOf(dumpNames[k]) == files[k]) << dumpNames[k];
            }
        }
    }
}

TEST(PerceptualMetrics, LeavesItsInputAHundredTimesLarger) {
    cv::Mat src = (cv::Mat_<cv::Vec3f>(1, 2) << cv::Vec3f(0.25F, 0.5F, 1.0F), cv::Vec3f(-0.125F, 0.0F, 2.0F));
    const cv::Mat expected =
        (cv::Mat_<cv::Vec3f>(1, 2) << cv::Vec3f(25.0F, 50.0F, 100.0F), cv::Vec3f(-12.5F, 0.0F, 200.0F));
    Maps maps = mapsFor(src);
    perceptualMetrics(src, maps[0], maps[1], maps[2], maps[3], maps[4], dropAll());
    EXPECT_MAT_EQUAL(src, expected);
}

TEST(PerceptualMetrics, GivesAUniformImageALightnessOfAHundred) {
    for (const double grey : {0.02, 0.2, 0.5, 1.0}) {
        cv::Mat src = adapted(cv::Mat(7, 5, CV_32FC3, cv::Scalar::all(grey)));
        Maps maps = mapsFor(src);
        perceptualMetrics(src, maps[0], maps[1], maps[2], maps[3], maps[4], dropAll());
        EXPECT_MAT_EQUAL(maps[1], cv::Mat(7, 5, CV_32F, cv::Scalar(100))) << grey;
        EXPECT_GT(maps[0].at<float>(0, 0), 0.0F) << grey;
    }
}

TEST(PerceptualMetrics, GivesItsMapsInTheOrderOfTheReport) {
    cv::Mat src = adapted(testing::exampleImage("coffee.jpg"));
    Maps maps = mapsFor(src);
    perceptualMetrics(src, maps[0], maps[1], maps[2], maps[3], maps[4], dropAll());
    const auto [Q, J, C, M, s] = maps;
    // M = F_L^0.25 C and s = 100 sqrt(M / Q) tie the last three to the first; the greatest lightness is 100.
    double greatest = 0;
    cv::minMaxLoc(J, nullptr, &greatest);
    EXPECT_EQ(greatest, 100.0);
    cv::Mat root;
    cv::sqrt(M / Q, root);
    EXPECT_MAT_NEAR(M, C * std::pow(0.464159, 0.25), {.absolute = 1e-5, .relative = 1e-6});
    EXPECT_MAT_NEAR(s, root * 100, {.absolute = 1e-4, .relative = 1e-6});
}

TEST(PerceptualMetrics, WritesNothingThatNobodyWants) {
    const ScratchDirectory scratch;
    cv::Mat src = adapted(testing::randomImage({20, 10}, 3, 0.0F, 1.0F, 1));
    const cv::Mat before = src.clone();
    Maps maps = mapsFor(src);
    EXPECT_EQ(printedBy([&] { perceptualMetrics(src, maps[0], maps[1], maps[2], maps[3], maps[4], dropAll()); }), "");
    EXPECT_TRUE(std::filesystem::is_empty("."));

    Maps same = mapsFor(before);
    src = before.clone();
    EXPECT_EQ(printedBy([&] { perceptualMetrics(src, same[0], same[1], same[2], same[3], same[4]); }), "");
    for (std::size_t k = 0; k < 5; ++k) {
        EXPECT_MAT_EQUAL(same[k], maps[k]);
    }
}

TEST(PerceptualMetrics, TakesAnotherImagesBackground) {
    const cv::Mat image = adapted(testing::exampleImage("cat.jpg"));
    const cv::Mat few = image(cv::Rect(100, 100, 20, 10)).clone();
    const float background = backgroundLuminanceOf(1920 * 1080);
    cv::Mat src = few.clone();
    Maps maps = mapsFor(few);
    perceptualMetricsUnderBackground(src, background, maps[0], maps[1], maps[2], maps[3], maps[4], dropAll());
    cv::Mat other = few.clone();
    Maps ordinary = mapsFor(few);
    perceptualMetrics(other, ordinary[0], ordinary[1], ordinary[2], ordinary[3], ordinary[4], dropAll());
    // z = 1.48 + sqrt(0.1946) instead of 1.48 + sqrt(0.2): lightness of dark pixels rises a little.
    EXPECT_NE(cv::norm(maps[1], ordinary[1], cv::NORM_INF), 0.0);
    EXPECT_LT(cv::norm(maps[1], ordinary[1], cv::NORM_INF), 1.0);
}

/// The same bits; the sign and payload of a NaN do not count.
void expectSameNumber(double actual, float expected, const std::string& what) {
    if (std::isnan(expected)) {
        EXPECT_TRUE(std::isnan(actual)) << what;
    } else {
        EXPECT_EQ(actual, static_cast<double>(expected)) << what;
    }
}

TEST(AppearanceOf, HasTheBitsOfAPictureOfTheColorAndWhite) {
    const cv::Mat random = testing::randomImage({300, 1}, 3, 0, 1, 11);
    std::vector<cv::Vec3f> colors(random.begin<cv::Vec3f>(), random.end<cv::Vec3f>());
    const cv::Mat wide = testing::randomImage({100, 1}, 3, -0.3F, 2, 12);
    colors.insert(colors.end(), wide.begin<cv::Vec3f>(), wide.end<cv::Vec3f>());
    colors.insert(colors.end(),
                  {{0, 0, 0}, {1, 1, 1}, {0, 0, 1}, {0, 1, 0}, {1, 0, 0}, {0.5F, 0.5F, 0.5F}, {-1, 0, 9}});
    for (const cv::Vec3f& color : colors) {
        cv::Mat picture(1, 2, CV_32FC3, cv::Scalar::all(1));
        picture.at<cv::Vec3f>(0, 0) = color;
        const AppearanceMaps maps = appearanceMaps(picture);
        const Correlates one = appearanceOf(color);
        std::ostringstream what;
        what << color;
        expectSameNumber(one.brightness, maps.brightness.at<float>(0, 0), what.str());
        expectSameNumber(one.lightness, maps.lightness.at<float>(0, 0), what.str());
        expectSameNumber(one.chroma, maps.chroma.at<float>(0, 0), what.str());
        expectSameNumber(one.colorfulness, maps.colorfulness.at<float>(0, 0), what.str());
        expectSameNumber(one.saturation, maps.saturation.at<float>(0, 0), what.str());
        const float hue = maps.hueDegrees.at<float>(0, 0);
        EXPECT_TRUE(std::isnan(hue) || one.hueDegrees == (hue < 0 ? double{hue} + 360 : double{hue})) << what.str();
        EXPECT_TRUE(std::isnan(hue) || one.hueQuadrature == hueQuadratureOf(hue)) << what.str();
    }
    EXPECT_EQ(appearanceOf({1, 1, 1}).lightness, 100);
}

TEST(BackgroundLuminance, DriftsWithTheNumberOfPixels) {
    const auto ofPlainLoop = [](int pixels) {
        float sum = 0;
        for (int i = 0; i < pixels; ++i) {
            sum += 100.0F;
        }
        return sum / static_cast<float>(pixels * 5);
    };
    for (const int pixels : {1, 3, 640 * 480, 1920 * 1080, 4000 * 3000, 6000 * 4000}) {
        EXPECT_EQ(backgroundLuminanceOf(pixels), ofPlainLoop(pixels)) << pixels;
    }
    EXPECT_NEAR(backgroundLuminanceOf(640 * 480), 20.0, 5e-3);
    EXPECT_NEAR(backgroundLuminanceOf(1920 * 1080), 19.46, 5e-3);
    EXPECT_NEAR(backgroundLuminanceOf(4000 * 3000), 22.68, 5e-3);
}

}  // namespace
}  // namespace likeness
