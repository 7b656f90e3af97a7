#include <likeness/likeness.hpp>
#include "darkroom/darkroom_program.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <limits>

namespace likeness::testing {
namespace {

cv::Mat labOf(const cv::Mat& bgr) {
    cv::Mat lab;
    cv::cvtColor(bgr, lab, cv::COLOR_BGR2Lab);
    return lab;
}

/// Transfer in L*a*b*; with two dimensions the input keeps its lightness.
cv::Mat transferred(const cv::Mat& bgr, const cv::Mat& palette, float t, int dims) {
    const cv::Mat input = labOf(bgr);
    cv::Mat result(input.size(), CV_32FC(dims));
    cv::Mat inputMeans(1, dims, CV_32F);
    cv::Mat targetMeans(1, dims, CV_32F);
    cv::Mat map(dims, dims, CV_32F);
    cv::Mat unused;
    applyOptimalTransport(input, labOf(palette), result, unused, inputMeans, unused, targetMeans, map, t, dims,
                          dropAll());
    std::vector<cv::Mat> planes;
    cv::split(result, planes);
    if (dims == 2) {
        std::vector<cv::Mat> inputPlanes;
        cv::split(input, inputPlanes);
        planes.insert(planes.begin(), inputPlanes[0]);
    }
    cv::merge(planes, result);
    cv::cvtColor(result, result, cv::COLOR_Lab2BGR);
    return result;
}

using DarkroomTransfer = DarkroomProgram;

TEST_F(DarkroomTransfer, IsTheLibrarysTransfer) {
    const cv::Mat input = unitPhotograph("retina.jpg");
    const cv::Mat palette = unitPhotograph("coffee.jpg");
    for (const int dims : {2, 3}) {
        for (const float t : {0.0F, 0.25F, 1.0F}) {
            const Outcome outcome =
                expectDone({"transfer", photo("retina.jpg"), "--palette", photo("coffee.jpg"), "--dims",
                            std::to_string(dims), "--t", std::to_string(t), "-o", "out.tif", "--depth", "float"});
            EXPECT_EQ(outcome.out, "");
            EXPECT_MAT_EQUAL(imageLeft("out.tif"), transferred(input, palette, t, dims)) << dims << ' ' << t;
        }
    }
    expectDone(
        {"transfer", photo("retina.jpg"), "--palette", photo("coffee.jpg"), "-o", "out.tif", "--depth", "float"});
    EXPECT_MAT_EQUAL(imageLeft("out.tif"), transferred(input, palette, 1, 3));
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"out.tif"});
}

TEST_F(DarkroomTransfer, MovesTheMeanThroughTheMapWhereAsked) {
    const cv::Mat input = labOf(unitPhotograph("retina.jpg"));
    const cv::Mat palette = labOf(unitPhotograph("coffee.jpg"));
    cv::Mat chroma(input.size(), CV_32FC2);
    cv::Mat means(1, 3, CV_32F);
    cv::Mat targetMeans(1, 2, CV_32F);
    cv::Mat map(2, 2, CV_32F);
    cv::Mat inverse(3, 3, CV_32F);
    cv::Mat targetCovariance(2, 2, CV_32F);
    applyOptimalTransportBonneel(input, palette, chroma, inverse, means, targetCovariance, targetMeans, map, 1, 2,
                                 dropAll());
    cv::Mat expected = input.clone();
    for (int i = 0; i < input.rows; ++i) {
        for (int j = 0; j < input.cols; ++j) {
            const auto& x = input.at<cv::Vec3f>(i, j);
            for (int k = 0; k < 2; ++k) {
                expected.at<cv::Vec3f>(i, j)[k + 1] = map.at<float>(k, 0) * x[1] + map.at<float>(k, 1) * x[2] -
                                                      means.at<float>(0, k + 1) + targetMeans.at<float>(0, k);
            }
        }
    }
    cv::cvtColor(expected, expected, cv::COLOR_Lab2BGR);
    expectDone({"transfer", photo("retina.jpg"), "--palette", photo("coffee.jpg"), "--dims", "2", "--form", "bonneel",
                "-o", "out.tif", "--depth", "float"});
    EXPECT_MAT_EQUAL(imageLeft("out.tif"), expected);
    EXPECT_GT(
        cv::norm(expected, transferred(unitPhotograph("retina.jpg"), unitPhotograph("coffee.jpg"), 1, 2), cv::NORM_INF),
        0.01);
}

