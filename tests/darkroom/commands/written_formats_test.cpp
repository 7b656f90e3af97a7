// The formats that results are written in, their depths, and the metadata that they keep.
#include <likeness/color/unit_image.hpp>
#include "darkroom/darkroom_program.hpp"
#include "support/built_modules.hpp"
#include "support/made_tiff.hpp"
#include "support/mat_matchers.hpp"
#include "support/needed_package.hpp"
#include "support/process.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>

#include <filesystem>

namespace likeness::testing {
namespace {

using nlohmann::json;

class WrittenFormats : public DarkroomProgram {
protected:
    json infoOf(const std::string& path) const {
        return json::parse(expectDone({"info", "--json", path}).out)["files"][0];
    }

    /// Writes a photograph unchanged, but for what the operation cannot keep.
    Outcome write(const std::string& in, const std::string& name, const std::vector<std::string>& more = {}) const {
        std::vector<std::string> arguments{"smooth", in, "--radius", "0", "--eps", "0", "-o", name};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return darkroom(arguments);
    }

    std::vector<std::string> coefficients(const std::string& first, const std::string& second) const {
        const std::string line = linesOf(expectDone({"compare", first, second, "--quiet"}).out).at(0);
        return linesOf(line, ',');
    }

    void expectAlike(const std::string& first, const std::string& second, double least) const {
        for (const std::string& coefficient : coefficients(first, second)) {
            EXPECT_GE(std::stod(coefficient), least) << second;
        }
    }

