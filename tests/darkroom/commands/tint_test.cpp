#include <likeness/likeness.hpp>
#include "darkroom/darkroom_program.hpp"
#include "darkroom/image_depths.hpp"
#include "support/mat_matchers.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace likeness::testing {
namespace {

using DarkroomTint = DarkroomProgram;

const cv::Rect part(200, 120, 60, 44);

cv::Mat sharpened(cv::Mat bgr) {
    cv::Mat xyz(bgr.size(), CV_32FC3);
    cv::Mat result(bgr.size(), CV_32FC3);
    convertBGRToXYZDirect(bgr, xyz);
    convertXYZtoSharpenedBGR(xyz, result);
    return result;
}

cv::Mat tintedByGain(cv::Mat flash, cv::Mat nonFlash) {
    cv::Mat white;
    computeWhiteImg(flash, white, 0, dropAll());
    cv::Mat image = sharpened(flash);
    cv::Mat sourceWhite = sharpened(white);
    cv::Mat target = sharpened(nonFlash);
    cv::Mat mask;
    biCAT(image, sourceWhite, sourceWhite, target, mask, dropAll());
    cv::Mat xyz(image.size(), CV_32FC3);
    convertSharpenedBGRtoXYZ(image, xyz);
    convertXYZToBGRDirect(xyz, image);
    return image;
}

cv::Mat tintedByRegression(const cv::Mat& flash, const cv::Mat& nonFlash, float sigma, int diameter) {
    cv::Mat guidance = flash.clone();
    cv::Mat input = nonFlash.clone();
    cv::Mat whiteGuidance;
    cv::Mat whiteInput;
    computeWhiteImgVs2(guidance, whiteGuidance, sigma, diameter);
    computeWhiteImgVs2(input, whiteInput, sigma, diameter);
    cv::Mat spare(flash.size(), CV_32FC3, cv::Scalar::all(0));
    cv::Mat weights(flash.size(), CV_32F, cv::Scalar(1));
    biCATRegression(guidance, whiteGuidance, input, spare, whiteInput, weights, 1.0F, dropAll());
    return guidance;
}

TEST_F(DarkroomTint, WritesWhatTheLibraryComputesOfEveryDepth) {
    const std::vector<StoredImage> flash = imagesOfEveryDepth("coffee.jpg", part);
    const std::vector<StoredImage> nonFlash = imagesOfEveryDepth("cat.jpg", part);
    for (std::size_t k = 0; k < flash.size(); ++k) {
        const std::string in = save("flash_" + flash[k].name, flash[k].stored);
        const std::string like = save(nonFlash[k].name, nonFlash[k].stored);
        expectDone({"tint", in, "--like", like, "-o", "t.tif", "--depth", "float"});
        EXPECT_MAT_EQUAL(imageLeft("t.tif"), tintedByGain(flash[k].unit, nonFlash[k].unit));
        expectDone({"tint", in, "--like", like, "-o", "t.tif", "--depth", "float", "--form", "regression"});
        // The diagonal of 60 x 44 pixels is 74.4, a 25th of it 2.
        EXPECT_MAT_EQUAL(imageLeft("t.tif"), tintedByRegression(flash[k].unit, nonFlash[k].unit, 0.1F, 2));
        expectDone({"tint", in, "--like", like, "-o", "t.tif", "--depth", "float", "--form", "regression", "--sigma",
                    "0.3", "--diameter", "7"});
        EXPECT_MAT_EQUAL(imageLeft("t.tif"), tintedByRegression(flash[k].unit, nonFlash[k].unit, 0.3F, 7));
        EXPECT_EQ(filesLeft(), std::vector<std::string>{"t.tif"});
    }
}

TEST_F(DarkroomTint, BothFormsMoveTheColoursTowardsTheOther) {
    const cv::Mat scene = unitPhotograph("coffee.jpg")(part).clone();
    cv::Mat dim;
    cv::multiply(scene, cv::Scalar(0.2, 0.5, 0.8), dim);
    const std::string flash = save("flash.tif", scene);
    const std::string ambient = save("ambient.tif", dim);
    for (const char* form : {"gain", "regression"}) {
        expectDone({"tint", flash, "--like", ambient, "-o", "t.tif", "--depth", "float", "--form", form});
        EXPECT_LT(cv::norm(imageLeft("t.tif"), dim), cv::norm(scene, dim)) << form;
    }
}

TEST_F(DarkroomTint, KeepsItsDumpsWhereTheyAreAskedFor) {
    std::filesystem::create_directory(output("dumps"));
    const std::string in = save("in.png", examplePhotograph("cat.jpg")(part));
    expectDone({"tint", in, "--like", in, "-o", "t.png", "--form", "regression", "--dumps", "dumps"});
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"dumps", "t.png"}));
    EXPECT_TRUE(std::filesystem::exists(output("dumps/variance.jpg")));
}

TEST_F(DarkroomTint, Refuses) {
    const std::string in = save("in.png", examplePhotograph("cat.jpg")(part));
    const std::string other = save("other.png", examplePhotograph("cat.jpg")(cv::Rect(0, 0, 30, 20)));
    const std::vector<std::string> plain = {"tint", in, "--like", in, "-o", "t.png"};
    const auto with = [&plain](const std::vector<std::string>& more) {
        std::vector<std::string> all = plain;
        all.insert(all.end(), more.begin(), more.end());
        return all;
    };
    expectRefused({"tint", "missing.png", "--like", in, "-o", "t.png"},
                  "cannot read 'missing.png': No such file or directory");
    expectRefused({"tint", in, "--like", "missing.png", "-o", "t.png"},
                  "cannot read 'missing.png': No such file or directory");
    expectRefused({"tint", in, "-o", "t.png"}, "--like is required");
    expectRefused({"tint", in, "--like", other, "-o", "t.png"},
                  "'" + in + "' is 60 x 44 pixels and '" + other + "' is 30 x 20: they must be of one size");
    expectRefused(with({"--form", "both"}), "--form: 'both' is none of gain, regression");
    expectRefused(with({"--sigma", "0.2"}), "--sigma and --diameter belong to --form regression");
    expectRefused(with({"--diameter", "5"}), "--sigma and --diameter belong to --form regression");
    expectRefused(with({"--form", "regression", "--sigma", "0"}), "--sigma: '0' is not a number above 0");
    expectRefused(with({"--form", "regression", "--sigma", "11"}), "--sigma: '11' is not a number from 0 to 10");
    expectRefused(with({"--form", "regression", "--diameter", "0"}),
                  "--diameter: '0' is not a whole number from 1 to 999");
    expectRefused({"tint", in, "--like", in, "-o", "none/t.png"},
                  "--output: 'none/t.png' cannot be written: the folder 'none' does not exist");
    const std::string infinite = save("inf.tif", cv::Mat(44, 60, CV_32FC3, cv::Scalar::all(INFINITY)));
    expectRefused({"tint", in, "--like", infinite, "-o", "t.png"},
                  "'" + infinite + "' contains NaN or values outside -1000000 to 1000000");
}

}  // namespace
}  // namespace likeness::testing