TEST_F(DarkroomTransfer, TakesSixteenBitsAndFloats) {
    const cv::Mat bytes = examplePhotograph("cat.jpg")(cv::Rect(50, 50, 90, 80)).clone();
    const cv::Mat unit = unitPhotograph("cat.jpg")(cv::Rect(50, 50, 90, 80)).clone();
    cv::Mat wide;
    bytes.convertTo(wide, CV_16U, 257);
    const cv::Mat expected = transferred(unit, unitPhotograph("coffee.jpg"), 1, 3);
    for (const std::string& path : {save("wide.png", wide), save("floats.tif", unit)}) {
        expectDone({"transfer", path, "--palette", photo("coffee.jpg"), "-o", "out.tif", "--depth", "float"});
        EXPECT_MAT_EQUAL(imageLeft("out.tif"), expected) << path;
    }
}

TEST_F(DarkroomTransfer, FramesGoFromTheInputToThePalette) {
    const std::string small = save("small.png", examplePhotograph("cat.jpg")(cv::Rect(50, 50, 90, 80)));
    const cv::Mat unit = unitPhotograph("cat.jpg")(cv::Rect(50, 50, 90, 80)).clone();
    expectDone({"transfer", small, "--palette", photo("coffee.jpg"), "--frames", "4", "-o", "way.tif", "--depth",
                "float", "--dims", "2"});
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"way_000.tif", "way_001.tif", "way_002.tif", "way_003.tif"}));
    const cv::Mat palette = unitPhotograph("coffee.jpg");
    for (int k = 0; k < 4; ++k) {
        EXPECT_MAT_EQUAL(imageLeft("way_00" + std::to_string(k) + ".tif"),
                         transferred(unit, palette, static_cast<float>(k / 3.0), 2))
            << k;
    }
}

TEST_F(DarkroomTransfer, FramesAreNumberedWithAsManyDigitsAsTheyNeed) {
    const std::string tiny = save("tiny.png", examplePhotograph("cat.jpg")(cv::Rect(50, 50, 2, 2)));
    expectDone({"transfer", tiny, "--palette", tiny, "--frames", "1001", "-o", "f.png", "--quiet"});
    const std::vector<std::string> names = filesLeft();
    ASSERT_EQ(names.size(), 1001U);
    EXPECT_EQ(names.front(), "f_0000.png");
    EXPECT_EQ(names.back(), "f_1000.png");
}

