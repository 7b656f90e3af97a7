#include <likeness/likeness.hpp>
#include "darkroom/darkroom_program.hpp"
#include "darkroom/image_depths.hpp"
#include "support/mat_matchers.hpp"

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
                    save(references[k].name, references[k].stored), "-o", "m.tif"});
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
        expectDone({"match-brightness", in, "--like", in, "-o", "m.tif"}).err,
        "darkroom match-brightness: wrote 'm.tif': L* of mean 50.00 and standard deviation 50.00 brought to 50.00 "
        "and 50.00, 40 x 20 pixels, 32-bit float, values as they are\n");
}

TEST_F(DarkroomMatchBrightness, Refuses) {
    const std::string in = save("in.png", examplePhotograph("cat.jpg")(part));
    const std::string small = save("small.png", examplePhotograph("cat.jpg")(cv::Rect(0, 0, 60, 43)));
    const std::string even = save("even.png", cv::Mat(44, 60, CV_8UC3, cv::Scalar(30, 60, 90)));
    expectRefused({"match-brightness", "missing.png", "--like", in, "-o", "m.png"},
                  "cannot read 'missing.png' as an image");
    expectRefused({"match-brightness", in, "--like", "missing.png", "-o", "m.png"},
                  "cannot read 'missing.png' as an image");
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
