#include <likeness/likeness.hpp>
#include "darkroom/darkroom_program.hpp"
#include "pages/flow_picture.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

namespace likeness::testing {
namespace {

using DarkroomAlign = DarkroomProgram;

/// A part of a photograph and the same part seen `shift` pixels further to the left.
struct Pair {
    cv::Mat moving;
    cv::Mat reference;
};

Pair shiftedPair(int shift) {
    const cv::Mat photograph = examplePhotograph("coffee.jpg");
    const cv::Rect part(200, 150, 160, 120);
    return {photograph(part).clone(), photograph(part + cv::Point(shift, 0)).clone()};
}

struct Alignment {
    cv::Mat aligned;
    cv::Mat flow;
};

Alignment alignmentOf(const cv::Mat& moving, const cv::Mat& reference) {
    Alignment result;
    cv::Mat ownMoving = moving.clone();
    cv::Mat ownReference = reference.clone();
    alignAlongOpticalFlow(ownMoving, ownReference, result.aligned, result.flow);
    return result;
}

cv::Mat unit(cv::Mat bytes) {
    cv::Mat image(bytes.size(), CV_32FC3);
    normImg(bytes, image);
    return image;
}

TEST_F(DarkroomAlign, WritesWhatTheLibraryComputes) {
    const Pair pair = shiftedPair(3);
    const Alignment expected = alignmentOf(unit(pair.moving), unit(pair.reference));
    const Outcome outcome =
        expectDone({"align", save("moving.png", pair.moving), "--to", save("reference.png", pair.reference), "-o",
                    "aligned.tif", "--depth", "float", "--flow", "flow.tif"});
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"aligned.tif", "flow.tif"}));
    EXPECT_MAT_EQUAL(imageLeft("aligned.tif"), expected.aligned);

    std::vector<cv::Mat> channels;
    cv::split(imageLeft("flow.tif"), channels);  // B, G, R
    std::vector<cv::Mat> displacements;
    cv::split(expected.flow, displacements);
    EXPECT_MAT_EQUAL(channels[2], displacements[0]);
    EXPECT_MAT_EQUAL(channels[1], displacements[1]);
    EXPECT_EQ(cv::countNonZero(channels[0]), 0);

    // The reference shows the scene 3 pixels further to the left, so a pixel of it is found 3 to the right.
    const cv::Mat inner = displacements[0](cv::Rect(40, 30, 80, 60));
    EXPECT_NEAR(cv::mean(inner)[0], 3, 0.5);
}

TEST_F(DarkroomAlign, TakesSixteenBitsAndFloats) {
    const Pair pair = shiftedPair(2);
    cv::Mat wide;
    unit(pair.moving).convertTo(wide, CV_16U, 65535);
    cv::Mat wideUnit(wide.size(), CV_32FC3);
    wideUnit.forEach<cv::Vec3f>([&](cv::Vec3f& pixel, const int* at) {
        for (int k = 0; k < 3; ++k) {
            pixel[k] = static_cast<float>(wide.at<cv::Vec3w>(at[0], at[1])[k] / 65535.0);
        }
    });
    const cv::Mat floats = unit(pair.reference) * 1.5;
    expectDone({"align", save("moving.png", wide), "--to", save("reference.tif", floats), "-o", "aligned.tif",
                "--depth", "float"});
    EXPECT_MAT_EQUAL(imageLeft("aligned.tif"), alignmentOf(wideUnit, floats).aligned);
}

TEST_F(DarkroomAlign, FlowAsAPictureStatesItsScale) {
    const Pair pair = shiftedPair(3);
    const std::string moving = save("moving.png", pair.moving);
    const std::string reference = save("reference.png", pair.reference);
    const Outcome outcome =
        expectDone({"align", moving, "--to", reference, "-o", "aligned.png", "--bits", "16", "--flow", "flow.png"});
    const cv::Mat flow = alignmentOf(unit(pair.moving), unit(pair.reference)).flow;
    EXPECT_MAT_EQUAL(imageLeft("flow.png"), darkroom::flowPicture(flow));
    EXPECT_EQ(imageLeft("aligned.png").type(), CV_16UC3);
    char greatest[32];
    std::snprintf(greatest, sizeof greatest, "%.3g", darkroom::greatestLength(flow));
    EXPECT_NE(outcome.err.find("wrote 'flow.png': flow, hue the direction, full saturation " + std::string(greatest) +
                               " pixels, 320 x 184 pixels, 8 bits\n"),
              std::string::npos)
        << outcome.err;
    expectDone({"align", moving, "--to", reference, "-o", "aligned.png", "--flow", "flow.jpg", "--quiet"});
    EXPECT_EQ(imageLeft("flow.jpg").size(), cv::Size(320, 184));
}