TEST_F(DarkroomTransfer, Refuses) {
    const std::string in = photo("retina.jpg");
    const std::string target = photo("coffee.jpg");
    expectRefused({"transfer", in, "-o", "a.png"}, "--palette is required");
    expectRefused({"transfer", in, "--palette", "missing.png", "-o", "a.png"},
                  "cannot read 'missing.png': No such file or directory");
    expectRefused({"transfer", "missing.png", "--palette", target, "-o", "a.png"},
                  "cannot read 'missing.png': No such file or directory");
    expectRefused({"transfer", in, "--palette", target, "--dims", "1", "-o", "a.png"},
                  "--dims: '1' is not a whole number from 2 to 3");
    expectRefused({"transfer", in, "--palette", target, "--form", "bonneel", "-o", "a.png"},
                  "--form bonneel: only with --dims 2");
    expectRefused({"transfer", in, "--palette", target, "--form", "free", "-o", "a.png"},
                  "--form: 'free' is none of centred, bonneel");
    expectRefused({"transfer", in, "--palette", target, "--dims", "2", "--form", "bonneel", "--t", "1", "-o", "a.png"},
                  "--t excludes --form");
    expectRefused(
        {"transfer", in, "--palette", target, "--dims", "2", "--form", "bonneel", "--frames", "3", "-o", "a.png"},
        "--form excludes --frames");
    expectRefused({"transfer", in, "--palette", target, "--t", "1.1", "-o", "a.png"},
                  "--t: '1.1' is not a number from 0 to 1");
    expectRefused({"transfer", in, "--palette", target, "--frames", "1", "-o", "a.png"},
                  "--frames: '1' is not a whole number from 2 to 9999");
    expectRefused({"transfer", in, "--palette", target, "--frames", "3", "--t", "1", "-o", "a.png"},
                  "--t excludes --frames");
    expectRefused({"transfer", in, "--palette", target, "-o", "none/a.png"},
                  "--output: 'none/a.png' cannot be written: the folder 'none' does not exist");
    cv::Mat holed(5, 5, CV_32FC3, cv::Scalar::all(0.5));
    holed.at<cv::Vec3f>(2, 2)[1] = std::numeric_limits<float>::quiet_NaN();
    const std::string nan = save("nan.tif", holed);
    expectRefused({"transfer", nan, "--palette", target, "-o", "a.png"},
                  "'" + nan + "' has values that are not finite");
    expectRefused({"transfer", in, "--palette", nan, "-o", "a.png"}, "'" + nan + "' has values that are not finite");
}

TEST_F(DarkroomTransfer, FramesAreNotWrittenOverAnInput) {
    const std::string first = save("way_001.png", examplePhotograph("cat.jpg")(cv::Rect(50, 50, 9, 8)));
    const std::string before = contentOf(first);
    expectRefused({"transfer", first, "--palette", photo("coffee.jpg"), "--frames", "3", "-o", input("way.png")},
                  "--output: '" + first + "' would replace the input '" + first + "'; choose another name");
    EXPECT_EQ(contentOf(first), before);
    std::filesystem::create_directory(output("way_002.png"));
    expectRefused({"transfer", first, "--palette", photo("coffee.jpg"), "--frames", "3", "-o", "way.png"},
                  "--output: 'way_002.png' is a folder");
}

TEST_F(DarkroomTransfer, TellsWhatSrgbCannotHold) {
    // Grey whose lightness is spread ten times: much of it ends darker than black or lighter than white.
    cv::Mat grey(8, 20, CV_8UC3);
    cv::Mat wide(8, 20, CV_8UC3);
    for (int j = 0; j < 20; ++j) {
        grey.col(j) = cv::Scalar(120 + j % 5, 121 + j % 3, 120 + j);
        wide.col(j) = cv::Scalar(j % 2 * 255, j % 3 * 127, j / 10 * 255);
    }
    const std::string in = save("grey.png", grey);
    const std::string palette = save("wide.png", wide);
    const Outcome moved = expectDone({"transfer", in, "--palette", palette, "-o", "a.png"});
    EXPECT_NE(moved.err.find("darkroom transfer: 'a.png': "), std::string::npos) << moved.err;
    EXPECT_NE(moved.err.find(" of the pixels have colours outside sRGB and are clipped"), std::string::npos);
    const Outcome still = expectDone({"transfer", in, "--palette", palette, "--t", "0", "-o", "a.png"});
    EXPECT_EQ(still.err.find("outside sRGB"), std::string::npos) << still.err;
    cv::Mat floats;
    grey.convertTo(floats, CV_32F, 1.0 / 255);
    floats.at<cv::Vec3f>(2, 2)[2] = 1.5F;
    const std::string beyond = save("beyond.tif", floats);
    EXPECT_NE(expectDone({"transfer", beyond, "--palette", palette, "-o", "a.png"})
                  .err.find("'" + beyond + "': 0.62 % of the pixels lie outside 0..1 and are clipped"),
              std::string::npos);
}

}  // namespace
}  // namespace likeness::testing
