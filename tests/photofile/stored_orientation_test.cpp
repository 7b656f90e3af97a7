// Orientations, in every format that has one: they count once.
#include "photofile/stored_orientation.hpp"

#include "codecs/exif_orientation.hpp"
#include "photofile/managed_colors.hpp"
#include "photofile/opened_file.hpp"
#include "photofile/photograph_reader.hpp"
#include "support/built_modules.hpp"
#include "support/made_by_tool.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace likeness::testing {
namespace {

/// Exif data that say an orientation and nothing else.
std::string exifOf(char orientation) {
    return std::string("MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0", 19) + orientation + std::string(6, '\0');
}

std::string bigNumber(std::size_t number) {
    std::string bytes;
    for (int k = 3; k >= 0; --k) {
        bytes += static_cast<char>(number >> 8 * k & 0xFF);
    }
    return bytes;
}

std::string littleNumber(std::size_t number) {
    const std::string big = bigNumber(number);
    return {big.rbegin(), big.rend()};
}

cv::Mat smallPicture() {
    return examplePhotograph("cat.jpg")(cv::Rect(100, 60, 40, 24)).clone();
}

void write(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

cv::Mat seen(const std::string& path, PhotographValues values = PhotographValues::stored) {
    const ProfileChoice choice;
    ManagedColors colors(choice);
    const PhotographRead read = readPhotograph(path, values, usualMostPixels, &colors);
    EXPECT_EQ(read.problem, "") << path;
    return read.bgr;
}

int told(const std::string& path, ImageFileFormat format) {
    const OpenedFile file(path);
    return storedOrientation(file.source(), format).value_or(-1);
}

cv::Mat turned(const cv::Mat& image, int orientation) {
    cv::Mat result = image.clone();
    applyOrientation(orientation, result);
    return result;
}

/// An extended WebP around a simple one.
std::string webpWith(const std::string& simple, cv::Size size, const std::string& exif) {
    std::string header("VP8X\x0A\0\0\0\x08\0\0\0", 12);
    header += littleNumber(static_cast<std::size_t>(size.width - 1)).substr(0, 3);
    header += littleNumber(static_cast<std::size_t>(size.height - 1)).substr(0, 3);
    std::string body = "WEBP" + header + simple.substr(12);
    body += "EXIF" + littleNumber(exif.size()) + exif + std::string(exif.size() % 2, '\0');
    return "RIFF" + littleNumber(body.size()) + body;
}

TEST(StoredOrientation, OfAWebpCountsOnce) {
    const ScratchDirectory scratch;
    ASSERT_TRUE(cv::imwrite("a.webp", smallPicture(), {cv::IMWRITE_WEBP_QUALITY, 101}));
    const std::string simple = contentOf("a.webp");
    const cv::Mat stored = seen("a.webp");
    for (char orientation = 1; orientation <= 8; ++orientation) {
        write("b.webp", webpWith(simple, stored.size(), exifOf(orientation)));
        EXPECT_EQ(told("b.webp", ImageFileFormat::webp), orientation);
        EXPECT_MAT_EQUAL(seen("b.webp"), turned(stored, orientation));
        EXPECT_MAT_EQUAL(seen("b.webp", PhotographValues::bytesOrFloats), turned(stored, orientation));
        // The exact reading keeps the pixels that it always had.
        EXPECT_MAT_EQUAL(readPhotograph("b.webp").bgr, cv::imread("b.webp"));
    }
    write("b.webp", webpWith(simple, stored.size(), std::string("Exif\0\0", 6) + exifOf(6)));
    EXPECT_MAT_EQUAL(seen("b.webp"), turned(stored, 6));
    write("damaged.webp", webpWith(simple, stored.size(), exifOf(9)));
    EXPECT_MAT_EQUAL(seen("damaged.webp"), stored);
}

TEST(StoredOrientation, OfAJpeg2000CountsOnce) {
    const ScratchDirectory scratch;
    // Its coder takes no picture that is too small for its levels.
    ASSERT_TRUE(cv::imwrite("a.jp2", examplePhotograph("cat.jpg")(cv::Rect(100, 60, 128, 96))));
    const std::string plain = contentOf("a.jp2");
    const cv::Mat stored = seen("a.jp2");
    const std::size_t stream = plain.find("jp2c");
    ASSERT_NE(stream, std::string::npos);
    for (char orientation = 1; orientation <= 8; ++orientation) {
        const std::string exif = exifOf(orientation);
        const std::string box = bigNumber(8 + 16 + exif.size()) + "uuidJpgTiffExif->JP2" + exif;
        write("b.jp2", plain.substr(0, stream - 4) + box + plain.substr(stream - 4));
        EXPECT_EQ(told("b.jp2", ImageFileFormat::jpeg2000), orientation);
        EXPECT_MAT_EQUAL(seen("b.jp2"), turned(stored, orientation));
    }
}

/// A TIFF with an orientation in its directory, which moves to the end.
std::string tiffWith(std::string tiff, char orientation) {
    const auto numberAt = [&tiff](std::size_t at, std::size_t count) {
        std::size_t number = 0;
        for (std::size_t k = count; k-- > 0;) {
            number = number << 8 | static_cast<unsigned char>(tiff.at(at + k));
        }
        return number;
    };
    EXPECT_EQ(tiff.substr(0, 4), std::string("II*\0", 4));
    const std::size_t directory = numberAt(4, 4);
    const std::size_t count = numberAt(directory, 2);
    std::vector<std::string> entries;
    constexpr std::size_t orientationTag = 0x0112;
    for (std::size_t k = 0; k < count; ++k) {
        if (numberAt(directory + 2 + 12 * k, 2) != orientationTag) {
            entries.push_back(tiff.substr(directory + 2 + 12 * k, 12));
        }
    }
    entries.push_back(std::string("\x12\x01\x03\0\x01\0\0\0", 8) + orientation + std::string(3, '\0'));
    std::sort(entries.begin(), entries.end(), [](const std::string& a, const std::string& b) {
        const auto tagOf = [](const std::string& entry) { return std::string{entry[1], entry[0]}; };
        return tagOf(a) < tagOf(b);
    });
    tiff.resize(tiff.size() + tiff.size() % 2);
    tiff.replace(4, 4, littleNumber(tiff.size()));
    tiff += littleNumber(entries.size()).substr(0, 2);
    for (const std::string& entry : entries) {
        tiff += entry;
    }
    return tiff + std::string(4, '\0');
}

TEST(StoredOrientation, OfATiffCountsOnce) {
    const ScratchDirectory scratch;
    const cv::Mat bytes = smallPicture();
    cv::Mat words;
    bytes.convertTo(words, CV_16U, 257);
    cv::Mat floats;
    bytes.convertTo(floats, CV_32F, 1 / 255.0);
    for (const cv::Mat& image : {bytes, words, floats}) {
        ASSERT_TRUE(cv::imwrite("a.tif", image, {cv::IMWRITE_TIFF_COMPRESSION, 5}));
        const cv::Mat stored = seen("a.tif");
        for (char orientation = 1; orientation <= 8; ++orientation) {
            SCOPED_TRACE(::testing::Message() << "depth " << image.depth() << ", orientation " << int{orientation});
            write("b.tif", tiffWith(contentOf("a.tif"), orientation));
            EXPECT_MAT_EQUAL(seen("b.tif"), turned(stored, orientation));
        }
    }
}

TEST(StoredOrientation, OfAnAvifCountsOnce) {
    const ScratchDirectory scratch;
    cv::imwrite("a.png", smallPicture());
    REQUIRE_TOOL("heif", {"avifenc", "--lossless", "a.png", "a.avif"}, "a.avif");
    EXPECT_EQ(told("a.avif", ImageFileFormat::avif), 0);
    struct Case {
        std::vector<std::string> options;
        int orientation;
    };
    const Case cases[] = {{{"--irot", "1"}, 8}, {{"--irot", "2"}, 3}, {{"--irot", "3"}, 6},
                          {{"--imir", "0"}, 4}, {{"--imir", "1"}, 2}, {{"--irot", "1", "--imir", "1"}, 7}};
    for (const Case& one : cases) {
        std::vector<std::string> command{"avifenc", "--lossless"};
        command.insert(command.end(), one.options.begin(), one.options.end());
        command.insert(command.end(), {"a.png", "b.avif"});
        ASSERT_TRUE(made(command, "b.avif"));
        EXPECT_EQ(told("b.avif", ImageFileFormat::avif), one.orientation);
        EXPECT_MAT_EQUAL(seen("b.avif"), turned(smallPicture(), one.orientation));
    }
}

TEST(StoredOrientation, OfAJpegXlCountsOnce) {
    const ScratchDirectory scratch;
    const std::string jpeg = [] {
        std::vector<uchar> bytes;
        cv::imencode(".jpg", smallPicture(), bytes);
        return std::string(bytes.begin(), bytes.end());
    }();
    write("a.jpg", jpegWithOrientation(jpeg, 6));
    if (!isModuleBuilt("jxl") || !made({"cjxl", "-d", "1", "-j", "0", "a.jpg", "a.jxl"}, "a.jxl")) {
        SKIP_WITHOUT_PACKAGE("the module jxl or cjxl is not installed");
    }
    EXPECT_EQ(seen("a.jxl").size(), cv::Size(24, 40));
}

}  // namespace
}  // namespace likeness::testing
