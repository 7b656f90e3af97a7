// Small files whose headers say 65535 x 65535 pixels: refused before anything is decoded.
#include "photofile/managed_colors.hpp"
#include "photofile/photograph_reader.hpp"
#include "support/built_modules.hpp"
#include "support/made_dng.hpp"
#include "support/needed_package.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <sys/resource.h>
#include <fstream>

namespace likeness::testing {
namespace {

std::string big(std::uint64_t number, int bytes = 4) {
    std::string text;
    for (int k = bytes - 1; k >= 0; --k) {
        text += static_cast<char>(number >> 8 * k & 0xFF);
    }
    return text;
}

std::string little(std::uint64_t number, int bytes = 4) {
    const std::string text = big(number, bytes);
    return {text.rbegin(), text.rend()};
}

constexpr std::uint64_t side = 65535;

std::string tiff(std::uint64_t bits) {
    const std::uint64_t entries[][3] = {{256, 4, side}, {257, 4, side}, {258, 3, bits}, {259, 3, 1},  {262, 3, 1},
                                        {273, 4, 8},    {277, 3, 1},    {278, 4, side}, {279, 4, 100}};
    std::string text = std::string("II*\0", 4) + little(108) + std::string(100, '\0') + little(std::size(entries), 2);
    for (const auto& [tag, type, value] : entries) {
        text += little(tag, 2) + little(type, 2) + little(1) + little(value);
    }
    return text + little(0);
}

/// The size header of a codestream of ISO/IEC 18181-1: bits, the least first.
std::string jpegXl() {
    std::uint64_t bits = 0;
    int at = 0;
    const auto put = [&](std::uint64_t value, int count) {
        bits |= value << at;
        at += count;
    };
    put(0, 1);  // not small
    put(2, 2);  // height in 18 bits
    put(side - 1, 18);
    put(0, 3);  // no ratio
    put(2, 2);
    put(side - 1, 18);
    put(1, 1);  // the rest as usual
    return "\xFF\x0A" + little(bits, 8) + std::string(50, '\0');
}

std::string jpeg2000() {
    return std::string("\xFF\x4F\xFF\x51", 4) + big(47, 2) + big(0, 2) + big(side) + big(side) + big(0, 8) + big(side) +
           big(side) + big(0, 8) + big(3, 2) + std::string("\x07\x01\x01\x07\x01\x01\x07\x01\x01", 9) + "\xFF\xD9";
}

struct HugeFile {
    const char* name;
    std::string bytes;
    const char* module;  ///< empty if none is needed to tell
};

std::vector<HugeFile> hugeFiles() {
    const std::string sides = std::to_string(side) + ' ' + std::to_string(side);
    const std::string zeros(100, '\0');
    return {
        {"png",
         "\x89PNG\r\n\x1A\n" + big(13) + "IHDR" + big(side) + big(side) + std::string("\x08\x02\0\0\0", 5) + zeros, ""},
        {"jpeg",
         "\xFF\xD8\xFF\xC0" + big(17, 2) + '\x08' + big(side, 2) + big(side, 2) +
             std::string("\x03\x01\x11\0\x02\x11\0\x03\x11\0", 10) + zeros,
         ""},
        {"bmp",
         "BM" + little(154) + little(0) + little(54) + little(40) + little(side) + little(side) + little(1, 2) +
             little(24, 2) + little(0, 8) + zeros,
         ""},
        {"anymap", "P6\n" + sides + "\n65535\n" + zeros, ""},
        {"float map", "PF\n" + sides + "\n-1\n" + zeros, ""},
        {"radiance", "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 65535 +X 65535\n" + zeros, ""},
        {"sun raster", "\x59\xA6\x6A\x95" + big(side) + big(side) + big(24) + zeros, ""},
        {"gif", "GIF89a" + little(side, 2) + little(side, 2) + std::string(3, '\0') + zeros, "gif"},
        {"photoshop",
         "8BPS" + big(1, 2) + std::string(6, '\0') + big(3, 2) + big(side) + big(side) + big(8, 2) + big(3, 2) + zeros,
         ""},
        {"tiff", tiff(8), ""},
        {"tiff of 12 bits", tiff(12), "tiff"},
        {"jpeg 2000", jpeg2000(), ""},
        {"jpeg xl", jpegXl(), "jxl"},
    };
}

TEST(HugeHeaders, AreRefusedBeforeAnythingIsDecoded) {
    const ScratchDirectory scratch;
    ::rusage before{};
    ::getrusage(RUSAGE_SELF, &before);
    for (const HugeFile& file : hugeFiles()) {
        SCOPED_TRACE(file.name);
        if (*file.module != '\0' && !isModuleBuilt(file.module)) {
            continue;
        }
        std::ofstream("huge", std::ios::binary) << file.bytes;
        const ProfileChoice choice;
        ManagedColors colors(choice);
        const PhotographRead read = readPhotograph("huge", PhotographValues::stored, usualMostPixels, &colors);
        EXPECT_EQ(read.problem, ": it is 65535 x 65535 pixels, and the limit (--max-pixels) is 536870912 in all");
        EXPECT_TRUE(read.bgr.empty());
    }
    ::rusage after{};
    ::getrusage(RUSAGE_SELF, &after);
    constexpr long mostKilobytes = 256 * 1024;  // libraries that are loaded; one plane would take 4 GB
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, mostKilobytes);
}

TEST(HugeHeaders, OfAWebpSayNoMoreThanTheFormatHas) {
    const ScratchDirectory scratch;
    constexpr std::uint64_t most = 16384;
    const std::string body = "WEBPVP8X" + little(10) + little(0) + little(most - 1, 3) + little(most - 1, 3) + "VP8L" +
                             little(4) + std::string("\x2F\0\0\0", 4);
    std::ofstream("huge", std::ios::binary) << "RIFF" + little(body.size()) + body;
    EXPECT_EQ(readPhotograph("huge", PhotographValues::stored, most * most - 1).problem,
              ": it is 16384 x 16384 pixels, and the limit (--max-pixels) is 268435455 in all");
}

TEST(HugeHeaders, OfCameraRawFilesAreThoseOfTheRawValues) {
    if (!isModuleBuilt("raw")) {
        SKIP_WITHOUT_PACKAGE("the module raw was not built: its library is not installed");
    }
    const ScratchDirectory scratch;
    const cv::Mat linear(48, 80, CV_64FC3, cv::Scalar::all(0.5));
    std::ofstream("a.dng", std::ios::binary) << dngOf(linear, MadeDng());
    EXPECT_EQ(readPhotograph("a.dng", PhotographValues::stored, 80 * 48 - 1).problem,
              ": it is 80 x 48 pixels, and the limit (--max-pixels) is 3839 in all");
    EXPECT_EQ(readPhotograph("a.dng", PhotographValues::stored, 80 * 48).problem, "");
}

TEST(HugeHeaders, AChunkThatIsNotThereTakesNoMemory) {
    const ScratchDirectory scratch;
    std::vector<unsigned char> bytes;
    ASSERT_TRUE(cv::imencode(".png", cv::Mat(16, 24, CV_8UC3, cv::Scalar(1, 2, 3)), bytes));
    std::string png(bytes.begin(), bytes.end());
    png.replace(png.size() - 12, 8, std::string("\x52\x4E\x53\x14tEXt", 8));  // 1.4 GB of text in place of the end
    // The image library complains of another chunk, so that it is asked once the reader of these files gave up.
    png.insert(33, std::string("\0\0\0\2bKGD\1\2\3\4\5\6", 14));
    std::ofstream("a.png", std::ios::binary) << png;
    ::rusage before{};
    ::getrusage(RUSAGE_SELF, &before);
    EXPECT_EQ(readPhotograph("a.png").problem, ": it is cut off at byte " + std::to_string(png.size()));
    ::rusage after{};
    ::getrusage(RUSAGE_SELF, &after);
    constexpr long mostKilobytes = 256 * 1024;
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, mostKilobytes);
}

}  // namespace
}  // namespace likeness::testing
