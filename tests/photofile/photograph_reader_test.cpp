#include "photofile/photograph_reader.hpp"

#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <fstream>

namespace likeness::testing {
namespace {

std::string example(const std::string& name) {
    return std::string(LIKENESS_EXAMPLE_PHOTOGRAPHS) + "/" + name;
}

/// The first half of an example photograph's file.
std::string halfOf(const std::string& name) {
    const std::string bytes = contentOf(example(name));
    const std::string path = "half_" + name;
    std::ofstream(path, std::ios::binary) << bytes.substr(0, bytes.size() / 2);
    return path;
}

void expectSame(const PhotographRead& actual, const PhotographRead& expected) {
    EXPECT_MAT_EQUAL(actual.bgr, expected.bgr);
    EXPECT_EQ(actual.remarks, expected.remarks);
}

void expectPairOfSingleReads(const std::string& first, const std::string& second, int flags = cv::IMREAD_COLOR) {
    SCOPED_TRACE(first + " " + second);
    ::testing::internal::CaptureStderr();
    const auto [firstRead, secondRead] = readPhotographPair(first, second, flags);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    expectSame(firstRead, readPhotograph(first, flags));
    expectSame(secondRead, readPhotograph(second, flags));
}

TEST(PhotographPair, IsReadAsTheSinglePhotographsAre) {
    const ScratchDirectory scratch;
    expectPairOfSingleReads(example("cat.jpg"), example("coffee.jpg"));
    expectPairOfSingleReads(example("cat.jpg"), example("cat.jpg"));
    cv::imwrite("deep.png", cv::Mat(9, 7, CV_16UC3, cv::Scalar(1000, 30000, 65535)));
    expectPairOfSingleReads("deep.png", example("coffee.jpg"));
    expectPairOfSingleReads("deep.png", example("coffee.jpg"), cv::IMREAD_COLOR | cv::IMREAD_ANYDEPTH);
    EXPECT_EQ(readPhotographPair("deep.png", "deep.png", cv::IMREAD_COLOR | cv::IMREAD_ANYDEPTH).second.bgr.depth(),
              CV_16U);
}

TEST(PhotographPair, RemarksBelongToTheirPhotograph) {
    const ScratchDirectory scratch;
    const std::string half = halfOf("cat.jpg");
    ASSERT_FALSE(readPhotograph(half).remarks.empty());
    ASSERT_FALSE(readPhotograph(half).bgr.empty());
    expectPairOfSingleReads(half, example("coffee.jpg"));
    expectPairOfSingleReads(example("coffee.jpg"), half);
    expectPairOfSingleReads(half, halfOf("rocket.jpg"));
    EXPECT_TRUE(readPhotographPair(example("coffee.jpg"), half, cv::IMREAD_COLOR).first.remarks.empty());
}

TEST(PhotographPair, OneThatCannotBeReadIsEmpty) {
    const ScratchDirectory scratch;
    std::ofstream("text.jpg") << "not an image";
    const auto [first, second] = readPhotographPair("missing.jpg", example("cat.jpg"), cv::IMREAD_COLOR);
    EXPECT_TRUE(first.bgr.empty());
    EXPECT_MAT_EQUAL(second.bgr, examplePhotograph("cat.jpg"));
    EXPECT_TRUE(readPhotographPair(example("cat.jpg"), "text.jpg", cv::IMREAD_COLOR).second.bgr.empty());
}

}  // namespace
}  // namespace likeness::testing
