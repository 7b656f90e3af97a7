// Colour profiles of photographs, as the subcommands honour and write them.
#include <likeness/color/srgb_companding.hpp>
#include <likeness/color/unit_image.hpp>
#include <likeness/comparison/photograph_comparison.hpp>
#include "darkroom/darkroom_program.hpp"
#include "photofile/color_profile.hpp"
#include "photofile/display_light.hpp"
#include "photofile/profile_tagging.hpp"
#include "photofile/test_profiles.hpp"
#include "support/made_tiff.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <zlib.h>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

namespace likeness::testing {
namespace {

using Bytes = std::vector<unsigned char>;

class DarkroomProfiles : public DarkroomProgram {
protected:
    /// Saves an image with a profile.
    std::string saveTagged(const std::string& name, const cv::Mat& image, const ColorProfile& profile) const {
        Bytes bytes;
        const std::string extension = std::filesystem::path(name).extension().string();
        EXPECT_TRUE(cv::imencode(extension, image, bytes, {cv::IMWRITE_TIFF_COMPRESSION, 5}));
        (extension == ".png" ? tagPng : extension == ".jpg" ? tagJpeg : tagTiff)(bytes, profile);
        return saveText(name, std::string(bytes.begin(), bytes.end()));
    }

    /// The five coefficients that `darkroom compare` prints.
    std::vector<double> coefficients(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "compare");
        std::istringstream line(expectDone(arguments).out);
        std::vector<double> values;
        for (std::string word; std::getline(line, word, ',');) {
            values.push_back(std::stod(word));
        }
        EXPECT_EQ(values.size(), 5U);
        return values;
    }

