#include <likeness/likeness.hpp>
#include "darkroom/darkroom_program.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace likeness::testing {
namespace {

/// `compute_cat` and the way back to B, G, R.
cv::Mat adaptedUnderOwnWhite(cv::Mat bgr) {
    cv::Mat sharpened(bgr.size(), CV_32FC3);
    compute_cat(bgr, sharpened);
    convertSharpenedBGRtoXYZ(sharpened, sharpened);
    convertXYZToBGRDirect(sharpened, sharpened);
    return sharpened;
}

/// Adapted to D65 from a white image in sharpened B, G, R.
cv::Mat adaptedFrom(cv::Mat white, cv::Mat bgr) {
    cv::Mat image(bgr.size(), CV_32FC3);
    convertBGRToXYZDirect(bgr, image);
    convertXYZtoSharpenedBGR(image, image);
    iCAMCATByD65(image, white, image);
    convertSharpenedBGRtoXYZ(image, image);
    convertXYZToBGRDirect(image, image);
    return image;
}

/// The gray-world white of a photograph in sharpened B, G, R, for every pixel of a picture of `size`.
cv::Mat whiteOf(const cv::Mat& bgr, cv::Size size) {
    cv::Mat white(1, 1, CV_32FC3);
    cv::Mat previous(1, 1, CV_32FC3, cv::Scalar::all(std::numeric_limits<double>::quiet_NaN()));
    cv::Mat mask;
    computeWhitePointFromGrayWorld(bgr, white, previous, mask, dropAll());
    convertBGRToXYZDirect(white, white);
    convertXYZtoSharpenedBGR(white, white);
    cv::Mat whites;
    cv::repeat(white, size.height, size.width, whites);
    return whites;
}

class DarkroomAdapt : public DarkroomProgram {
protected:
    /// A photograph of a hundred columns, which are read back from a file as they are here.
    struct Photograph {
        std::string path;
        cv::Mat unit;
    };
    Photograph part(const std::string& name) const {
        const cv::Rect region(120, 90, 100, 70);
        return {save(name + ".png", examplePhotograph(name)(region)), unitPhotograph(name)(region).clone()};
    }
};

TEST_F(DarkroomAdapt, ToD65FromTheWhiteOfThePhotograph) {
    const Photograph in = part("coffee.jpg");
    const cv::Mat whites = whiteOf(in.unit, in.unit.size());
    const Outcome outcome = expectDone({"adapt", in.path, "--to", "d65", "-o", "out.tif", "--depth", "float"});
    EXPECT_EQ(outcome.out, "");
    EXPECT_MAT_EQUAL(imageLeft("out.tif"), adaptedFrom(whites, in.unit));
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"out.tif"});
}

TEST_F(DarkroomAdapt, ToD65FromTheWhiteOfEachPixel) {
    const Photograph in = part("coffee.jpg");
    expectDone({"adapt", in.path, "--to", "d65", "--white", "own", "-o", "own.tif", "--depth", "float"});
    EXPECT_MAT_EQUAL(imageLeft("own.tif"), adaptedUnderOwnWhite(in.unit.clone()));
    cv::Mat xyz(in.unit.size(), CV_32FC3);
    cv::Mat bgr = in.unit.clone();
    convertBGRToXYZDirect(bgr, xyz);
    cv::Mat white;
    computeWhiteImg(xyz, white, 16, dropAll());
    convertXYZtoSharpenedBGR(white, white);
    expectDone({"adapt", in.path, "--to", "d65", "--white", "smoothed", "-o", "smoothed.tif", "--depth", "float"});
    EXPECT_MAT_EQUAL(imageLeft("smoothed.tif"), adaptedFrom(white, in.unit));
}

TEST_F(DarkroomAdapt, BackToTheLightOfAPhotograph) {
    const Photograph in = part("rocket.jpg");
    const cv::Mat coffee = whiteOf(unitPhotograph("coffee.jpg"), in.unit.size());
    const cv::Mat retina = whiteOf(unitPhotograph("retina.jpg"), in.unit.size());
    cv::Mat sharpened(in.unit.size(), CV_32FC3);
    cv::Mat bgr = in.unit.clone();
    convertBGRToXYZDirect(bgr, sharpened);
    convertXYZtoSharpenedBGR(sharpened, sharpened);
    const auto picture = [](cv::Mat image) {
        convertSharpenedBGRtoXYZ(image, image);
        convertXYZToBGRDirect(image, image);
        return image;
    };
    cv::Mat fromD65 = sharpened.clone();
    cv::Mat to = coffee.clone();
    inverseCATByD65(fromD65, to, fromD65);
    expectDone({"adapt", in.path, "--from", "d65", "--like", photo("coffee.jpg"), "-o", "out.tif", "--depth", "float"});
    EXPECT_MAT_EQUAL(imageLeft("out.tif"), picture(fromD65));

    cv::Mat from = retina.clone();
    to = coffee.clone();
    cv::Mat fromPhotograph = sharpened.clone();
    inverseCAT(sharpened, from, to, fromPhotograph);
    expectDone({"adapt", in.path, "--from", photo("retina.jpg"), "--like", photo("coffee.jpg"), "-o", "out.tif",
                "--depth", "float"});
    EXPECT_MAT_EQUAL(imageLeft("out.tif"), picture(fromPhotograph));
}