    const std::string bytes_ = save("bytes.png", examplePhotograph("coffee.jpg")(cv::Rect(100, 100, 160, 120)));
};

TEST_F(WrittenFormats, ComeBackAlikeInEveryFormat) {
    struct Case {
        std::string name;
        std::vector<std::string> options;
        std::string format;
        int bits;
        double least;
    };
    const Case cases[] = {{"a.exr", {}, "OpenEXR", 16, 0.99},
                          {"b.exr", {"--depth", "float"}, "OpenEXR", 32, 0.999},
                          {"a.jxl", {"--quality", "100"}, "JPEG XL", 8, 0.9999},
                          {"b.jxl", {"--depth", "16", "--quality", "100"}, "JPEG XL", 16, 0.9999},
                          {"a.avif", {"--quality", "95"}, "AVIF", 8, 0.9},
                          {"b.avif", {"--quality", "95", "--depth", "10"}, "AVIF", 10, 0.9},
                          {"c.avif", {"--quality", "95", "--depth", "12"}, "AVIF", 12, 0.9},
                          {"a.webp", {}, "WebP", 8, 0.8},
                          {"a.tif", {"--depth", "8"}, "TIFF", 8, 0.9999},
                          {"b.tif", {"--depth", "16"}, "TIFF", 16, 0.999},
                          {"c.tif", {"--depth", "float"}, "TIFF", 32, 0.999}};
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        if (!canBeWritten(one.name)) {
            continue;
        }
        const Outcome outcome = write(bytes_, one.name, one.options);
        if (outcome.err.find("no AV1 encoder") != std::string::npos) {
            continue;  // a part of libheif that its package does not require
        }
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        const json info = infoOf(output(one.name));
        EXPECT_EQ(info["format"], one.format);
        EXPECT_EQ(info["bits"], one.bits);
        expectAlike(bytes_, output(one.name), one.least);
    }
}

TEST_F(WrittenFormats, TheDepthFollowsTheInputUnlessAnotherIsAskedFor) {
    cv::Mat deep;
    cv::imread(bytes_).convertTo(deep, CV_16U, 257);
    const std::string words = save("words.png", deep);
    ASSERT_EQ(write(words, "deep.png").status, 0);
    EXPECT_EQ(imageLeft("deep.png").depth(), CV_16U);
    EXPECT_MAT_EQUAL(imageLeft("deep.png"), deep);
    ASSERT_EQ(write(words, "shallow.png", {"--depth", "8"}).status, 0);
    EXPECT_EQ(imageLeft("shallow.png").depth(), CV_8U);
    ASSERT_EQ(write(bytes_, "plain.png").status, 0);
    EXPECT_EQ(imageLeft("plain.png").depth(), CV_8U);
}

TEST_F(WrittenFormats, ATiffHasTheDepthOfThePhotograph) {
    cv::Mat deep;
    cv::imread(bytes_).convertTo(deep, CV_16U, 257);
    deep += cv::Scalar::all(7);
    cv::Mat floats;
    deep.convertTo(floats, CV_32F, 1.5 / 65535, -0.1);  // values outside of 0..1 too
    const std::vector<std::pair<std::string, cv::Mat>> cases = {
        {save("bytes.tif", cv::imread(bytes_)), cv::imread(bytes_)},
        {save("words.tif", deep), deep},
        {save("floats.tif", floats), floats},
        {save("words.png", deep), deep},
        {bytes_, cv::imread(bytes_)},
        {save("one.tif", cv::Mat(1, 1, CV_8UC3, cv::Scalar(1, 2, 3))), cv::Mat(1, 1, CV_8UC3, cv::Scalar(1, 2, 3))}};
    for (const auto& [path, stored] : cases) {
        SCOPED_TRACE(path);
        ASSERT_EQ(write(path, "a.tif").status, 0);
        EXPECT_MAT_EQUAL(imageLeft("a.tif"), stored);
        ASSERT_EQ(write(path, "a.tif", {"--depth", "float"}).status, 0);
        EXPECT_EQ(imageLeft("a.tif").type(), CV_32FC3);
        if (path.substr(path.size() - 4) == ".tif") {
            const Outcome inPlace = darkroom({"smooth", path, "--radius", "0", "--eps", "0", "--in-place"});
            ASSERT_EQ(inPlace.status, 0) << inPlace.err;
            EXPECT_MAT_EQUAL(cv::imread(path, cv::IMREAD_UNCHANGED), stored);
        }
    }
    const std::string wide = saveText("wide.tif", madeTiff({0x80000000U}, 32, 1, {}));
    const std::string before = contentOf(wide);
    const Outcome refused = darkroom({"smooth", wide, "--radius", "0", "--eps", "0", "--in-place"});
    EXPECT_NE(refused.status, 0);
    EXPECT_NE(refused.err.find("has values of 32 bits, and its result would have floats of 32; --depth float agrees"),
              std::string::npos)
        << refused.err;
    EXPECT_TRUE(contentOf(wide) == before);
    EXPECT_EQ(darkroom({"smooth", wide, "--radius", "0", "--eps", "0", "--in-place", "--depth", "float"}).status, 0);
    const std::string grey = save("grey.png", cv::Mat(5, 6, CV_8U, cv::Scalar(77)));
    ASSERT_EQ(write(grey, "grey.tif").status, 0);
    EXPECT_EQ(imageLeft("grey.tif").depth(), CV_8U);
    if (canBeWritten("a.exr")) {
        ASSERT_EQ(write(input("floats.tif"), "a.exr").status, 0);
        EXPECT_EQ(infoOf(output("a.exr"))["bits"], 32);
        ASSERT_EQ(write(output("a.exr"), "linear.tif").status, 0);
        EXPECT_EQ(imageLeft("linear.tif").depth(), CV_32F);
        ASSERT_EQ(write(bytes_, "half.exr").status, 0);
        EXPECT_EQ(infoOf(output("half.exr"))["bits"], 16);
    }
}

TEST_F(WrittenFormats, AWebpCarriesAProfile) {
    if (!canBeWritten("a.webp")) {
        SKIP_WITHOUT_PACKAGE("the module that writes WebP was not built");
    }
    const std::string tagged = saveText("in.jpg", contentOf(photo("rocket.jpg")));  // in Adobe RGB
    for (const std::string& in : {bytes_, tagged}) {
        SCOPED_TRACE(in);
        ASSERT_EQ(write(in, "plain.webp", {"--quality", "100"}).status, 0);
        EXPECT_EQ(infoOf(output("plain.webp"))["profile"], "sRGB");
        for (const std::string profile : {"display-p3", "adobe-rgb"}) {
            const Outcome outcome = write(in, "a.webp", {"--quality", "100", "--output-profile", profile});
            ASSERT_EQ(outcome.status, 0) << outcome.err;
            const json info = infoOf(output("a.webp"));
            EXPECT_EQ(info["profile"], profile == "display-p3" ? "Display P3" : "Adobe RGB (1998)");
            EXPECT_EQ(info["error"], nullptr);
            // Another encoding of the same colours, and other numbers.
            expectAlike(output("plain.webp"), output("a.webp"), 0.9);
            EXPECT_GT(cv::norm(imageLeft("a.webp"), imageLeft("plain.webp"), cv::NORM_INF), 3);
            const std::string bytes = contentOf(output("a.webp"));
            EXPECT_EQ(bytes.substr(12, 4), "VP8X");
            EXPECT_NE(bytes.find("ICCP"), std::string::npos);
            EXPECT_EQ(bytes.find("ICCP"), bytes.rfind("ICCP"));
        }
    }
    const std::string one = save("one.png", cv::Mat(1, 1, CV_8UC3, cv::Scalar(10, 200, 30)));
    ASSERT_EQ(write(one, "one.webp", {"--output-profile", "prophoto"}).status, 0);
    EXPECT_EQ(imageLeft("one.webp").size(), cv::Size(1, 1));
}

TEST_F(WrittenFormats, AnAvifHasTenOrTwelveBitsOfADeepPhotograph) {
    if (!canBeWritten("a.avif")) {
        SKIP_WITHOUT_PACKAGE("the module that writes AVIF was not built: its library is not installed");
    }
    // A ramp whose steps 8 bits do not have.
    cv::Mat ramp(64, 256, CV_16UC3);
    for (int i = 0; i < ramp.rows; ++i) {
        for (int j = 0; j < ramp.cols; ++j) {
            ramp.at<cv::Vec3w>(i, j) = cv::Vec3w::all(static_cast<ushort>(16384 + 16 * j));
        }
    }
    const std::string words = save("words.png", ramp);
    const Outcome outcome = write(words, "a.avif", {"--quality", "100"});
    if (outcome.err.find("no AV1 encoder") != std::string::npos) {
        SKIP_WITHOUT_PACKAGE("libheif has no AV1 encoder");
    }
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(infoOf(output("a.avif"))["bits"], 12);
    ASSERT_EQ(write(output("a.avif"), "back.png").status, 0);
    const cv::Mat back = imageLeft("back.png");
    ASSERT_EQ(back.type(), CV_16UC3);
    // Half a step of 12 bits by rounding; the coder's own loss is below two of them.
    EXPECT_MAT_NEAR(toUnit(back), toUnit(ramp), Tolerance{.absolute = 2.5 / 4095});
    ASSERT_EQ(write(words, "ten.avif", {"--depth", "10"}).status, 0);
    EXPECT_EQ(infoOf(output("ten.avif"))["bits"], 10);
    // What has ten bits keeps ten, and replaced in place too.
    ASSERT_EQ(write(output("ten.avif"), "again.avif").status, 0);
    EXPECT_EQ(infoOf(output("again.avif"))["bits"], 10);
    const Outcome inPlace = darkroom({"smooth", output("a.avif"), "--radius", "0", "--eps", "0", "--in-place"});
    EXPECT_EQ(inPlace.status, 0) << inPlace.err;
    EXPECT_EQ(infoOf(output("a.avif"))["bits"], 12);
    ASSERT_EQ(write(words, "eight.avif", {"--depth", "8"}).status, 0);
    EXPECT_EQ(infoOf(output("eight.avif"))["bits"], 8);
}

TEST_F(WrittenFormats, WhatAFormatDoesNotHaveIsRefused) {
    const std::vector<std::string> begin{"smooth", bytes_, "-o"};
    const auto refused = [&](const std::vector<std::string>& more, const std::string& message) {
        std::vector<std::string> all = begin;
        all.insert(all.end(), more.begin(), more.end());
        expectRefused(all, message);
    };
    refused({"a.jpg", "--depth", "16"}, "--depth: the format of 'a.jpg' does not have this depth");
    refused({"a.avif", "--depth", "16"}, "--depth: the format of 'a.avif' does not have this depth");
    refused({"a.png", "--depth", "10"}, "--depth: the format of 'a.png' does not have this depth");
    refused({"a.tif", "--depth", "12"}, "--depth: the format of 'a.tif' does not have this depth");
    refused({"a.exr", "--depth", "8"}, "--depth: the format of 'a.exr' does not have this depth");
    refused({"a.png", "--depth", "half"}, "--depth: the format of 'a.png' does not have this depth");
    refused({"a.png", "--subsampling", "444"}, "--subsampling: only a JPEG has one, and 'a.png' is none");
    refused({"a.exr", "--output-profile", "display-p3"},
            "--output-profile: a .exr gets no profile, and 'a.exr' is one");
}

TEST_F(WrittenFormats, SubsamplingIsThatOfTheFrameHeader) {
    const std::pair<std::string, std::string> cases[] = {{"444", "\x11"}, {"422", "\x21"}, {"420", "\x22"}};
    for (const auto& [name, factors] : cases) {
        ASSERT_EQ(write(bytes_, "a.jpg", {"--subsampling", name}).status, 0);
        const std::string jpeg = contentOf(output("a.jpg"));
        const std::size_t frame = jpeg.find(std::string("\xFF\xC0\x00\x11", 4));
        ASSERT_NE(frame, std::string::npos);
        EXPECT_EQ(jpeg.substr(frame + 11, 1), factors) << name;
    }
    const std::string asked = contentOf(output("a.jpg"));
    ASSERT_EQ(write(bytes_, "b.jpg").status, 0);
    EXPECT_EQ(contentOf(output("b.jpg")), asked);
}

/// Fields of the metadata of a file, by exiftool; empty if it is not installed.
json fieldsOf(const std::string& path) {
    const Outcome outcome = run({"/usr/bin/env", "exiftool", "-j", "-G1", "-n", path}, std::filesystem::current_path());
    return outcome.status == 0 ? json::parse(outcome.out)[0] : json();
}

TEST_F(WrittenFormats, MetadataAreCarriedOverFieldByField) {
    if (!isModuleBuilt("metadata")) {
        SKIP_WITHOUT_PACKAGE("the module that reads and writes metadata was not built: its library is not installed");
    }
    const std::string in = saveText("in.jpg", contentOf(photo("coffee.jpg")));
    const Outcome tagged = run(
        {"/usr/bin/env", "exiftool", "-overwrite_original", "-Make=Maker", "-Model=M 1", "-ExposureTime=1/125",
         "-FNumber=2.8", "-ISO=200", "-DateTimeOriginal=2024:05:17 12:30:00", "-Orientation#=6", "-GPSLatitude=47.5",
         "-GPSLatitudeRef=N", "-Software=old", "-XMP-dc:Title=A title", "-IPTC:Keywords=one", in},
        folder());
    if (tagged.status == 127) {
        SKIP_WITHOUT_PACKAGE("exiftool is not installed");
    }
    ASSERT_EQ(tagged.status, 0) << tagged.err;
    for (const std::string name : {"a.jpg", "a.png", "a.tif", "a.webp"}) {
        SCOPED_TRACE(name);
        if (!canBeWritten(name)) {
            continue;
        }
        const Outcome outcome = write(in, name);
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        const json fields = fieldsOf(output(name));
        EXPECT_EQ(fields["IFD0:Make"], "Maker");
        EXPECT_EQ(fields["IFD0:Model"], "M 1");
        EXPECT_EQ(fields["ExifIFD:ExposureTime"], 0.008);
        EXPECT_EQ(fields["ExifIFD:FNumber"], 2.8);
        EXPECT_EQ(fields["ExifIFD:ISO"], 200);
        EXPECT_EQ(fields["ExifIFD:DateTimeOriginal"], "2024:05:17 12:30:00");
        EXPECT_EQ(fields["IFD0:Orientation"], 1);
        EXPECT_EQ(fields["GPS:GPSLatitude"], 47.5);
        EXPECT_EQ(fields["XMP-dc:Title"], "A title");
        EXPECT_EQ(fields["IFD0:Software"].get<std::string>().rfind("darkroom ", 0), 0U);
        if (name != "a.webp") {
            EXPECT_EQ(fields["IPTC:Keywords"], "one");
        }
        // The pixels are those of a run that carries nothing.
        ASSERT_EQ(write(in, "stripped_" + name, {"--strip"}).status, 0);
        EXPECT_MAT_EQUAL(imageLeft(name), imageLeft("stripped_" + name));
        EXPECT_FALSE(fieldsOf(output("stripped_" + name)).contains("IFD0:Make"));
    }
}

TEST_F(WrittenFormats, FormatsWithWritersOfTheirOwnCarryMetadata) {
    if (!isModuleBuilt("metadata")) {
        SKIP_WITHOUT_PACKAGE("the module that reads and writes metadata was not built: its library is not installed");
    }
    const std::string in = saveText("in.jpg", contentOf(photo("coffee.jpg")));
    const Outcome tagged = run({"/usr/bin/env", "exiftool", "-overwrite_original", "-Make=Maker", "-ExposureTime=1/125",
                                "-Orientation#=6", "-Software=old", "-XMP-dc:Title=A title", in},
                               folder());
    if (tagged.status == 127) {
        SKIP_WITHOUT_PACKAGE("exiftool is not installed");
    }
    ASSERT_EQ(tagged.status, 0) << tagged.err;
    for (const std::string name : {"a.avif", "a.jxl"}) {
        SCOPED_TRACE(name);
        if (!canBeWritten(name)) {
            continue;
        }
        const Outcome outcome = write(in, name);
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err.find("not carried"), std::string::npos) << outcome.err;
        const json fields = fieldsOf(output(name));
        EXPECT_EQ(fields["IFD0:Make"], "Maker");
        EXPECT_EQ(fields["ExifIFD:ExposureTime"], 0.008);
        EXPECT_EQ(fields["IFD0:Orientation"], 1);
        EXPECT_EQ(fields["XMP-dc:Title"], "A title");
        EXPECT_EQ(fields["IFD0:Software"].get<std::string>().rfind("darkroom ", 0), 0U);
        ASSERT_EQ(write(in, "stripped_" + name, {"--strip"}).status, 0);
        EXPECT_FALSE(fieldsOf(output("stripped_" + name)).contains("IFD0:Make"));
        for (const std::string& coefficient : coefficients(output(name), output("stripped_" + name))) {
            EXPECT_EQ(coefficient, "1");
        }
    }
    for (const std::string name : {"a.hdr", "a.exr"}) {
        if (!canBeWritten(name)) {
            continue;
        }
        const Outcome outcome = write(in, name);
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_NE(outcome.err.find("has no place for Exif"), std::string::npos) << outcome.err;
        EXPECT_EQ(write(in, "stripped_" + name, {"--strip"}).err.find("has no place for Exif"), std::string::npos);
        EXPECT_EQ(write(bytes_, "bare_" + name).err.find("has no place for Exif"), std::string::npos);
    }
}

