#include "photofile/color_statement.hpp"

#include "photofile/color_profile.hpp"
#include "photofile/profile_tagging.hpp"
#include "photofile/test_profiles.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <zlib.h>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <random>
#include <string>

namespace likeness::testing {
namespace {

using Bytes = std::vector<unsigned char>;

ByteSource sourceOf(const Bytes& bytes) {
    return [&bytes](std::uint64_t offset, unsigned char* to, std::size_t count) {
        const std::size_t there = offset >= bytes.size() ? 0 : std::min<std::size_t>(count, bytes.size() - offset);
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(there == 0 ? 0 : offset), there, to);
        return there;
    };
}

ColorStatement statementOf(const Bytes& bytes) {
    const ByteSource source = sourceOf(bytes);
    return readColorStatement(source, readImageHeader(source).format);
}

cv::Mat picture() {
    return randomPhotograph({31, 17}, 5);
}

Bytes encoded(const char* extension, const cv::Mat& image = picture()) {
    Bytes bytes;
    cv::imencode(extension, image, bytes);
    return bytes;
}

/// A profile that fills three chunks of a JPEG: what stands there is not looked into here.
Bytes longProfile() {
    Bytes icc(150'000);
    std::mt19937 random(3);
    std::generate(icc.begin(), icc.end(), [&random] { return static_cast<unsigned char>(random()); });
    return icc;
}

Bytes jpegWithChunks(const std::vector<std::pair<int, Bytes>>& chunks, int count) {
    Bytes jpeg = encoded(".jpg");
    Bytes segments;
    for (const auto& [number, data] : chunks) {
        const std::size_t length = 2 + 14 + data.size();
        for (const int byte : {0xFF, 0xE2, static_cast<int>(length >> 8), static_cast<int>(length & 0xFF)}) {
            segments.push_back(static_cast<unsigned char>(byte));
        }
        const std::string name("ICC_PROFILE\0", 12);
        segments.insert(segments.end(), name.begin(), name.end());
        segments.push_back(static_cast<unsigned char>(number));
        segments.push_back(static_cast<unsigned char>(count));
        segments.insert(segments.end(), data.begin(), data.end());
    }
    jpeg.insert(jpeg.begin() + 2, segments.begin(), segments.end());
    return jpeg;
}

Bytes part(const Bytes& bytes, std::size_t first, std::size_t last) {
    return {bytes.begin() + static_cast<std::ptrdiff_t>(first), bytes.begin() + static_cast<std::ptrdiff_t>(last)};
}

Bytes withPngChunk(Bytes png, const std::string& type, const Bytes& data) {
    Bytes chunk;
    const auto number = [&chunk](std::uint64_t value) {
        for (int shift = 24; shift >= 0; shift -= 8) {
            chunk.push_back(static_cast<unsigned char>(value >> shift));
        }
    };
    number(data.size());
    chunk.insert(chunk.end(), type.begin(), type.end());
    chunk.insert(chunk.end(), data.begin(), data.end());
    number(::crc32(0, chunk.data() + 4, static_cast<uInt>(chunk.size() - 4)));
    png.insert(png.begin() + 33, chunk.begin(), chunk.end());
    return png;
}

Bytes numbers(std::initializer_list<std::uint32_t> values) {
    Bytes bytes;
    for (const std::uint32_t value : values) {
        for (int shift = 24; shift >= 0; shift -= 8) {
            bytes.push_back(static_cast<unsigned char>(value >> shift));
        }
    }
    return bytes;
}

const Bytes srgbPrimaries = numbers({31270, 32900, 64000, 33000, 30000, 60000, 15000, 6000});
const Bytes p3Primaries = numbers({31270, 32900, 68000, 32000, 26500, 69000, 15000, 6000});

void expectNothing(const ColorStatement& statement) {
    EXPECT_TRUE(statement.icc.empty());
    EXPECT_FALSE(statement.colorimetry.has_value());
    EXPECT_EQ(statement.problem, "");
}

TEST(ColorStatement, FilesThatSayNothing) {
    for (const char* const extension : {".jpg", ".png", ".tiff", ".webp", ".bmp", ".jp2"}) {
        SCOPED_TRACE(extension);
        const ColorStatement statement = statementOf(encoded(extension, randomPhotograph({90, 80}, 5)));
        expectNothing(statement);
        EXPECT_FALSE(statement.saysSrgb);
    }
    expectNothing(statementOf({}));
}

TEST(ColorStatement, ChannelsAreThoseOfTheFile) {
    cv::Mat grey;
    cv::extractChannel(picture(), grey, 0);
    for (const char* const extension : {".jpg", ".png", ".tiff"}) {
        EXPECT_EQ(statementOf(encoded(extension)).channels, StoredChannels::rgb) << extension;
        EXPECT_EQ(statementOf(encoded(extension, grey)).channels, StoredChannels::grey) << extension;
    }
}

TEST(ColorStatement, ChunksOfAJpegComeInAnyOrder) {
    const Bytes icc = longProfile();
    const Bytes one = part(icc, 0, 60'000);
    const Bytes two = part(icc, 60'000, 120'000);
    const Bytes three = part(icc, 120'000, icc.size());
    EXPECT_EQ(statementOf(jpegWithChunks({{1, one}, {2, two}, {3, three}}, 3)).icc, icc);
    EXPECT_EQ(statementOf(jpegWithChunks({{3, three}, {1, one}, {2, two}}, 3)).icc, icc);
    EXPECT_EQ(statementOf(jpegWithChunks({{1, one}}, 1)).icc, one);
}

TEST(ColorStatement, ChunksThatAreMissingAreFound) {
    const Bytes icc = longProfile();
    const Bytes one = part(icc, 0, 60'000);
    const Bytes three = part(icc, 120'000, icc.size());
    const char* const contradiction = " stands in chunks that contradict each other or are cut off";
    EXPECT_EQ(statementOf(jpegWithChunks({{1, one}, {3, three}}, 3)).problem, " lacks 1 of its 3 chunks");
    EXPECT_EQ(statementOf(jpegWithChunks({{1, one}, {1, one}}, 2)).problem, contradiction);
    EXPECT_EQ(statementOf(jpegWithChunks({{0, one}}, 1)).problem, contradiction);
    EXPECT_EQ(statementOf(jpegWithChunks({{2, one}}, 1)).problem, contradiction);
    EXPECT_TRUE(statementOf(jpegWithChunks({{1, one}, {3, three}}, 3)).icc.empty());
}

TEST(ColorStatement, PngTellsInFourWays) {
    const Bytes png = encoded(".png");
    EXPECT_TRUE(statementOf(withPngChunk(png, "sRGB", {0})).saysSrgb);
    // 1/2.2 beside the primaries of sRGB, or beside none, is how sRGB is written for old readers.
    EXPECT_TRUE(statementOf(withPngChunk(png, "gAMA", numbers({45455}))).saysSrgb);
    EXPECT_TRUE(statementOf(withPngChunk(png, "gAMA", numbers({45455}))).loneGamma);
    const Bytes old = withPngChunk(withPngChunk(png, "cHRM", srgbPrimaries), "gAMA", numbers({45455}));
    EXPECT_TRUE(statementOf(old).saysSrgb);
    EXPECT_FALSE(statementOf(old).loneGamma);
    expectNothing(statementOf(old));

    const Bytes wide = withPngChunk(withPngChunk(png, "cHRM", p3Primaries), "gAMA", numbers({45455}));
    ASSERT_TRUE(statementOf(wide).colorimetry.has_value());
    EXPECT_DOUBLE_EQ(statementOf(wide).colorimetry->chromaticities[2], 0.68);
    EXPECT_DOUBLE_EQ(statementOf(wide).colorimetry->curve.gamma, 1 / 0.45455);
    EXPECT_EQ(statementOf(wide).colorimetry->description, "primaries of cHRM, gamma 2.2");

    const ColorStatement linear = statementOf(withPngChunk(png, "gAMA", numbers({100000})));
    ASSERT_TRUE(linear.colorimetry.has_value());
    EXPECT_EQ(linear.colorimetry->curve.gamma, 1);

    const ColorStatement points = statementOf(withPngChunk(png, "cICP", {12, 13, 0, 1}));
    ASSERT_TRUE(points.colorimetry.has_value());
    EXPECT_EQ(points.colorimetry->description, "Display P3 primaries, sRGB curve");
    EXPECT_TRUE(statementOf(withPngChunk(png, "cICP", {1, 13, 0, 1})).saysSrgb);
}

TEST(ColorStatement, ThePrecedenceOfPng) {
    Bytes png = encoded(".png");
    tagPng(png, *ColorProfile::named("adobe-rgb"));
    EXPECT_EQ(statementOf(withPngChunk(png, "sRGB", {0})).icc, ColorProfile::named("adobe-rgb")->icc());
    EXPECT_TRUE(statementOf(withPngChunk(png, "cICP", {9, 13, 0, 1})).icc.empty());
    const Bytes plain = withPngChunk(withPngChunk(encoded(".png"), "gAMA", numbers({100000})), "sRGB", {0});
    EXPECT_TRUE(statementOf(plain).saysSrgb);
    EXPECT_FALSE(statementOf(plain).colorimetry.has_value());
}

// High dynamic range by the code points, and for readers that do not know them something else.
TEST(ColorStatement, CodePointsThatAreNotReadGiveWayToWhatElseThereIs) {
    const std::string problem = " (cICP) names the transfer characteristics 16, which are not read";
    const auto withCodePoints = [](const Bytes& png) { return withPngChunk(png, "cICP", {9, 16, 0, 1}); };
    Bytes tagged = encoded(".png");
    tagPng(tagged, *ColorProfile::named("prophoto"));
    const ColorStatement ofProfile = statementOf(withCodePoints(tagged));
    EXPECT_EQ(ofProfile.icc, ColorProfile::named("prophoto")->icc());
    EXPECT_EQ(ofProfile.problem, "");
    EXPECT_EQ(ofProfile.passedOver, problem);
    const ColorStatement ofSrgb = statementOf(withCodePoints(withPngChunk(encoded(".png"), "sRGB", {0})));
    EXPECT_TRUE(ofSrgb.saysSrgb);
    EXPECT_EQ(ofSrgb.passedOver, problem);
    EXPECT_EQ(ofSrgb.channels, StoredChannels::rgb);
    const ColorStatement ofBadGamma = statementOf(withCodePoints(withPngChunk(encoded(".png"), "gAMA", {1})));
    EXPECT_EQ(ofBadGamma.problem, problem);
    EXPECT_EQ(ofBadGamma.passedOver, "");
}

TEST(ColorStatement, WhatAPngHasWrongIsTold) {
    const Bytes png = encoded(".png");
    EXPECT_EQ(statementOf(withPngChunk(png, "gAMA", numbers({0}))).problem,
              " (gAMA) has an exponent outside 0.1 to 10");
    EXPECT_EQ(statementOf(withPngChunk(png, "gAMA", {1})).problem, " (gAMA, cHRM) has a wrong length");
    const Bytes flat = numbers({31270, 32900, 64000, 33000, 64000, 33000, 15000, 6000});
    EXPECT_EQ(statementOf(withPngChunk(png, "cHRM", flat)).problem, " (cHRM) has primaries that span no colours");
    EXPECT_EQ(statementOf(withPngChunk(png, "iCCP", {'a', 0, 0, 1, 2, 3})).problem, " (iCCP) cannot be unpacked");
    EXPECT_EQ(statementOf(withPngChunk(png, "iCCP", {'a', 'b'})).problem, " (iCCP) is malformed");
    EXPECT_EQ(statementOf(withPngChunk(png, "cICP", {9, 16, 0, 1})).problem,
              " (cICP) names the transfer characteristics 16, which are not read");
    Bytes damaged = withPngChunk(png, "gAMA", numbers({100000}));
    damaged[44] ^= 1;
    EXPECT_EQ(statementOf(damaged).problem, " has a wrong checksum or is cut off");
}

// A stream of zeros that unpacks to more than a profile may have.
TEST(ColorStatement, APackedBombIsNotUnpacked) {
    const Bytes zeros(mostProfileBytes + 4096);
    Bytes packed(::compressBound(zeros.size()));
    uLongf size = packed.size();
    ASSERT_EQ(::compress2(packed.data(), &size, zeros.data(), zeros.size(), 9), Z_OK);
    Bytes data = {'a', 0, 0};
    data.insert(data.end(), packed.begin(), packed.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(statementOf(withPngChunk(encoded(".png"), "iCCP", data)).problem, " (iCCP) cannot be unpacked");
}

TEST(ColorStatement, ATaggedFileGivesItsProfileAndItsPixels) {
    for (const std::string_view name : profileNames) {
        const ColorProfile::Shared profile = ColorProfile::named(name);
        Bytes jpeg = encoded(".jpg");
        Bytes png = encoded(".png");
        Bytes tiff = encoded(".tiff");
        const cv::Mat ofJpeg = cv::imdecode(jpeg, cv::IMREAD_UNCHANGED);
        tagJpeg(jpeg, *profile);
        tagPng(png, *profile);
        tagTiff(tiff, *profile);
        EXPECT_EQ(statementOf(jpeg).icc, profile->icc());
        EXPECT_EQ(statementOf(tiff).icc, profile->icc());
        EXPECT_EQ(statementOf(png).icc, profile->isSrgb() ? Bytes() : profile->icc());
        EXPECT_EQ(statementOf(png).saysSrgb, profile->isSrgb());
        EXPECT_MAT_EQUAL(cv::imdecode(jpeg, cv::IMREAD_UNCHANGED), ofJpeg);
        EXPECT_MAT_EQUAL(cv::imdecode(png, cv::IMREAD_UNCHANGED), picture());
        EXPECT_MAT_EQUAL(cv::imdecode(tiff, cv::IMREAD_UNCHANGED), picture());
    }
}

TEST(ColorStatement, AProfileOfSeveralChunksIsWrittenAndRead) {
    // 33 x 33 x 33 points of three 16-bit numbers, which two tags share.
    const ColorProfile::Shared profile = ColorProfile::ofIcc(lutProfile(33));
    ASSERT_GT(profile->icc().size(), 140'000U);
    Bytes jpeg = encoded(".jpg");
    tagJpeg(jpeg, *profile);
    EXPECT_EQ(statementOf(jpeg).icc, profile->icc());
    EXPECT_FALSE(cv::imdecode(jpeg, cv::IMREAD_COLOR).empty());
}

TEST(ColorStatement, BytesThatAreCutOffOrChangedDoNoHarm) {
    const ColorProfile::Shared profile = ColorProfile::named("adobe-rgb");
    std::mt19937 random(11);
    for (const char* const extension : {".jpg", ".png", ".tiff"}) {
        Bytes valid = encoded(extension, randomPhotograph({5, 4}, 2));
        (extension[1] == 'j' ? tagJpeg : extension[1] == 'p' ? tagPng : tagTiff)(valid, *profile);
        std::size_t whole = 0;
        for (std::size_t length = 0; length <= valid.size(); ++length) {
            whole += statementOf(part(valid, 0, length)).icc == profile->icc() ? 1U : 0U;
        }
        EXPECT_GT(whole, 0U) << extension;
        std::size_t changed = 0;
        for (int k = 0; k < 2000; ++k) {
            Bytes bytes = valid;
            for (unsigned change = 0; change < 1 + random() % 4; ++change) {
                bytes[random() % bytes.size()] = static_cast<unsigned char>(random());
            }
            const ColorStatement statement = statementOf(bytes);
            changed += statement.icc == profile->icc() ? 0U : 1U;
            EXPECT_TRUE(statement.icc.size() <= mostProfileBytes);
        }
        EXPECT_GT(changed, 100U) << extension;
    }
}

}  // namespace
}  // namespace likeness::testing
