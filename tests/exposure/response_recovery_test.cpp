#include <likeness/exposure/response_recovery.hpp>

#include <likeness/exposure/exposure_sequence.hpp>
#include "exposure/exposure_stack_scene.hpp"
#include "reference/exposure_reference.hpp"
#include "support/mat_matchers.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

namespace likeness {
namespace {

using testing::bracketOfSquareRootCamera;
using testing::clones;
using testing::contentOf;
using testing::expectSameTraces;
using testing::FlashPair;
using testing::namesOf;
using testing::ScratchDirectory;
using testing::Traces;
using testing::tracesOf;

std::size_t linesOf(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST(RecoverCRF, IsItsLiteralVersion) {
    for (const int count : {2, 5}) {
        std::vector<cv::Mat> actual = bracketOfSquareRootCamera(count);
        std::vector<cv::Mat> expected = clones(actual);
        cv::Mat* actualArray = actual.data();
        cv::Mat* expectedArray = expected.data();
        cv::Mat actualNonFlash = FlashPair().nonFlash;
        cv::Mat expectedNonFlash = actualNonFlash.clone();
        const Traces traces = tracesOf([&] { recoverCRF(actualArray, actualNonFlash, count, "run"); });
        expectSameTraces(traces,
                         tracesOf([&] { reference::recoverCRF(expectedArray, expectedNonFlash, count, "run"); }));
        EXPECT_MAT_EQUAL(actualNonFlash, expectedNonFlash);
        EXPECT_MAT_EQUAL(actual[1], expected[1]);
        EXPECT_EQ(namesOf(traces.files),
                  (std::vector<std::string>{"Breal.txt", "Greal.txt", "Rreal.txt", "run.hdr", "run.jpg",
                                            "runfusion.jpg", "test.jpg", "test1.jpg", "test10.jpg", "test11.jpg",
                                            "test2.jpg", "valuesReal.txt"}));
        for (const char* name : {"Rreal.txt", "Greal.txt", "Breal.txt", "valuesReal.txt"}) {
            EXPECT_EQ(linesOf(traces.files.at(name)), 256U) << name;
        }
        EXPECT_EQ(traces.files.at("valuesReal.txt").substr(0, 6), "0\n1\n2\n");
        EXPECT_NE(traces.printed.find("here i am\nhere i am\n["), std::string::npos);
        EXPECT_EQ(traces.printed.substr(traces.printed.size() - 18), "]\nrun.hdr run.jpg\n");
    }
}

TEST(RecoverCRF, ResultsAreWrittenWhereNothingElseIsWanted) {
    std::vector<cv::Mat> shown = bracketOfSquareRootCamera(3);
    std::vector<cv::Mat> silent = clones(shown);
    cv::Mat* shownArray = shown.data();
    cv::Mat* silentArray = silent.data();
    cv::Mat nonFlash = FlashPair().nonFlash;
    const Traces all = tracesOf([&] { recoverCRF(shownArray, nonFlash, 3, "a"); });
    const Traces results = tracesOf([&] { recoverCRF(silentArray, nonFlash, 3, "a", dropAll()); });
    EXPECT_EQ(results.printed, "");
    EXPECT_EQ(namesOf(results.files), (std::vector<std::string>{"a.hdr", "a.jpg", "afusion.jpg"}));
    for (const auto& [name, content] : results.files) {
        EXPECT_TRUE(content == all.files.at(name)) << name;
    }
}

// The camera is byte = 255 sqrt(exposure), so the recovered exposure of a byte is proportional to its square. The fit
// is to rounded bytes and smoothed, and knows nothing where all exposures are saturated: the middle of the range is
// within 5 % and a curve without the square (a straight line) would be off by a factor of 2.
TEST(RecoverResponse, FindsTheCurveThatTheExposuresWereMadeWith) {
    std::vector<cv::Mat> exposures = bracketOfSquareRootCamera(6, {96, 72});
    std::vector<cv::Mat> images;
    std::vector<float> times;
    float reciprocals[] = {64, 32, 16, 8, 4, 2, 1};
    cv::Mat nonFlash = exposures[0].clone();
    loadExposureSeq(exposures.data(), nonFlash, reciprocals, images, times, 6, dropAll());
    const cv::Mat response = recoverResponse(images, times);
    ASSERT_EQ(response.rows, 256);
    ASSERT_EQ(response.type(), CV_32FC3);
    for (int c = 0; c < 3; ++c) {
        const double atMiddle = response.at<cv::Vec3f>(128)[c];
        for (const int byte : {40, 64, 96, 160, 192, 220}) {
            const double expected = atMiddle * byte * byte / (128.0 * 128.0);
            EXPECT_NEAR(response.at<cv::Vec3f>(byte)[c], expected, 0.05 * expected) << byte;
        }
    }
}

TEST(HasResponseGrid, SaysWhereTheRecoveryRaisesNoError) {
    const std::vector<cv::Size> sizes = {{70, 1}, {1, 70}, {71, 1}, {1, 71}, {73, 1}, {1, 200}, {142, 2}, {145, 2},
                                         {7, 9},  {8, 8},  {23, 3}, {22, 3}, {10, 7}, {7, 10},  {3, 24},  {5, 12}};
    int with = 0;
    for (const cv::Size& size : sizes) {
        const std::vector<cv::Mat> images(2, cv::Mat(size, CV_8UC3, cv::Scalar::all(9)));
        bool recovered = true;
        try {
            recoverResponse(images, {1, 2});
        } catch (const cv::Exception&) {
            recovered = false;
        }
        EXPECT_EQ(hasResponseGrid(size), recovered) << size;
        with += recovered ? 1 : 0;
    }
    EXPECT_GT(with, 3);
    EXPECT_LT(with, static_cast<int>(sizes.size()) - 3);
    EXPECT_FALSE(hasResponseGrid({0, 0}));
}

TEST(RecoverResponse, ImagesWithoutAGridOfSeventyPointsAreRefused) {
    std::vector<cv::Mat> images(2, cv::Mat(5, 5, CV_8UC3, cv::Scalar::all(9)));
    EXPECT_THROW(recoverResponse(images, {1, 2}), cv::Exception);
}

TEST(MergeAndFuse, TakesAPrefixThatIsAFolder) {
    std::vector<cv::Mat> images;
    for (const cv::Mat& exposure : bracketOfSquareRootCamera(2, {20, 16})) {
        images.emplace_back();
        exposure.convertTo(images.back(), CV_8U, 255);
    }
    const std::vector<float> times = {1, 2};
    const cv::Mat response = recoverResponse(images, times);
    const Traces named = tracesOf([&] { mergeAndFuse(images, times, response, "stem", dropAll()); });

    const ScratchDirectory scratch;
    std::filesystem::create_directory("dir");
    mergeAndFuse(images, times, response, "dir/", dropAll());
    EXPECT_EQ(contentOf("dir/.hdr"), named.files.at("stem.hdr"));
    EXPECT_EQ(contentOf("dir/.jpg"), named.files.at("stem.jpg"));
    EXPECT_EQ(contentOf("dir/fusion.jpg"), named.files.at("stemfusion.jpg"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("dir"), {}), 3);

    // A folder that is not there: the results are left out without a word.
    EXPECT_NO_THROW(mergeAndFuse(images, times, response, "nowhere/", dropAll()));
    EXPECT_FALSE(std::filesystem::exists("nowhere"));
    // And the working directory itself.
    mergeAndFuse(images, times, response, "", dropAll());
    EXPECT_EQ(contentOf(".hdr"), named.files.at("stem.hdr"));
}

TEST(DumpResponse, ChannelTwoIsRed) {
    cv::Mat response(2, 1, CV_32FC3);
    response.at<cv::Vec3f>(0) = {1, 2, 3};
    response.at<cv::Vec3f>(1) = {0.25F, 1e-7F, 123456789.0F};
    const Traces traces = tracesOf([&] { dumpResponse(response, {"r", "g", "b", "v"}); });
    EXPECT_EQ(traces.printed, "[1, 2, 3;\n 0.25, 1e-07, 1.2345679e+08]\n");
    EXPECT_EQ(traces.files.at("r"), "3\n1.23457e+08\n");
    EXPECT_EQ(traces.files.at("g"), "2\n1e-07\n");
    EXPECT_EQ(traces.files.at("b"), "1\n0.25\n");
    EXPECT_EQ(traces.files.at("v"), "0\n1\n");
}

}  // namespace
}  // namespace likeness
