// Alpha channels of every format that has one, against that of the PNG that the file was made of.
#include "photofile/counted_part.hpp"

#include "files/refusal.hpp"
#include "photofile/managed_colors.hpp"
#include "photofile/photograph_reader.hpp"
#include "support/layered_exr.hpp"
#include "support/made_by_tool.hpp"
#include "support/made_tiff.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <cmath>
#include <cstring>
#include <fstream>

namespace likeness::testing {
namespace {

/// 90 x 70, from transparent on the left to opaque on the right.
cv::Mat transparentPhotograph(int depth) {
    const cv::Mat bytes = examplePhotograph("cat.jpg")(cv::Rect(100, 60, 90, 70));
    cv::Mat bgr;
    bytes.convertTo(bgr, depth, depth == CV_16U ? 257 : 1);
    cv::Mat alpha(bgr.size(), CV_MAKETYPE(depth, 1));
    for (int i = 0; i < alpha.rows; ++i) {
        for (int j = 0; j < alpha.cols; ++j) {
            const int opaque = std::min(255, 3 * j + i % 3);
            depth == CV_16U ? alpha.at<ushort>(i, j) = static_cast<ushort>(opaque * 257)
                            : alpha.at<uchar>(i, j) = static_cast<uchar>(opaque);
        }
    }
    cv::Mat bgra;
    cv::merge(std::vector<cv::Mat>{bgr, alpha}, bgra);
    return bgra;
}

/// A photograph of which the transparent counts less, or laid over a colour.
struct Part {
    cv::Mat bgr;
    PixelWeights weights;
};

Part partOf(const std::string& path, AlphaChoice::Use use, const PhotographSelection& selection = {}) {
    ProfileChoice profiles;
    profiles.selection = selection;
    profiles.selection.usesAlpha = true;
    ManagedColors colors(profiles);
    PhotographRead read = readPhotograph(path, PhotographValues::bytesOrFloats, usualMostPixels, &colors);
    EXPECT_EQ(read.problem, "") << path;
    for (const std::string& remark : read.remarks) {
        EXPECT_EQ(remark.find("alpha"), std::string::npos) << path << ": " << remark;
    }
    PartChoice choice;
    choice.alpha = {use, {0.1, 0.5, 0.9}, ""};
    std::vector<std::string> remarks;
    PixelWeights weights = countedPart(path, read.bgr, choice, profiles.selection, usualMostPixels, remarks);
    return {read.bgr, weights};
}

std::string refusalOf(const std::string& path, const PhotographSelection& selection = {}) {
    try {
        partOf(path, AlphaChoice::Use::weight, selection);
    } catch (const Refusal& refusal) {
        return refusal.what();
    }
    return "";
}

/// Both ways to use the alpha channel of a file have those of a PNG.
void expectSameAs(const std::string& png, const std::string& path) {
    SCOPED_TRACE(path);
    EXPECT_MAT_EQUAL(partOf(path, AlphaChoice::Use::weight).weights.map(),
                     partOf(png, AlphaChoice::Use::weight).weights.map());
    EXPECT_MAT_EQUAL(partOf(path, AlphaChoice::Use::over).bgr, partOf(png, AlphaChoice::Use::over).bgr);
}

void writePngs() {
    cv::imwrite("a.png", transparentPhotograph(CV_8U));
    cv::imwrite("w.png", transparentPhotograph(CV_16U));
}

TEST(CountedPart, TheAlphaChannelOfATiffIsReadInAllItsLayouts) {
    const ScratchDirectory scratch;
    writePngs();
    for (const std::string png : {"a.png", "w.png"}) {
        const std::vector<std::vector<std::string>> layouts = {{"-compress", "zip"},
                                                               {"-compress", "none", "-interlace", "plane"},
                                                               {"-define", "tiff:tile-geometry=32x32"}};
        for (const std::vector<std::string>& layout : layouts) {
            std::vector<std::string> command{"convert", png, "-alpha", "set"};
            command.insert(command.end(), layout.begin(), layout.end());
            command.insert(command.end(), {"-define", "tiff:alpha=unassociated", "a.tif"});
            REQUIRE_TOOL("tiff", command, "a.tif");
            expectSameAs(png, "a.tif");
        }
        ASSERT_TRUE(made({"convert", png, "-orient", "RightTop", "-define", "tiff:alpha=unassociated", "turned.tif"},
                         "turned.tif"));
        cv::Mat turned;
        cv::rotate(partOf(png, AlphaChoice::Use::weight).weights.map(), turned, cv::ROTATE_90_CLOCKWISE);
        EXPECT_MAT_EQUAL(partOf("turned.tif", AlphaChoice::Use::weight).weights.map(), turned);
    }
}

TEST(CountedPart, APageHasAnAlphaChannelOfItsOwn) {
    const ScratchDirectory scratch;
    writePngs();
    cv::imwrite("b.png", cv::Mat(10, 12, CV_8UC3, cv::Scalar(1, 2, 3)));
    REQUIRE_TOOL("tiff", {"convert", "b.png", "a.png", "-define", "tiff:alpha=unassociated", "pages.tif"}, "pages.tif");
    PhotographSelection second;
    second.page = 2;
    EXPECT_MAT_EQUAL(partOf("pages.tif", AlphaChoice::Use::weight, second).weights.map(),
                     partOf("a.png", AlphaChoice::Use::weight).weights.map());
}

TEST(CountedPart, GreyAndFloatsHaveAlphaToo) {
    const ScratchDirectory scratch;
    if (!isModuleBuilt("tiff")) {
        SKIP_WITHOUT_PACKAGE("the module tiff is not installed");
    }
    std::ofstream("grey.tif", std::ios::binary)
        << madeTiff({10, 255, 20, 51, 30, 0}, 8, 1, {false, false, 2, false, 0, 2});
    EXPECT_MAT_EQUAL(partOf("grey.tif", AlphaChoice::Use::weight).weights.map(),
                     (cv::Mat_<ushort>(1, 3) << 65535, 13107, 0));
    const auto bits = [](float value) {
        std::uint32_t number = 0;
        std::memcpy(&number, &value, sizeof(number));
        return std::uint64_t{number};
    };
    const TiffLayout rgba{false, false, 4, true, 2, 2};
    const auto floats = [&](float third) {
        return madeTiff({bits(0.1F), bits(0.2F), bits(0.3F), bits(0.4F), bits(0.5F), bits(0.6F), bits(0.7F), bits(0.8F),
                         bits(0.9F), bits(1), bits(0.2F), bits(third)},
                        32, 3, rgba);
    };
    std::ofstream("floats.tif", std::ios::binary) << floats(0);
    EXPECT_MAT_EQUAL(partOf("floats.tif", AlphaChoice::Use::weight).weights.map(),
                     (cv::Mat_<ushort>(1, 3) << 65535, 13107, 0));
    for (const float wrong : {-0.5F, 1.5F, std::nanf("")}) {
        std::ofstream("wrong.tif", std::ios::binary) << floats(wrong);
        EXPECT_NE(refusalOf("wrong.tif").find("its alpha channel has values outside 0 to 1"), std::string::npos)
            << wrong;
    }
}

TEST(CountedPart, ColorsThatAreMultipliedByAlphaAreRefusedUnlessAllIsOpaque) {
    const ScratchDirectory scratch;
    if (!isModuleBuilt("tiff")) {
        SKIP_WITHOUT_PACKAGE("the module tiff is not installed");
    }
    const TiffLayout associated{false, false, 4, false, 2, 1};
    std::ofstream("half.tif", std::ios::binary) << madeTiff({1, 2, 3, 255, 4, 5, 6, 127}, 8, 1, associated);
    EXPECT_EQ(
        refusalOf("half.tif"),
        "--alpha: 'half.tif': its colours are multiplied by its alpha channel; convert it to a PNG with alpha, or "
        "leave out --alpha");
    std::ofstream("opaque.tif", std::ios::binary) << madeTiff({1, 2, 3, 255, 4, 5, 6, 255}, 8, 1, associated);
    EXPECT_MAT_EQUAL(partOf("opaque.tif", AlphaChoice::Use::weight).weights.map(), cv::Mat(1, 2, CV_16U, 65535));
    if (!isModuleBuilt("openexr")) {
        SKIP_WITHOUT_PACKAGE("the module openexr is not installed");
    }
    cv::Mat layer(4, 5, CV_32FC4, cv::Scalar(0.1, 0.2, 0.3, 1));
    std::ofstream("opaque.exr", std::ios::binary) << layeredExr({{"", layer}});
    EXPECT_MAT_EQUAL(partOf("opaque.exr", AlphaChoice::Use::weight).weights.map(), cv::Mat(4, 5, CV_16U, 65535));
    cv::Mat transparent = layer.clone();
    transparent.at<cv::Vec4f>(1, 1)[3] = 0.5F;
    std::ofstream("layers.exr", std::ios::binary) << layeredExr({{"", layer}, {"left", transparent}});
    EXPECT_EQ(refusalOf("layers.exr"), "");
    PhotographSelection left;
    left.layer = "left";
    EXPECT_NE(refusalOf("layers.exr", left).find("its colours are multiplied by its alpha channel"), std::string::npos);
}

TEST(CountedPart, TheAlphaChannelOfJpegXlIsRead) {
    const ScratchDirectory scratch;
    writePngs();
    for (const std::string png : {"a.png", "w.png"}) {
        REQUIRE_TOOL("jxl", {"cjxl", "-d", "0", png, "a.jxl"}, "a.jxl");
        expectSameAs(png, "a.jxl");
    }
    cv::imwrite("opaque.png", examplePhotograph("cat.jpg")(cv::Rect(0, 0, 20, 10)));
    ASSERT_TRUE(made({"cjxl", "-d", "0", "opaque.png", "opaque.jxl"}, "opaque.jxl"));
    EXPECT_TRUE(partOf("opaque.jxl", AlphaChoice::Use::weight).weights.countAll());
}

TEST(CountedPart, TheAlphaChannelOfAvifAndHeicIsRead) {
    const ScratchDirectory scratch;
    writePngs();
    REQUIRE_TOOL("heif", {"avifenc", "--lossless", "a.png", "a.avif"}, "a.avif");
    expectSameAs("a.png", "a.avif");
    REQUIRE_TOOL("heif", {"heif-enc", "-q", "95", "-p", "chroma=444", "a.png", "-o", "a.heic"}, "a.heic");
    const auto opacity = [](const std::string& path) {
        cv::Mat shares;
        partOf(path, AlphaChoice::Use::weight).weights.map().convertTo(shares, CV_32F, 1.0 / 65535);
        return shares;
    };
    EXPECT_MAT_NEAR(opacity("a.heic"), opacity("a.png"), Tolerance{.absolute = 8.0 / 255});
    cv::imwrite("opaque.png", examplePhotograph("cat.jpg")(cv::Rect(0, 0, 64, 64)));
    ASSERT_TRUE(made({"avifenc", "--lossless", "opaque.png", "opaque.avif"}, "opaque.avif"));
    EXPECT_TRUE(partOf("opaque.avif", AlphaChoice::Use::weight).weights.countAll());
}

TEST(CountedPart, WebPIsAsPng) {
    const ScratchDirectory scratch;
    writePngs();
    cv::imwrite("a.webp", transparentPhotograph(CV_8U), {cv::IMWRITE_WEBP_QUALITY, 101});
    EXPECT_MAT_EQUAL(partOf("a.webp", AlphaChoice::Use::weight).weights.map(),
                     partOf("a.png", AlphaChoice::Use::weight).weights.map());
}

}  // namespace
}  // namespace likeness::testing
