#include "photofile/photograph_reader.hpp"

#include <likeness/color/srgb_companding.hpp>
#include <likeness/color/unit_image.hpp>
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <fstream>

namespace likeness::testing {
namespace {

std::string example(const std::string& name) {
    return std::string(LIKENESS_EXAMPLE_PHOTOGRAPHS) + "/" + name;
}

/// The first half of an example photograph's file.
std::string halfOf(const std::string& name) {
    const std::string bytes = contentOf(example(name));
    const std::string path = "half_" + name;
    std::ofstream(path, std::ios::binary) << bytes.substr(0, bytes.size() / 2);
    return path;
}

void expectSame(const PhotographRead& actual, const PhotographRead& expected) {
    EXPECT_MAT_EQUAL(actual.bgr, expected.bgr);
    EXPECT_EQ(actual.remarks, expected.remarks);
    EXPECT_EQ(actual.problem, expected.problem);
}

void expectPairOfSingleReads(const std::string& first, const std::string& second,
                             PhotographValues values = PhotographValues::bytes) {
    SCOPED_TRACE(first + " " + second);
    ::testing::internal::CaptureStderr();
    const auto [firstRead, secondRead] = readPhotographPair(first, second, values);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    expectSame(firstRead, readPhotograph(first, values));
    expectSame(secondRead, readPhotograph(second, values));
}

TEST(PhotographPair, IsReadAsTheSinglePhotographsAre) {
    const ScratchDirectory scratch;
    expectPairOfSingleReads(example("cat.jpg"), example("coffee.jpg"));
    expectPairOfSingleReads(example("cat.jpg"), example("cat.jpg"));
    cv::imwrite("deep.png", cv::Mat(9, 7, CV_16UC3, cv::Scalar(1000, 30000, 65535)));
    expectPairOfSingleReads("deep.png", example("coffee.jpg"));
    expectPairOfSingleReads("deep.png", example("coffee.jpg"), PhotographValues::stored);
    EXPECT_EQ(readPhotographPair("deep.png", "deep.png", PhotographValues::stored).second.bgr.depth(), CV_16U);
}

TEST(PhotographPair, RemarksBelongToTheirPhotograph) {
    const ScratchDirectory scratch;
    const std::string half = halfOf("cat.jpg");
    ASSERT_FALSE(readPhotograph(half).remarks.empty());
    ASSERT_FALSE(readPhotograph(half).bgr.empty());
    expectPairOfSingleReads(half, example("coffee.jpg"));
    expectPairOfSingleReads(example("coffee.jpg"), half);
    expectPairOfSingleReads(half, halfOf("rocket.jpg"));
    EXPECT_TRUE(readPhotographPair(example("coffee.jpg"), half).first.remarks.empty());
}

TEST(PhotographPair, OneThatCannotBeReadIsEmpty) {
    const ScratchDirectory scratch;
    std::ofstream("text.jpg") << "not an image";
    const auto [first, second] = readPhotographPair("missing.jpg", example("cat.jpg"));
    EXPECT_TRUE(first.bgr.empty());
    EXPECT_MAT_EQUAL(second.bgr, examplePhotograph("cat.jpg"));
    EXPECT_TRUE(readPhotographPair(example("cat.jpg"), "text.jpg").second.bgr.empty());
}

cv::Mat spread(const cv::Mat& grey) {
    cv::Mat image;
    cv::merge(std::vector<cv::Mat>(3, grey), image);
    return image;
}

std::string problemOf(const std::string& path, std::uint64_t mostPixels = usualMostPixels) {
    const PhotographRead read = readPhotograph(path, PhotographValues::bytesOrFloats, mostPixels);
    EXPECT_EQ(read.bgr.empty(), !read.problem.empty());
    return read.problem;
}

TEST(PhotographReader, KeepsFloatsOfEveryFormat) {
    const ScratchDirectory scratch;
    const cv::Mat floats = randomImage({13, 9}, 3, 0, 2, 4);
    const cv::Mat grey = randomImage({13, 9}, 1, 0, 2, 5);
    for (const std::string name : {"a.exr", "a.pfm", "a.tif"}) {
        SCOPED_TRACE(name);
        // Left to itself, the image library packs floats of a TIFF into LogLuv.
        const std::vector<int> lzw = {cv::IMWRITE_TIFF_COMPRESSION, 5};
        const std::vector<int> parameters = name == "a.tif" ? lzw : std::vector<int>();
        for (const PhotographValues values : {PhotographValues::bytesOrFloats, PhotographValues::stored}) {
            cv::imwrite(name, floats, parameters);
            EXPECT_MAT_EQUAL(readPhotograph(name, values).bgr, floats);
            EXPECT_TRUE(readPhotograph(name, values).floats);
            cv::imwrite(name, grey, parameters);
            EXPECT_MAT_EQUAL(readPhotograph(name, values).bgr, spread(grey));
        }
    }
}

TEST(PhotographReader, EncodesTheLinearValuesOfRadianceFiles) {
    const ScratchDirectory scratch;
    cv::imwrite("a.hdr", cv::Mat(4, 5, CV_32FC3, cv::Scalar(0.25, 1, 4)));
    const cv::Vec3f expected = {sRGBCompanding(0.25F), 1, sRGBCompanding(4)};
    EXPECT_EQ(readPhotograph("a.hdr", PhotographValues::stored).bgr.at<cv::Vec3f>(2, 3), expected);
    EXPECT_EQ(readPhotograph("a.hdr", PhotographValues::bytesOrFloats).bgr.at<cv::Vec3f>(2, 3), expected);
    EXPECT_EQ(readPhotograph("a.hdr").bgr.at<cv::Vec3b>(2, 3), cv::Vec3b(64, 255, 255));  // as they are
}

TEST(PhotographReader, TellsWhichVariantsOfRadianceAreNotRead) {
    const ScratchDirectory scratch;
    cv::imwrite("a.hdr", cv::Mat(40, 50, CV_32FC3, cv::Scalar(0.25, 1, 4)));
    const std::string whole = contentOf("a.hdr");
    const auto problemWith = [&whole](const std::string& text, const std::string& other) {
        std::string changed = whole;
        const std::size_t at = changed.find(text);
        EXPECT_NE(at, std::string::npos) << text;
        std::ofstream("b.hdr", std::ios::binary) << changed.replace(at, text.size(), other);
        return readPhotograph("b.hdr").problem;
    };
    EXPECT_EQ(problemWith("-Y 40 +X 50", "-Y 40 +X 50"), "");
    EXPECT_EQ(problemWith("32-bit_rle_rgbe", "32-bit_rle_xyze"),
              ": its values are X, Y, Z (FORMAT=32-bit_rle_xyze), and only R, G, B are read");
    EXPECT_EQ(problemWith("-Y 40 +X 50", "+Y 40 +X 50"),
              ": its rows are stored in the order +Y +X, and only -Y +X is read");
    EXPECT_EQ(problemWith("-Y 40 +X 50", "+X 50 -Y 40"),
              ": its rows are stored in the order +X -Y, and only -Y +X is read");
    EXPECT_EQ(problemWith("-Y 40 +X 50", "-Z 40 +X 50"), ": it begins as Radiance, but its content cannot be decoded");
}

TEST(PhotographReader, SixteenBitsAreFloatsWhereBytesOrFloatsAreAskedFor) {
    const ScratchDirectory scratch;
    cv::Mat words;
    randomPhotograph({77, 66}, 6).convertTo(words, CV_16U, 200, 77);
    for (const std::string name : {"a.png", "a.tif", "a.ppm", "a.jp2"}) {
        cv::imwrite(name, words);
        EXPECT_MAT_EQUAL(readPhotograph(name, PhotographValues::bytesOrFloats).bgr,
                         toUnit(cv::imread(name, cv::IMREAD_COLOR | cv::IMREAD_ANYDEPTH)));
        EXPECT_MAT_EQUAL(readPhotograph(name).bgr, cv::imread(name, cv::IMREAD_COLOR));
        EXPECT_EQ(readPhotograph(name).bits, 16);
    }
}

TEST(PhotographReader, TellsOnceOfAnAlphaChannelThatIsNotOpaque) {
    const ScratchDirectory scratch;
    const cv::Mat bgr = randomPhotograph({9, 8}, 4);
    const std::vector<std::string> told = {
        "its alpha channel is left out: transparent pixels count with the colours that the file has there"};
    for (const int depth : {CV_8U, CV_16U}) {
        const double greatest = depth == CV_8U ? 255 : 65535;
        cv::Mat alpha(bgr.size(), depth, cv::Scalar(greatest));
        cv::Mat colors;
        bgr.convertTo(colors, depth);
        for (const std::string name : {"a.png", "a.tif"}) {
            SCOPED_TRACE(name + std::to_string(depth));
            cv::Mat bgra;
            cv::merge(std::vector<cv::Mat>{colors, alpha}, bgra);
            ASSERT_TRUE(cv::imwrite(name, bgra));
            EXPECT_EQ(readPhotograph(name).remarks, std::vector<std::string>());
            bgra.row(7).col(8) = cv::Scalar(1, 2, 3, greatest - 1);
            ASSERT_TRUE(cv::imwrite(name, bgra));
            EXPECT_EQ(readPhotograph(name).remarks, told);
            EXPECT_EQ(readPhotograph(name, PhotographValues::grey).remarks, told);
            EXPECT_MAT_EQUAL(readPhotograph(name, PhotographValues::stored).bgr(cv::Rect(0, 0, 9, 7)),
                             colors(cv::Rect(0, 0, 9, 7)));
            EXPECT_EQ(readPhotographPair(name, name).second.remarks, std::vector<std::string>());
        }
    }
}

TEST(PhotographReader, RefusesDicom) {
    const ScratchDirectory scratch;
    std::ofstream("d.dcm", std::ios::binary) << std::string(128, '\0') << "DICM" << std::string(40, '\xff');
    EXPECT_EQ(readPhotograph("d.dcm", PhotographValues::bytes, 1000).problem, ": DICOM files are not read");
}

TEST(PhotographReader, RefusesMorePixelsThanTheLimitWithoutDecoding) {
    const ScratchDirectory scratch;
    cv::imwrite("a.png", randomPhotograph({13, 9}, 7));
    EXPECT_EQ(problemOf("a.png", 13 * 9), "");
    EXPECT_EQ(problemOf("a.png", 13 * 9 - 1), ": it is 13 x 9 pixels, and the limit (--max-pixels) is 116 in all");
    // The frame header of a JPEG of 32000 x 32000 pixels, of which nothing else is there.
    std::ofstream("huge.jpg", std::ios::binary)
        << std::string("\xFF\xD8\xFF\xC2\0\x11\x08\x7D\0\x7D\0\x03", 12) << std::string(9, '\1');
    EXPECT_EQ(problemOf("huge.jpg"), ": it is 32000 x 32000 pixels, and the limit (--max-pixels) is 536870912 in all");
    EXPECT_EQ(problemOf("huge.jpg", std::uint64_t{1} << 30), ": it is cut off at byte 21");
}

TEST(PhotographReader, RefusesWhatIsNoRegularFileAtOnce) {
    const ScratchDirectory scratch;
    ASSERT_EQ(::mkfifo("pipe", 0600), 0);
    const std::string expected = ": it is not a regular file";
    EXPECT_EQ(problemOf("pipe"), expected);
    EXPECT_EQ(problemOf("."), ": it is a folder");
    EXPECT_EQ(problemOf("/dev/null"), expected);
    const auto [first, second] = readPhotographPair("pipe", "pipe");
    EXPECT_EQ(first.problem, expected);
    EXPECT_EQ(second.problem, expected);
    EXPECT_EQ(problemOf("missing"), ": No such file or directory");
    std::ofstream("empty.png") << "";
    EXPECT_EQ(problemOf("empty.png"), ": it is empty");
}

TEST(PhotographReader, CameraRawFilesAreNotReadAsTheirPreviews) {
    const ScratchDirectory scratch;
    cv::imwrite("a.tif", randomPhotograph({13, 9}, 8), {cv::IMWRITE_TIFF_COMPRESSION, 1});
    std::string bytes = contentOf("a.tif");
    EXPECT_EQ(problemOf("a.tif"), "");
    // An entry of the directory becomes DNGVersion.
    const auto at = [&bytes](std::size_t place) { return std::size_t{static_cast<unsigned char>(bytes[place])}; };
    const std::size_t directory = at(4) | at(5) << 8U | at(6) << 16U;
    ASSERT_EQ(bytes.substr(0, 2), "II");
    const std::size_t last = directory + 2 + 12 * (at(directory) - 1U);
    bytes.replace(last, 2, "\x12\xC6");
    std::ofstream("a.dng", std::ios::binary) << bytes;
    EXPECT_EQ(problemOf("a.dng").rfind(": its content cannot be decoded: ", 0), 0U) << problemOf("a.dng");
}

TEST(PhotographReader, WhatTheMachineLacksIsNoPhotographsFault) {
    const ScratchDirectory scratch;
    cv::imwrite("a.png", randomPhotograph({13, 9}, 9));
    std::ofstream("text.jpg") << "not an image";
    ::rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const int lowest = ::dup(0);
    ASSERT_GE(lowest, 0);
    ::close(lowest);
    ::rlimit none = before;
    none.rlim_cur = static_cast<::rlim_t>(lowest);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    std::string message;
    try {
        readPhotograph("a.png");
    } catch (const MachineFailure& failure) {
        message = failure.what();
    }
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(message, "cannot read 'a.png': Too many open files");
    EXPECT_EQ(problemOf("text.jpg"), ": its content is of no image format that is known");
    EXPECT_EQ(problemOf("a.png"), "");
}

}  // namespace
}  // namespace likeness::testing
