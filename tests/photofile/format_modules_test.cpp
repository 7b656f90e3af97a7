// Formats that a module reads, against files that the tools of their own make.
#include "photofile/format_modules.hpp"

#include <likeness/color/srgb_companding.hpp>
#include <likeness/color/unit_image.hpp>
#include <likeness/comparison/analysis.hpp>
#include "photofile/display_light.hpp"
#include "photofile/managed_colors.hpp"
#include "photofile/photograph_reader.hpp"
#include "support/built_modules.hpp"
#include "support/layered_exr.hpp"
#include "support/made_by_tool.hpp"
#include "support/made_tiff.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace likeness::testing {
namespace {

cv::Mat smallPhotograph() {
    return examplePhotograph("cat.jpg")(cv::Rect(100, 60, 90, 70)).clone();
}

cv::Mat deepPhotograph() {
    cv::Mat words(70, 90, CV_16UC3);
    const cv::Mat bytes = smallPhotograph();
    for (int i = 0; i < words.rows; ++i) {
        for (int j = 0; j < 3 * words.cols; ++j) {
            words.ptr<ushort>(i)[j] = static_cast<ushort>(bytes.ptr<uchar>(i)[j] * 256 + (7 * i + 13 * j) % 256);
        }
    }
    return words;
}

/// As darkroom's commands read it.
PhotographRead readColors(const std::string& path, const ProfileChoice& choice = {},
                          PhotographValues values = PhotographValues::stored,
                          std::uint64_t mostPixels = usualMostPixels) {
    ManagedColors colors(choice);
    return readPhotograph(path, values, mostPixels, &colors);
}

float leastCoefficient(const cv::Mat& first, const cv::Mat& second) {
    const LikenessCoefficients coefficients = compare(analyze(first), analyze(second));
    return std::min({coefficients.brightness, coefficients.lightness, coefficients.chroma, coefficients.colorfulness,
                     coefficients.saturation});
}

void expectCutOffIsTold(const std::string& path) {
    const std::string bytes = contentOf(path);
    const std::string cut = "cut_" + path;
    std::ofstream(cut, std::ios::binary) << bytes.substr(0, bytes.size() / 2);
    const PhotographRead read = readColors(cut);
    EXPECT_TRUE(read.bgr.empty());
    EXPECT_NE(read.problem.find("cut off"), std::string::npos) << read.problem;
}

void expectLimitHolds(const std::string& path) {
    const std::string problem = readColors(path, {}, PhotographValues::stored, 90 * 70 - 1).problem;
    EXPECT_EQ(problem, ": it is 90 x 70 pixels, and the limit (--max-pixels) is 6299 in all");
    EXPECT_EQ(readColors(path, {}, PhotographValues::stored, 90 * 70).problem, "");
}

TEST(FormatModules, LosslessAvifHasThePixelsOfItsSource) {
    const ScratchDirectory scratch;
    cv::imwrite("a.png", smallPhotograph());
    REQUIRE_TOOL("heif", {"avifenc", "--lossless", "a.png", "a.avif"}, "a.avif");
    const PhotographRead read = readPhotograph("a.avif");
    EXPECT_MAT_EQUAL(read.bgr, smallPhotograph());
    EXPECT_EQ(read.bits, 8);
    expectCutOffIsTold("a.avif");
    expectLimitHolds("a.avif");
}

TEST(FormatModules, DeepAvifUsesTheWholeRange) {
    const ScratchDirectory scratch;
    cv::imwrite("a.png", deepPhotograph());
    REQUIRE_TOOL("heif",
                 {"avifenc", "-d", "10", "-y", "444", "--min", "0", "--max", "0", "--cicp", "1/13/0", "-r", "full",
                  "a.png", "a.avif"},
                 "a.avif");
    const PhotographRead read = readColors("a.avif");
    ASSERT_EQ(read.problem, "");
    EXPECT_EQ(read.bits, 10);
    // Rounding to 10 bits and back; the coder's own loss is below a step of them.
    EXPECT_MAT_NEAR(toUnit(read.bgr), toUnit(deepPhotograph()), Tolerance{.absolute = 2.0 / 1023});
}

TEST(FormatModules, AvifOfHighDynamicRangeIsItsLight) {
    const ScratchDirectory scratch;
    cv::imwrite("a.png", deepPhotograph());
    for (const auto& [points, light] : {std::pair("9/16/9", LightCurve::pq), std::pair("9/18/9", LightCurve::hlg)}) {
        REQUIRE_TOOL("heif",
                     {"avifenc", "-d", "12", "-y", "444", "--min", "0", "--max", "0", "--cicp", points, "-r", "full",
                      "a.png", "a.avif"},
                     "a.avif");
        const Colorimetry wide{{0.3127, 0.3290, 0.708, 0.292, 0.170, 0.797, 0.131, 0.046}, {1}, "wide", light};
        const cv::Mat shown =
            ColorProfile::ofColorimetry(wide)->srgbFrom(displayLight(deepPhotograph(), light, wide.chromaticities));
        const PhotographRead read = readColors("a.avif");
        ASSERT_EQ(read.problem, "");
        ASSERT_EQ(read.bgr.depth(), CV_32F);
        // The curve is steep: a step of 12 bits is up to some per cent of the light.
        EXPECT_LT(cv::norm(read.bgr, shown, cv::NORM_L1) / static_cast<double>(3 * shown.total()), 0.01);
        const PhotographRead asNumbers = readPhotograph("a.avif");
        EXPECT_EQ(asNumbers.remarks.back(),
                  "it is encoded for high dynamic range, and its numbers are taken for those of sRGB");
    }
}

/// The same file without what its boxes tell of colours.
std::string withoutColorBoxes(std::string bytes) {
    for (std::size_t box = bytes.find("colrnclx"); box != std::string::npos; box = bytes.find("colrnclx")) {
        bytes.replace(box, 4, "skip");
    }
    return bytes;
}

TEST(FormatModules, ColorsThatOnlyTheStreamOfAnAvifTellsAreTaken) {
    const ScratchDirectory scratch;
    cv::imwrite("a.png", examplePhotograph("cat.jpg")(cv::Rect(100, 60, 128, 128)));
    // A plain picture, one with 10 bits, and one of four tiles.
    for (const std::vector<std::string>& variant :
         {std::vector<std::string>{}, {"-d", "10", "-y", "444"}, {"--grid", "2x2"}}) {
        std::vector<std::string> command{"avifenc", "--cicp", "12/13/1", "--min", "0", "--max", "0"};
        command.insert(command.end(), variant.begin(), variant.end());
        command.insert(command.end(), {"a.png", "a.avif"});
        REQUIRE_TOOL("heif", command, "a.avif");
        const std::string bytes = contentOf("a.avif");
        ASSERT_NE(bytes.find("colrnclx"), std::string::npos);
        std::ofstream("b.avif", std::ios::binary) << withoutColorBoxes(bytes);
        const cv::Mat told = readColors("a.avif").bgr;
        EXPECT_EQ(told.depth(), CV_32F);  // converted from Display P3
        const PhotographRead read = readColors("b.avif");
        EXPECT_TRUE(read.remarks.empty());
        EXPECT_MAT_EQUAL(read.bgr, told);
        EXPECT_TRUE(readColors("a.avif").remarks.empty());
        // Of the stream of a file that is damaged there nothing is said.
        std::string damaged = withoutColorBoxes(bytes);
        // A temporal delimiter and the sequence header behind it; of tiles the first stream is not the first of the data.
        const std::size_t stream = damaged.find(std::string("\x12\0\x0A", 3), damaged.rfind("mdat"));
        ASSERT_NE(stream, std::string::npos);
        damaged[stream] = '\x7F';
        std::ofstream("c.avif", std::ios::binary) << damaged;
        const PhotographRead unsaid = readColors("c.avif");
        EXPECT_TRUE(!unsaid.problem.empty() || !unsaid.remarks.empty());
    }
}

TEST(FormatModules, AnAvifWithoutColorsIsTakenForSrgbAndToldOf) {
    const ScratchDirectory scratch;
    cv::imwrite("a.png", smallPhotograph());
    REQUIRE_TOOL("heif", {"avifenc", "--cicp", "2/2/2", "a.png", "a.avif"}, "a.avif");
    std::ofstream("b.avif", std::ios::binary) << withoutColorBoxes(contentOf("a.avif"));
    const PhotographRead read = readColors("b.avif");
    ASSERT_EQ(read.problem, "");
    EXPECT_EQ(read.bgr.depth(), CV_8U);
    ASSERT_EQ(read.remarks.size(), 1U);
    EXPECT_EQ(read.remarks[0], "neither a box (colr) nor its stream tells its colours: they are taken for sRGB");
}

TEST(FormatModules, HeicOfTenBitsUsesTheWholeRange) {
    const ScratchDirectory scratch;
    cv::imwrite("a.png", deepPhotograph());
    REQUIRE_TOOL("heif", {"heif-enc", "-q", "98", "-p", "chroma=444", "-b", "10", "a.png", "-o", "a.heic"}, "a.heic");
    const PhotographRead read = readColors("a.heic");
    ASSERT_EQ(read.problem, "");
    EXPECT_EQ(read.bits, 10);
    ASSERT_EQ(read.bgr.depth(), CV_16U);
    double greatest = 0;
    cv::minMaxLoc(read.bgr.reshape(1), nullptr, &greatest);
    EXPECT_GT(greatest, 32768);  // whether it were taken for ten bits of sixteen
    EXPECT_GE(leastCoefficient(toUnit(read.bgr), smallPhotograph()), 0.9F);
}

TEST(FormatModules, HeicIsReadAsItsReferenceDecoderReadsIt) {
    const ScratchDirectory scratch;
    cv::imwrite("a.png", smallPhotograph());
    REQUIRE_TOOL("heif", {"heif-enc", "-q", "90", "a.png", "-o", "a.heic"}, "a.heic");
    ASSERT_TRUE(made({"heif-convert", "a.heic", "b.png"}, "b.png"));
    EXPECT_MAT_EQUAL(readPhotograph("a.heic").bgr, cv::imread("b.png"));
    expectCutOffIsTold("a.heic");
    expectLimitHolds("a.heic");
}

TEST(FormatModules, PicturesWithALongSideAreRead) {
    const ScratchDirectory scratch;
    for (const cv::Size& size : {cv::Size(9001, 40), cv::Size(40, 9001)}) {
        cv::Mat stretched;
        cv::resize(smallPhotograph(), stretched, size);
        cv::imwrite("a.png", stretched);
        REQUIRE_TOOL("heif", {"avifenc", "--lossless", "-s", "10", "a.png", "a.avif"}, "a.avif");
        EXPECT_MAT_EQUAL(readPhotograph("a.avif").bgr, stretched);
        REQUIRE_TOOL("heif", {"heif-enc", "-q", "90", "a.png", "-o", "a.heic"}, "a.heic");
        ASSERT_TRUE(made({"heif-convert", "a.heic", "b.png"}, "b.png"));
        EXPECT_MAT_EQUAL(readPhotograph("a.heic").bgr, cv::imread("b.png"));
    }
    // Of tiles.
    cv::Mat tiled;
    cv::resize(smallPhotograph(), tiled, cv::Size(9088, 128));
    cv::imwrite("a.png", tiled);
    REQUIRE_TOOL("heif", {"avifenc", "--lossless", "-s", "10", "--grid", "2x1", "a.png", "a.avif"}, "a.avif");
    EXPECT_MAT_EQUAL(readPhotograph("a.avif").bgr, tiled);
}

TEST(FormatModules, APartFarLargerThanItsPictureIsRefused) {
    if (!isModuleBuilt("heif")) {
        SKIP_WITHOUT_PACKAGE("the module heif was not built: its library is not installed");
    }
    const PhotographRead read = readColors(LIKENESS_FUZZ_CORPUS "/heif/overlay_of_gigabytes");
    EXPECT_TRUE(read.bgr.empty());
    EXPECT_NE(read.problem.find("exceeds"), std::string::npos) << read.problem;
    EXPECT_EQ(read.problem.find('\n'), std::string::npos) << read.problem;
}

TEST(FormatModules, LayersOfOpenExr) {
    if (!isModuleBuilt("openexr")) {
        SKIP_WITHOUT_PACKAGE("the module openexr was not built: its library is not installed");
    }
    const ScratchDirectory scratch;
    const cv::Mat main = toUnit(smallPhotograph());
    const cv::Mat left = toUnit(examplePhotograph("coffee.jpg")(cv::Rect(0, 0, 90, 70)));
    std::ofstream("alone.exr", std::ios::binary) << layeredExr({{"", main}});
    std::ofstream("left.exr", std::ios::binary) << layeredExr({{"", left}});
    std::ofstream("both.exr", std::ios::binary) << layeredExr({{"", main}, {"left", left}});
    const cv::Mat alone = readColors("alone.exr").bgr;
    ASSERT_EQ(alone.depth(), CV_32F);
    // Linear values, encoded: back they are those of the file.
    EXPECT_MAT_NEAR(linearBgrFromBgr(alone), main, Tolerance{.absolute = 1e-6});
    const PhotographRead whole = readColors("both.exr");
    EXPECT_MAT_EQUAL(whole.bgr, alone);
    ASSERT_EQ(whole.remarks.size(), 1U);
    EXPECT_NE(whole.remarks[0].find("its main layer is taken"), std::string::npos) << whole.remarks[0];
    ProfileChoice choice;
    choice.selection.layer = "left";
    const PhotographRead chosen = readColors("both.exr", choice);
    EXPECT_MAT_EQUAL(chosen.bgr, readColors("left.exr").bgr);
    EXPECT_TRUE(chosen.remarks.empty());
    choice.selection.layer = "right";
    EXPECT_NE(readColors("both.exr", choice).problem.find("it has no layer 'right'"), std::string::npos);
}

TEST(FormatModules, AHeicWhoseContentIsFarLargerThanItSaysIsRefused) {
    if (!isModuleBuilt("heif")) {
        SKIP_WITHOUT_PACKAGE("the module heif is not installed");
    }
    const PhotographRead read = readColors(LIKENESS_FUZZ_CORPUS "/heif/larger_than_it_says.heic");
    EXPECT_TRUE(read.bgr.empty());
    EXPECT_EQ(read.problem, ": its header tells of 24 x 16 pixels, and its content has 6144 x 6144");
}

TEST(FormatModules, LosslessJpegXlHasThePixelsOfItsSource) {
    const ScratchDirectory scratch;
    for (const cv::Mat& image : {smallPhotograph(), deepPhotograph()}) {
        cv::imwrite("a.png", image);
        REQUIRE_TOOL("jxl", {"cjxl", "-d", "0", "a.png", "a.jxl"}, "a.jxl");
        const PhotographRead read = readColors("a.jxl");
        EXPECT_MAT_EQUAL(read.bgr, image);
        EXPECT_EQ(read.bits, image.depth() == CV_8U ? 8 : 16);
    }
    expectCutOffIsTold("a.jxl");
    expectLimitHolds("a.jxl");
}

TEST(FormatModules, LossyJpegXlIsReadAsItsReferenceDecoderReadsIt) {
    const ScratchDirectory scratch;
    cv::imwrite("a.png", smallPhotograph());
    REQUIRE_TOOL("jxl", {"cjxl", "-d", "1", "a.png", "a.jxl"}, "a.jxl");
    ASSERT_TRUE(made({"djxl", "a.jxl", "b.png"}, "b.png"));
    // The two round differently where the decoder works in float.
    EXPECT_MAT_NEAR(toUnit(readColors("a.jxl").bgr), toUnit(cv::imread("b.png")), Tolerance{.absolute = 1.01 / 255});
}

TEST(FormatModules, AGifIsItsFirstFrame) {
    const ScratchDirectory scratch;
    cv::Mat few = smallPhotograph() / 64 * 64;
    cv::imwrite("a.png", few);
    cv::imwrite("b.png", cv::Mat(few.size(), few.type(), cv::Scalar(1, 2, 3)));
    REQUIRE_TOOL("gif", {"convert", "a.png", "b.png", "-interlace", "GIF", "a.gif"}, "a.gif");
    ASSERT_TRUE(made({"convert", "a.gif[0]", "reference.png"}, "reference.png"));
    const PhotographRead read = readColors("a.gif");
    EXPECT_MAT_EQUAL(read.bgr, cv::imread("reference.png"));
    ASSERT_EQ(read.remarks.size(), 1U);
    EXPECT_EQ(read.remarks[0], "the first frame of a GIF is taken, without transparency");
    expectCutOffIsTold("a.gif");
    expectLimitHolds("a.gif");
}

TEST(FormatModules, ThePictureOfAPhotoshopDocument) {
    const ScratchDirectory scratch;
    for (const cv::Mat& image : {smallPhotograph(), deepPhotograph()}) {
        for (const char* const compression : {"None", "RLE"}) {
            cv::imwrite("a.png", image);
            if (!made({"convert", "a.png", "-compress", compression, "a.psd"}, "a.psd")) {
                SKIP_WITHOUT_PACKAGE("ImageMagick is not installed");
            }
            EXPECT_MAT_EQUAL(readColors("a.psd").bgr, image);
        }
    }
    expectCutOffIsTold("a.psd");
    expectLimitHolds("a.psd");
}

TEST(FormatModules, PagesTilesAndDepthsOfTiff) {
    const ScratchDirectory scratch;
    cv::imwrite("a.png", smallPhotograph());
    cv::imwrite("b.png", deepPhotograph());
    REQUIRE_TOOL("tiff", {"convert", "b.png", "a.png", "-compress", "zip", "a.tif"}, "a.tif");
    EXPECT_MAT_EQUAL(readColors("a.tif").bgr, deepPhotograph());
    ASSERT_EQ(readColors("a.tif").remarks.size(), 1U);
    EXPECT_EQ(readColors("a.tif").remarks[0], "the first of its 2 pages is taken; --page takes another");
    ProfileChoice second;
    second.selection.page = 2;
    EXPECT_MAT_EQUAL(readColors("a.tif", second).bgr, smallPhotograph());
    second.selection.page = 3;
    EXPECT_EQ(readColors("a.tif", second).problem, ": it has 2 pages, and --page asks for number 3");
    EXPECT_EQ(readColors("a.png", second).problem, ": --page: PNG is read without pages");

    // The same page in tiles, by planes, as doubles and with 12 bits.
    const std::vector<std::vector<std::string>> variants = {
        {"-define", "tiff:tile-geometry=32x16"},
        {"-interlace", "plane"},
        {"-define", "quantum:format=floating-point", "-depth", "64"},
        {"-depth", "12"},
        {"-depth", "32"}};
    for (const std::vector<std::string>& variant : variants) {
        SCOPED_TRACE(variant.back());
        std::vector<std::string> command{"convert", "b.png", "b.png"};
        command.insert(command.end(), variant.begin(), variant.end());
        command.emplace_back("v.tif");
        ASSERT_TRUE(made(command, "v.tif"));
        second.selection.page = 2;
        const PhotographRead read = readColors("v.tif", second);
        ASSERT_EQ(read.problem, "");
        ASSERT_TRUE(made({"convert", "v.tif[1]", "-depth", "16", "reference.png"}, "reference.png"));
        const cv::Mat reference = cv::imread("reference.png", cv::IMREAD_COLOR | cv::IMREAD_ANYDEPTH);
        EXPECT_MAT_NEAR(toUnit(read.bgr), toUnit(reference), Tolerance{.absolute = 1.01 / 65535});
    }
}

/// What the first pixel of a made TIFF is read as: R, G, B.
cv::Vec3d firstPixel(const std::vector<std::uint64_t>& values, int bits, std::uint64_t format,
                     const TiffLayout& layout) {
    std::ofstream("a.tif", std::ios::binary) << madeTiff(values, bits, format, layout);
    const PhotographRead read = readColors("a.tif");
    EXPECT_EQ(read.problem, "");
    if (read.bgr.empty()) {
        return cv::Vec3d::all(-1);
    }
    const cv::Vec3f bgr = toUnit(read.bgr).at<cv::Vec3f>(0, 0);
    return {static_cast<double>(bgr[2]), static_cast<double>(bgr[1]), static_cast<double>(bgr[0])};
}

TEST(FormatModules, WhatTheImageLibraryMisreadsOfATiffIsReadRight) {
    if (!isModuleBuilt("tiff")) {
        SKIP_WITHOUT_PACKAGE("the module tiff was not built: its library is not installed");
    }
    const ScratchDirectory scratch;
    const auto expectPixel = [](const cv::Vec3d& found, const cv::Vec3d& expected) {
        EXPECT_LE(cv::norm(found, expected, cv::NORM_INF), 1e-6) << found << expected;
    };
    const std::uint64_t one = 0x3F800000;
    const std::uint64_t half = 0x3F000000;
    const std::uint64_t quarter = 0x3E800000;
    for (const bool bigEndian : {false, true}) {
        SCOPED_TRACE(bigEndian);
        // Two pixels, plane by plane: they were black.
        TiffLayout planes{bigEndian, false, 3, true, 2, 0};
        expectPixel(firstPixel({65535, 0, 13107, 0, 0, 0}, 16, 1, planes), {1, 0.2, 0});
        expectPixel(firstPixel({half, 0, one, 0, quarter, 0}, 32, 3, planes), {0.5, 1, 0.25});
        // White is 0: it was black.
        expectPixel(firstPixel({13107, 0}, 16, 1, {bigEndian, false, 1, false, 0, 0}), cv::Vec3d::all(0.8));
        // Grey with alpha: it had 8 bits.
        expectPixel(firstPixel({257 * 3 + 100, 65535, 0, 0}, 16, 1, {bigEndian, false, 2, false, 1, 2}),
                    cv::Vec3d::all((257 * 3 + 100) / 65535.0));
        // Colours beside alpha are those of the file: they were multiplied by it, or refused.
        const TiffLayout alpha{bigEndian, false, 4, false, 2, 2};
        expectPixel(firstPixel({255, 51, 102, 128}, 8, 1, alpha), {1, 0.2, 0.4});
        expectPixel(firstPixel({half, one, quarter, half}, 32, 3, alpha), {0.5, 1, 0.25});
    }
}

TEST(FormatModules, TagsThatTellTheColoursOfATiffCountInEveryLayout) {
    if (!isModuleBuilt("tiff")) {
        SKIP_WITHOUT_PACKAGE("the module tiff was not built: its library is not installed");
    }
    const ScratchDirectory scratch;
    const std::vector<std::uint64_t> rows{0, 0, 65535, 65535, 0, 0};
    const auto read = [&](bool planes, bool primaries) {
        TiffLayout layout{false, false, 3, planes, 2, 0, primaries};
        std::ofstream("a.tif", std::ios::binary) << madeTiff(rows, 16, 1, layout);
        const PhotographRead photograph = readColors("a.tif");
        EXPECT_EQ(photograph.problem, "");
        return toUnit(photograph.bgr).clone();
    };
    // Planes: two green pixels; beside each other: one blue, one red.
    const cv::Mat srgb = read(true, false);
    const cv::Mat adobe = read(true, true);
    EXPECT_EQ(srgb.at<cv::Vec3f>(0), cv::Vec3f(0, 1, 0));
    EXPECT_LT(adobe.at<cv::Vec3f>(0)[2], -0.1F) << "no red of sRGB is as little as this green's";
    EXPECT_LT(read(false, true).at<cv::Vec3f>(1)[1], 0.01F);
}

TEST(FormatModules, AnAlphaChannelOfATiffIsToldOfWhereItIsNotOpaque) {
    if (!isModuleBuilt("tiff")) {
        SKIP_WITHOUT_PACKAGE("the module tiff was not built: its library is not installed");
    }
    const ScratchDirectory scratch;
    const TiffLayout alpha{false, false, 4, false, 2, 2};
    std::ofstream("opaque.tif", std::ios::binary) << madeTiff({1, 2, 3, 255, 4, 5, 6, 255}, 8, 1, alpha);
    EXPECT_TRUE(readColors("opaque.tif").remarks.empty());
    std::ofstream("half.tif", std::ios::binary) << madeTiff({1, 2, 3, 255, 4, 5, 6, 127}, 8, 1, alpha);
    ASSERT_EQ(readColors("half.tif").remarks.size(), 1U);
    EXPECT_EQ(readColors("half.tif").remarks[0], "its alpha channel is left out");
    for (const int bits : {8, 16}) {
        const TiffLayout associated{false, false, 4, false, 2, 1};
        std::ofstream("multiplied.tif", std::ios::binary)
            << madeTiff({1, 2, 3, 255, 4, 5, 6, 127}, bits, 1, associated);
        const PhotographRead read = readColors("multiplied.tif");
        ASSERT_EQ(read.remarks.size(), 1U) << bits;
        EXPECT_EQ(read.remarks[0],
                  "its alpha channel is left out, by which its colours are multiplied: they are taken as they are");
        EXPECT_EQ(read.bgr.depth(), bits == 8 ? CV_8U : CV_16U);
        // As bytes it is what the image library makes of it.
        EXPECT_MAT_EQUAL(readPhotograph("multiplied.tif").bgr, cv::imread("multiplied.tif"));
    }
}

TEST(FormatModules, ATiffOfCieLabIsRefused) {
    if (!isModuleBuilt("tiff")) {
        SKIP_WITHOUT_PACKAGE("the module tiff was not built: its library is not installed");
    }
    const ScratchDirectory scratch;
    for (std::uint64_t photometric = 8; photometric <= 10; ++photometric) {
        for (const int bits : {8, 16}) {
            std::ofstream("a.tif", std::ios::binary)
                << madeTiff({1, 2, 3, 4, 5, 6}, bits, 1, {false, false, 3, false, photometric, 0});
            EXPECT_EQ(readColors("a.tif").problem, ": its values are CIE L*a*b*, which is not read");
            EXPECT_MAT_EQUAL(readPhotograph("a.tif").bgr, cv::imread("a.tif"));
        }
    }
}

TEST(FormatModules, ValuesOfATiffThatAreNotReadAreRefused) {
    if (!isModuleBuilt("tiff")) {
        SKIP_WITHOUT_PACKAGE("the module tiff was not built: its library is not installed");
    }
    const ScratchDirectory scratch;
    const auto expectRefused = [](int bits, std::uint64_t format, const TiffLayout& layout, const std::string& why) {
        std::ofstream("a.tif", std::ios::binary)
            << madeTiff({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, bits, format, layout);
        EXPECT_EQ(readColors("a.tif").problem, ": " + why) << bits << ' ' << format;
    };
    const TiffLayout colors{false, false, 3, false, 2, 0};
    expectRefused(8, 2, colors, "its values are signed integers, which are not read");
    expectRefused(16, 2, colors, "its values are signed integers, which are not read");
    expectRefused(16, 1, {false, false, 4, false, 5, 0}, "it holds inks (CMYK) of 16 bits, which are not read");
}

TEST(FormatModules, WideIntegersOfATiffAreNotCutToSixteenBits) {
    if (!isModuleBuilt("tiff")) {
        SKIP_WITHOUT_PACKAGE("the module tiff was not built: its library is not installed");
    }
    const ScratchDirectory scratch;
    // Neighbours that 16 bits do not tell apart, and the ends.
    const std::vector<std::uint64_t> values{0, 0x80000000, 0x80000100, 0x80000200, 0x80000300, 0xFFFFFFFF};
    for (const bool bigEndian : {false, true}) {
        for (const bool wide : {false, true}) {
            for (const int bits : {32, 64}) {
                SCOPED_TRACE(std::to_string(bits) + (bigEndian ? " MM" : " II") + (wide ? " BigTIFF" : ""));
                std::vector<std::uint64_t> stored = values;
                for (std::uint64_t& value : stored) {
                    value = bits == 64 ? value << 32 | value : value;
                }
                std::ofstream("a.tif", std::ios::binary) << madeTiff(stored, bits, 1, {bigEndian, wide});
                const PhotographRead read = readColors("a.tif");
                ASSERT_EQ(read.problem, "");
                ASSERT_EQ(read.bgr.type(), CV_32FC3);
                for (std::size_t k = 0; k < values.size(); ++k) {
                    const double expected = static_cast<double>(values[k]) / 4294967295.0;
                    EXPECT_NEAR(static_cast<double>(read.bgr.at<cv::Vec3f>(0, static_cast<int>(k))[1]), expected, 6e-8);
                }
            }
        }
    }
}

TEST(FormatModules, FloatsOfATiffAreTakenInEitherOrderOfBytes) {
    const ScratchDirectory scratch;
    const std::vector<std::uint64_t> values{0x3F800000, 0x3F000000, 0x7FC00000, 0x7F800000};  // 1, 0.5, NaN, infinity
    for (const bool bigEndian : {false, true}) {
        std::ofstream("a.tif", std::ios::binary) << madeTiff(values, 32, 3, {bigEndian, false});
        const PhotographRead read = readColors("a.tif");
        ASSERT_EQ(read.problem, "");
        ASSERT_EQ(read.bgr.type(), CV_32FC3);
        EXPECT_EQ(read.bgr.at<cv::Vec3f>(0, 0), cv::Vec3f::all(1));
        EXPECT_EQ(read.bgr.at<cv::Vec3f>(0, 1), cv::Vec3f::all(0.5F));
        EXPECT_TRUE(std::isnan(read.bgr.at<cv::Vec3f>(0, 2)[0]));
        EXPECT_TRUE(std::isinf(read.bgr.at<cv::Vec3f>(0, 3)[2]));
    }
}

TEST(FormatModules, PagesOfFormatsWithoutThemAreRefused) {
    const ScratchDirectory scratch;
    ProfileChoice second;
    second.selection.page = 2;
    const std::string gif("GIF89a\x01\0\x01\0\x80\0\0\0\0\0\xFF\xFF\xFF\x2C\0\0\0\0\x01\0\x01\0\0\x02\x02\x44\x01\0;",
                          35);
    std::ofstream("a.gif", std::ios::binary) << gif;
    EXPECT_EQ(readColors("a.gif", second).problem, ": --page: GIF is read without pages");
    cv::imwrite("a.jpg", smallPhotograph());
    EXPECT_EQ(readColors("a.jpg", second).problem, ": --page: JPEG is read without pages");
}

/// Linear values of a photograph.
cv::Mat linearPhotograph() {
    cv::Mat linear = toUnit(smallPhotograph()).clone();
    for (auto value = linear.begin<cv::Vec3f>(); value != linear.end<cv::Vec3f>(); ++value) {
        for (int c = 0; c < 3; ++c) {
            const float x = (*value)[c];
            (*value)[c] = x <= 0.04045F ? x / 12.92F : std::pow((x + 0.055F) / 1.055F, 2.4F);
        }
    }
    return linear;
}

TEST(LinearPhotographs, OfEveryFormatLookLikeTheirEncodedTwin) {
    const ScratchDirectory scratch;
    const cv::Mat encoded = toUnit(smallPhotograph());
    cv::imwrite("a.pfm", linearPhotograph());
    cv::imwrite("a.hdr", linearPhotograph());
    cv::imwrite("a.tif", encoded, {cv::IMWRITE_TIFF_COMPRESSION, 5});
    const cv::Mat pfm = readColors("a.pfm").bgr;
    EXPECT_MAT_NEAR(pfm, encoded, Tolerance{.absolute = 2e-6});
    EXPECT_TRUE(readColors("a.pfm").linear);
    EXPECT_MAT_EQUAL(readColors("a.tif").bgr, encoded);
    EXPECT_GE(leastCoefficient(pfm, readColors("a.tif").bgr), 0.9999F);
    // Radiance files share one exponent: 1/256 of the greatest channel.
    EXPECT_GE(leastCoefficient(pfm, readColors("a.hdr").bgr), 0.99F);
    EXPECT_GE(leastCoefficient(pfm, smallPhotograph()), 0.999F);
    if (isModuleBuilt("openexr")) {
        cv::imwrite("a.exr", linearPhotograph());
        EXPECT_MAT_EQUAL(readColors("a.exr").bgr, pfm);
        expectCutOffIsTold("a.exr");
        expectLimitHolds("a.exr");
    }
}

TEST(LinearPhotographs, AnExposureMultipliesTheirValues) {
    const ScratchDirectory scratch;
    cv::imwrite("half.pfm", cv::Mat(linearPhotograph() * 0.5));
    cv::imwrite("whole.pfm", linearPhotograph());
    ProfileChoice choice;
    choice.exposure = 1;
    EXPECT_MAT_EQUAL(readColors("half.pfm", choice).bgr, readColors("whole.pfm").bgr);
    ManagedColors colors(choice);
    readPhotograph("half.pfm", PhotographValues::stored, usualMostPixels, &colors);
    EXPECT_EQ(colors.use().remark(), "its linear values are encoded for sRGB at an exposure of +1 EV");
    // Encoded floats have no exposure.
    cv::imwrite("a.tif", toUnit(smallPhotograph()), {cv::IMWRITE_TIFF_COMPRESSION, 5});
    EXPECT_MAT_EQUAL(readColors("a.tif", choice).bgr, toUnit(smallPhotograph()));
}

/// A Radiance file with more lines in its header.
void writeRadiance(const std::string& path, const std::string& lines) {
    std::string bytes = contentOf("a.hdr");
    bytes.insert(bytes.find('\n') + 1, lines);
    std::ofstream(path, std::ios::binary) << bytes;
}

/// The first value, linear.
cv::Vec3f linearPixel(const cv::Mat& bgr) {
    cv::Vec3f linear;
    for (int c = 0; c < 3; ++c) {
        linear[c] = sRGBInverseCompanding(bgr.at<cv::Vec3f>(0, 0)[c]);
    }
    return linear;
}

TEST(LinearPhotographs, AbsoluteLuminanceOfARadianceFileIsTakenUnderTheWhite) {
    const ScratchDirectory scratch;
    cv::imwrite("a.hdr", cv::Mat(4, 5, CV_32FC3, cv::Scalar(0.25, 0.5, 0.125)));
    writeRadiance("absolute.hdr", "EXPOSURE=2\nEXPOSURE= 4\nCOLORCORR= 1 1 0.5\n");
    ProfileChoice choice;
    const cv::Vec3f plain = linearPixel(readColors("a.hdr").bgr);
    EXPECT_EQ(linearPixel(readColors("absolute.hdr").bgr), plain);  // nobody says what white is
    choice.whiteLuminance = 358;
    // 179 lm/W over an exposure of 8, and over 358: by hand.
    const cv::Vec3f seen = linearPixel(readColors("absolute.hdr", choice).bgr);
    EXPECT_NEAR(seen[0], plain[0] / 8, 1e-6);
    EXPECT_NEAR(seen[1], plain[1] / 16, 1e-6);
    EXPECT_NEAR(seen[2], plain[2] / 16, 1e-6);
    EXPECT_EQ(linearPixel(readColors("a.hdr", choice).bgr), plain);
    ManagedColors colors(choice);
    readPhotograph("a.hdr", PhotographValues::stored, usualMostPixels, &colors);
    EXPECT_EQ(colors.use().remark(),
              "its linear values are encoded for sRGB at an exposure of 0 EV; it says no luminance, and its 1 is taken "
              "for the white of 358 cd/m2");
    writeRadiance("none.hdr", "EXPOSURE=none\n");
    EXPECT_EQ(linearPixel(readColors("none.hdr", choice).bgr), plain);
}

TEST(LinearPhotographs, AbsoluteLuminanceOfOpenExrIsTakenUnderTheWhite) {
    if (!isModuleBuilt("openexr")) {
        SKIP_WITHOUT_PACKAGE("the module openexr was not built: its library is not installed");
    }
    const ScratchDirectory scratch;
    cv::imwrite("a.exr", linearPhotograph());
    REQUIRE_TOOL("openexr", {"exrstdattr", "-whiteLuminance", "250", "a.exr", "b.exr"}, "b.exr");
    ProfileChoice choice;
    choice.whiteLuminance = 500;
    const cv::Mat whole = readColors("a.exr").bgr;
    EXPECT_MAT_EQUAL(readColors("b.exr").bgr, whole);
    EXPECT_MAT_EQUAL(readColors("a.exr", choice).bgr, whole);
    ProfileChoice half;
    half.exposure = -1;
    EXPECT_MAT_EQUAL(readColors("b.exr", choice).bgr, readColors("a.exr", half).bgr);
    ManagedColors colors(choice);
    readPhotograph("b.exr", PhotographValues::stored, usualMostPixels, &colors);
    EXPECT_EQ(colors.use().remark(),
              "its linear values are encoded for sRGB at an exposure of 0 EV; it says that its 1 is 250 cd/m2, and 500 "
              "cd/m2 is taken for white");
}

TEST(LinearPhotographs, PrimariesOfARadianceFileAreConverted) {
    const ScratchDirectory scratch;
    cv::imwrite("a.hdr", cv::Mat(4, 5, CV_32FC3, cv::Scalar(0, 0, 1)));
    std::string bytes = contentOf("a.hdr");
    const std::size_t line = bytes.find('\n') + 1;
    bytes.insert(line, "PRIMARIES= 0.708 0.292 0.170 0.797 0.131 0.046 0.3127 0.3290\n");
    std::ofstream("wide.hdr", std::ios::binary) << bytes;
    // Red of BT.2020 lies outside sRGB: BT.2087, table of the inverse of its matrix.
    const cv::Vec3f red = readColors("wide.hdr").bgr.at<cv::Vec3f>(1, 1);
    EXPECT_GT(red[2], 1.2F);
    EXPECT_LT(red[1], 0.0F);
    EXPECT_LT(red[0], 0.0F);
}

TEST(FormatModules, AJpeg2000ThatIsCutOffIsRefused) {
    const ScratchDirectory scratch;
    ASSERT_TRUE(cv::imwrite("a.jp2", examplePhotograph("cat.jpg")(cv::Rect(100, 60, 128, 96))));
    expectCutOffIsTold("a.jp2");
    const std::string bytes = contentOf("a.jp2");
    std::ofstream("a.j2k", std::ios::binary) << bytes.substr(bytes.find("jp2c") + 4);
    EXPECT_MAT_EQUAL(readColors("a.j2k").bgr, readColors("a.jp2").bgr);
    expectCutOffIsTold("a.j2k");
}

TEST(DeepPhotographs, ScoreAsTheirEightBitTwins) {
    const ScratchDirectory scratch;
    const cv::Mat bytes = examplePhotograph("coffee.jpg");
    cv::Mat words;
    bytes.convertTo(words, CV_16U, 257);
    cv::imwrite("a.png", words);
    const cv::Mat read = readColors("a.png", {}, PhotographValues::bytesOrFloats).bgr;
    EXPECT_EQ(read.depth(), CV_32F);
    EXPECT_GE(leastCoefficient(read, bytes), 0.999F);
}

TEST(DeepPhotographs, TenBitsInSixteenAreNotDark) {
    const ScratchDirectory scratch;
    std::ofstream("a.pgm", std::ios::binary) << "P5\n2 1\n1023\n" << std::string("\x03\xFF\x02\x00", 4);
    const cv::Mat read = readColors("a.pgm", {}, PhotographValues::bytesOrFloats).bgr;
    ASSERT_EQ(read.size(), cv::Size(2, 1));
    EXPECT_NEAR(toUnit(read).at<cv::Vec3f>(0, 0)[0], 1, 1e-6);
    EXPECT_NEAR(toUnit(read).at<cv::Vec3f>(0, 1)[0], 512.0 / 1023, 1e-5);
}

}  // namespace
}  // namespace likeness::testing
