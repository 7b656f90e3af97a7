#include "photofile/color_statement.hpp"

#include <likeness/color/unit_image.hpp>
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
        EXPECT_EQ(statement.saysSrgb, extension == std::string_view(".jp2"));
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

TEST(ColorStatement, CodePointsOfHighDynamicRange) {
    const Bytes png = encoded(".png");
    const ColorStatement pq = statementOf(withPngChunk(png, "cICP", {9, 16, 0, 1}));
    ASSERT_TRUE(pq.colorimetry);
    EXPECT_EQ(pq.colorimetry->light, LightCurve::pq);
    EXPECT_EQ(pq.colorimetry->description, "BT.2020 primaries, PQ");
    ASSERT_TRUE(pq.luminanceOfOne);
    EXPECT_EQ((*pq.luminanceOfOne)[0], 203);
    const ColorStatement hlg = statementOf(withPngChunk(png, "cICP", {12, 18, 0, 1}));
    ASSERT_TRUE(hlg.colorimetry);
    EXPECT_EQ(hlg.colorimetry->light, LightCurve::hlg);
    EXPECT_EQ(hlg.colorimetry->description, "Display P3 primaries, HLG");
    EXPECT_FALSE(hlg.luminanceOfOne);
    const ColorStatement narrow = statementOf(withPngChunk(png, "cICP", {9, 16, 0, 0}));
    EXPECT_FALSE(narrow.colorimetry || narrow.luminanceOfOne);
    EXPECT_EQ(narrow.problem, " (cICP) names another matrix or range than those of R, G, B");
}

