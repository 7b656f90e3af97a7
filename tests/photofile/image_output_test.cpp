#include "photofile/image_output.hpp"
#include "console/image_output_options.hpp"

#include <likeness/color/srgb_companding.hpp>
#include "darkroom/darkroom_program.hpp"
#include "files/refusal.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <unistd.h>
#include <limits>

namespace likeness::testing {
namespace {

using likeness::darkroom::CommonOptions;
using likeness::darkroom::Console;

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

class ImageOutputTest : public DarkroomProgram {
protected:
    /// Writes an image and returns what is told of it.
    std::string told(const ImageOutput& output, const cv::Mat& image, double white = 1.0,
                     const std::string& what = "") const {
        ::testing::internal::CaptureStderr();
        writeImage(Console("test", CommonOptions{}), at(output), image, white, what);
        return ::testing::internal::GetCapturedStderr();
    }

    std::string refusal(const ImageOutput& output) const {
        try {
            const Console console("test", CommonOptions{});
            darkroom::OutputPlan plan(console, {});
            darkroom::checkImageOutput(output, plan);
        } catch (const Refusal& refusal) {
            return refusal.what();
        }
        return "";
    }

    /// The same in the folder of the run.
    ImageOutput at(ImageOutput output) const {
        output.path = this->output(output.path);
        return output;
    }
};

/// One row of values.
cv::Mat row(std::initializer_list<float> values) {
    cv::Mat image(1, static_cast<int>(values.size()), CV_32F);
    std::copy(values.begin(), values.end(), image.ptr<float>());
    return image;
}

TEST_F(ImageOutputTest, PngRoundsAndClips) {
    // 0.5 of 255 is 127.5 and rounds away from 0; white itself is within.
    const cv::Mat image = row({0, 1, 0.5F, 0.2F, -0.1F, 1.1F, notANumber, std::numeric_limits<float>::infinity()});
    EXPECT_EQ(told({"a.png"}, image), "darkroom test: wrote '" + output("a.png") +
                                          "', 8 x 1 pixels, 8 bits, 0..255 stands for 0..1; 50 % of the values lie "
                                          "outside and are clipped\n");
    EXPECT_MAT_EQUAL(imageLeft("a.png"), (cv::Mat_<uchar>(1, 8) << 0, 255, 128, 51, 0, 255, 0, 255));

    ImageOutput wide{"b.PNG"};
    wide.bits = 16;
    EXPECT_EQ(
        told(wide, image * 100.F, 100, "a ramp"),
        "darkroom test: wrote '" + output("b.PNG") +
            "': a ramp, 8 x 1 pixels, 16 bits, 0..65535 stands for 0..100; 50 % of the values lie outside and are "
            "clipped\n");
    EXPECT_MAT_EQUAL(imageLeft("b.PNG"), (cv::Mat_<ushort>(1, 8) << 0, 65535, 32768, 13107, 0, 65535, 0, 65535));
}

TEST_F(ImageOutputTest, TellsTheShareThatIsClipped) {
    const auto clipped = [&](int part, int whole) {
        cv::Mat image(1, whole, CV_32F, cv::Scalar(0.5));
        image.colRange(0, part) = 2;
        const std::string text = told({"a.png"}, image);
        const std::size_t begin = text.find("0..1; ");
        return begin == std::string::npos ? "" : text.substr(begin + 6, text.find(" of the values") - begin - 6);
    };
    EXPECT_EQ(clipped(0, 100), "");
    EXPECT_EQ(clipped(1, 100'000), "less than 0.01 %");
    EXPECT_EQ(clipped(1, 400), "0.25 %");
    EXPECT_EQ(clipped(1, 8), "12 %");  // 12.5 to even
    EXPECT_EQ(clipped(399, 400), "more than 99 %");
    EXPECT_EQ(clipped(400, 400), "100 %");
}

TEST_F(ImageOutputTest, TiffHoldsFloatsAsTheyAre) {
    cv::Mat colours = randomImage({19, 13}, 3, -3, 7, 1);
    colours.at<cv::Vec3f>(2, 2) = {notANumber, 1e30F, -std::numeric_limits<float>::infinity()};
    EXPECT_EQ(told({"a.tif"}, colours, 100),
              "darkroom test: wrote '" + output("a.tif") + "', 19 x 13 pixels, 32-bit float, values as they are\n");
    EXPECT_MAT_EQUAL(imageLeft("a.tif"), colours);
    const cv::Mat map = randomImage({19, 13}, 1, -3, 7, 2);
    told({"b.tiff"}, map);
    EXPECT_MAT_EQUAL(imageLeft("b.tiff"), map);
}

TEST_F(ImageOutputTest, JpegHasAQuality) {
    cv::Mat image = exampleImage("cat.jpg")(cv::Rect(100, 100, 96, 64)).clone();
    ImageOutput fine{"fine.jpg"};
    ImageOutput coarse{"coarse.jpeg"};
    coarse.quality = 10;
    EXPECT_NE(told(fine, image).find("8 bits, 0..255 stands for 0..1\n"), std::string::npos);
    told(coarse, image);
    EXPECT_LT(std::filesystem::file_size(output("coarse.jpeg")), std::filesystem::file_size(output("fine.jpg")) / 2);
    cv::Mat bytes;
    image.convertTo(bytes, CV_8U, 255);
    std::vector<uchar> expected;
    cv::imencode(".jpg", bytes, expected, {cv::IMWRITE_JPEG_QUALITY, 95});
    EXPECT_EQ(contentOf(output("fine.jpg")), std::string(expected.begin(), expected.end()));
}

TEST_F(ImageOutputTest, HdrHoldsLinearSharesOfWhite) {
    cv::Mat image(4, 9, CV_32FC3, cv::Scalar(50, 100, 200));
    image.at<cv::Vec3f>(1, 1) = {-5, 100, 100};
    image.at<cv::Vec3f>(1, 2) = {notANumber, 100, 100};
    EXPECT_EQ(told({"a.hdr"}, image, 100), "darkroom test: wrote '" + output("a.hdr") +
                                               "', 9 x 4 pixels, Radiance, linear, 0..1 stands for 0..100\n");
    const cv::Mat left = imageLeft("a.hdr");
    ASSERT_EQ(left.type(), CV_32FC3);
    // Linear: (0.5 + 0.055) / 1.055 and (2 + 0.055) / 1.055 to the power of 2.4, with 8 bits of the mantissa of 2.
    EXPECT_NEAR(left.at<cv::Vec3f>(0, 0)[0], 0.2140, 1.0 / 32);
    EXPECT_NEAR(left.at<cv::Vec3f>(0, 0)[1], 1, 1.0 / 32);
    EXPECT_NEAR(left.at<cv::Vec3f>(0, 0)[2], 4.9538, 1.0 / 32);
    EXPECT_EQ(left.at<cv::Vec3f>(1, 1), cv::Vec3f(0, 1, 1));
    EXPECT_EQ(left.at<cv::Vec3f>(1, 2), cv::Vec3f(0, 1, 1));
    told({"grey.hdr"}, cv::Mat(4, 9, CV_32F, cv::Scalar(sRGBCompanding(0.25F))));
    const cv::Mat grey = cv::imread(output("grey.hdr"), cv::IMREAD_COLOR | cv::IMREAD_ANYDEPTH);
    for (int k = 0; k < 3; ++k) {
        EXPECT_NEAR(grey.at<cv::Vec3f>(2, 2)[k], 0.25, 1.0 / 512);
    }
}

TEST_F(ImageOutputTest, QuietTellsNothing) {
    CommonOptions options;
    options.quiet = true;
    ::testing::internal::CaptureStderr();
    writeImage(Console("test", options), at({"a.png"}), row({0, 2}));
    writePicture(Console("test", options), at({"b.png"}), cv::Mat(2, 2, CV_8U, cv::Scalar(3)));
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"a.png", "b.png"}));
}

TEST_F(ImageOutputTest, PicturesAreWrittenAsTheyAre) {
    const cv::Mat picture = randomPhotograph({9, 7}, 3);
    ::testing::internal::CaptureStderr();
    writePicture(Console("test", CommonOptions{}), at({"a.png"}), picture, "a picture");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "darkroom test: wrote '" + output("a.png") + "': a picture, 9 x 7 pixels, 8 bits\n");
    EXPECT_MAT_EQUAL(imageLeft("a.png"), picture);
}