TEST_F(DarkroomAdapt, ToD65AndBackIsWhereItBegan) {
    const Photograph in = part("coffee.jpg");
    expectDone({"adapt", in.path, "--to", "d65", "-o", "d65.tif", "--depth", "float"});
    expectDone({"adapt", "d65.tif", "--from", "d65", "--like", in.path, "-o", "back.tif", "--depth", "float"});
    EXPECT_MAT_NEAR(imageLeft("back.tif"), in.unit, {.absolute = 2e-4});
}

TEST_F(DarkroomAdapt, LikeAnotherPhotograph) {
    const Photograph in = part("rocket.jpg");
    for (const float degree : {1.0F, 0.5F}) {
        cv::Mat expected = in.unit.clone();
        performIlluminantAdaptation(expected, unitPhotograph("coffee.jpg"), degree, dropAll());
        expectDone({"adapt", in.path, "--like", photo("coffee.jpg"), "--degree", std::to_string(degree), "-o",
                    "out.tif", "--depth", "float"});
        EXPECT_MAT_EQUAL(imageLeft("out.tif"), expected);
    }
    cv::Mat expected = in.unit.clone();
    performIlluminantAdaptation(expected, unitPhotograph("coffee.jpg"), 1, dropAll());
    expectDone({"adapt", in.path, "--like", photo("coffee.jpg"), "-o", "out.tif", "--depth", "float"});
    EXPECT_MAT_EQUAL(imageLeft("out.tif"), expected);
    EXPECT_GT(cv::norm(expected, in.unit, cv::NORM_INF), 0.05);
}

TEST_F(DarkroomAdapt, WarnsWhereNoPixelIsNearlyNeutral) {
    const std::string red = save("red.png", cv::Mat(8, 9, CV_8UC3, cv::Scalar(0, 0, 255)));
    const std::string blue = save("blue.png", cv::Mat(8, 9, CV_8UC3, cv::Scalar(255, 0, 0)));
    const auto warning = [](const std::string& path) {
        return "darkroom adapt: warning: '" + path + "' has no nearly neutral pixel to estimate a white from\n";
    };
    const auto expectWarnings = [&](std::vector<std::string> arguments, const std::string& expected) {
        arguments.insert(arguments.end(), {"-o", "out.tif", "--depth", "float", "--quiet"});
        const std::string err = expectDone(arguments).err;
        EXPECT_EQ(err.substr(0, expected.size()), expected);
        EXPECT_EQ(err.find("neutral", expected.size()), std::string::npos) << err;
    };
    const std::string in = part("coffee.jpg").path;
    expectWarnings({"adapt", red, "--to", "d65"}, warning(red));
    expectWarnings({"adapt", red, "--to", "d65", "--white", "own"}, "");
    expectWarnings({"adapt", in, "--like", red}, warning(red));
    expectWarnings({"adapt", in, "--like", red, "--local"}, warning(red));
    expectWarnings({"adapt", in, "--from", "d65", "--like", red}, warning(red));
    expectWarnings({"adapt", in, "--from", blue, "--like", red}, warning(red) + warning(blue));
    expectWarnings({"adapt", in, "--like", photo("coffee.jpg")}, "");
}

TEST_F(DarkroomAdapt, TakesSixteenBitsAndFloats) {
    const Photograph in = part("rocket.jpg");
    cv::Mat wide;
    examplePhotograph("rocket.jpg")(cv::Rect(120, 90, 100, 70)).convertTo(wide, CV_16U, 257);
    cv::Mat expected = in.unit.clone();
    performIlluminantAdaptation(expected, unitPhotograph("coffee.jpg"), 1, dropAll());
    for (const std::string& path : {save("wide.png", wide), save("floats.tif", in.unit)}) {
        expectDone({"adapt", path, "--like", photo("coffee.jpg"), "-o", "out.tif", "--depth", "float"});
        EXPECT_MAT_EQUAL(imageLeft("out.tif"), expected) << path;
    }
}

