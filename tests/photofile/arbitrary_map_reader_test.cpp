// Portable anymaps and bitmaps in the variants that the image library misreads.
#include "photofile/arbitrary_map_reader.hpp"

#include "photofile/managed_colors.hpp"
#include "photofile/photograph_reader.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <fstream>

namespace likeness::testing {
namespace {

std::string mapOf(const std::string& kind, int depth, int greatest, const std::string& samples) {
    return "P7\n# made here\nWIDTH 2\nHEIGHT " +
           std::to_string(samples.size() / (greatest > 255 ? 4U : 2U) / static_cast<std::size_t>(depth)) + "\nDEPTH " +
           std::to_string(depth) + "\nMAXVAL " + std::to_string(greatest) + (kind.empty() ? "" : "\nTUPLTYPE " + kind) +
           "\nENDHDR\n" + samples;
}

PhotographContent mapContent(const std::string& bytes, bool alpha = false) {
    PhotographRequest request{"", 100};
    request.alpha = alpha;
    return readArbitraryMap(
        [&bytes](std::uint64_t offset, unsigned char* to, std::size_t count) {
            const std::size_t there = offset >= bytes.size() ? 0 : std::min(count, bytes.size() - std::size_t{offset});
            std::copy_n(bytes.data() + (there == 0 ? 0 : offset), there, to);
            return there;
        },
        request);
}

/// As darkroom's commands read it, and as likeness does.
PhotographRead readMade(const std::string& path, bool managed, PhotographValues values) {
    const ProfileChoice choice;
    ManagedColors colors(choice);
    return readPhotograph(path, values, usualMostPixels, managed ? &colors : nullptr);
}

PhotographRead readWritten(const std::string& bytes, bool managed = true,
                           PhotographValues values = PhotographValues::stored) {
    std::ofstream("made", std::ios::binary) << bytes;
    return readMade("made", managed, values);
}

TEST(ArbitraryMap, ChannelsAreRedGreenBlue) {
    const cv::Mat bgr = (cv::Mat_<cv::Vec3b>(1, 2) << cv::Vec3b(3, 2, 1), cv::Vec3b(6, 5, 4));
    EXPECT_MAT_EQUAL(mapContent(mapOf("RGB", 3, 255, "\1\2\3\4\5\6")).pixels, bgr);
    EXPECT_MAT_EQUAL(mapContent(mapOf("", 3, 255, "\1\2\3\4\5\6")).pixels, bgr);
    const PhotographContent alpha = mapContent(mapOf("RGB_ALPHA", 4, 255, "\1\2\3\7\4\5\6\xFF"));
    EXPECT_MAT_EQUAL(alpha.pixels, bgr);
    EXPECT_TRUE(alpha.alpha);
    EXPECT_FALSE(alpha.opaque);
    EXPECT_TRUE(mapContent(mapOf("RGB_ALPHA", 4, 255, "\1\2\3\xFF\4\5\6\xFF")).opaque);
    EXPECT_MAT_EQUAL(mapContent(mapOf("RGB_ALPHA", 4, 255, "\1\2\3\7\4\5\6\xFF"), true).pixels,
                     (cv::Mat_<uchar>(1, 2) << 7, 255));
    EXPECT_TRUE(mapContent(mapOf("RGB", 3, 255, "\1\2\3\4\5\6"), true).pixels.empty());
}

TEST(ArbitraryMap, ValuesComeOnTheWholeRange) {
    const std::string words("\1\0\3\xFF\0\1\0\0\2\0\0\3", 12);
    EXPECT_MAT_EQUAL(mapContent(mapOf("RGB", 3, 1023, words)).pixels,
                     (cv::Mat_<cv::Vec3w>(1, 2) << cv::Vec3w(64, 65535, 16400), cv::Vec3w(192, 32800, 0)));
    EXPECT_MAT_EQUAL(mapContent(mapOf("BLACKANDWHITE", 1, 1, std::string("\0\1\1\0", 4))).pixels,
                     (cv::Mat_<uchar>(2, 2) << 0, 255, 255, 0));
    EXPECT_MAT_EQUAL(mapContent(mapOf("GRAYSCALE_ALPHA", 2, 10, "\5\1\12\2")).pixels,
                     (cv::Mat_<uchar>(1, 2) << 128, 255));
}

TEST(ArbitraryMap, WhatIsNoPictureIsRefused) {
    EXPECT_EQ(mapContent(mapOf("CMYK", 4, 255, "\1\2\3\4\5\6\7\10")).problem,
              "its tuples (CMYK) are none that are read");
    EXPECT_EQ(mapContent(mapOf("", 5, 255, "\1\2\3\4\5\1\2\3\4\5")).problem,
              "it does not tell what its 5 channels are");
    EXPECT_EQ(mapContent(mapOf("RGB", 4, 255, "\1\2\3\4\5\6\7\10")).problem, "its tuples (RGB) are none that are read");
    EXPECT_EQ(mapContent("P7\nWIDTH 2\nHEIGHT 1\n").problem, "its header is cut off or damaged");
    EXPECT_EQ(mapContent(mapOf("RGB", 3, 70000, "\1\2\3\4\5\6\1\2\3\4\5\6")).problem,
              "its header is cut off or damaged");
    const std::string whole = mapOf("RGB", 3, 255, "\1\2\3\4\5\6");
    EXPECT_EQ(mapContent(whole.substr(0, whole.size() - 1)).problem, "its content is cut off");
    EXPECT_EQ(mapContent("P7\nWIDTH 20\nHEIGHT 6\nDEPTH 1\nMAXVAL 255\nENDHDR\n").problem,
              "it is 20 x 6 pixels, and the limit (--max-pixels) is 100 in all");
}

TEST(ArbitraryMap, LikenessKeepsItsPixelsAndWarns) {
    const ScratchDirectory scratch;
    const std::string map = mapOf("RGB", 3, 255, "\1\2\3\4\5\6");
    const cv::Mat bgr = (cv::Mat_<cv::Vec3b>(1, 2) << cv::Vec3b(3, 2, 1), cv::Vec3b(6, 5, 4));
    EXPECT_MAT_EQUAL(readWritten(map).bgr, bgr);
    EXPECT_TRUE(readWritten(map).remarks.empty());
    EXPECT_MAT_EQUAL(readWritten(map, true, PhotographValues::bytes).bgr, bgr);
    const PhotographRead given = readWritten(map, false, PhotographValues::bytes);
    ASSERT_EQ(given.remarks.size(), 1U);
    EXPECT_EQ(given.remarks[0], "an arbitrary map (PAM): red and blue may be exchanged, and alpha misread");
}

TEST(Anymap, BytesOfADarkWhiteComeOnTheWholeRange) {
    const ScratchDirectory scratch;
    const std::string bytes = "P5\n2 1\n100\n\x32\x64";
    const cv::Mat grey = (cv::Mat_<cv::Vec3b>(1, 2) << cv::Vec3b::all(128), cv::Vec3b::all(255));
    EXPECT_MAT_EQUAL(readWritten(bytes).bgr, grey);
    EXPECT_MAT_EQUAL(readWritten(bytes, true, PhotographValues::bytesOrFloats).bgr, grey);
    const PhotographRead given = readWritten(bytes, false, PhotographValues::bytes);
    EXPECT_EQ(given.bgr.at<cv::Vec3b>(0, 0), cv::Vec3b::all(50));
    ASSERT_EQ(given.remarks.size(), 1U);
    EXPECT_EQ(given.remarks[0], "its white is 100, and is taken for a value below that of 255");
    // The image library does it with numbers in text, cut off.
    const PhotographRead text = readWritten("P2\n2 1\n100\n50 100\n");
    EXPECT_MAT_EQUAL(text.bgr, (cv::Mat_<cv::Vec3b>(1, 2) << cv::Vec3b::all(127), cv::Vec3b::all(255)));
}

/// 2 x 1 pixels of 32 bits with masks.
std::string bitmapOf(const std::vector<std::uint32_t>& masks, std::uint32_t headerBytes) {
    std::string bytes = "BM";
    const auto put = [&bytes](std::uint32_t value, int count) {
        for (int k = 0; k < count; ++k) {
            bytes.push_back(static_cast<char>(value >> 8 * k));
        }
    };
    put(14 + headerBytes + 8, 4);
    put(0, 4);
    put(14 + headerBytes, 4);
    put(headerBytes, 4);
    put(2, 4);
    put(1, 4);
    put(1, 2);
    put(32, 2);
    put(3, 4);
    put(8, 4);
    bytes.resize(54);
    for (const std::uint32_t mask : masks) {
        put(mask, 4);
    }
    bytes.resize(14 + headerBytes);
    return bytes + "\1\2\3\4\5\6\7\xFF";
}

TEST(Bitmap, ChannelsInAnotherOrderAreRefused) {
    const ScratchDirectory scratch;
    const PhotographRead usual = readWritten(bitmapOf({0xFF0000, 0xFF00, 0xFF, 0xFF000000}, 124));
    EXPECT_MAT_EQUAL(usual.bgr, (cv::Mat_<cv::Vec3b>(1, 2) << cv::Vec3b(1, 2, 3), cv::Vec3b(5, 6, 7)));
    ASSERT_EQ(usual.remarks.size(), 1U);
    EXPECT_EQ(usual.remarks[0],
              "its alpha channel is left out: transparent pixels count with the colours that the file has there");
    const std::string reason = "the bits of its channels are not in the order that is read";
    for (const std::vector<std::uint32_t>& masks :
         {std::vector<std::uint32_t>{0xFF, 0xFF00, 0xFF0000, 0xFF000000}, {0x3FF00000, 0xFFC00, 0x3FF, 0}}) {
        EXPECT_EQ(readWritten(bitmapOf(masks, 124)).problem, ": " + reason);
        const PhotographRead given = readWritten(bitmapOf(masks, 124), false, PhotographValues::bytes);
        EXPECT_FALSE(given.bgr.empty());
        ASSERT_FALSE(given.remarks.empty());
        EXPECT_EQ(given.remarks[0], reason + ": its colours may be exchanged");
    }
}

}  // namespace
}  // namespace likeness::testing
