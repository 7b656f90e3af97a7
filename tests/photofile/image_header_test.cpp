#include "photofile/image_header.hpp"

#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <limits>
#include <random>

namespace likeness::testing {
namespace {

using namespace std::string_literals;

ImageHeader headerOf(const std::string& bytes) {
    return readImageHeader([&bytes](std::uint64_t offset, unsigned char* to, std::size_t count) {
        const std::size_t there = offset >= bytes.size() ? 0 : std::min<std::size_t>(count, bytes.size() - offset);
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(there == 0 ? 0 : offset), there, to);
        return there;
    });
}

std::string encoded(const std::string& extension, const cv::Mat& image, const std::vector<int>& parameters = {}) {
    std::vector<uchar> bytes;
    EXPECT_TRUE(cv::imencode(extension, image, bytes, parameters)) << extension;
    return {bytes.begin(), bytes.end()};
}

std::string number(std::uint64_t value, std::size_t size, bool bigEndian) {
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) {
        bytes += static_cast<char>(value >> 8 * (bigEndian ? size - 1 - i : i));
    }
    return bytes;
}

struct TiffEntry {
    unsigned tag;
    unsigned type;
    std::uint32_t count;
    std::uint32_t value;
};

/// A little- or big-endian TIFF of directories that follow one another, the first one at byte 8.
struct TiffFile {
    bool bigEndian = false;
    std::string bytes = {};

    explicit TiffFile(bool big = false) : bigEndian(big) { bytes = (big ? "MM\0*"s : "II*\0"s) + number(8, 4, big); }
    /// @param more  whether another directory follows
    TiffFile& directory(const std::vector<TiffEntry>& entries, bool more = false) {
        bytes += number(entries.size(), 2, bigEndian);
        for (const TiffEntry& entry : entries) {
            bytes +=
                number(entry.tag, 2, bigEndian) + number(entry.type, 2, bigEndian) + number(entry.count, 4, bigEndian);
            const std::size_t size = entry.type == 3 ? 2 : 4;
            std::string value = number(entry.value, size, bigEndian);
            value.resize(4);
            bytes += value;
        }
        bytes += number(more ? bytes.size() + 4 : 0, 4, bigEndian);
        return *this;
    }
};

constexpr unsigned subfile = 254, width = 256, length = 257, photometric = 262, children = 330, dng = 0xC612;

void expectSize(const ImageHeader& header, std::uint64_t expectedWidth, std::uint64_t expectedHeight) {
    EXPECT_EQ(header.width, expectedWidth);
    EXPECT_EQ(header.height, expectedHeight);
    EXPECT_FALSE(header.cameraRaw);
}

TEST(ImageHeader, TellsTheSizeOfWhatTheImageLibraryWrites) {
    const cv::Mat bytes = randomPhotograph({77, 66}, 1);
    struct Case {
        std::string extension;
        ImageFileFormat format;
        std::vector<int> parameters = {};
    };
    for (const Case& one : std::vector<Case>{{".jpg", ImageFileFormat::jpeg},
                                             {".jpg", ImageFileFormat::jpeg, {cv::IMWRITE_JPEG_PROGRESSIVE, 1}},
                                             {".png", ImageFileFormat::png},
                                             {".bmp", ImageFileFormat::bmp},
                                             {".tiff", ImageFileFormat::tiff},
                                             {".webp", ImageFileFormat::webp, {cv::IMWRITE_WEBP_QUALITY, 80}},
                                             {".webp", ImageFileFormat::webp, {cv::IMWRITE_WEBP_QUALITY, 101}},
                                             {".jp2", ImageFileFormat::jpeg2000},
                                             {".ppm", ImageFileFormat::portable},
                                             {".sr", ImageFileFormat::sunRaster}}) {
        SCOPED_TRACE(one.extension);
        const ImageHeader header = headerOf(encoded(one.extension, bytes, one.parameters));
        EXPECT_EQ(header.format, one.format);
        expectSize(header, 77, 66);
        EXPECT_EQ(header.bits, 8);
        EXPECT_FALSE(header.floats);
        EXPECT_EQ(header.pixels(), 77U * 66U);
    }
}