TEST_F(DarkroomAdapt, WhatTheMaskShowsIsLeftOut) {
    const Photograph in = part("rocket.jpg");
    cv::Mat mask(in.unit.size(), CV_8U, cv::Scalar(100));
    mask(cv::Rect(60, 20, 40, 50)).setTo(101);
    cv::Mat expected = in.unit.clone();
    performIlluminantAdaptation(expected, unitPhotograph("coffee.jpg"), 1, mask, dropAll());
    cv::Mat wide;
    mask.convertTo(wide, CV_16U, 257);
    for (const std::string& path : {save("mask.png", mask), save("wide.png", wide)}) {
        expectDone(
            {"adapt", in.path, "--like", photo("coffee.jpg"), "--mask", path, "-o", "out.tif", "--depth", "float"});
        EXPECT_MAT_EQUAL(imageLeft("out.tif"), expected) << path;
    }
}

TEST_F(DarkroomAdapt, LooksForNoMaskInTheWorkingDirectory) {
    const Photograph in = part("rocket.jpg");
    expectDone({"adapt", in.path, "--like", photo("coffee.jpg"), "-o", "without.tif", "--depth", "float"});
    std::filesystem::create_directory(output("Masks"));
    // A pipe that nobody writes to: whoever opened it would wait for ever.
    ASSERT_EQ(run({"/usr/bin/mkfifo", output("Masks/giantShadow.jpg")}, folder()).status, 0);
    expectDone({"adapt", in.path, "--like", photo("coffee.jpg"), "-o", "with.tif", "--depth", "float"});
    EXPECT_MAT_EQUAL(imageLeft("with.tif"), imageLeft("without.tif"));
    expectDone({"adapt", in.path, "--like", photo("coffee.jpg"), "--local", "-o", "local.tif", "--depth", "float"});
}

TEST_F(DarkroomAdapt, LikeAnotherPhotographPixelByPixel) {
    const Photograph in = part("rocket.jpg");
    cv::Mat reference = unitPhotograph("coffee.jpg");
    for (const float blend : {1.0F, 0.25F}) {
        cv::Mat expected = in.unit.clone();
        performLocalCAMCA(expected, reference, blend, dropAll());
        expectDone({"adapt", in.path, "--like", photo("coffee.jpg"), "--local", "--blend", std::to_string(blend), "-o",
                    "out.tif", "--depth", "float"});
        EXPECT_MAT_EQUAL(imageLeft("out.tif"), expected);
    }
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"out.tif"});
}

TEST_F(DarkroomAdapt, PixelByPixelBlackGroundHasNoResult) {
    const std::string black = save("black.png", cv::Mat(40, 50, CV_8UC3, cv::Scalar::all(0)));
    expectDone({"adapt", black, "--like", photo("coffee.jpg"), "--local", "-o", "out.tif", "--depth", "float"});
    EXPECT_TRUE(std::isnan(imageLeft("out.tif").at<cv::Vec3f>(20, 20)[1]));
    const Outcome outcome = expectDone({"adapt", black, "--like", photo("coffee.jpg"), "--local", "-o", "out.png"});
    EXPECT_EQ(outcome.err,
              "darkroom adapt: wrote 'out.png': adapted pixel by pixel, 50 x 40 pixels, 8 bits, 0..255 stands for "
              "0..1; 100 % of the values lie outside and are clipped\n");
    EXPECT_EQ(cv::countNonZero(imageLeft("out.png").reshape(1)), 0);
}

TEST_F(DarkroomAdapt, KeepsDumpsAndShowsMessagesWhereAsked) {
    const Photograph in = part("rocket.jpg");
    std::filesystem::create_directory(output("dumps"));
    const Outcome outcome = expectDone(
        {"adapt", in.path, "--like", photo("coffee.jpg"), "--local", "-o", "out.png", "--dumps", "dumps", "--verbose"});
    const auto entries = std::filesystem::directory_iterator(output("dumps"));
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 8);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 3) << "two whites and what was written";
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"dumps", "out.png"}));
}