TEST_F(WrittenFormats, AWebpThatWasTurnedIsNotTurnedAgain) {
    if (!isModuleBuilt("metadata") || !canBeWritten("a.webp")) {
        SKIP_WITHOUT_PACKAGE("the module that reads and writes metadata, or that writes WebP, was not built");
    }
    const std::string in = save("in.webp", cv::imread(bytes_));
    const Outcome tagged =
        run({"/usr/bin/env", "exiftool", "-overwrite_original", "-Orientation#=6", "-Make=Maker", in}, folder());
    if (tagged.status == 127) {
        SKIP_WITHOUT_PACKAGE("exiftool is not installed");
    }
    ASSERT_EQ(tagged.status, 0) << tagged.err;
    ASSERT_EQ(write(in, "a.webp").status, 0);
    const json first = infoOf(in);
    EXPECT_EQ(first["orientation"], 6);
    EXPECT_EQ(first["read_as"], "B, G, R, 8 bits, turned upright");
    const json second = infoOf(output("a.webp"));
    EXPECT_EQ(second["orientation"], 1);
    EXPECT_EQ(second["width_pixels"], 120);
    EXPECT_EQ(second["height_pixels"], 160);
    EXPECT_EQ(second["camera_make"], "Maker");
}

TEST_F(WrittenFormats, NothingIsInvented) {
    ASSERT_EQ(write(bytes_, "a.jpg").status, 0);
    ASSERT_EQ(write(bytes_, "b.jpg", {"--strip"}).status, 0);
    EXPECT_EQ(contentOf(output("a.jpg")), contentOf(output("b.jpg")));
}

}  // namespace
}  // namespace likeness::testing