    Bytes bytesLeft(const std::string& name) const {
        std::ifstream file(output(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    static bool holds(const Bytes& bytes, const std::string& text) {
        return std::search(bytes.begin(), bytes.end(), text.begin(), text.end()) != bytes.end();
    }
};

/// The numbers that stand in a profile for the colours of an sRGB picture, in 8 or 16 bits.
cv::Mat encodedIn(const ColorProfile& profile, const cv::Mat& srgb, int depth) {
    cv::Mat unit;
    srgb.convertTo(unit, CV_32F, 1 / 255.0);
    cv::Mat numbers;
    profile.fromSrgb(unit).convertTo(numbers, depth, depth == CV_8U ? 255 : 65535);
    return numbers;
}

/// A colourful picture: the photograph with its chroma doubled, clipped to sRGB.
cv::Mat colorful() {
    const cv::Mat photograph = examplePhotograph("coffee.jpg")(cv::Rect(120, 60, 200, 150)).clone();
    cv::Mat result(photograph.size(), CV_8UC3);
    for (int i = 0; i < result.rows; ++i) {
        for (int j = 0; j < result.cols; ++j) {
            const auto& in = photograph.at<cv::Vec3b>(i, j);
            const int grey = (in[0] + in[1] + in[2]) / 3;
            for (int c = 0; c < 3; ++c) {
                result.at<cv::Vec3b>(i, j)[c] = cv::saturate_cast<uchar>(2 * in[c] - grey);
            }
        }
    }
    return result;
}

// One picture in two encodings: with its profile honoured it looks as it does in sRGB, to what 8 bits leave of the finer
// steps; with its numbers taken for those of sRGB its chroma is another.
/// Exif data as cameras write it: ColorSpace, and the interoperability index.
std::string exifSegment(unsigned colorSpace, const std::string& index) {
    std::string text("Exif\0\0II*\0", 10);
    const auto number = [&text](unsigned value, int bytes) {
        for (int k = 0; k < bytes; ++k) {
            text += static_cast<char>(value >> (8 * k) & 0xFF);
        }
    };
    const auto entry = [&number](unsigned tag, unsigned type, unsigned count, unsigned value) {
        number(tag, 2);
        number(type, 2);
        number(count, 4);
        number(value, 4);
    };
    number(8, 4);
    number(1, 2);
    entry(0x8769, 4, 1, 26);
    number(0, 4);
    number(2, 2);  // at 26
    entry(0xA001, 3, 1, colorSpace);
    entry(0xA005, 4, 1, 56);
    number(0, 4);
    number(1, 2);  // at 56
    number(1, 2);
    number(2, 2);
    number(4, 4);
    text += index + '\0';
    number(0, 4);
    const auto length = static_cast<unsigned>(text.size() + 2);
    return std::string("\xFF\xE1") + static_cast<char>(length >> 8) + static_cast<char>(length & 0xFF) + text;
}

TEST_F(DarkroomProfiles, AdobeRgbThatExifAloneSaysIsTold) {
    std::vector<unsigned char> bytes;
    cv::imencode(".jpg", cv::Mat(30, 40, CV_8UC3, cv::Scalar::all(128)), bytes);
    const auto saved = [&](const std::string& name, const std::string& segment) {
        std::string jpeg(bytes.begin(), bytes.end());
        jpeg.insert(2, segment);
        return saveText(name, jpeg);
    };
    const auto said = [this](const std::string& path, std::vector<std::string> more = {}) {
        more.insert(more.begin(), {"white", path, "--quiet"});
        return expectDone(more).err;
    };
    const std::string adobe = saved("adobe.jpg", exifSegment(0xFFFF, "R03"));
    EXPECT_EQ(said(adobe), "darkroom white: warning: '" + adobe +
                               "': its Exif data alone says that its colours are Adobe RGB, and they are taken for "
                               "sRGB; --assume-profile adobe-rgb takes them for what they are\n");
    EXPECT_EQ(said(adobe, {"--assume-profile", "adobe-rgb"}), "");
    EXPECT_EQ(said(adobe, {"--assume-profile", "srgb"}), "");
    EXPECT_EQ(said(adobe, {"--ignore-profile"}), "");
    EXPECT_EQ(said(saved("srgb.jpg", exifSegment(1, "R98"))), "");
    EXPECT_EQ(said(saved("uncalibrated.jpg", exifSegment(0xFFFF, "R98"))), "");
    std::string cut = exifSegment(0xFFFF, "R03");
    cut[10 + 4] = '\x7F';  // the first directory lies behind the end
    EXPECT_EQ(said(saved("cut.jpg", cut)), "");
    Bytes tagged = bytes;
    tagJpeg(tagged, *ColorProfile::named("adobe-rgb"));
    std::string jpeg(tagged.begin(), tagged.end());
    jpeg.insert(2, exifSegment(0xFFFF, "R03"));
    EXPECT_EQ(said(saveText("tagged.jpg", jpeg)), "");
}

TEST_F(DarkroomProfiles, TwoEncodingsOfAPictureLookAlike) {
    const cv::Mat picture = colorful();
    const std::string srgb = save("srgb.png", picture);
    for (const char* const name : {"display-p3", "adobe-rgb", "prophoto"}) {
        SCOPED_TRACE(name);
        const ColorProfile::Shared profile = ColorProfile::named(name);
        for (const int depth : {CV_8U, CV_16U}) {
            const std::string other = saveTagged("other.png", encodedIn(*profile, picture, depth), *profile);
            for (const double coefficient : coefficients({srgb, other, "--quiet"})) {
                EXPECT_GT(coefficient, 0.99) << depth;
            }
            const std::vector<double> ignored = coefficients({srgb, other, "--quiet", "--ignore-profile"});
            EXPECT_LT(ignored[2], 0.95) << depth;
            EXPECT_LT(ignored[3], 0.95) << depth;
        }
    }
}

// Without profiles the numbers of Display P3 look paler: the chroma overlaps by 0.60 to 0.64, and the tones of strong
// colours move, by which brightness and lightness overlap by 0.88.
TEST_F(DarkroomProfiles, TwoEncodingsOfAPictureLookAlikeUnderPublishedModels) {
    const cv::Mat picture = colorful();
    const std::string srgb = save("srgb.png", picture);
    const ColorProfile::Shared p3 = ColorProfile::named("display-p3");
    for (const int depth : {CV_8U, CV_16U}) {
        const std::string other = saveTagged("other.png", encodedIn(*p3, picture, depth), *p3);
        for (const char* const model : {"ciecam02", "ciecam16"}) {
            SCOPED_TRACE(model);
            const std::vector<double> honoured = coefficients({srgb, other, "--quiet", "--model", model});
            const std::vector<double> ignored =
                coefficients({srgb, other, "--quiet", "--model", model, "--ignore-profile"});
            for (std::size_t k = 0; k < honoured.size(); ++k) {
                EXPECT_GT(honoured[k], 0.99) << k;
                EXPECT_LT(ignored[k], k < 2 ? 0.91 : 0.68) << k;
            }
        }
    }
}

TEST_F(DarkroomProfiles, WhatWasDoneIsTold) {
    const ColorProfile::Shared p3 = ColorProfile::named("display-p3");
    const cv::Mat picture = examplePhotograph("cat.jpg")(cv::Rect(20, 20, 60, 50)).clone();
    const std::string tagged = saveTagged("p3.jpg", picture, *p3);
    const std::string plain = save("plain.png", picture);
    const std::string begin = "darkroom compare: '" + tagged + "': ";
    EXPECT_EQ(expectDone({"compare", tagged, plain}).err,
              begin + "its colours are converted from its profile 'Display P3'\n");
    EXPECT_EQ(expectDone({"compare", tagged, plain, "--quiet"}).err, "");
    EXPECT_EQ(expectDone({"compare", tagged, plain, "--ignore-profile"}).err,
              begin + "its profile 'Display P3' is ignored\n");
    EXPECT_EQ(expectDone({"compare", plain, plain}).err, "");
    EXPECT_EQ(expectDone({"compare", tagged, plain, "--ignore-profile", "--assume-profile", "adobe-rgb"}).err,
              begin +
                  "its colours are converted from 'Adobe RGB (1998)', which is assumed; its profile 'Display P3' is "
                  "ignored\ndarkroom compare: '" +
                  plain + "': its colours are converted from 'Adobe RGB (1998)', which is assumed\n");
    EXPECT_EQ(expectDone({"compare", tagged, plain, "--assume-profile", "adobe-rgb"}).err,
              begin + "its colours are converted from its profile 'Display P3'\ndarkroom compare: '" + plain +
                  "': its colours are converted from 'Adobe RGB (1998)', which is assumed\n");

    const nlohmann::json json = nlohmann::json::parse(
        expectDone({"compare", tagged, plain, "--assume-profile", "prophoto", "--json", "--quiet"}).out);
    EXPECT_EQ(json["first"]["profile"], (nlohmann::json{{"description", "Display P3"}, {"origin", "embedded"}}));
    EXPECT_EQ(json["second"]["profile"],
              (nlohmann::json{{"description", "ROMM RGB (ProPhoto)"}, {"origin", "assumed"}}));
    const nlohmann::json without = nlohmann::json::parse(expectDone({"compare", plain, plain, "--json"}).out);
    EXPECT_FALSE(without["first"].contains("profile"));
    const std::vector<std::string> swept = {"sweep", tagged, plain, "--white-luminance", "100", "--quiet"};
    const auto with = [](std::vector<std::string> arguments, const std::vector<std::string>& more) {
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    };
    const nlohmann::json sweep = nlohmann::json::parse(
        expectDone(with(swept, {"--json", "--assume-profile", "prophoto", "--plot", "s.html"})).out);
    EXPECT_EQ(sweep["first"]["profile"], json["first"]["profile"]);
    EXPECT_EQ(sweep["second"]["profile"], json["second"]["profile"]);
    EXPECT_NE(contentOf(output("s.html")).find(": Display P3 (embedded).</p>"), std::string::npos);
    EXPECT_NE(expectDone(swept).out.find(",Display P3 (embedded),\n"), std::string::npos);
    EXPECT_EQ(expectDone({"sweep", plain, plain, "--white-luminance", "100"}).out.find("profile"), std::string::npos);
    const std::string csv = expectDone({"compare", plain, tagged, "--csv", "--report", "r.html", "--quiet"}).out;
    EXPECT_NE(csv.find(",first_profile,second_profile\n"), std::string::npos);
    EXPECT_NE(csv.find(",,Display P3 (embedded)\n"), std::string::npos);
    EXPECT_EQ(expectDone({"compare", plain, plain, "--csv"}).out.find("profile"), std::string::npos);
    const std::string report = contentOf(output("r.html"));
    EXPECT_NE(report.find("Colour profile <span id=\"profile-second\">Display P3 (embedded)</span>"),
              std::string::npos);
    EXPECT_EQ(report.find("profile-first"), std::string::npos);
    std::filesystem::create_directory(output("maps"));
    const nlohmann::json appearance =
        nlohmann::json::parse(expectDone({"appearance", tagged, "-o", "maps", "--json"}).out);
    EXPECT_EQ(appearance["input"]["profile"]["description"], "Display P3");
}

// A file of sRGB takes the road of one that says nothing, to the bit; and so does one whose profile is ignored.
TEST_F(DarkroomProfiles, SrgbIsTheSameRoad) {
    const cv::Mat picture = examplePhotograph("cat.jpg")(cv::Rect(20, 20, 90, 70)).clone();
    const std::string plain = save("plain.png", picture);
    const std::string expected = expectDone({"smooth", plain, "-o", "plain.tif", "--depth", "float"}).err;
    const cv::Mat result = imageLeft("plain.tif");
    const ColorProfile::Shared srgb = ColorProfile::named("srgb");
    for (const std::string name : {"a.png", "a.tif"}) {
        const std::string tagged = saveTagged(name, picture, *srgb);
        const auto compared = [this](const std::string& path) {
            nlohmann::json json = nlohmann::json::parse(expectDone({"compare", path, photo("cat.jpg"), "--json"}).out);
            json["first"].erase("path");
            return json;
        };
        EXPECT_EQ(compared(tagged), compared(plain));
        EXPECT_EQ(expectDone({"smooth", tagged, "-o", "plain.tif", "--depth", "float"}).err, expected);
        EXPECT_MAT_EQUAL(imageLeft("plain.tif"), result);
    }
    const std::string wide = saveTagged("wide.png", picture, *ColorProfile::named("prophoto"));
    expectDone({"smooth", wide, "-o", "plain.tif", "--depth", "float", "--ignore-profile"});
    EXPECT_MAT_EQUAL(imageLeft("plain.tif"), result);
    expectDone({"smooth", wide, "-o", "plain.tif", "--depth", "float"});
    EXPECT_GT(cv::norm(imageLeft("plain.tif"), result, cv::NORM_INF), 0.05);
}

// What sRGB does not have reaches the operation: the results of a float file show it.
TEST_F(DarkroomProfiles, WideColorsReachTheOperation) {
    const cv::Mat red(40, 40, CV_16UC3, cv::Scalar(0, 0, 65535));
    const std::string path = saveTagged("red.png", red, *ColorProfile::named("display-p3"));
    expectDone({"convert", path, "--to", "xyz", "-o", "xyz.tif"});
    // Display P3's red seen under its white, D65: Y = 0.2290 of SMPTE EG 432-1.
    const cv::Vec3f xyz = imageLeft("xyz.tif").at<cv::Vec3f>(20, 20);
    EXPECT_NEAR(xyz[1], 0.2290, 2e-4);
    EXPECT_NEAR(std::max(xyz[0], xyz[2]), 0.4866, 5e-4);
}

TEST_F(DarkroomProfiles, EveryFormatAndGreyAreRead) {
    const ColorProfile::Shared profile = ColorProfile::named("prophoto");
    const cv::Mat picture = examplePhotograph("cat.jpg")(cv::Rect(20, 20, 60, 50)).clone();
    const cv::Mat expected = profile->srgbFrom(picture);
    for (const std::string name : {"a.png", "a.tif"}) {
        expectDone({"smooth", saveTagged(name, picture, *profile), "--radius", "0", "--eps", "0", "-o", "out.tif",
                    "--depth", "float"});
        EXPECT_MAT_NEAR(imageLeft("out.tif"), expected, Tolerance{.absolute = 2e-5}) << name;
    }
    cv::Mat grey;
    cv::extractChannel(picture, grey, 1);
    const ColorProfile::Shared ofGrey = ColorProfile::ofIcc(greyProfile(1.0));
    cv::Mat spread;
    cv::merge(std::vector<cv::Mat>(3, grey), spread);
    expectDone({"smooth", saveTagged("grey.png", grey, *ofGrey), "--radius", "0", "--eps", "0", "-o", "out.tif",
                "--depth", "float"});
    EXPECT_MAT_NEAR(imageLeft("out.tif"), ofGrey->srgbFrom(spread), Tolerance{.absolute = 2e-5});
    EXPECT_GT(cv::norm(ofGrey->srgbFrom(spread), unitPhotograph("cat.jpg")(cv::Rect(20, 20, 60, 50)), cv::NORM_INF),
              0.1);
}

TEST_F(DarkroomProfiles, WhatCannotBeUsedIsOneWarning) {
    const cv::Mat picture = examplePhotograph("cat.jpg")(cv::Rect(20, 20, 60, 50)).clone();
    const std::string plain = save("plain.png", picture);
    const std::string ofGrey = saveTagged("g.png", picture, *ColorProfile::ofIcc(greyProfile(1.8)));
    const Outcome outcome = expectDone({"compare", ofGrey, plain});
    EXPECT_EQ(outcome.out, "1,1,1,1,1\n");
    EXPECT_EQ(outcome.err, "darkroom compare: warning: '" + ofGrey +
                               "': its colour profile 'grey of the test' is one of grey, and the file has colours: it "
                               "is taken for a file without one\n");
    EXPECT_EQ(expectDone({"compare", ofGrey, plain, "--ignore-profile"}).err, "");
}

/// A TIFF of four inks, 8 bits each.
std::string cmykTiff() {
    std::vector<std::uint64_t> inks;
    for (std::uint64_t pixel = 0; pixel < 256; ++pixel) {
        inks.insert(inks.end(), {pixel, 255 - pixel, 40, 0});
    }
    TiffLayout layout;
    layout.samples = 4;
    layout.photometric = 5;
    return madeTiff(inks, 8, 1, layout);
}

TEST_F(DarkroomProfiles, InksWithoutAProfileAreAWarning) {
    const std::string inks = saveText("inks.tif", cmykTiff());
    const Outcome outcome = expectDone({"compare", inks, photo("cat.jpg"), "--quiet"});
    EXPECT_EQ(outcome.err, "darkroom compare: warning: '" + inks +
                               "': its colours are not stored as R, G, B or grey, but as CMYK or the like: the "
                               "decoder's conversion is taken, which knows no profile\n");
    const std::string list = saveText("l.csv", "first,second\n" + inks + ',' + photo("cat.jpg") + '\n');
    expectDone({"batch", list, "-o", "batch.csv"});
    EXPECT_NE(contentOf(output("batch.csv")).find("CMYK or the like"), std::string::npos);
    const std::string bytes = contentOf(inks);
    const Outcome inPlace = darkroom({"adapt", inks, "--to", "d65", "--in-place"});
    EXPECT_NE(inPlace.status, 0);
    EXPECT_NE(inPlace.err.find("holds CMYK or the like, and its result would hold R, G, B; --output names a folder"),
              std::string::npos)
        << inPlace.err;
    EXPECT_TRUE(contentOf(inks) == bytes);
}

// The chunk is told of once: by this program, not by its decoder too.
TEST_F(DarkroomProfiles, WhatIsWrongWithAPngIsToldOnce) {
    const cv::Mat picture = examplePhotograph("cat.jpg")(cv::Rect(20, 20, 60, 50)).clone();
    const std::string plain = save("plain.png", picture);
    const auto withChunk = [&](const std::string& type, const Bytes& data) {
        Bytes png;
        EXPECT_TRUE(cv::imencode(".png", picture, png));
        Bytes chunk(type.begin(), type.end());
        chunk.insert(chunk.end(), data.begin(), data.end());
        const auto number = [](std::uint32_t value) {
            return Bytes{static_cast<unsigned char>(value >> 24), static_cast<unsigned char>(value >> 16),
                         static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)};
        };
        const auto sum = static_cast<std::uint32_t>(::crc32(0, chunk.data(), static_cast<uInt>(chunk.size())));
        Bytes all = number(static_cast<std::uint32_t>(data.size()));
        all.insert(all.end(), chunk.begin(), chunk.end());
        const Bytes end = number(sum);
        all.insert(all.end(), end.begin(), end.end());
        png.insert(png.begin() + 33, all.begin(), all.end());
        return saveText(type + ".png", std::string(png.begin(), png.end()));
    };
    const auto warning = [&](const std::string& path) {
        const Outcome outcome = expectDone({"compare", path, plain});
        EXPECT_EQ(outcome.out, "1,1,1,1,1\n");
        return outcome.err;
    };
    const std::string flat = withChunk("cHRM", Bytes(32, 0));
    EXPECT_EQ(warning(flat), "darkroom compare: warning: '" + flat +
                                 "': its colour profile (cHRM) has primaries that span no colours: it is taken for a "
                                 "file without one\n");
    const std::string steep = withChunk("gAMA", Bytes(4, 0));
    EXPECT_EQ(warning(steep), "darkroom compare: warning: '" + steep +
                                  "': its colour profile (gAMA) has an exponent outside 0.1 to 10: it is taken for a "
                                  "file without one\n");
    const std::string usual = withChunk("gAMA", {0, 0, 0xB1, 0x8F});
    EXPECT_EQ(warning(usual), "darkroom compare: '" + usual +
                                  "': its chunk gAMA alone tells an exponent of 1/2.2, which is taken for the curve of "
                                  "sRGB\n");
}

/// A PNG with code points, in front of what else it says of its colours.
std::string withCodePoints(std::string png, std::string_view points) {
    std::string chunk("\0\0\0\4cICP", 8);
    chunk += points;
    const auto sum =
        static_cast<std::uint32_t>(::crc32(0, reinterpret_cast<const unsigned char*>(chunk.data() + 4), 8));
    for (int shift = 24; shift >= 0; shift -= 8) {
        chunk += static_cast<char>(sum >> shift & 0xFF);
    }
    return png.insert(33, chunk);
}

TEST_F(DarkroomProfiles, CodePointsThatAreNotReadAreAWarning) {
    const cv::Mat picture = examplePhotograph("cat.jpg")(cv::Rect(20, 20, 60, 50)).clone();
    const ColorProfile::Shared p3 = ColorProfile::named("display-p3");
    const std::string tagged = saveTagged("p3.png", picture, *p3);
    // BT.2020 primaries, a logarithmic curve.
    const std::string both = saveText("both.png", withCodePoints(contentOf(tagged), {"\x09\x0A\0\1", 4}));
    const Outcome outcome = expectDone({"compare", both, tagged});
    EXPECT_EQ(outcome.out, "1,1,1,1,1\n");
    EXPECT_EQ(outcome.err, "darkroom compare: warning: '" + both +
                               "': its colour profile (cICP) names the transfer characteristics 10, which are not "
                               "read: what else the file says of its colours is taken\ndarkroom compare: '" +
                               both +
                               "': its colours are converted from its profile 'Display P3'\ndarkroom compare: '" +
                               tagged + "': its colours are converted from its profile 'Display P3'\n");
}

TEST_F(DarkroomProfiles, HighDynamicRangeIsItsLight) {
    const cv::Mat picture = examplePhotograph("cat.jpg")(cv::Rect(20, 20, 60, 50)).clone();
    const std::string plain = save("plain.png", picture);
    // The PQ signals that show the picture with its white at 203 cd/m2: the inverse of what is read, by bisection.
    const cv::Mat encoded = toUnit(picture);
    cv::Mat linear(encoded.size(), CV_32FC3);
    for (int i = 0; i < encoded.rows; ++i) {
        sRGBInverseCompandingOfRow(encoded.ptr<float>(i), linear.ptr<float>(i),
                                   3 * static_cast<std::size_t>(encoded.cols));
    }
    cv::Mat low(linear.size(), CV_32FC3, cv::Scalar::all(0));
    cv::Mat high(linear.size(), CV_32FC3, cv::Scalar::all(1));
    for (int step = 0; step < 24; ++step) {
        const cv::Mat middle = (low + high) / 2;
        const cv::Mat below = displayLight(middle, LightCurve::pq, srgbChromaticities) < linear;
        middle.copyTo(low, below);
        middle.copyTo(high, ~below);
    }
    cv::Mat words;
    high.convertTo(words, CV_16U, 65535);
    const std::string pq = saveText("pq.png", withCodePoints(contentOf(save("pq16.png", words)), {"\1\x10\0\1", 4}));
    const Outcome compared = expectDone({"compare", pq, plain});
    EXPECT_EQ(compared.err, "darkroom compare: '" + pq +
                                "': its light of high dynamic range is encoded for sRGB at an exposure of 0 EV; 203 "
                                "cd/m2 is taken for white; its colours are converted from its profile 'BT.709 "
                                "primaries, PQ'\n");
    std::istringstream numbers(compared.out);
    for (std::string number; std::getline(numbers, number, ',');) {
        EXPECT_GT(std::stod(number), 0.995) << compared.out;
    }
    EXPECT_EQ(expectDone({"compare", pq, plain, "--ignore-profile"}).err,
              "darkroom compare: '" + pq + "': its profile 'BT.709 primaries, PQ' is ignored\n");
    // Half as much light, by the exposure or by the luminance of the white.
    const auto underModel = [&](const std::vector<std::string>& options) {
        std::vector<std::string> arguments{"compare", pq, plain, "--model", "ciecam16", "--quiet"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return expectDone(arguments).out;
    };
    const std::string half = underModel({"--white-luminance", "406"});
    EXPECT_EQ(underModel({"--adapting-luminance", "81.2", "--exposure", "-1"}), half);
    EXPECT_NE(underModel({"--adapting-luminance", "81.2"}), half);
    EXPECT_NE(expectDone({"info", pq}).out.find("transfer curve: PQ"), std::string::npos);
    const std::string hlg = saveText("hlg.png", withCodePoints(contentOf(plain), {"\1\x12\0\1", 4}));
    EXPECT_EQ(
        expectDone({"compare", hlg, plain}).err,
        "darkroom compare: '" + hlg +
            "': its light of high dynamic range is encoded for sRGB at an exposure of 0 EV; its reference white, "
            "three quarters of the signal, is taken for white; its colours are converted from its profile 'BT.709 "
            "primaries, HLG'\n");
    EXPECT_NE(expectDone({"info", hlg}).out.find("transfer curve: HLG"), std::string::npos);
}

TEST_F(DarkroomProfiles, PicturesSayThatTheyAreSrgb) {
    const std::string in = save("in.png", examplePhotograph("cat.jpg")(cv::Rect(20, 20, 60, 50)));
    for (const std::string name : {"a.png", "a.jpg", "a.tif", "a.hdr"}) {
        expectDone({"smooth", in, "-o", name});
        const Bytes bytes = bytesLeft(name);
        const bool isPng = name == "a.png";
        EXPECT_EQ(holds(bytes, "acsp"), name != "a.hdr" && !isPng) << name;
        EXPECT_EQ(holds(bytes, "sRGB"), isPng) << name;
        EXPECT_EQ(expectDone({"compare", output(name), in, "--quiet"}).err, "") << name;
    }
    // Maps and values of other spaces are no pictures.
    expectDone({"structure", in, "-o", "map.png"});
    EXPECT_FALSE(holds(bytesLeft("map.png"), "sRGB"));
    expectDone({"convert", in, "--to", "lab", "-o", "lab.png"});
    EXPECT_FALSE(holds(bytesLeft("lab.png"), "sRGB"));
    expectDone({"convert", in, "--to", "lab", "-o", "lab.tif"});
    EXPECT_FALSE(holds(bytesLeft("lab.tif"), "acsp"));
    // And nothing is assumed of them.
    expectRefused({"convert", output("lab.png"), "--from", "lab", "-o", "back.png", "--assume-profile", "prophoto"},
                  "--assume-profile: lab is not read through a profile; leave the option out");
}

TEST_F(DarkroomProfiles, AnOutputProfileIsOneMoreEncoding) {
    const std::string in = save("in.png", examplePhotograph("coffee.jpg")(cv::Rect(120, 60, 160, 120)));
    expectDone({"smooth", in, "-o", "srgb.tif", "--depth", "float"});
    const ColorProfile::Shared p3 = ColorProfile::named("display-p3");
    saveText("p3.icc", std::string(p3->icc().begin(), p3->icc().end()));
    for (const std::string& profile : {std::string("display-p3"), std::string("prophoto"), input("p3.icc")}) {
        for (const std::string name : {"a.png", "a.jpg", "a.tif"}) {
            SCOPED_TRACE(profile + ' ' + name);
            expectDone({"smooth", in, "-o", name, "--output-profile", profile});
            for (const double coefficient : coefficients({output(name), output("srgb.tif"), "--quiet"})) {
                EXPECT_GT(coefficient, name == "a.jpg" ? 0.9 : 0.98);
            }
        }
    }
    expectDone({"smooth", in, "-o", "p3.png", "--output-profile", "display-p3", "--bits", "16"});
    expectDone({"smooth", in, "-o", "srgb.png", "--bits", "16"});
    EXPECT_GT(cv::norm(imageLeft("p3.png"), imageLeft("srgb.png"), cv::NORM_INF), 2000);
    // What sRGB would clip fits: the red of Display P3 comes back as it was.
    const cv::Mat red(40, 40, CV_8UC3, cv::Scalar(0, 0, 255));
    const std::string wide = saveTagged("red.png", red, *ColorProfile::named("display-p3"));
    expectDone({"convert", wide, "--to", "xyz", "-o", "xyz.tif"});
    expectDone({"convert", output("xyz.tif"), "--from", "xyz", "-o", "back.tif"});
    EXPECT_GT(imageLeft("back.tif").at<cv::Vec3f>(3, 3)[2], 0.99F);
}

TEST_F(DarkroomProfiles, RefusesWhatCannotBeHad) {
    const std::string in = photo("cat.jpg");
    const std::string names = "take the file of an ICC profile, or one of srgb, display-p3, adobe-rgb, prophoto";
    expectRefused({"smooth", in, "-o", "a.png", "--assume-profile", "missing.icc"},
                  "--assume-profile: 'missing.icc' cannot be read: No such file or directory; " + names);
    expectRefused({"smooth", in, "-o", "a.png", "--output-profile", in},
                  "--output-profile: '" + in + "' cannot be used: the profile is no ICC profile; " + names);
    expectRefused({"smooth", in, "-o", "a.hdr", "--output-profile", "display-p3"},
                  "--output-profile: a .hdr gets no profile, and 'a.hdr' is one");
    const auto saved = [this](const std::string& name, const Bytes& icc) {
        return saveText(name, std::string(icc.begin(), icc.end()));
    };
    const std::string grey = saved("grey.icc", greyProfile(1.8));
    expectRefused({"smooth", in, "-o", "a.png", "--assume-profile", grey},
                  "--assume-profile: '" + grey + "' is the profile of a grey device; " + names);
    const std::string table = saved("table.icc", lutProfile(5));
    expectRefused({"smooth", in, "-o", "a.png", "--output-profile", table},
                  "--output-profile: the profile 'table of the test' leads to no R, G, B");
}

TEST_F(DarkroomProfiles, ABatchRecordsThem) {
    const ColorProfile::Shared p3 = ColorProfile::named("display-p3");
    const cv::Mat picture = examplePhotograph("cat.jpg")(cv::Rect(20, 20, 60, 50)).clone();
    const std::string tagged = saveTagged("p3.png", encodedIn(*p3, picture, CV_16U), *p3);
    const std::string plain = save("plain.png", picture);
    const std::string list = saveText("l.csv", "first,second\n" + tagged + ',' + plain + '\n');
    const auto record = [&](const std::string& name, std::vector<std::string> more) {
        more.insert(more.begin(), {"batch", list, "-o", name});
        expectDone(more);
        std::ifstream file(output(name));
        std::string line;
        std::getline(file, line);
        return nlohmann::json::parse(line);
    };
    const nlohmann::json usual = record("a.jsonl", {});
    EXPECT_EQ(usual["remarks"], "'" + tagged + "': its colours are converted from its profile 'Display P3'");
    EXPECT_GT(usual["chroma"], 0.99);
    const nlohmann::json ignoring = record("b.jsonl", {"--ignore-profile"});
    const nlohmann::json assuming = record("c.jsonl", {"--assume-profile", "adobe-rgb"});
    EXPECT_NE(ignoring["parameters"], usual["parameters"]);
    EXPECT_NE(assuming["parameters"], usual["parameters"]);
    EXPECT_NE(assuming["parameters"], ignoring["parameters"]);
    EXPECT_LT(ignoring["chroma"], usual["chroma"]);
    const std::string plainList = saveText("p.csv", "first,second\n" + plain + ',' + plain + '\n');
    expectDone({"batch", plainList, "-o", "d.jsonl"});
    std::ifstream file(output("d.jsonl"));
    std::string line;
    std::getline(file, line);
    EXPECT_EQ(nlohmann::json::parse(line)["parameters"], usual["parameters"]);
}

}  // namespace
}  // namespace likeness::testing