TEST(ImageHeader, TellsDepthAndFloats) {
    cv::Mat words;
    randomPhotograph({79, 65}, 2).convertTo(words, CV_16U, 200);
    for (const std::string extension : {".png", ".tiff", ".ppm", ".jp2"}) {
        SCOPED_TRACE(extension);
        const ImageHeader header = headerOf(encoded(extension, words));
        expectSize(header, 79, 65);
        EXPECT_EQ(header.bits, 16);
        EXPECT_FALSE(header.floats);
    }
    const cv::Mat floats = randomImage({79, 65}, 3, 0, 1, 3);
    for (const std::string extension : {".tiff", ".exr", ".pfm", ".hdr"}) {
        SCOPED_TRACE(extension);
        const ImageHeader header = headerOf(encoded(extension, floats));
        expectSize(header, 79, 65);
        EXPECT_TRUE(header.floats);
    }
    EXPECT_TRUE(headerOf(encoded(".tiff", floats, {cv::IMWRITE_TIFF_COMPRESSION, 5})).floats);
    EXPECT_TRUE(headerOf(encoded(".pfm", randomImage({79, 65}, 1, 0, 1, 3))).floats);
}

TEST(ImageHeader, TellsOfAnAlphaChannel) {
    const cv::Mat bgr = randomPhotograph({9, 8}, 4);
    cv::Mat bgra;
    cv::merge(std::vector<cv::Mat>{bgr, cv::Mat(bgr.size(), CV_8U, cv::Scalar(40))}, bgra);
    for (const std::string extension : {".png", ".tif", ".webp"}) {
        SCOPED_TRACE(extension);
        EXPECT_TRUE(headerOf(encoded(extension, bgra)).alpha);
        EXPECT_FALSE(headerOf(encoded(extension, bgr)).alpha);
    }
    EXPECT_TRUE(headerOf(encoded(".webp", bgra, {cv::IMWRITE_WEBP_QUALITY, 80})).alpha);
    EXPECT_FALSE(headerOf(encoded(".webp", bgr, {cv::IMWRITE_WEBP_QUALITY, 80})).alpha);
    EXPECT_FALSE(headerOf(encoded(".jp2", randomPhotograph({70, 66}, 4))).alpha);
    EXPECT_FALSE(headerOf(encoded(".jpg", bgr)).alpha);
    EXPECT_TRUE(headerOf("P7\nWIDTH 2\nHEIGHT 1\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n").alpha);
    EXPECT_FALSE(headerOf("P7\nWIDTH 2\nHEIGHT 1\nDEPTH 3\nMAXVAL 255\nTUPLTYPE RGB\nENDHDR\n").alpha);
    std::string plain = encoded(".png", bgr);
    EXPECT_TRUE(headerOf(plain.insert(33, number(6, 4, true) + "tRNS" + std::string(10, '\0'))).alpha);
    const std::string channels = "A\0"s + std::string(16, '\1') + "B\0"s + std::string(16, '\1') + '\0';
    const auto exr = [](const std::string& list) {
        return "\x76\x2f\x31\x01\2\0\0\0channels\0chlist\0"s + number(list.size(), 4, false) + list;
    };
    EXPECT_TRUE(headerOf(exr(channels)).alpha);
    EXPECT_FALSE(headerOf(exr(channels.substr(18))).alpha);
    EXPECT_FALSE(headerOf(exr("AB" + channels.substr(1 + 18 + 1))).alpha);
}

