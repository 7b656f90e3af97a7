#include "photofile/image_input.hpp"
#include "console/console.hpp"

#include <likeness/color/srgb_companding.hpp>
#include "darkroom/darkroom_program.hpp"
#include "files/refusal.hpp"
#include "photofile/image_output.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <sys/stat.h>
#include <algorithm>
#include <limits>

namespace likeness::testing {
namespace {

using likeness::darkroom::CommonOptions;
using likeness::darkroom::Console;

class ImageInput : public DarkroomProgram {
protected:
    cv::Mat read(const std::string& path) const { return readImage(console_, path); }
    cv::Mat readUnit(const std::string& path) const { return readUnitImage(console_, path); }
    cv::Mat readCompared(const std::string& path) const { return readPhotographAsCompared(console_, path); }

    const Console console_{"test", CommonOptions{}};
    const cv::Mat bytes_ = randomPhotograph({31, 22}, 5);
};

TEST_F(ImageInput, BytesAreSharesOf255) {
    const std::string path = save("bytes.png", bytes_);
    EXPECT_MAT_EQUAL(read(path), bytes_);
    EXPECT_MAT_EQUAL(readCompared(path), bytes_);
    const cv::Mat unit = readUnit(path);
    for (int i = 0; i < bytes_.rows; ++i) {
        for (int j = 0; j < bytes_.cols; ++j) {
            for (int k = 0; k < 3; ++k) {
                ASSERT_EQ(unit.at<cv::Vec3f>(i, j)[k], static_cast<float>(bytes_.at<cv::Vec3b>(i, j)[k] / 255.0));
            }
        }
    }
}

TEST_F(ImageInput, SixteenBitsAreSharesOf65535) {
    cv::Mat wide(2, 3, CV_16UC3);
    const std::vector<ushort> values = {0, 1, 65535, 32768, 257, 256, 255, 65534, 12345, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    std::copy(values.begin(), values.end(), wide.ptr<ushort>());
    for (const std::string name : {"wide.png", "wide.tif"}) {
        const std::string path = save(name, wide);
        EXPECT_MAT_EQUAL(read(path), wide);
        const cv::Mat unit = readUnit(path);
        for (std::size_t i = 0; i < values.size(); ++i) {
            EXPECT_EQ(unit.ptr<float>()[i], static_cast<float>(values[i] / 65535.0));
        }
    }
    EXPECT_MAT_EQUAL(readCompared(input("wide.png")), readUnit(input("wide.png")));
}

TEST_F(ImageInput, FloatsAreTakenAsTheyAre) {
    cv::Mat floats = randomImage({17, 12}, 3, -2, 5, 8);
    floats.at<cv::Vec3f>(3, 4) = {1e30F, -1e-30F, 0};
    const std::string path = save("floats.tif", floats);
    EXPECT_MAT_EQUAL(read(path), floats);
    EXPECT_MAT_EQUAL(readUnit(path), floats);
    EXPECT_MAT_EQUAL(readCompared(path), floats);
}

TEST_F(ImageInput, FloatsOfLinearFormatsAreEncoded) {
    const cv::Mat linear = randomImage({17, 12}, 3, -2, 5, 8);
    cv::Mat encoded = linear.clone();
    for (int i = 0; i < linear.rows; ++i) {
        sRGBCompandingOfRow(linear.ptr<float>(i), encoded.ptr<float>(i), 3 * static_cast<std::size_t>(linear.cols));
    }
    for (const std::string name : {"floats.exr", "floats.pfm"}) {
        EXPECT_MAT_EQUAL(read(save(name, linear)), encoded);
        EXPECT_MAT_EQUAL(readCompared(input(name)), encoded);
        EXPECT_MAT_EQUAL(readStoredNumbers(console_, input(name)), linear);
    }
}

TEST_F(ImageInput, TheLinearValuesOfRadianceFilesAreEncoded) {
    const cv::Mat radiance(12, 17, CV_32FC3, cv::Scalar(0.5, 0.25, 2));  // powers of 2 are exact
    const std::string hdr = save("radiance.hdr", radiance);
    const cv::Mat expected(12, 17, CV_32FC3,
                           cv::Scalar(sRGBCompanding(0.5F), sRGBCompanding(0.25F), sRGBCompanding(2)));
    EXPECT_MAT_EQUAL(read(hdr), expected);
    EXPECT_MAT_EQUAL(readUnit(hdr), expected);
    EXPECT_MAT_EQUAL(readCompared(hdr), expected);
}

TEST_F(ImageInput, HdrComesBackWithinItsPrecision) {
    const cv::Mat image = randomImage({17, 12}, 3, 0, 1.5, 9);
    const std::string path = output("back.hdr");
    writeImage(console_, {path}, image);
    // A pixel has one exponent and 8 bits of each mantissa, 1/256 of its greatest linear value at most; the curve is
    // steepest, 12.92, where it is straight.
    const cv::Mat back = read(path);
    for (int i = 0; i < image.rows; ++i) {
        for (int j = 0; j < image.cols; ++j) {
            const auto& pixel = image.at<cv::Vec3f>(i, j);
            const float greatest = sRGBInverseCompanding(std::max({pixel[0], pixel[1], pixel[2]}));
            for (int k = 0; k < 3; ++k) {
                const float linear = sRGBInverseCompanding(pixel[k]);
                EXPECT_NEAR(sRGBInverseCompanding(back.at<cv::Vec3f>(i, j)[k]), linear, greatest / 127);
            }
        }
    }
}

TEST_F(ImageInput, PicturesOfFloatsAreLimited) {
    cv::Mat floats(1, 2, CV_32FC3);
    floats.at<cv::Vec3f>(0) = {0, 0.5, 1};
    floats.at<cv::Vec3f>(1) = {-3, 7, std::numeric_limits<float>::quiet_NaN()};
    const cv::Mat picture = pictureOf(floats);
    EXPECT_EQ(picture.at<cv::Vec3b>(0), cv::Vec3b(0, 128, 255));
    EXPECT_EQ(picture.at<cv::Vec3b>(1), cv::Vec3b(0, 255, 0));
    EXPECT_MAT_EQUAL(pictureOf(bytes_), bytes_);
}

TEST_F(ImageInput, MasksHaveBytesOrWords) {
    const cv::Mat bytes = (cv::Mat_<uchar>(1, 4) << 0, 1, 128, 255);
    const cv::Mat words = (cv::Mat_<ushort>(1, 4) << 0, 257, 128 * 257, 65535);
    EXPECT_MAT_EQUAL(readMask(console_, save("bytes.png", bytes)), bytes);
    EXPECT_MAT_EQUAL(readMask(console_, save("words.png", words)), bytes);
    cv::Mat floats;
    bytes.convertTo(floats, CV_32F, 1 / 255.0);
    EXPECT_THROW(readMask(console_, save("floats.tif", floats)), Refusal);
}

TEST_F(ImageInput, BoundedImagesAreNumbersUpToAMillion) {
    cv::Mat floats(2, 3, CV_32FC3, cv::Scalar(-2, 0.5, 999999));
    EXPECT_MAT_EQUAL(readBoundedUnitImage(console_, save("good.tif", floats)), floats);
    for (const float value : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(), -2e6F}) {
        floats.at<cv::Vec3f>(1, 1)[2] = value;
        EXPECT_THROW(readBoundedUnitImage(console_, save("bad.tif", floats)), Refusal) << value;
    }
}

TEST_F(ImageInput, RefusesMorePixelsThanTheLimit) {
    CommonOptions options;
    options.mostPixels = 681;
    const Console bounded("test", options);
    const std::string path = save("bytes.png", bytes_);
    const std::string expected =
        "cannot read '" + path + "': it is 31 x 22 pixels, and the limit (--max-pixels) is 681 in all";
    try {
        readImage(bounded, path);
        ADD_FAILURE();
    } catch (const Refusal& refusal) {
        EXPECT_EQ(refusal.what(), expected);
    }
    EXPECT_THROW(readMask(bounded, path), Refusal);
    EXPECT_THROW(readPhotographPairAsCompared(bounded, path, path), Refusal);
    options.mostPixels = 682;
    EXPECT_MAT_EQUAL(readImage(Console("test", options), path), bytes_);
}

TEST_F(ImageInput, GreyIsSpreadToThreeChannels) {
    for (const int depth : {CV_8U, CV_16U, CV_32F}) {
        cv::Mat grey;
        cv::extractChannel(bytes_, grey, 1);
        grey.convertTo(grey, depth, depth == CV_32F ? 1 / 7.0 : 1);
        cv::Mat spread;
        cv::merge(std::vector<cv::Mat>(3, grey), spread);
        EXPECT_MAT_EQUAL(read(save(depth == CV_32F ? "grey.tif" : "grey.png", grey)), spread);
        if (depth == CV_32F) {
            EXPECT_MAT_EQUAL(readStoredNumbers(console_, save("grey.exr", grey)), spread);
            EXPECT_MAT_EQUAL(readStoredNumbers(console_, save("grey.pfm", grey)), spread);
            EXPECT_MAT_EQUAL(readCompared(input("grey.tif")), spread);
        }
    }
}

TEST_F(ImageInput, AlphaIsDropped) {
    for (const int depth : {CV_8U, CV_16U}) {
        cv::Mat opaque;
        bytes_.convertTo(opaque, depth, depth == CV_16U ? 200 : 1);
        std::vector<cv::Mat> planes;
        cv::split(opaque, planes);
        planes.push_back(cv::Mat(opaque.size(), depth, cv::Scalar(40)));
        cv::Mat transparent;
        cv::merge(planes, transparent);
        EXPECT_MAT_EQUAL(read(save("transparent.png", transparent)), opaque);
    }
}

TEST_F(ImageInput, ExifOrientationIsApplied) {
    const std::string plain = contentOf(save("plain.jpg", bytes_));
    const cv::Mat upright = read(input("plain.jpg"));
    const auto turned = [&](char orientation) {
        return read(saveText("turned.jpg", jpegWithOrientation(plain, orientation)));
    };
    cv::Mat expected;
    EXPECT_MAT_EQUAL(turned(1), upright);
    cv::flip(upright, expected, 1);
    EXPECT_MAT_EQUAL(turned(2), expected);
    cv::rotate(upright, expected, cv::ROTATE_180);
    EXPECT_MAT_EQUAL(turned(3), expected);
    cv::flip(upright, expected, 0);
    EXPECT_MAT_EQUAL(turned(4), expected);
    cv::transpose(upright, expected);
    EXPECT_MAT_EQUAL(turned(5), expected);
    cv::rotate(upright, expected, cv::ROTATE_90_CLOCKWISE);
    EXPECT_MAT_EQUAL(turned(6), expected);
    cv::rotate(upright, expected, cv::ROTATE_90_COUNTERCLOCKWISE);
    EXPECT_MAT_EQUAL(turned(8), expected);
    EXPECT_MAT_EQUAL(readCompared(input("turned.jpg")), expected);
}

TEST_F(ImageInput, RefusesWhatIsNoImage) {
    const std::pair<std::string, std::string> cases[] = {
        {input("missing.png"), "No such file or directory"},
        {saveText("text.png", "no picture"), "its content is of no image format that is known"},
        {saveText("empty.jpg", ""), "it is empty"},
        {"", "No such file or directory"}};
    for (const auto& [path, reason] : cases) {
        try {
            read(path);
            ADD_FAILURE() << path;
        } catch (const Refusal& refusal) {
            EXPECT_EQ(refusal.what(), "cannot read '" + path + "': " + reason);
        }
    }
}

TEST_F(ImageInput, RefusesWhatIsNoRegularFile) {
    ASSERT_EQ(::mkfifo(input("pipe").c_str(), 0600), 0);
    const std::pair<std::string, std::string> cases[] = {{folder().string(), "it is a folder"},
                                                         {input("pipe"), "it is not a regular file"}};
    for (const auto& [path, reason] : cases) {
        try {
            read(path);
            ADD_FAILURE() << path;
        } catch (const Refusal& refusal) {
            EXPECT_EQ(refusal.what(), "cannot read '" + path + "': " + reason);
        }
    }
}

TEST_F(ImageInput, WarnsOfWhatTheFormatLibrarySays) {
    const std::string whole = contentOf(photo("cat.jpg"));
    const std::string half = saveText("half.jpg", whole.substr(0, whole.size() / 2));
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(read(half).type(), CV_8UC3);
    EXPECT_EQ(::testing::internal::GetCapturedStderr().rfind("darkroom test: warning: '" + half + "': ", 0), 0U);
}

}  // namespace
}  // namespace likeness::testing
