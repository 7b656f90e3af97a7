#include "diagnostics/number_text.hpp"

#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <sstream>

namespace likeness {
namespace {

using testing::contentOf;
using testing::ScratchDirectory;

std::string streamText(float value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

std::string streamLines(const cv::Mat& map, int rows, int cols) {
    std::ostringstream text;
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < cols; ++j) {
            text << map.at<float>(i, j) << '\n';
        }
    }
    return text.str();
}

void expectStreamText(float value) {
    char text[numberTextCapacity];
    const char* const begin = text;
    const char* const end = writeNumber(text, value);
    ASSERT_LE(end - begin, static_cast<std::ptrdiff_t>(numberTextCapacity));
    EXPECT_EQ(std::string(begin, end), streamText(value)) << std::hexfloat << value;
}

TEST(NumberText, IsTheStreamsForRandomBits) {
    std::mt19937 engine(1);
    for (int i = 0; i < 300'000; ++i) {
        expectStreamText(std::bit_cast<float>(static_cast<std::uint32_t>(engine())));
    }
}

TEST(NumberText, IsTheStreamsForOrdinaryValues) {
    std::mt19937 engine(2);
    for (int i = 0; i < 100'000; ++i) {
        const auto value = static_cast<float>(engine()) / 4294967296.0F;
        expectStreamText(value);
        expectStreamText(value * 150.0F);
    }
}

TEST(NumberText, IsTheStreamsWhereSixDigitsEndInATie) {
    // Multiples of a half around the sixth digit: whole numbers of seven digits, and n.5 of six.
    for (int i = 0; i < 2000; ++i) {
        const auto n = static_cast<float>(i);
        expectStreamText(100'000.0F + n + 0.5F);
        expectStreamText(999'000.0F + n / 2);
        expectStreamText(1'000'000.0F + 5 * n);
        expectStreamText(10'000.0F + n / 20);
        expectStreamText(-(2'000'000.0F + 5 * n));
        expectStreamText(0.0001F + n * 1e-7F);
        expectStreamText(1.0F + (2 * n + 1) / 131'072.0F);
    }
}

TEST(NumberText, NamesWhatIsNoNumber) {
    using Limits = std::numeric_limits<float>;
    EXPECT_EQ(numberText(Limits::quiet_NaN()), "nan");
    EXPECT_EQ(numberText(-Limits::quiet_NaN()), "-nan");
    EXPECT_EQ(numberText(Limits::infinity()), "inf");
    EXPECT_EQ(numberText(-Limits::infinity()), "-inf");
    EXPECT_EQ(numberText(0.0F), "0");
    EXPECT_EQ(numberText(-0.0F), "-0");
    EXPECT_EQ(numberText(-Limits::min()), "-1.17549e-38");
    EXPECT_EQ(numberText(Limits::max()), "3.40282e+38");
    EXPECT_EQ(numberText(100.0F), "100");
    EXPECT_EQ(numberText(1e6F), "1e+06");
    EXPECT_EQ(numberText(999'999.5F), "1e+06");
    EXPECT_EQ(numberText(0.0001F), "0.0001");
    EXPECT_EQ(numberText(0.00001F), "1e-05");
    EXPECT_EQ(numberText(1.0F / 3), "0.333333");
    for (const float value : {Limits::denorm_min(), -Limits::denorm_min(), Limits::min(), 1e-40F, Limits::lowest()}) {
        expectStreamText(value);
    }
}

TEST(MapText, IsTheStreamsForEveryImage) {
    const ScratchDirectory scratch;
    for (const auto& [name, image] : testing::floatImages(1, -20.0F, 120.0F)) {
        ASSERT_TRUE(writeMapText("map.txt", image, image.rows, image.cols)) << name;
        EXPECT_EQ(contentOf("map.txt"), streamLines(image, image.rows, image.cols)) << name;
    }
}

TEST(MapText, GoesThroughSeveralBuffers) {
    const ScratchDirectory scratch;
    const cv::Mat image = testing::randomImage({401, 399}, 1, -1e-5F, 1e-5F, 3);
    ASSERT_TRUE(writeMapText("map.txt", image, image.rows, image.cols));
    const std::string content = contentOf("map.txt");
    EXPECT_GT(content.size(), 4U << 18U);
    EXPECT_TRUE(content == streamLines(image, image.rows, image.cols));
}

TEST(MapText, TakesTheFirstRowsAndColumns) {
    const ScratchDirectory scratch;
    const cv::Mat image = testing::randomImage({9, 7}, 1, 0.0F, 100.0F, 4);
    ASSERT_TRUE(writeMapText("map.txt", image, 3, 5));
    EXPECT_EQ(contentOf("map.txt"), streamLines(image, 3, 5));
}

TEST(MapText, ReplacesWhatWasThere) {
    const ScratchDirectory scratch;
    const cv::Mat image(5, 5, CV_32F, cv::Scalar(1.5));
    ASSERT_TRUE(writeMapText("map.txt", image, 5, 5));
    ASSERT_TRUE(writeMapText("map.txt", image, 1, 2));
    EXPECT_EQ(contentOf("map.txt"), "1.5\n1.5\n");
    ASSERT_TRUE(writeMapText("map.txt", cv::Mat(), 0, 0));
    EXPECT_EQ(contentOf("map.txt"), "");
}

TEST(MapText, TellsThatItCouldNotWrite) {
    const ScratchDirectory scratch;
    const cv::Mat image(5, 5, CV_32F, cv::Scalar(1.5));
    EXPECT_FALSE(writeMapText("no such folder/map.txt", image, 5, 5));
    if (std::filesystem::exists("/dev/full")) {
        EXPECT_FALSE(writeMapText("/dev/full", image, 5, 5));
    }
}

}  // namespace
}  // namespace likeness