TEST_F(ImageOutputTest, WhatTheFormatCannotHoldIsRefused) {
    const cv::Mat tooWide(1, 70'000, CV_32FC3, cv::Scalar::all(0.5));
    try {
        writeImage(Console("test", CommonOptions{}), at({"a.jpg"}), tooWide);
        ADD_FAILURE();
    } catch (const Refusal& refusal) {
        EXPECT_EQ(refusal.what(),
                  "cannot write '" + output("a.jpg") + "': its format cannot hold an image of 70000 x 1 pixels");
    }
    EXPECT_TRUE(filesLeft().empty());
}

TEST_F(ImageOutputTest, ChecksComeBeforeTheWork) {
    EXPECT_EQ(refusal(at({"a.png"})), "");
    EXPECT_EQ(refusal({"relative.jpg"}), "");
    EXPECT_EQ(refusal({"a.bmp"}),
              "--output: 'a.bmp' has none of the extensions .png, .jpg, .jpeg, .tif, .tiff, .hdr, .exr, "
              ".webp, .avif, .jxl");
    EXPECT_EQ(refusal({"png"}),
              "--output: 'png' has none of the extensions .png, .jpg, .jpeg, .tif, .tiff, .hdr, .exr, "
              ".webp, .avif, .jxl");
    EXPECT_EQ(refusal({""}),
              "--output: '' has none of the extensions .png, .jpg, .jpeg, .tif, .tiff, .hdr, .exr, "
              ".webp, .avif, .jxl");
    EXPECT_EQ(refusal({"none/a.png"}), "--output: 'none/a.png' cannot be written: the folder 'none' does not exist");
    saveText("file", "");
    const std::string below = input("file") + "/a.png";
    EXPECT_EQ(refusal({below}), "--output: '" + below + "' cannot be written: '" + input("file") + "' is not a folder");
    std::filesystem::create_directory(folder() / "folder.png");
    EXPECT_EQ(refusal(at({"folder.png"})), "--output: '" + output("folder.png") + "' is a folder");
    if (::geteuid() != 0) {  // root may write everywhere
        std::filesystem::permissions(folder(), std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
        EXPECT_EQ(refusal(at({"a.png"})), "--output: '" + output("a.png") + "' cannot be written: the folder '" +
                                              folder().string() + "' is not writable");
        std::filesystem::permissions(folder(), std::filesystem::perms::owner_all);
    }
    for (const std::string path : {"a.jpg", "a.tif", "a.hdr"}) {
        ImageOutput output{path};
        output.bits = 16;
        EXPECT_EQ(refusal(output), "--bits: only a PNG has 16 bits, and '" + path + "' is none");
    }
    for (const std::string path : {"a.png", "a.tif", "a.hdr"}) {
        ImageOutput output{path};
        output.quality = 95;
        EXPECT_EQ(refusal(output),
                  "--quality: only JPEG, WebP, AVIF and JPEG XL have a quality, and '" + path + "' is none of them");
    }
}

TEST_F(ImageOutputTest, ASecondResultHasTheSettingsThatItsFormatHas) {
    ImageOutput first{"a.png"};
    first.bits = 16;
    first.quality = 80;
    EXPECT_EQ(first.at("b.png", "--second").bits, 16);
    EXPECT_EQ(first.at("b.jpg", "--second").quality, 80);
    for (const char* const name : {"b.png", "b.jpg", "b.tif"}) {
        EXPECT_EQ(refusal(first.at(name, "--second")), "");
    }
    EXPECT_EQ(refusal(first.at("b", "--second")),
              "--second: 'b' has none of the extensions .png, .jpg, .jpeg, .tif, .tiff, .hdr, .exr, "
              ".webp, .avif, .jxl");
}

TEST_F(ImageOutputTest, AFullDiskGivesTheReason) {
    std::filesystem::create_symlink("/dev/full", folder() / "full.png");
    expectRefused({"structure", photo("coffee.jpg"), "-o", "full.png"},
                  "cannot write 'full.png': No space left on device");
    // No file can be made in /proc, not even by root; only the writing finds out.
    const Outcome outcome = darkroom({"structure", photo("coffee.jpg"), "-o", "/proc/a.png"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err.rfind("darkroom structure: ", 0), 0U);
    EXPECT_NE(outcome.err.find("'/proc/a.png'"), std::string::npos);
}

TEST_F(ImageOutputTest, OptionsAreChecked) {
    const std::string in = photo("coffee.jpg");
    expectRefused({"structure", in, "-o", "a.jpg", "--quality", "101"},
                  "--quality: '101' is not a whole number from 0 to 100");
    expectRefused({"structure", in, "-o", "a.png", "--bits", "12"}, "--bits: '12' is none of 8, 16");
    expectRefused({"structure", in, "-o", "a.jpg", "--bits", "16"},
                  "--bits: only a PNG has 16 bits, and 'a.jpg' is none");
    expectRefused({"structure", in, "-o", "a.png", "--coherence", "a.png"},
                  "--coherence: 'a.png' is the file of --output too");
}

}  // namespace
}  // namespace likeness::testing