TEST(ImageHeader, TellsTheSizeOfMadeHeaders) {
    expectSize(headerOf("GIF89a" + number(300, 2, false) + number(200, 2, false)), 300, 200);
    expectSize(headerOf("P6 # size\n#and more\n 70000\t80000 255\n"), 70000, 80000);
    expectSize(headerOf("P7\nWIDTH 40\nHEIGHT 30\nDEPTH 3\nMAXVAL 65535\nENDHDR\n"), 40, 30);
    EXPECT_EQ(headerOf("P7\nWIDTH 40\nHEIGHT 30\nDEPTH 3\nMAXVAL 65535\nENDHDR\n").bits, 16);
    expectSize(headerOf("Pf\n40 30\n-1.0\n"), 40, 30);
    expectSize(headerOf("#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 30 +X 40\n"), 40, 30);
    expectSize(headerOf("RIFF" + number(99, 4, false) + "WEBPVP8X" + number(10, 4, false) + number(0, 4, false) +
                        number(16000, 3, false) + number(9999, 3, false)),
               16001, 10000);
    // A bitmap from top to bottom.
    expectSize(headerOf("BM" + std::string(12, '\0') + number(40, 4, false) + number(640, 4, false) +
                        number(std::uint64_t{0xFFFFFFFF} - 479, 4, false)),
               640, 480);
    // Markers may be filled up, and other segments stand before the frame header.
    expectSize(headerOf("\xFF\xD8\xFF\xE0"s + number(6, 2, true) + "abcd" + "\xFF\xFF\xFF\xFE"s + number(2, 2, true) +
                        "\xFF\xC2"s + number(17, 2, true) + "\x08"s + number(30000, 2, true) + number(32000, 2, true)),
               32000, 30000);
    expectSize(headerOf(TiffFile(true).directory({{width, 4, 1, 100000}, {length, 3, 1, 60000}}).bytes), 100000, 60000);
    const std::string big = "II+\0"s + number(8, 2, false) + number(0, 2, false) + number(16, 8, false) +
                            number(2, 8, false) + number(width, 2, false) + number(16, 2, false) + number(1, 8, false) +
                            number(std::uint64_t{1} << 33, 8, false) + number(length, 2, false) + number(4, 2, false) +
                            number(1, 8, false) + number(5, 8, false) + number(0, 8, false);
    expectSize(headerOf(big), std::uint64_t{1} << 33, 5);
}

TEST(ImageHeader, ThePixelsOfTheGreatestSizesDoNotOverflow) {
    const ImageHeader header =
        headerOf("\x89PNG\r\n\x1A\n"s + number(13, 4, true) + "IHDR" + std::string(8, '\xFF') + "\x08");
    expectSize(header, 0xFFFFFFFF, 0xFFFFFFFF);
    EXPECT_EQ(header.pixels(), std::uint64_t{0xFFFFFFFF} * 0xFFFFFFFF);
    EXPECT_EQ(headerOf("P6 999999999999999999 999999999999999999 255\n").pixels(),
              std::numeric_limits<std::uint64_t>::max());
}

TEST(ImageHeader, KnowsCameraRawFiles) {
    const auto raw = [](const std::string& bytes) { return headerOf(bytes).cameraRaw; };
    const TiffEntry sides[] = {{width, 3, 1, 16}, {length, 3, 1, 12}};
    for (const bool big : {false, true}) {
        EXPECT_TRUE(raw(TiffFile(big).directory({sides[0], sides[1], {dng, 1, 4, 1}}).bytes));
        EXPECT_TRUE(raw(TiffFile(big).directory({sides[0], sides[1], {photometric, 3, 1, 32803}}).bytes));
        EXPECT_TRUE(raw(TiffFile(big).directory({sides[0]}, true).directory({{photometric, 3, 1, 34892}}).bytes));
        // A preview with the raw values in a sub-directory.
        TiffFile file(big);
        file.directory({{subfile, 4, 1, 0}, sides[0], sides[1], {children, 4, 1, 8 + 2 + 4 * 12 + 4}});
        EXPECT_FALSE(raw(file.bytes));
        EXPECT_TRUE(raw(file.directory({{photometric, 3, 1, 32803}}).bytes));
        EXPECT_TRUE(
            raw(TiffFile(big).directory({{subfile, 4, 1, 1}, sides[0], sides[1], {children, 4, 1, 999}}).bytes));
    }
    EXPECT_TRUE(raw("II*\0"s + number(16, 4, false) + "CR\2\0"s + number(0, 4, false) + number(0, 2, false)));
    for (const std::string& magic :
         {"IIRO\x08\0\0\0"s, "IIRS\x08\0\0\0"s, "MMOR\0\0\0\x08"s, "IIU\0\x18\0\0\0"s, "FUJIFILMCCD-RAW 0201"s,
          "\0\0\0\x18"s + "ftypcrx \0\0\0\1"s, "II\x1A\0\0\0HEAPCCDR"s, "\0MRM\0\0"s, "FOVb\0\0"s}) {
        EXPECT_TRUE(raw(magic)) << magic;
    }
}

