#include <likeness/likeness.hpp>
#include "darkroom/darkroom_program.hpp"
#include "darkroom/image_depths.hpp"
#include "support/mat_matchers.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <array>
#include <cmath>

namespace likeness::testing {
namespace {

using DarkroomBrighten = DarkroomProgram;

const cv::Rect part(200, 120, 60, 44);

/// The six pictures in B, G, R.
std::array<cv::Mat, brightnessPasses> brightened(const cv::Mat& unit, float factor) {
    cv::Mat bgr = unit.clone();
    cv::Mat xyz(bgr.size(), CV_32FC3);
    cv::Mat white(bgr.size(), CV_32FC3);
    convertBGRToXYZDirect(bgr, xyz);
    convertXYZtoSharpenedBGR(xyz, white);
    cv::Mat adapted(bgr.size(), CV_32FC3);
    compute_cat(bgr, adapted);
    std::array<cv::Mat, brightnessPasses> pictures;
    for (cv::Mat& picture : pictures) {
        picture.create(bgr.size(), CV_32FC3);
    }
    increaseBrightness(adapted, pictures.data(), factor, dropAll());
    for (cv::Mat& picture : pictures) {
        inverseCATByD65(picture, white, xyz);
        convertSharpenedBGRtoXYZ(picture, xyz);
        convertXYZToBGRDirect(xyz, picture);
    }
    return pictures;
}

TEST_F(DarkroomBrighten, WritesWhatTheLibraryComputesOfEveryDepth) {
    for (const StoredImage& image : imagesOfEveryDepth("coffee.jpg", part)) {
        expectDone({"brighten", save(image.name, image.stored), "--factor", "11.4", "-o", "b.tif", "--depth", "float"});
        EXPECT_EQ(filesLeft(),
                  (std::vector<std::string>{"b_1.tif", "b_2.tif", "b_3.tif", "b_4.tif", "b_5.tif", "b_6.tif"}));
        const auto expected = brightened(image.unit, 11.4F);
        for (int pass = 1; pass <= brightnessPasses; ++pass) {
            EXPECT_MAT_EQUAL(imageLeft(fmt::format("b_{}.tif", pass)), expected[static_cast<std::size_t>(pass - 1)])
                << image.name;
        }
    }
}

TEST_F(DarkroomBrighten, OnePassTakesTheNameAsItIs) {
    const StoredImage image = imagesOfEveryDepth("cat.jpg", part)[0];
    const std::string in = save(image.name, image.stored);
    const Outcome outcome =
        expectDone({"brighten", in, "--factor", "9", "--pass", "3", "-o", "b.tif", "--depth", "float"});
    EXPECT_EQ(
        outcome.err,
        "darkroom brighten: wrote 'b.tif': pass 3, factor 7.6, 60 x 44 pixels, 32-bit float, values as they are\n");
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"b.tif"});
    EXPECT_MAT_EQUAL(imageLeft("b.tif"), brightened(image.unit, 9)[2]);
}

TEST_F(DarkroomBrighten, BelowTenBrightensAndAboveDarkens) {
    const std::string in = save("in.png", imagesOfEveryDepth("cat.jpg", part)[0].stored);
    const auto meanWith = [&](const std::string& factor) {
        expectDone({"brighten", in, "--factor", factor, "--pass", "1", "-o", "b.tif", "--depth", "float"});
        return cv::sum(cv::mean(imageLeft("b.tif")))[0];
    };
    const double asItWas = meanWith("10");
    EXPECT_GT(meanWith("9"), asItWas);
    EXPECT_LT(meanWith("11"), asItWas);
}

TEST_F(DarkroomBrighten, KeepsItsDumpsWhereTheyAreAskedFor) {
    std::filesystem::create_directory(output("dumps"));
    const std::string in = save("in.png", imagesOfEveryDepth("cat.jpg", part)[0].stored);
    expectDone({"brighten", in, "--factor", "9", "--pass", "1", "-o", "b.png", "--dumps", "dumps"});
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"b.png", "dumps"}));
    EXPECT_TRUE(std::filesystem::exists(output("dumps/brightness_before_filtered.jpg")));
}

TEST_F(DarkroomBrighten, Refuses) {
    const std::string in = save("in.png", imagesOfEveryDepth("cat.jpg", part)[0].stored);
    const std::vector<std::string> plain = {"brighten", in, "-o", "b.png"};
    const auto with = [&plain](const std::vector<std::string>& more) {
        std::vector<std::string> all = plain;
        all.insert(all.end(), more.begin(), more.end());
        return all;
    };
    expectRefused({"brighten", "missing.png", "-o", "b.png", "--factor", "9"},
                  "cannot read 'missing.png': No such file or directory");
    expectRefused(plain, "--factor is required");
    expectRefused({"brighten", in, "--factor", "9"}, "--output is required");
    for (const char* factor : {"0", "100.1", "nan"}) {
        expectRefused(with({"--factor", factor}),
                      fmt::format("--factor: '{}' is not a number above 0 and up to 100", factor));
    }
    expectRefused(with({"--factor", "3.4"}), "--factor: 3.4 leaves pass 6 with the factor -0.1, which must be above 0");
    expectRefused(with({"--factor", "1", "--pass", "3"}),
                  "--factor: 1 leaves pass 3 with the factor -0.4, which must be above 0");
    for (const char* pass : {"0", "7"}) {
        expectRefused(with({"--factor", "9", "--pass", pass}),
                      fmt::format("--pass: '{}' is not a whole number from 1 to 6", pass));
    }
    expectRefused({"brighten", in, "--factor", "9", "-o", "none/b.png"},
                  "--output: 'none/b_1.png' cannot be written: the folder 'none' does not exist");
    expectRefused({"brighten", in, "--factor", "9", "-o", "b"},
                  "--output: 'b_1' has none of the extensions .png, .jpg, .jpeg, .tif, .tiff, .hdr, .exr, "
                  ".webp, .avif, .jxl");
    cv::Mat floats = unitPhotograph("cat.jpg")(part).clone();
    floats.at<cv::Vec3f>(3, 4)[1] = NAN;
    const std::string noNumber = save("nan.tif", floats);
    expectRefused({"brighten", noNumber, "--factor", "9", "-o", "b.png"},
                  "'" + noNumber + "' contains NaN or values outside -1000000 to 1000000");
    floats.at<cv::Vec3f>(3, 4)[1] = 1e7F;
    const std::string far = save("far.tif", floats);
    expectRefused({"brighten", far, "--factor", "9", "-o", "b.png"},
                  "'" + far + "' contains NaN or values outside -1000000 to 1000000");
}

TEST_F(DarkroomBrighten, DoesNotNumberAResultOntoItsInput) {
    cv::Mat bytes = imagesOfEveryDepth("cat.jpg", part)[0].stored;
    const std::string in = save("cat_2.png", bytes);
    expectRefused({"brighten", in, "--factor", "9", "-o", input("cat.png")},
                  "--output: '" + in + "' would replace the input '" + in + "'; choose another name");
    EXPECT_MAT_EQUAL(cv::imread(in, cv::IMREAD_UNCHANGED), bytes);
}

}  // namespace
}  // namespace likeness::testing
