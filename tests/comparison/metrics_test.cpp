#include <likeness/comparison/metrics.hpp>

#include "reference/metrics_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace likeness {
namespace {

using testing::contentOf;
using testing::printedBy;
using testing::ScratchDirectory;

TEST(NormImg, DividesBy255InDouble) {
    cv::Mat src(16, 16, CV_8UC3);
    for (int value = 0; value < 256; ++value) {
        const auto byte = static_cast<uchar>(value);
        src.at<cv::Vec3b>(value / 16, value % 16) = {byte, static_cast<uchar>(255 - value), 128};
    }
    const cv::Mat before = src.clone();
    cv::Mat expected(16, 16, CV_32FC3);
    reference::normImg(src, expected);
    cv::Mat dst(16, 16, CV_32FC3);
    normImg(src, dst);
    EXPECT_MAT_EQUAL(dst, expected);
    EXPECT_MAT_EQUAL(src, before);
    EXPECT_EQ(dst.at<cv::Vec3f>(0, 0), cv::Vec3f(0, 1, static_cast<float>(128 / 255.0)));
    cv::Mat gaps = testing::withGaps(src);
    normImg(gaps, dst);
    EXPECT_MAT_EQUAL(dst, expected);
}

TEST(NormImg, LeavesTheRestOfALargerImage) {
    cv::Mat src = testing::randomPhotograph({5, 4}, 1);
    cv::Mat expected(6, 8, CV_32FC3, cv::Scalar::all(-7));
    reference::normImg(src, expected);
    cv::Mat dst(6, 8, CV_32FC3, cv::Scalar::all(-7));
    normImg(src, dst);
    EXPECT_MAT_EQUAL(dst, expected);
    EXPECT_EQ(dst.at<cv::Vec3f>(0, 5), cv::Vec3f::all(-7));
}

TEST(ComputeCat, IsTheLiteralVersion) {
    auto images = testing::floatImages(3, 0.0F, 1.0F);
    for (const std::string& name : testing::examplePhotographNames()) {
        images.push_back({name, testing::exampleImage(name)});
    }
    for (const auto& [name, image] : images) {
        SCOPED_TRACE(name);
        cv::Mat expected(image.size(), CV_32FC3);
        reference::compute_cat(image, expected);
        for (cv::Mat src : {image.clone(), testing::withGaps(image)}) {
            cv::Mat dst(image.size(), CV_32FC3);
            compute_cat(src, dst);
            EXPECT_MAT_EQUAL(dst, expected);
            EXPECT_MAT_EQUAL(src, image);
        }
    }
}

TEST(ComputeCat, KeepsBlack) {
    cv::Mat src(2, 2, CV_32FC3, cv::Scalar::all(0));
    cv::Mat dst(2, 2, CV_32FC3, cv::Scalar::all(5));
    compute_cat(src, dst);
    EXPECT_MAT_EQUAL(dst, src);
}

std::vector<float> numbersOf(std::string line) {
    std::replace(line.begin(), line.end(), ',', ' ');
    std::istringstream stream(line);
    return {std::istream_iterator<float>(stream), {}};
}

TEST(Metrics, GivesOneForAPhotographAndItself) {
    const ScratchDirectory scratch;
    cv::Mat photograph = testing::examplePhotograph("cat.jpg");
    cv::Mat same = photograph.clone();
    const std::string line = printedBy([&] { metrics(photograph, same, dropAll()); });
    const std::vector<float> coefficients = numbersOf(line);
    ASSERT_EQ(coefficients.size(), 5U);
    for (const float coefficient : coefficients) {
        EXPECT_NEAR(coefficient, 1.0, 2e-5);  // a few hundred float additions
    }
    EXPECT_MAT_EQUAL(photograph, same);
}

TEST(Metrics, ReportsAsTheLiteralChainWould) {
    cv::Mat first = testing::examplePhotograph("cat.jpg");
    cv::Mat second = testing::examplePhotograph("coffee.jpg")(cv::Rect(50, 60, 300, 200));
    std::string report;
    std::string line;
    {
        const ScratchDirectory literal;
        std::ostringstream reportStream;
        std::ostringstream lineStream;
        for (const float coefficient : reference::metrics(first, second)) {
            reportStream << coefficient << '\n';
            lineStream << (lineStream.str().empty() ? "" : ",") << coefficient;
        }
        report = reportStream.str();
        line = lineStream.str() + '\n';
    }
    const ScratchDirectory scratch;
    EXPECT_EQ(printedBy([&] { metrics(first, second); }), line);
    EXPECT_EQ(contentOf("For_fit.txt"), report);
    EXPECT_EQ(std::count(report.begin(), report.end(), '\n'), 5);
    for (const char* const name : {"A_before.jpg", "10_in.txt", "mask.jpg", "t_before.jpg"}) {
        EXPECT_TRUE(std::filesystem::exists(name)) << name;
    }
    EXPECT_EQ(printedBy([&] { metrics(first, second, dropAll()); }), line);
    EXPECT_EQ(contentOf("For_fit.txt"), report + report);
}

TEST(Metrics, WritesDumpsWhereItIsToldTo) {
    const ScratchDirectory scratch;
    std::filesystem::create_directory("chosen");
    cv::Mat first = testing::randomPhotograph({8, 6}, 1);
    cv::Mat second = testing::randomPhotograph({5, 9}, 2);
    printedBy([&] { metrics(first, second, DirectoryDiagnostics("chosen")); });
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("chosen"), {}), 4);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 2);  // the folder and the report
}

TEST(Metrics, PrintsEvenIfTheReportCannotBeWritten) {
    const ScratchDirectory scratch;
    std::filesystem::create_directory("For_fit.txt");
    cv::Mat black(4, 4, CV_8UC3, cv::Scalar::all(0));
    cv::Mat white(4, 4, CV_8UC3, cv::Scalar::all(255));
    ::testing::internal::CaptureStderr();
    const std::string line = printedBy([&] { metrics(black, white, dropAll()); });
    const std::string warning = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(numbersOf(line).size(), 5U);
    EXPECT_NE(warning.find("For_fit.txt"), std::string::npos);
    EXPECT_EQ(std::count(warning.begin(), warning.end(), '\n'), 1);
}

TEST(Metrics, OfAnEmptyPhotographIsZero) {
    const ScratchDirectory scratch;
    cv::Mat empty;
    cv::Mat white(4, 4, CV_8UC3, cv::Scalar::all(255));
    EXPECT_EQ(printedBy([&] { metrics(empty, white, dropAll()); }), "0,0,0,0,0\n");
    EXPECT_EQ(contentOf("For_fit.txt"), "0\n0\n0\n0\n0\n");
}

TEST(Metrics, RefusesWhatIsNoPhotograph) {
    const ScratchDirectory scratch;
    cv::Mat photograph(4, 4, CV_8UC3, cv::Scalar::all(255));
    for (const int type : {CV_8UC1, CV_8UC4, CV_16UC3, CV_32FC3}) {
        cv::Mat other(4, 4, type, cv::Scalar::all(1));
        EXPECT_THROW(metrics(photograph, other), std::invalid_argument);
        EXPECT_THROW(metrics(other, photograph), std::invalid_argument);
    }
    EXPECT_TRUE(std::filesystem::is_empty("."));
}

}  // namespace
}  // namespace likeness