TEST(ImageHeader, OrdinaryTiffsAreNoCameraRawFiles) {
    const TiffEntry sides[] = {{width, 3, 1, 160}, {length, 3, 1, 120}};
    // A thumbnail in a later directory, and smaller copies in sub-directories.
    expectSize(headerOf(TiffFile()
                            .directory({{subfile, 4, 1, 0}, sides[0], sides[1], {photometric, 3, 1, 2}}, true)
                            .directory({{subfile, 4, 1, 1}, {width, 3, 1, 16}, {length, 3, 1, 12}})
                            .bytes),
               160, 120);
    TiffFile pyramid;
    pyramid.directory({sides[0], sides[1], {children, 4, 1, 8 + 2 + 3 * 12 + 4}});
    expectSize(headerOf(pyramid.directory({{subfile, 4, 1, 1}, {width, 3, 1, 80}, {length, 3, 1, 60}}).bytes), 160,
               120);
    // Pixels may stand right behind the header, whatever they spell.
    const std::string ifd = number(1, 2, false) + number(width, 2, false) + number(3, 2, false) + number(1, 4, false) +
                            number(2, 4, false) + number(0, 4, false);
    EXPECT_FALSE(headerOf("II*\0"s + number(20, 4, false) + "CRCRCRCRCRCR" + ifd).cameraRaw);
}

TEST(ImageHeader, DirectoriesThatLeadInACircleEnd) {
    TiffFile circle;
    circle.directory({{width, 3, 1, 7}, {length, 3, 1, 5}, {children, 4, 1, 8}});
    circle.bytes.replace(circle.bytes.size() - 4, 4, number(8, 4, false));
    expectSize(headerOf(circle.bytes), 7, 5);
}

TEST(ImageHeader, ReadsABoundedNumberOfBytesWhateverTheyAre) {
    // Every byte source without end: all zeros, all 0xFF, and noise behind the beginning of each format.
    for (const std::string& begin :
         {"\xFF\xD8\xFF"s, "\xFF\xD8\xFF\xE0\0\2"s, "\x89PNG\r\n\x1A\n"s, "II*\0\x08\0\0\0"s, "MM\0*\0\0\0\x08"s,
          "II+\0\x08\0\0\0\x10\0\0\0\0\0\0\0"s, "RIFF\0\0\0\0WEBPVP8 "s, "\0\0\0\x0CjP  \r\n\x87\n"s,
          "v/1\x01\2\0\0\0"s, "#?RADIANCE\n"s, "P6 #"s, "P7\n"s, "PF\n"s, "BM"s, "GIF89a"s, "\x59\xA6\x6A\x95"s}) {
        for (const int kind : {0, 0xFF, 0x61, -1}) {
            std::mt19937 noise(7);
            std::uint64_t read = 0;
            readImageHeader([&](std::uint64_t offset, unsigned char* to, std::size_t count) {
                for (std::size_t i = 0; i < count; ++i) {
                    const std::uint64_t at = offset + i;
                    to[i] = at < begin.size()
                                ? static_cast<unsigned char>(begin[at])
                                : static_cast<unsigned char>(kind < 0 ? noise() : static_cast<unsigned>(kind));
                }
                read += count;
                return count;
            });
            EXPECT_LE(read, std::uint64_t{1} << 23) << begin << " " << kind;
        }
    }
}

TEST(ImageHeader, CutOffAnywhereItTellsNothingWrong) {
    const cv::Mat bytes = randomPhotograph({77, 66}, 1);
    for (const std::string extension : {".jpg", ".png", ".bmp", ".tiff", ".webp", ".jp2", ".ppm", ".exr", ".hdr"}) {
        cv::Mat image = bytes;
        if (extension == ".exr" || extension == ".hdr") {
            image.convertTo(image, CV_32F);
        }
        const std::string whole = encoded(extension, image);
        for (std::size_t size = 0; size < std::min<std::size_t>(whole.size(), 700); ++size) {
            const ImageHeader header = headerOf(whole.substr(0, size));
            // A text may be cut within a number.
            EXPECT_TRUE(header.width == 0 || header.width == 77 || header.width == 7) << extension << size;
            EXPECT_TRUE(header.height == 0 || header.height == 66 || header.height == 6) << extension << size;
            EXPECT_FALSE(header.cameraRaw);
        }
    }
    EXPECT_EQ(headerOf("").format, ImageFileFormat::unknown);
    EXPECT_EQ(headerOf("no image").format, ImageFileFormat::unknown);
}

}  // namespace
}  // namespace likeness::testing
