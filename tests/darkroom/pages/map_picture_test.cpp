#include "pages/map_picture.hpp"

#include "console/map_statistics.hpp"
#include "files/file_checksum.hpp"
#include "files/refusal.hpp"
#include "pages/html_page.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>

namespace likeness::testing {
namespace {

using namespace darkroom;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

cv::Mat row(const std::vector<float>& values) {
    return cv::Mat(values, true).reshape(1, 1);
}

TEST(MapPicture, ScaleIsWidenedToRoundNumbers) {
    const MapScale scale = roundScale("chroma C", 3.2, 96.1);
    EXPECT_EQ(scale.low, 0);
    EXPECT_EQ(scale.high, 100);
    EXPECT_EQ(rangeOf(scale), "colours from 0 to 100");
    const MapScale fine = roundScale("", 0.123, 0.1262);
    EXPECT_NEAR(fine.low, 0.123, 1e-12);
    EXPECT_NEAR(fine.high, 0.1265, 1e-12);
    const MapScale negative = roundScale("", -7, -2);
    EXPECT_EQ(negative.low, -7);
    EXPECT_EQ(negative.high, -2);
}

TEST(MapPicture, ScaleOfOneOrNoNumberIsOneWide) {
    for (const double value : {0.0, 42.0, -3.0}) {
        const MapScale scale = roundScale("", value, value);
        EXPECT_EQ(scale.low, value - 0.5);
        EXPECT_EQ(scale.high, value + 0.5);
    }
    const MapScale none = roundScale("", NAN, NAN);
    EXPECT_EQ(none.low, 0);
    EXPECT_EQ(none.high, 1);
}

TEST(MapPicture, ColorsRunFromVioletToYellowAndStopAtTheEnds) {
    const MapScale scale{"", 10, 20};
    const cv::Mat colors = mapColors(row({10, 20, -infinity, infinity, 15, nan, 9.99F, 20.01F}), scale);
    // Ends of viridis as published with it: (68, 1, 84) and (253, 231, 37) in R, G, B; middle (33, 145, 140).
    EXPECT_EQ(colors.at<cv::Vec3b>(0), cv::Vec3b(84, 1, 68));
    EXPECT_EQ(colors.at<cv::Vec3b>(1), cv::Vec3b(37, 231, 253));
    EXPECT_EQ(colors.at<cv::Vec3b>(2), colors.at<cv::Vec3b>(0));
    EXPECT_EQ(colors.at<cv::Vec3b>(3), colors.at<cv::Vec3b>(1));
    EXPECT_NEAR(colors.at<cv::Vec3b>(4)[0], 140, 2);
    EXPECT_NEAR(colors.at<cv::Vec3b>(4)[1], 145, 2);
    EXPECT_NEAR(colors.at<cv::Vec3b>(4)[2], 33, 2);
    EXPECT_EQ(colors.at<cv::Vec3b>(6), colors.at<cv::Vec3b>(0));
    EXPECT_EQ(colors.at<cv::Vec3b>(7), colors.at<cv::Vec3b>(1));
    for (int i = 0; i < colors.cols; ++i) {
        EXPECT_EQ(i == 5, colors.at<cv::Vec3b>(i) == cv::Vec3b(200, 0, 255)) << i;
    }
}

TEST(MapPicture, HuesGoAroundAndMeet) {
    const cv::Mat colors = mapColors(row({-180, 180, 0, 120, -120, nan}), degreesScale("h"));
    const auto hue = [&colors](int i) { return colors.at<cv::Vec3b>(i); };
    for (int channel = 0; channel < 3; ++channel) {
        EXPECT_NEAR(hue(0)[channel], hue(1)[channel], 12);
    }
    EXPECT_GT(hue(2)[2], 240);  // red
    EXPECT_LT(hue(2)[1], 16);
    EXPECT_GT(hue(3)[1], 240);  // green
    EXPECT_LT(hue(3)[2], 16);
    EXPECT_GT(hue(4)[0], 240);  // blue
    EXPECT_LT(hue(4)[1], 24);
    EXPECT_EQ(hue(5), cv::Vec3b(128, 128, 128));
}

TEST(MapPicture, LegendStandsBelowTheMap) {
    const MapScale scale{"lightness J", 0, 100};
    for (const cv::Size size : {cv::Size(400, 300), cv::Size(3, 5), cv::Size(2000, 10)}) {
        const cv::Mat map = randomImage(size, 1, 0, 100, 1);
        const cv::Mat picture = mapPicture(map, scale);
        ASSERT_GT(picture.rows, map.rows);
        EXPECT_MAT_EQUAL(picture(cv::Rect({0, 0}, size)).clone(), mapColors(map, scale));
        // Somewhere below the map stands a row with all colours of the scale, from left to right.
        const cv::Mat bar = picture.row(map.rows + (picture.rows - map.rows) / 2).clone();
        int at = 0;
        for (const float value : {2.0F, 25.0F, 50.0F, 75.0F, 98.0F}) {
            const cv::Vec3b color = mapColors(row({value}), scale).at<cv::Vec3b>(0);
            while (at < bar.cols && cv::norm(bar.at<cv::Vec3b>(at), color) > 6) {
                ++at;
            }
            EXPECT_LT(at, bar.cols) << value;
        }
    }
}

TEST(MapPicture, LegendShowsWhatTheColorsDoNot) {
    const MapScale scale{"s", 0, 1};
    const cv::Mat inside = randomImage({300, 20}, 1, 0.1F, 0.9F, 2);
    const auto legendWith = [&](float value) {
        cv::Mat map = inside.clone();
        map.at<float>(3, 3) = value;
        const cv::Mat picture = mapPicture(map, scale);
        return cv::Mat(picture.rowRange(20, picture.rows).clone());
    };
    const cv::Mat plain = legendWith(0.5F);
    for (const float value : {-1.0F, 2.0F, nan}) {
        EXPECT_GT(cv::norm(legendWith(value), plain, cv::NORM_L1), 0) << value;
    }
    EXPECT_GT(cv::norm(legendWith(-1.0F), legendWith(2.0F), cv::NORM_L1), 0);
}

TEST(MapPicture, ReducedMapIsTheMeanOverAreas) {
    cv::Mat map(4, 6, CV_32F);
    for (int i = 0; i < 24; ++i) {
        map.at<float>(i / 6, i % 6) = static_cast<float>(i);
    }
    map.at<float>(0, 0) = nan;
    map(cv::Rect(4, 2, 2, 2)) = nan;
    const cv::Mat reduced = reducedMap(map, 3);
    ASSERT_EQ(reduced.size(), cv::Size(3, 2));
    EXPECT_FLOAT_EQ(reduced.at<float>(0, 0), (1 + 6 + 7) / 3.0F);
    EXPECT_FLOAT_EQ(reduced.at<float>(0, 1), (2 + 3 + 8 + 9) / 4.0F);
    EXPECT_TRUE(std::isnan(reduced.at<float>(1, 2)));
    EXPECT_MAT_EQUAL(reducedMap(map, 6), map);
}

TEST(MapStatistics, OfAFewNumbers) {
    const MapStatistics statistics = statisticsOf(row({4, nan, 1, 3, 2, 5}));
    EXPECT_EQ(statistics.count, 5);
    EXPECT_EQ(statistics.nanCount, 1);
    EXPECT_EQ(statistics.minimum, 1);
    EXPECT_EQ(statistics.maximum, 5);
    EXPECT_EQ(statistics.mean, 3);
    // At 1 % of the way from 1 to 5, and so on.
    const std::array<double, 7> expected = {1.04, 1.2, 2, 3, 4, 4.8, 4.96};
    for (std::size_t k = 0; k < expected.size(); ++k) {
        EXPECT_NEAR(statistics.percentiles[k], expected[k], 1e-12) << k;
    }
}

TEST(MapStatistics, AreThoseOfTheSortedValues) {
    const cv::Mat map = withGaps(randomImage({173, 59}, 1, -30, 900, 5));
    std::vector<float> sorted;
    for (int i = 0; i < map.rows; ++i) {
        sorted.insert(sorted.end(), map.ptr<float>(i), map.ptr<float>(i) + map.cols);
    }
    std::sort(sorted.begin(), sorted.end());
    const MapStatistics statistics = statisticsOf(map);
    for (std::size_t k = 0; k < statisticsPercentages.size(); ++k) {
        const double place = statisticsPercentages[k] / 100.0 * static_cast<double>(sorted.size() - 1);
        const auto below = static_cast<std::size_t>(place);
        const double low = sorted[below];
        EXPECT_NEAR(statistics.percentiles[k], low + (place - std::floor(place)) * (sorted[below + 1] - low), 1e-9);
    }
    EXPECT_EQ(statistics.minimum, sorted.front());
    EXPECT_EQ(statistics.maximum, sorted.back());
}

TEST(MapStatistics, OfNothingAreNoNumbers) {
    for (const cv::Mat& map : {cv::Mat(), row({nan, nan})}) {
        const MapStatistics statistics = statisticsOf(map);
        EXPECT_EQ(statistics.count, 0);
        EXPECT_EQ(statistics.nanCount, static_cast<std::int64_t>(map.total()));
        EXPECT_TRUE(std::isnan(statistics.minimum) && std::isnan(statistics.mean) && std::isnan(statistics.maximum));
        EXPECT_TRUE(std::isnan(statistics.percentile(50)));
        EXPECT_TRUE(std::isnan(statisticsOfDegrees(map).mean));
    }
    const MapStatistics infinite = statisticsOf(row({infinity, infinity, 1}));
    EXPECT_EQ(infinite.percentile(99), infinity);
    EXPECT_THROW(static_cast<void>(infinite.percentile(98)), std::out_of_range);
    EXPECT_EQ(infinite.minimum, 1);
}

TEST(MapStatistics, MeanOfAnglesIsADirection) {
    EXPECT_NEAR(std::abs(statisticsOfDegrees(row({170, -170})).mean), 180, 1e-9);
    EXPECT_NEAR(statisticsOfDegrees(row({-170, -170, 175})).mean, -175.0, 0.1);
    EXPECT_NEAR(statisticsOfDegrees(row({10, nan, 20})).mean, 15, 1e-9);
    EXPECT_EQ(statisticsOfDegrees(row({170, -170})).minimum, -170);
}

TEST(FileChecksum, IsThePublishedOne) {
    const ScratchDirectory scratch;
    // FIPS 180-4, examples: "abc", the empty message, and a million times "a".
    std::ofstream("abc") << "abc";
    std::ofstream("empty").flush();
    std::ofstream("million") << std::string(1000000, 'a');
    EXPECT_EQ(fingerprintOf("abc").sha256, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(fingerprintOf("abc").bytes, 3U);
    EXPECT_EQ(fingerprintOf("empty").sha256, "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(fingerprintOf("million").sha256, "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
    EXPECT_THROW(fingerprintOf("missing"), Refusal);
    EXPECT_THROW(fingerprintOf("."), Refusal);
}

TEST(HtmlPage, EmbedsBytes) {
    // RFC 4648, section 10.
    EXPECT_EQ(dataUri("text/plain", ""), "data:text/plain;base64,");
    EXPECT_EQ(dataUri("text/plain", "f"), "data:text/plain;base64,Zg==");
    EXPECT_EQ(dataUri("text/plain", "fo"), "data:text/plain;base64,Zm8=");
    EXPECT_EQ(dataUri("text/plain", "foobar"), "data:text/plain;base64,Zm9vYmFy");
}

TEST(HtmlPage, ForbidsTheBrowserToLoadAnything) {
    const std::string document = htmlDocument({"<title>", "<p>text</p>", "", ""});
    EXPECT_NE(document.find("default-src 'none'; img-src data:; style-src 'unsafe-inline'\""), std::string::npos);
    EXPECT_NE(document.find("<title>&lt;title&gt;</title>"), std::string::npos);
    EXPECT_EQ(document.find("<script"), std::string::npos);
    const std::string withScript = htmlDocument({"t", "b", "", "run();"});
    EXPECT_NE(withScript.find("; script-src 'unsafe-inline'\""), std::string::npos);
}

}  // namespace
}  // namespace likeness::testing
