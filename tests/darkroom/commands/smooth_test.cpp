#include <likeness/likeness.hpp>
#include "darkroom/darkroom_program.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

namespace likeness::testing {
namespace {

using DarkroomSmooth = DarkroomProgram;

const cv::Rect part(100, 80, 120, 90);

cv::Mat unitPart(const std::string& name) {
    return unitPhotograph(name)(part).clone();
}

cv::Mat greyOf(const cv::Mat& image) {
    cv::Mat grey;
    cv::cvtColor(image, grey, cv::COLOR_BGR2GRAY);
    return grey;
}

class DarkroomSmoothed : public DarkroomProgram {
protected:
    const std::string in_ = save("in.png", examplePhotograph("cat.jpg")(part));
    const std::string guide_ = save("guide.png", examplePhotograph("coffee.jpg")(part));
    const cv::Mat image_ = unitPart("cat.jpg");
    const cv::Mat guideImage_ = unitPart("coffee.jpg");
};

TEST_F(DarkroomSmoothed, ByItsOwnGreyIsWhatTheLibraryComputes) {
    const Outcome outcome = expectDone({"smooth", in_, "-o", "smooth.tif", "--depth", "float"});
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"smooth.tif"});
    EXPECT_MAT_EQUAL(imageLeft("smooth.tif"), guidedFilter(greyOf(image_), image_, 4, 0.01, -1, dropAll()));
    expectDone({"smooth", in_, "-o", "smooth.tif", "--depth", "float", "--radius", "9", "--eps", "1e-3"});
    EXPECT_MAT_EQUAL(imageLeft("smooth.tif"), guidedFilter(greyOf(image_), image_, 9, 1e-3, -1, dropAll()));
}

TEST_F(DarkroomSmoothed, ByAnotherImageIsWhatTheLibraryComputes) {
    expectDone({"smooth", in_, "-o", "smooth.tif", "--depth", "float", "--guide", guide_, "--radius", "3"});
    EXPECT_MAT_EQUAL(imageLeft("smooth.tif"), guidedFilter(greyOf(guideImage_), image_, 3, 0.01, -1, dropAll()));
    expectDone({"smooth", in_, "-o", "smooth.tif", "--depth", "float", "--guide", guide_, "--radius", "3", "--color"});
    EXPECT_MAT_EQUAL(imageLeft("smooth.tif"), guidedFilter(guideImage_, image_, 3, 0.0, -1, dropAll()));
}

TEST_F(DarkroomSmoothed, TransportIsTheLibrarysOnTheScaleOfBytes) {
    const cv::Mat scaled = image_ * 255.0;
    const cv::Mat scaledGuide = guideImage_ * 255.0;
    expectDone(
        {"smooth", in_, "-o", "carried.tif", "--depth", "float", "--guide", guide_, "--radius", "3", "--transport"});
    const cv::Mat expected = GuidedFilterColor(scaledGuide, 7, 0.0, dropAll()).filterColorChannelsMK(scaled) / 255.0;
    EXPECT_MAT_EQUAL(imageLeft("carried.tif"), expected);
    expectDone({"smooth", in_, "-o", "carried.tif", "--depth", "float", "--transport"});
    const cv::Mat own = GuidedFilterColor(scaled, 9, 0.0, dropAll()).filterColorChannelsMK(scaled) / 255.0;
    EXPECT_MAT_EQUAL(imageLeft("carried.tif"), own);
}

TEST_F(DarkroomSmoothed, DumpsAreThoseOfTheColourGuide) {
    std::filesystem::create_directory(folder() / "dumps");
    expectDone({"smooth", in_, "-o", "s.png", "--dumps", "dumps"});
    EXPECT_TRUE(std::filesystem::is_empty(folder() / "dumps"));
    expectDone({"smooth", in_, "-o", "s.png", "--guide", guide_, "--color", "--dumps", "dumps"});
    for (const std::string name :
         {"0R.jpg", "0G.jpg", "0B.jpg", "cov_a_r.jpg", "a_r.jpg", "a_g.jpg", "a_b.jpg", "b.jpg"}) {
        EXPECT_TRUE(std::filesystem::exists(folder() / "dumps" / name)) << name;
    }
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"dumps", "s.png"}));
}

TEST_F(DarkroomSmoothed, TakesWindowsLargerThanTheImageAndTheSmallestImage) {
    expectDone({"smooth", in_, "-o", "s.tif", "--depth", "float", "--radius", "1000"});
    EXPECT_MAT_EQUAL(imageLeft("s.tif"), guidedFilter(greyOf(image_), image_, 1000, 0.01, -1, dropAll()));
    expectDone({"smooth", save("dot.png", cv::Mat(1, 1, CV_8UC3, cv::Scalar(10, 20, 30))), "-o", "dot.png"});
    EXPECT_MAT_EQUAL(imageLeft("dot.png"), cv::Mat(1, 1, CV_8UC3, cv::Scalar(10, 20, 30)));
}

TEST_F(DarkroomSmoothed, GreyGuidesHaveNoColours) {
    const std::string grey = save("grey.png", greyOf(guideImage_) * 255);
    expectDone({"smooth", in_, "-o", "s.tif", "--depth", "float", "--guide", grey});
    std::filesystem::remove(folder() / "s.tif");
    expectRefused({"smooth", in_, "-o", "s.tif", "--guide", grey, "--color"},
                  "--color: the guide '" + grey + "' is grey, it has no colours to go by");
    expectRefused({"smooth", grey, "-o", "s.tif", "--transport"},
                  "--transport: the guide '" + grey + "' is grey, it has no colours to go by");
}

TEST_F(DarkroomSmooth, Refuses) {
    const std::string in = save("in.png", randomPhotograph({30, 20}, 1));
    const std::string other = save("other.png", randomPhotograph({20, 30}, 2));
    expectRefused({"smooth", "missing.png", "-o", "s.png"}, "cannot read 'missing.png': No such file or directory");
    expectRefused({"smooth", in, "-o", "s.png", "--guide", "missing.png"},
                  "cannot read 'missing.png': No such file or directory");
    expectRefused({"smooth", in, "-o", "s.png", "--guide", other},
                  "'" + in + "' is 30 x 20 pixels and '" + other + "' is 20 x 30: they must be of one size");
    expectRefused({"smooth", in, "-o", "s.png", "--radius", "-1"},
                  "--radius: '-1' is not a whole number from 0 to 1000");
    expectRefused({"smooth", in, "-o", "s.png", "--radius", "2.5"},
                  "--radius: '2.5' is not a whole number from 0 to 1000");
    expectRefused({"smooth", in, "-o", "s.png", "--eps", "nan"}, "--eps: 'nan' is not a number from 0 to 1000000");
    expectRefused({"smooth", in, "-o", "s.png", "--eps", "-1e-9"}, "--eps: '-1e-9' is not a number from 0 to 1000000");
    expectRefused({"smooth", in, "-o", "s.png", "--eps", "0.1", "--color"}, "--eps excludes --color");
    expectRefused({"smooth", in, "-o", "s.png", "--eps", "0.1", "--transport"}, "--eps excludes --transport");
    expectRefused({"smooth", in, "-o", "s.png", "--color", "--transport"}, "--color excludes --transport");
    expectRefused({"smooth", in}, "--output is required");
}

}  // namespace
}  // namespace likeness::testing
