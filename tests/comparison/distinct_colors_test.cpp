#include "comparison/distinct_colors.hpp"

#include "comparison/color_slots.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <map>
#include <numeric>
#include <stdexcept>

namespace likeness {
namespace {

/// Every one of 2^18 colours once, in rows of 512.
cv::Mat manyColors() {
    cv::Mat image(512, 512, CV_8UC3);
    for (int i = 0; i < image.rows; ++i) {
        for (int j = 0; j < image.cols; ++j) {
            const int k = (i * 512 + j) * 37 % (1 << 18);  // 37 is odd: every number once
            image.at<cv::Vec3b>(i, j) =
                cv::Vec3b(cv::saturate_cast<uchar>(k % 64 * 4), cv::saturate_cast<uchar>(k / 64 % 64 * 4),
                          cv::saturate_cast<uchar>(k / 4096 * 4));
        }
    }
    return image;
}

/// Of more pixels than those for which the counter notes where the colours are.
cv::Mat large() {
    cv::Mat image = testing::randomPhotograph({1600, 1000}, 4);
    image.rowRange(100, 900).setTo(cv::Scalar(250, 3, 128));
    return image;
}

void expectColorsOf(const cv::Mat& photograph, const DistinctColors& colors, bool withIndices) {
    std::map<std::uint32_t, std::uint32_t> expected;
    for (int i = 0; i < photograph.rows; ++i) {
        for (int j = 0; j < photograph.cols; ++j) {
            std::uint32_t slot = 0;
            colorSlots(photograph.ptr<uchar>(i, j), 1, &slot);
            ++expected[slot];
        }
    }
    std::vector<cv::Vec3b> order;
    std::vector<std::uint32_t> counts;
    for (const auto& [slot, count] : expected) {
        order.push_back(colorOfSlot(slot));
        counts.push_back(count);
    }
    EXPECT_EQ(colors.counts, counts);
    if (order.empty()) {
        EXPECT_TRUE(colors.bgr.empty());
    } else {
        EXPECT_MAT_EQUAL(colors.bgr, cv::Mat(1, static_cast<int>(order.size()), CV_8UC3, order.data()));
    }
    if (withIndices) {
        EXPECT_EQ(colors.indices.size(), photograph.size());
        if (!order.empty()) {
            EXPECT_MAT_EQUAL(expandColors(colors.bgr, colors.indices), photograph);
        }
    } else {
        EXPECT_TRUE(colors.indices.empty());
    }
}

std::vector<testing::NamedImage> photographs() {
    cv::Mat blackThenWhite = cv::Mat::zeros(3, 4, CV_8UC3);
    blackThenWhite.row(2).setTo(cv::Scalar::all(255));
    return {{"black and white", blackThenWhite},
            {"cat", testing::examplePhotograph("cat.jpg")},
            {"random", testing::randomPhotograph({120, 80}, 1)},
            {"gaps", testing::withGaps(testing::randomPhotograph({12, 8}, 2))},
            {"many", manyColors()},
            {"largest that is sorted as the first", testing::randomPhotograph({512, 512}, 5) & cv::Scalar::all(240)},
            {"one row more", testing::randomPhotograph({512, 513}, 6) & cv::Scalar::all(240)},
            {"largest that is always sorted, gaps", testing::withGaps(testing::randomPhotograph({128, 128}, 7))},
            {"one pixel less", testing::randomPhotograph({129, 127}, 8)},
            {"some pixels more, gaps", testing::withGaps(testing::randomPhotograph({127, 130}, 9))},
            {"few colours", testing::randomPhotograph({40, 30}, 10) & cv::Scalar::all(192)},
            {"large, without a note of the pieces", large()},
            {"one pixel", testing::randomPhotograph({1, 1}, 3)},
            {"empty", cv::Mat()},
            {"black", cv::Mat::zeros(9, 9, CV_8UC3)}};
}

TEST(ColorCounter, CountsEachPhotograph) {
    for (const auto& [name, photograph] : photographs()) {
        SCOPED_TRACE(name);
        for (const bool withIndices : {false, true}) {
            ColorCounter counter;
            expectColorsOf(photograph, counter.count(photograph, withIndices), withIndices);
        }
    }
}

TEST(ColorCounter, StartsAnewWithEachPhotograph) {
    ColorCounter counter;
    bool withIndices = false;
    for (int repetition = 0; repetition < 2; ++repetition) {
        for (const auto& [name, photograph] : photographs()) {
            SCOPED_TRACE(name);
            expectColorsOf(photograph, counter.count(photograph, withIndices), withIndices);
            withIndices = !withIndices;
        }
        withIndices = !withIndices;
    }
}

void addInPieces(const cv::Mat& photograph, int rows, ColorCounter& counter) {
    counter.begin(photograph.total());
    for (int first = 0; first < photograph.rows; first += rows) {
        counter.add(photograph.rowRange(first, std::min(first + rows, photograph.rows)));
    }
}

TEST(ColorCounter, PiecesCountAsTheirPhotograph) {
    ColorCounter kept;
    for (const auto& [name, photograph] : photographs()) {
        for (const int rows : {7, 5000}) {
            SCOPED_TRACE(name + " by " + std::to_string(rows));
            ColorCounter own;
            for (ColorCounter* const counter : {&own, &kept}) {
                addInPieces(photograph, rows, *counter);
                expectColorsOf(photograph, counter->finish(), false);
            }
        }
    }
}

TEST(ColorCounter, WhatWasBegunAndNotFinishedIsForgotten) {
    const cv::Mat forgotten = large();
    for (const auto& [name, photograph] : photographs()) {
        SCOPED_TRACE(name);
        ColorCounter counter;
        counter.begin(forgotten.total());
        counter.add(forgotten.rowRange(0, 700));
        addInPieces(photograph, 16, counter);
        expectColorsOf(photograph, counter.finish(), false);
        counter.begin(forgotten.total());
        counter.add(forgotten.rowRange(0, 700));
        expectColorsOf(photograph, counter.count(photograph, false), false);
    }
}

TEST(ColorCounter, RefusesOtherNumbersOfPixelsThanWereSaid) {
    const cv::Mat photograph = testing::randomPhotograph({20, 10}, 1);
    ColorCounter counter;
    EXPECT_THROW(counter.add(photograph), std::logic_error);
    EXPECT_THROW(counter.finish(), std::logic_error);
    counter.begin(199);
    EXPECT_THROW(counter.add(photograph), std::logic_error);
    counter.begin(201);
    counter.add(photograph);
    EXPECT_THROW(counter.finish(), std::logic_error);
    EXPECT_THROW(counter.add(cv::Mat(1, 1, CV_8U)), std::invalid_argument);
}

TEST(ColorCounter, ASmallPhotographDoesNotTakeTheTable) {
    // One that is counted costs 16 MiB of resident memory, and the table of places some more.
    const auto residentPages = [] {
        std::ifstream statm("/proc/self/statm");
        std::size_t all = 0;
        std::size_t resident = 0;
        statm >> all >> resident;
        return resident;
    };
    const cv::Mat photograph = testing::randomPhotograph({8, 8}, 1);
    std::vector<std::unique_ptr<ColorCounter>> counters;
    const std::size_t before = residentPages();
    for (int i = 0; i < 16; ++i) {
        counters.push_back(std::make_unique<ColorCounter>());
        counters.back()->count(photograph, true);
    }
    EXPECT_LT((residentPages() - before) * 4096, std::size_t{16} << 20);
}

TEST(ColorCounter, RefusesOtherTypes) {
    ColorCounter counter;
    EXPECT_THROW(counter.count(cv::Mat(4, 4, CV_8U), false), std::invalid_argument);
    EXPECT_THROW(counter.count(cv::Mat(4, 4, CV_32FC3), true), std::invalid_argument);
    EXPECT_TRUE(counter.count(cv::Mat(), false).counts.empty());
}

TEST(ColorCounter, CountsPastTheRangeOfATableEntry) {
    // An entry of one byte carries over after 255 pixels; around the first carries, and far beyond.
    ColorCounter counter;
    for (const int pixels : {1, 254, 255, 256, 257, 509, 510, 511, 512, 765, 766, 1000003, 1572864}) {
        const cv::Mat grey(1, pixels, CV_8UC3, cv::Scalar::all(90));
        EXPECT_EQ(counter.count(grey, false).counts, std::vector<std::uint32_t>{static_cast<std::uint32_t>(pixels)});
        cv::Mat mixed(3, pixels, CV_8UC3, cv::Scalar::all(90));
        mixed.row(1).setTo(cv::Scalar(1, 2, 3));
        const auto once = static_cast<std::uint32_t>(pixels);
        EXPECT_EQ(counter.count(mixed, true).counts, (std::vector<std::uint32_t>{once, 2 * once}));
    }
}

TEST(ColorCounter, HasManyColorsOfManyColors) {
    ColorCounter counter;
    EXPECT_EQ(counter.count(manyColors(), false).counts, std::vector<std::uint32_t>(1U << 18U, 1));
}

TEST(ExpandColors, TakesTheMemoryThatItIsOffered) {
    const cv::Mat indices = cv::Mat::zeros(4, 5, CV_32S);
    cv::Mat expanded(4, 5, CV_8U);
    const uchar* const memory = expanded.data;
    expanded = expandColors(cv::Mat(1, 1, CV_8U, cv::Scalar(9)), indices, std::move(expanded));
    EXPECT_EQ(expanded.data, memory);
    EXPECT_MAT_EQUAL(expanded, cv::Mat(4, 5, CV_8U, cv::Scalar(9)));
}

TEST(ExpandColors, PutsEachColorsValueIntoItsPixels) {
    const cv::Mat indices = (cv::Mat_<int>(2, 3) << 0, 2, 1, 1, 0, 0);
    const cv::Mat bytes = (cv::Mat_<uchar>(1, 3) << 10, 20, 30);
    EXPECT_MAT_EQUAL(expandColors(bytes, indices), (cv::Mat_<uchar>(2, 3) << 10, 30, 20, 20, 10, 10));
    const cv::Mat floats = (cv::Mat_<float>(1, 3) << 0.5, -1, std::numeric_limits<float>::quiet_NaN());
    EXPECT_MAT_EQUAL(expandColors(floats, indices),
                     (cv::Mat_<float>(2, 3) << 0.5, std::numeric_limits<float>::quiet_NaN(), -1, -1, 0.5, 0.5));
    cv::Mat triples;
    cv::merge(std::vector<cv::Mat>{floats, floats * 2, floats + 1}, triples);
    const cv::Mat expanded = expandColors(triples, testing::withGaps(indices));
    ASSERT_EQ(expanded.type(), CV_32FC3);
    EXPECT_EQ(expanded.at<cv::Vec3f>(0, 2), cv::Vec3f(-1, -2, 0));
    EXPECT_EQ(expanded.at<cv::Vec3f>(1, 2), cv::Vec3f(0.5, 1, 1.5));
}

TEST(DistinctUnitColors, AreThePixels) {
    cv::Mat image(200, 100, CV_32FC3);
    for (int i = 0; i < image.rows; ++i) {
        for (int j = 0; j < image.cols; ++j) {
            image.at<cv::Vec3f>(i, j) = cv::Vec3f(static_cast<float>((i + j) % 50), -0.5F, static_cast<float>(j % 40));
        }
    }
    const DistinctUnitColors colors = distinctUnitColors(image);
    EXPECT_EQ(colors.counts.size(), 50U * 40U);
    EXPECT_EQ(std::accumulate(colors.counts.begin(), colors.counts.end(), 0U), image.total());
    EXPECT_MAT_EQUAL(expandColors(colors.bgr, colors.indices), image);
}

TEST(DistinctUnitColors, ManyAreGivenUp) {
    EXPECT_TRUE(distinctUnitColors(testing::randomImage({60, 50}, 3, 0, 1, 3)).empty());
    EXPECT_TRUE(distinctUnitColors(testing::randomImage({1, 1}, 3, 0, 1, 3)).empty());
    EXPECT_FALSE(distinctUnitColors(cv::Mat(2, 2, CV_32FC3, cv::Scalar::all(0.5))).empty());
}

}  // namespace
}  // namespace likeness
