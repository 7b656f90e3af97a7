#include <likeness/likeness.hpp>
#include "darkroom/darkroom_program.hpp"
#include "darkroom/image_depths.hpp"
#include "support/mat_matchers.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace likeness::testing {
namespace {

using DarkroomMatchBrightness = DarkroomProgram;

const cv::Rect part(200, 120, 60, 44);

TEST_F(DarkroomMatchBrightness, WritesWhatTheLibraryComputesOfEveryDepth) {
    const std::vector<StoredImage> images = imagesOfEveryDepth("coffee.jpg", part);
    const std::vector<StoredImage> references = imagesOfEveryDepth("cat.jpg", cv::Rect(20, 20, 70, 44));
    for (std::size_t k = 0; k < images.size(); ++k) {
        expectDone({"match-brightness", save("in_" + images[k].name, images[k].stored), "--like",
                    save(references[k].name, references[k].stored), "-o", "m.tif", "--depth", "float"});
        EXPECT_EQ(filesLeft(), std::vector<std::string>{"m.tif"});
        cv::Mat image = images[k].unit.clone();
        cv::Mat reference = references[k].unit.clone();
        cv::Mat expected;
        alterNonFlashBrightness(image, reference, expected, dropAll());
        EXPECT_MAT_EQUAL(imageLeft("m.tif"), expected);
    }
}

TEST_F(DarkroomMatchBrightness, SaysWhatWasMatched) {
    // L* of grey: 100 for white, 0 for black. Half of each has the mean 50 and the standard deviation 50.
    cv::Mat halves(20, 40, CV_8UC3, cv::Scalar::all(0));
    halves.colRange(20, 40) = cv::Scalar::all(255);
    const std::string in = save("halves.png", halves);
    EXPECT_EQ(
        expectDone({"match-brightness", in, "--like", in, "-o", "m.tif", "--depth", "float"}).err,
        "darkroom match-brightness: wrote 'm.tif': L* of mean 50.00 and standard deviation 50.00 brought to 50.00 "
        "and 50.00, wanted 50.00 and 50.00, 40 x 20 pixels, 32-bit float, values as they are\n");
}

TEST_F(DarkroomMatchBrightness, SaysWhatWasNotReached) {
    // A quarter is to become lighter than white: L* 0 and 100 with the mean 25, brought to the mean 50 of an even ramp.
    cv::Mat quarter(20, 40, CV_8UC3, cv::Scalar::all(0));
    quarter.colRange(30, 40) = cv::Scalar::all(255);
    cv::Mat halves(20, 40, CV_8UC3, cv::Scalar::all(0));
    halves.colRange(20, 40) = cv::Scalar::all(255);
    // L* 50 + (100 - 25) 50 / 43.30 = 136.6 becomes 100, 50 - 25 50 / 43.30 = 21.13 stays.
    const std::string err = expectDone({"match-brightness", save("quarter.png", quarter), "--like",
                                        save("halves.png", halves), "-o", "m.png"})
                                .err;
    const std::vector<std::string> lines = linesOf(err);
    ASSERT_EQ(lines.size(), 3U) << err;
    EXPECT_NE(lines[0].find("wanted 50.00 and 50.00"), std::string::npos) << err;
    EXPECT_EQ(
        lines[1],
        "darkroom match-brightness: 'm.png': 25 % of the pixels have colours outside sRGB and are clipped, 25 % of "
        "the values at the upper end");
    EXPECT_EQ(lines[2],
              "darkroom match-brightness: warning: 'm.png' does not have the lightness that was wanted: not all of it "
              "lies between black and white");
    cv::Mat unit;
    imageLeft("m.png").convertTo(unit, CV_32F, 1.0 / 255);
    const LightnessStatistics written = lightnessStatistics(unit, dropAll());
    EXPECT_NE(lines[0].find(fmt::format("brought to {:.2f} and {:.2f},", written.mean, written.deviation)),
              std::string::npos)
        << err;
    EXPECT_NEAR(written.mean, 0.75 * 21.13 + 25, 0.3);
}

TEST_F(DarkroomMatchBrightness, Refuses) {
    const std::string in = save("in.png", examplePhotograph("cat.jpg")(part));
    const std::string small = save("small.png", examplePhotograph("cat.jpg")(cv::Rect(0, 0, 60, 43)));
    const std::string even = save("even.png", cv::Mat(44, 60, CV_8UC3, cv::Scalar(30, 60, 90)));
    expectRefused({"match-brightness", "missing.png", "--like", in, "-o", "m.png"},
                  "cannot read 'missing.png': No such file or directory");
    expectRefused({"match-brightness", in, "--like", "missing.png", "-o", "m.png"},
                  "cannot read 'missing.png': No such file or directory");
    expectRefused({"match-brightness", in, "-o", "m.png"}, "--like is required");
    expectRefused({"match-brightness", in, "--like", small, "-o", "m.png"},
                  "'" + small + "' is 60 x 43 pixels: it must be at least as large as '" + in + "', which is 60 x 44");
    expectRefused({"match-brightness", even, "--like", in, "-o", "m.png"},
                  "'" + even + "' has one lightness throughout: there is no spread to match");
    expectRefused({"match-brightness", in, "--like", even, "-o", "m.png"},
                  "'" + even + "' has one lightness throughout: there is no spread to match");
    expectRefused({"match-brightness", in, "--like", in, "-o", "none/m.png"},
                  "--output: 'none/m.png' cannot be written: the folder 'none' does not exist");
}

}  // namespace
}  // namespace likeness::testing
