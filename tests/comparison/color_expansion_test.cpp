#include "comparison/color_expansion.hpp"

#include "comparison/distinct_colors.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <limits>

namespace likeness {
namespace {

using testing::contentOf;
using testing::printedBy;
using testing::ScratchDirectory;

/// Indices in [0, colors) with every one of them in use.
cv::Mat indicesOf(cv::Size size, int colors) {
    cv::Mat indices(size, CV_32S);
    cv::RNG(5).fill(indices, cv::RNG::UNIFORM, 0, colors);
    for (int k = 0; k < colors; ++k) {
        indices.at<int>(k / size.width, k % size.width) = k;
    }
    return indices;
}

cv::Mat perColorValues(int colors) {
    cv::Mat values = testing::randomImage({colors, 1}, 1, -50.0F, 300.0F, 6);
    const float special[] = {0.0F,
                             -0.0F,
                             std::numeric_limits<float>::quiet_NaN(),
                             -std::numeric_limits<float>::quiet_NaN(),
                             std::numeric_limits<float>::infinity(),
                             0.5F,
                             1.5F,
                             2.5F,
                             -1.17549e-38F,
                             254.5F};
    std::copy(std::begin(special), std::end(special), values.ptr<float>(0));
    return values;
}

TEST(ColorExpansion, WritesWhatTheFullImageWouldHave) {
    const ScratchDirectory scratch;
    const int colors = 700;
    const cv::Mat indices = indicesOf({301, 207}, colors);
    const cv::Mat values = perColorValues(colors);
    cv::Mat bytes;
    values.convertTo(bytes, CV_8U);
    const DirectoryDiagnostics here(".");
    ColorExpansion expansion(indices, here);
    expansion.writeImage("map.jpg", values);
    expansion.writeImage("mask.jpg", bytes);
    expansion.writeImage("mask.png", bytes);
    expansion.writeMap("map.txt", values, 1, colors);
    EXPECT_TRUE(std::filesystem::is_empty("."));
    expansion.handOn();

    const DirectoryDiagnostics literal("literal");
    std::filesystem::create_directory("literal");
    const cv::Mat full = expandColors(values, indices);
    literal.writeImage("map.jpg", full);
    literal.writeImage("mask.jpg", expandColors(bytes, indices));
    literal.writeMap("map.txt", full, full.rows, full.cols);
    for (const std::string name : {"map.jpg", "mask.jpg", "map.txt"}) {
        EXPECT_TRUE(contentOf(name) == contentOf("literal/" + name)) << name;
    }
    EXPECT_GT(contentOf("map.txt").size(), std::size_t{1} << 18U);  // more than one buffer
    EXPECT_MAT_EQUAL(cv::imread("mask.png", cv::IMREAD_UNCHANGED), expandColors(bytes, indices));
}

TEST(ColorExpansion, CopiesWhatIsHandedOver) {
    const ScratchDirectory scratch;
    const cv::Mat indices = (cv::Mat_<int>(1, 2) << 1, 0);
    cv::Mat bytes = (cv::Mat_<uchar>(1, 2) << 10, 20);
    cv::Mat values = (cv::Mat_<float>(1, 2) << 1, 2);
    const DirectoryDiagnostics here(".");
    ColorExpansion expansion(indices, here);
    expansion.writeImage("image.png", bytes);
    expansion.writeMap("map.txt", values, 1, 2);
    bytes.setTo(0);
    values.setTo(0);
    expansion.handOn();
    EXPECT_MAT_EQUAL(cv::imread("image.png", cv::IMREAD_UNCHANGED), (cv::Mat_<uchar>(1, 2) << 20, 10));
    EXPECT_EQ(contentOf("map.txt"), "2\n1\n");
}

TEST(ColorExpansion, KeepsTheLastDumpOfAName) {
    const ScratchDirectory scratch;
    const cv::Mat indices = (cv::Mat_<int>(2, 1) << 0, 0);
    const DirectoryDiagnostics here(".");
    ColorExpansion expansion(indices, here);
    expansion.writeMap("map.txt", (cv::Mat_<float>(1, 1) << 1), 1, 1);
    expansion.writeMap("map.txt", (cv::Mat_<float>(1, 1) << 2), 1, 1);
    expansion.writeImage("image.png", (cv::Mat_<uchar>(1, 1) << 1));
    expansion.writeImage("image.png", (cv::Mat_<uchar>(1, 1) << 2));
    expansion.handOn();
    EXPECT_EQ(contentOf("map.txt"), "2\n2\n");
    EXPECT_MAT_EQUAL(cv::imread("image.png", cv::IMREAD_UNCHANGED), (cv::Mat_<uchar>(2, 1) << 2, 2));
}

TEST(ColorExpansion, PassesMessagesAndOpenDumpsThrough) {
    const ScratchDirectory scratch;
    const DirectoryDiagnostics here(".");
    const ColorExpansion expansion(cv::Mat(), here);
    EXPECT_TRUE(expansion.wantsFiles());
    EXPECT_TRUE(expansion.wantsMessages());
    EXPECT_EQ(printedBy([&expansion] { expansion.print("message\n"); }), "message\n");
    expansion.openText("text.txt")->write("line\n");
    EXPECT_EQ(contentOf("text.txt"), "line\n");
    const ColorExpansion dropping(cv::Mat(), dropAll());
    EXPECT_FALSE(dropping.wantsFiles());
    EXPECT_FALSE(dropping.wantsMessages());
}

}  // namespace
}  // namespace likeness