TEST_F(DarkroomAlign, Refuses) {
    const std::string in = save("moving.png", randomPhotograph({30, 20}, 1));
    const std::string other = save("other.png", randomPhotograph({30, 21}, 2));
    expectRefused({"align", in, "--to", "missing.png", "-o", "a.png"},
                  "cannot read 'missing.png': No such file or directory");
    expectRefused({"align", "missing.png", "--to", in, "-o", "a.png"},
                  "cannot read 'missing.png': No such file or directory");
    expectRefused({"align", in, "--to", other, "-o", "a.png"},
                  "'" + in + "' is 30 x 20 pixels and '" + other + "' is 30 x 21: they must be of one size");
    expectRefused({"align", in, "-o", "a.png"}, "--to is required");
    expectRefused({"align", in, "--to", in}, "--output is required");
    expectRefused({"align", in, "--to", in, "-o", "a.bmp"},
                  "--output: 'a.bmp' has none of the extensions .png, .jpg, .jpeg, .tif, .tiff, .hdr, .exr, "
                  ".webp, .avif, .jxl");
    expectRefused({"align", in, "--to", in, "-o", "a.png", "--flow", "f.hdr"},
                  "--flow: 'f.hdr' has none of the extensions .png, .jpg, .jpeg, .tif, .tiff");
    expectRefused({"align", in, "--to", in, "-o", "a.png", "--flow", "none/f.png"},
                  "--flow: 'none/f.png' cannot be written: the folder 'none' does not exist");
    expectRefused({"align", in, "--to", in, "-o", "a.png", "--flow", "./a.png"},
                  "--flow: './a.png' is the file of --output too");
}

using darkroom::flowColor;

TEST(FlowColor, DirectionIsTheHueAndLengthTheSaturation) {
    // B, G, R; x to the right, y down. Hues of 0, 60 ... degrees are the pure primaries and their sums.
    EXPECT_EQ(flowColor({2, 0}, 2), cv::Vec3b(0, 0, 255));              // right: red
    EXPECT_EQ(flowColor({1, -1.7320508F}, 2), cv::Vec3b(0, 255, 255));  // 60 degrees up: yellow
    EXPECT_EQ(flowColor({-1, -1.7320508F}, 2), cv::Vec3b(0, 255, 0));   // 120 degrees: green
    EXPECT_EQ(flowColor({-2, 0}, 2), cv::Vec3b(255, 255, 0));           // left: cyan
    EXPECT_EQ(flowColor({-1, 1.7320508F}, 2), cv::Vec3b(255, 0, 0));    // 240 degrees: blue
    EXPECT_EQ(flowColor({0, 2}, 2), cv::Vec3b(255, 0, 127));            // down: violet
    EXPECT_EQ(flowColor({1, 0}, 2), cv::Vec3b(128, 128, 255));          // half as long
    EXPECT_EQ(flowColor({0, 0}, 2), cv::Vec3b(255, 255, 255));
    EXPECT_EQ(flowColor({0, 0}, 0), cv::Vec3b(255, 255, 255));
    EXPECT_EQ(flowColor({9, 0}, 2), cv::Vec3b(0, 0, 255));  // longer than the greatest
    EXPECT_EQ(flowColor({std::nanf(""), 0}, 2), cv::Vec3b(0, 0, 0));
}

TEST(FlowPicture, HasTheFieldAboveAndALegendBelow) {
    cv::Mat flow(10, 400, CV_32FC2, cv::Scalar(0, 0));
    flow.at<cv::Vec2f>(4, 7) = {3, 4};
    flow.at<cv::Vec2f>(5, 7) = {std::numeric_limits<float>::infinity(), 0};
    EXPECT_EQ(darkroom::greatestLength(flow), 5);
    const cv::Mat picture = darkroom::flowPicture(flow);
    ASSERT_EQ(picture.size(), cv::Size(400, 10 + darkroom::legendHeight));
    EXPECT_EQ(picture.at<cv::Vec3b>(4, 7), flowColor({3, 4}, 5));
    EXPECT_EQ(picture.at<cv::Vec3b>(5, 7), cv::Vec3b(0, 0, 0));
    EXPECT_EQ(picture.at<cv::Vec3b>(0, 0), cv::Vec3b(255, 255, 255));
    // The wheel's middle stands still; right of it is red.
    const int middle = 10 + darkroom::legendHeight / 2;
    EXPECT_EQ(picture.at<cv::Vec3b>(middle, darkroom::legendHeight / 2), cv::Vec3b(255, 255, 255));
    EXPECT_EQ(picture.at<cv::Vec3b>(middle, darkroom::legendHeight / 2 + 26), cv::Vec3b(0, 0, 255));
}

}  // namespace
}  // namespace likeness::testing