// New curves by the code points, and for readers that do not know them something else.
TEST(ColorStatement, CodePointsThatAreNotReadGiveWayToWhatElseThereIs) {
    const std::string problem = " (cICP) names the transfer characteristics 10, which are not read";
    const auto withCodePoints = [](const Bytes& png) { return withPngChunk(png, "cICP", {9, 10, 0, 1}); };
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
    EXPECT_EQ(statementOf(withPngChunk(png, "cICP", {9, 10, 0, 1})).problem,
              " (cICP) names the transfer characteristics 10, which are not read");
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

/// A JPEG 2000 file whose box of colours has another content.
Bytes withColorBox(Bytes jp2, const Bytes& content) {
    const auto numberAt = [&jp2](std::size_t at, std::size_t value) {
        for (std::size_t k = 0; k < 4; ++k) {
            jp2[at + k] = static_cast<unsigned char>(value >> (24 - 8 * k));
        }
    };
    const auto placeOf = [&jp2](std::string_view type) {
        return static_cast<std::size_t>(std::search(jp2.begin(), jp2.end(), type.begin(), type.end()) - jp2.begin()) -
               4;
    };
    const std::size_t header = placeOf("jp2h");
    const std::size_t colors = placeOf("colr");
    const std::size_t before = jp2[colors + 3];
    const std::size_t headerBytes = std::size_t{jp2[header + 2]} * 256 + jp2[header + 3];
    const auto begin = jp2.begin() + static_cast<std::ptrdiff_t>(colors) + 8;
    jp2.erase(begin, begin + static_cast<std::ptrdiff_t>(before) - 8);
    jp2.insert(jp2.begin() + static_cast<std::ptrdiff_t>(colors) + 8, content.begin(), content.end());
    numberAt(colors, 8 + content.size());
    numberAt(header, headerBytes - before + 8 + content.size());
    return jp2;
}

/// Method, precedence, approximation, and what follows.
Bytes colorBox(unsigned char method, const Bytes& data) {
    Bytes content{method, 0, 0};
    content.insert(content.end(), data.begin(), data.end());
    return content;
}

TEST(ColorStatement, BoxesOfJpeg2000) {
    const cv::Mat image = randomPhotograph({90, 80}, 5);  // its coder wants some pixels
    const Bytes jp2 = encoded(".jp2", image);
    expectNothing(statementOf(jp2));
    EXPECT_TRUE(statementOf(jp2).saysSrgb);
    EXPECT_EQ(statementOf(jp2).channels, StoredChannels::rgb);
    const ColorProfile::Shared p3 = ColorProfile::named("display-p3");
    for (const unsigned char method : Bytes{2, 3}) {
        const Bytes tagged = withColorBox(jp2, colorBox(method, p3->icc()));
        EXPECT_EQ(statementOf(tagged).icc, p3->icc());
        EXPECT_FALSE(statementOf(tagged).saysSrgb);
        EXPECT_MAT_EQUAL(cv::imdecode(tagged, cv::IMREAD_UNCHANGED), cv::imdecode(jp2, cv::IMREAD_UNCHANGED));
    }
    EXPECT_EQ(statementOf(withColorBox(jp2, colorBox(1, numbers({21})))).problem,
              " is the enumerated space 21 (colr), which is not read");
    expectNothing(statementOf(withColorBox(jp2, colorBox(1, numbers({18})))));
    expectNothing(statementOf(withColorBox(jp2, colorBox(4, numbers({1, 2, 3})))));
    expectNothing(statementOf(withColorBox(jp2, colorBox(2, {}))));
    cv::Mat grey;
    cv::extractChannel(image, grey, 0);
    const Bytes ofGrey = encoded(".jp2", grey);
    EXPECT_EQ(statementOf(ofGrey).channels, StoredChannels::grey);
    // A box of a palette behind that of the colours: cut out of the end of this.
    Bytes behind = p3->icc();
    const Bytes palette{0, 0, 0, 8, 'p', 'c', 'l', 'r'};
    behind.insert(behind.end(), palette.begin(), palette.end());
    Bytes ofPalette = withColorBox(ofGrey, colorBox(2, behind));
    const std::string_view colr = "colr";
    *(std::search(ofPalette.begin(), ofPalette.end(), colr.begin(), colr.end()) - 1) -= 8;
    EXPECT_EQ(statementOf(ofPalette).channels, StoredChannels::rgb);
    EXPECT_EQ(statementOf(ofPalette).icc, p3->icc());
}

void putNumber(Bytes& bytes, std::size_t at, std::size_t value) {
    for (std::size_t k = 0; k < 4; ++k) {
        bytes[at + k] = static_cast<unsigned char>(value >> 8 * k);
    }
}

constexpr std::size_t bitmapFileHeader = 14;

/// A bitmap whose header is longer, with what is behind the pixels.
Bytes bitmapOf(std::size_t headerSize, std::string_view kind, const Bytes& behind = {}) {
    const Bytes plain = encoded(".bmp");
    constexpr std::size_t info = 40;
    Bytes bytes = part(plain, 0, bitmapFileHeader + info);
    bytes.resize(bitmapFileHeader + headerSize);
    const Bytes pixels = part(plain, bitmapFileHeader + info, plain.size());
    putNumber(bytes, 2, bytes.size() + pixels.size() + behind.size());
    putNumber(bytes, 10, bytes.size());
    putNumber(bytes, bitmapFileHeader, headerSize);
    std::copy(kind.begin(), kind.end(), bytes.begin() + bitmapFileHeader + 56);
    bytes.insert(bytes.end(), pixels.begin(), pixels.end());
    bytes.insert(bytes.end(), behind.begin(), behind.end());
    return bytes;
}

/// A bitmap whose header has the fifth version, with a profile behind the pixels.
Bytes bitmapWithProfile(const Bytes& icc) {
    constexpr std::size_t fifth = 124;
    Bytes bytes = bitmapOf(fifth, "DEBM", icc);
    putNumber(bytes, bitmapFileHeader + 112, bytes.size() - icc.size() - bitmapFileHeader);
    putNumber(bytes, bitmapFileHeader + 116, icc.size());
    return bytes;
}

TEST(ColorStatement, ABitmapMayLeadToAProfile) {
    expectNothing(statementOf(encoded(".bmp")));
    const Bytes icc = ColorProfile::named("adobe-rgb")->icc();
    const Bytes tagged = bitmapWithProfile(icc);
    EXPECT_EQ(statementOf(tagged).icc, icc);
    EXPECT_MAT_EQUAL(cv::imdecode(tagged, cv::IMREAD_COLOR), picture());
    EXPECT_EQ(statementOf(part(tagged, 0, tagged.size() - 1)).problem, " is cut off");
}

TEST(ColorStatement, PrimariesOfABitmapAreToldOf) {
    const Bytes plain = bitmapOf(108, {"\0\0\0\0", 4});
    EXPECT_MAT_EQUAL(cv::imdecode(plain, cv::IMREAD_COLOR), picture());
    constexpr std::size_t first = bitmapFileHeader + 60;
    // x, y, z of sRGB's primaries in one scale and X, Y, Z in the other; those of Display P3; exponents.
    const auto withNumbers = [&plain](const std::array<double, 9>& endpoints, double scale, double exponent) {
        Bytes bytes = plain;
        for (std::size_t k = 0; k < endpoints.size(); ++k) {
            putNumber(bytes, first + 4 * k, static_cast<std::size_t>(std::lround(endpoints[k] * scale)));
        }
        for (std::size_t k = 0; k < 3; ++k) {
            putNumber(bytes, first + 36 + 4 * k, static_cast<std::size_t>(std::lround(exponent * 65536)));
        }
        return bytes;
    };
    constexpr std::array<double, 9> none{};
    constexpr std::array<double, 9> srgb = {0.64, 0.33, 0.03, 0.3, 0.6, 0.1, 0.15, 0.06, 0.79};
    constexpr std::array<double, 9> srgbXyz = {0.4124, 0.2126, 0.0193, 0.3576, 0.7152, 0.1192, 0.1805, 0.0722, 0.9505};
    constexpr std::array<double, 9> p3 = {0.68, 0.32, 0, 0.265, 0.69, 0.045, 0.15, 0.06, 0.79};
    const double large = std::ldexp(1.0, 30);
    const std::vector<Bytes> ofSrgb = {plain, withNumbers(srgb, 65536, 2.2), withNumbers(srgbXyz, large, 1 / 2.2),
                                       withNumbers(none, 1, 2.2), withNumbers(srgb, large, 0)};
    for (const Bytes& bytes : ofSrgb) {
        expectNothing(statementOf(bytes));
    }
    for (const Bytes& bytes : {withNumbers(p3, 65536, 2.2), withNumbers(p3, large, 0), withNumbers(srgb, large, 1),
                               withNumbers(none, 1, 1.8)}) {
        EXPECT_EQ(statementOf(bytes).problem, " (primaries and exponents of the header) is not read");
    }
    EXPECT_TRUE(statementOf(bitmapOf(108, "BGRs")).saysSrgb);
    EXPECT_FALSE(statementOf(bitmapOf(108, " niW")).saysSrgb);
    expectNothing(statementOf(bitmapOf(108, " niW")));
    EXPECT_EQ(statementOf(bitmapOf(124, "KNIL")).problem, " is in another file, which is not read");
}

TEST(ColorStatement, AGammaOfARadianceFileIsToldOf) {
    Bytes radiance = encoded(".hdr", toUnit(picture()));
    EXPECT_EQ(statementOf(radiance).passedOver, "");
    const auto withLine = [&radiance](const std::string& line) {
        Bytes bytes = radiance;
        const auto end = std::find(bytes.begin(), bytes.end(), '\n') + 1;
        bytes.insert(end, line.begin(), line.end());
        return bytes;
    };
    EXPECT_EQ(statementOf(withLine("GAMMA=1.0\n")).passedOver, "");
    for (const char* const line : {"GAMMA=2.2\n", "GAMMA=0.454545\n", "GAMMA=what\n"}) {
        EXPECT_EQ(statementOf(withLine(line)).passedOver,
                  " (GAMMA) is passed over, since the values of the format are linear");
    }
    EXPECT_TRUE(
        statementOf(withLine("GAMMA=2.2\nPRIMARIES=0.68 0.32 0.265 0.69 0.15 0.06 0.3127 0.329\n")).colorimetry);
}

/// Puts a profile into a JPEG 2000 file or a bitmap.
void tagOther(const char* extension, Bytes& bytes, const ColorProfile& profile) {
    bytes = extension[1] == 'b' ? bitmapWithProfile(profile.icc()) : withColorBox(bytes, colorBox(2, profile.icc()));
}

TEST(ColorStatement, BytesThatAreCutOffOrChangedDoNoHarm) {
    const ColorProfile::Shared profile = ColorProfile::named("adobe-rgb");
    std::mt19937 random(11);
    for (const char* const extension : {".jpg", ".png", ".tiff", ".jp2", ".bmp"}) {
        Bytes valid = encoded(
            extension, randomPhotograph(extension == std::string_view(".jp2") ? cv::Size(40, 40) : cv::Size(5, 4), 2));
        if (extension == std::string_view(".jp2") || extension == std::string_view(".bmp")) {
            tagOther(extension, valid, *profile);
        } else {
            (extension[1] == 'j' ? tagJpeg : extension[1] == 'p' ? tagPng : tagTiff)(valid, *profile);
        }
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