TEST_F(DarkroomAdapt, Refuses) {
    const std::string in = photo("cat.jpg");
    const std::string ref = photo("coffee.jpg");
    expectRefused({"adapt", in, "-o", "a.png"}, "one of --to d65 and --like REF is needed, and not both");
    expectRefused({"adapt", in, "--to", "d65", "--like", ref, "-o", "a.png"},
                  "one of --to d65 and --like REF is needed, and not both");
    expectRefused({"adapt", in, "--to", "d50", "-o", "a.png"}, "--to: 'd50' is not d65");
    expectRefused({"adapt", in, "--to", "d65", "--white", "blue", "-o", "a.png"},
                  "--white: 'blue' is none of gray-world, smoothed, own");
    expectRefused({"adapt", in, "--like", ref, "--white", "own", "-o", "a.png"}, "--white requires --to");
    expectRefused({"adapt", in, "--from", "d65", "-o", "a.png"}, "--from requires --like");
    expectRefused({"adapt", in, "--like", ref, "--from", "missing.png", "-o", "a.png"},
                  "cannot read 'missing.png': No such file or directory");
    expectRefused({"adapt", in, "--like", ref, "--from", "d65", "--local", "-o", "a.png"}, "--local excludes --from");
    expectRefused({"adapt", in, "--like", ref, "--from", "d65", "--degree", "1", "-o", "a.png"},
                  "--degree excludes --from");
    expectRefused({"adapt", in, "--like", ref, "--from", "d65", "--mask", ref, "-o", "a.png"},
                  "--mask excludes --from");
    expectRefused({"adapt", in, "--like", ref, "--degree", "1.5", "-o", "a.png"},
                  "--degree: '1.5' is not a number from 0 to 1");
    expectRefused({"adapt", in, "--to", "d65", "--degree", "1", "-o", "a.png"}, "--degree requires --like");
    expectRefused({"adapt", in, "--like", ref, "--blend", "1", "-o", "a.png"}, "--blend requires --local");
    expectRefused({"adapt", in, "--like", ref, "--local", "--blend", "-1", "-o", "a.png"},
                  "--blend: '-1' is not a number from 0 to 1");
    expectRefused({"adapt", in, "--to", "d65", "--local", "-o", "a.png"}, "--local requires --like");
    expectRefused({"adapt", in, "--like", ref, "--local", "--mask", ref, "-o", "a.png"}, "--mask excludes --local");
    expectRefused({"adapt", in, "--like", ref, "--local", "--degree", "1", "-o", "a.png"}, "--degree excludes --local");
    expectRefused({"adapt", "missing.png", "--to", "d65", "-o", "a.png"},
                  "cannot read 'missing.png': No such file or directory");
    expectRefused({"adapt", in, "--like", "missing.png", "-o", "a.png"},
                  "cannot read 'missing.png': No such file or directory");
    expectRefused({"adapt", in, "--like", ref, "--mask", "missing.png", "-o", "a.png"},
                  "cannot read 'missing.png': No such file or directory");
    expectRefused({"adapt", in, "--like", ref, "--mask", ref, "-o", "a.png"},
                  "'" + in + "' is 451 x 300 pixels and '" + ref + "' is 600 x 400: they must be of one size");
    const std::string floats = save("floats.tif", cv::Mat(300, 451, CV_32F, cv::Scalar(1)));
    expectRefused({"adapt", in, "--like", ref, "--mask", floats, "-o", "a.png"},
                  "'" + floats + "' holds floats, and a mask has 8 or 16 bits");
    const cv::Mat infinite(5, 5, CV_32FC3, cv::Scalar::all(std::numeric_limits<double>::infinity()));
    const std::string bright = save("infinite.tif", infinite);
    expectRefused({"adapt", bright, "--to", "d65", "-o", "a.png"}, "'" + bright + "' has values that are not finite");
    expectRefused({"adapt", in, "--like", bright, "-o", "a.png"}, "'" + bright + "' has values that are not finite");
    expectRefused({"adapt", in, "--to", "d65", "-o", "none/a.png"},
                  "--output: 'none/a.png' cannot be written: the folder 'none' does not exist");
}

TEST_F(DarkroomAdapt, TellsWhatCameToTheLimits) {
    const cv::Mat grey(12, 9, CV_8UC3, cv::Scalar::all(120));
    cv::Mat bright(12, 9, CV_8UC3, cv::Scalar(250, 250, 250));
    bright.row(3) = cv::Scalar(200, 200, 200);
    const cv::Mat yellow(12, 9, CV_8UC3, cv::Scalar(200, 235, 250));
    const std::string in = save("bright.png", bright);
    const std::string even = save("grey.png", grey);
    const Outcome same = expectDone({"adapt", even, "--like", even, "-o", "a.png"});
    EXPECT_EQ(same.err.find("limits"), std::string::npos) << same.err;
    const Outcome moved =
        expectDone({"adapt", save("yellow.png", yellow), "--like", in, "-o", "a.tif", "--depth", "float"});
    const bool limited = cv::countNonZero(imageLeft("a.tif").reshape(1) == 1) > 0;
    EXPECT_EQ(moved.err.find("of the pixels came to the limits of 0..1 and are clipped there") != std::string::npos,
              limited)
        << moved.err;
    EXPECT_TRUE(limited) << "the picture shows nothing";
}

}  // namespace
}  // namespace likeness::testing
